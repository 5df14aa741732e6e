#include "shell/FolderQuestion.h"

#include <QQmlComponent>
#include <utility>

#include "foundation/Log.h"

namespace varnelle {

FolderQuestion::FolderQuestion(QQmlEngine& engine, QWindow* parentWindow, const QString& text,
                               const QString& acceptLabel, const URL& start, OnChoice onChoice,
                               QObject* parent)
    : QObject(parent), onChoice_(std::move(onChoice)) {
    QQmlComponent component(&engine, QUrl("qrc:/qt/qml/Varnelle/Shell/FolderQuestionView.qml"));
    QObject* view = component.createWithInitialProperties(
        {{"title", text},
         {"acceptLabel", acceptLabel},
         {"parentWindow", QVariant::fromValue(parentWindow)},
         {"currentFolder", QUrl::fromLocalFile(QString::fromStdString(start.string()))}});
    if (view == nullptr) {
        logger(LogCategory::app).error("No question for a folder: {}", component.errorString().toStdString());
        QMetaObject::invokeMethod(this, &FolderQuestion::cancel, Qt::QueuedConnection);
        return;
    }
    view->setParent(this);
    connect(view, SIGNAL(chosen(QUrl)), this, SLOT(choose(QUrl)), Qt::QueuedConnection);
    connect(view, SIGNAL(cancelled()), this, SLOT(cancel()), Qt::QueuedConnection);
    QMetaObject::invokeMethod(view, "open");
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
