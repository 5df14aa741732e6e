#include "shell/FolderQuestion.h"

#include <QQmlComponent>
#include <utility>

#include "foundation/Log.h"
#include "ui/WindowBackground.h"

namespace varnelle {
namespace {

/// That of the toolkit's dialog.
constexpr QSize kWindowSize{600, 400};

}  // namespace

FolderQuestion::FolderQuestion(QQmlEngine& engine, QWindow* parentWindow, const QString& text,
                               const QString& acceptLabel, const URL& start, OnChoice onChoice,
                               QObject* parent)
    : QObject(parent), onChoice_(std::move(onChoice)) {
    QQmlComponent component(&engine, QUrl("qrc:/qt/qml/Varnelle/Shell/FolderQuestionView.qml"));
    dialog_.reset(component.createWithInitialProperties(
        {{"title", text},
         {"acceptLabel", acceptLabel},
         {"parentWindow", QVariant::fromValue(parentWindow)},
         {"currentFolder", QUrl::fromLocalFile(QString::fromStdString(start.string()))}}));
    if (!dialog_) {
        logger(LogCategory::app).error("No question for a folder: {}", component.errorString().toStdString());
        QMetaObject::invokeMethod(this, &FolderQuestion::cancel, Qt::QueuedConnection);
        return;
    }
    connect(dialog_.get(), SIGNAL(chosen(QUrl)), this, SLOT(choose(QUrl)), Qt::QueuedConnection);
    connect(dialog_.get(), SIGNAL(cancelled()), this, SLOT(cancel()), Qt::QueuedConnection);
    QMetaObject::invokeMethod(dialog_.get(), "open");
    if (!dialog_->property("visible").toBool()) openInAWindow(text);
}

void FolderQuestion::openInAWindow(const QString& title) {
    window_ = std::make_unique<QQuickWindow>();
    window_->setTitle(title);
    window_->setColor(kWindowBackground);
    window_->resize(kWindowSize);
    window_->show();
    window_->requestActivate();
    dialog_->setProperty("parentWindow", QVariant::fromValue<QWindow*>(window_.get()));
    QMetaObject::invokeMethod(dialog_.get(), "open");
    connect(window_.get(), &QWindow::visibleChanged, this, &FolderQuestion::cancel, Qt::QueuedConnection);
    if (!dialog_->property("visible").toBool())
        QMetaObject::invokeMethod(this, &FolderQuestion::cancel, Qt::QueuedConnection);
}

void FolderQuestion::choose(const QUrl& folder) {
    answer(URL(folder.toLocalFile().toStdString()));
}

void FolderQuestion::cancel() {
    answer(std::nullopt);
}

void FolderQuestion::answer(const std::optional<URL>& folder) {
    const OnChoice onChoice = std::exchange(onChoice_, nullptr);
    if (!onChoice) return;
    deleteLater();
    onChoice(folder);
}

}  // namespace varnelle
