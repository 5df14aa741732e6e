#pragma once

#include <QObject>
#include <QQmlEngine>
#include <QQuickWindow>
#include <QUrl>
#include <QWindow>
#include <functional>
#include <memory>
#include <optional>

#include "foundation/URL.h"

namespace varnelle {

/// Lets the user choose a folder. Deletes itself when that has happened. Main thread.
class FolderQuestion final : public QObject {
    Q_OBJECT

public:
    using OnChoice = std::function<void(const std::optional<URL>&)>;

    /// `text` tells what is asked, `acceptLabel` is on the button that takes the choice; `parentWindow` may
    /// be null. `onChoice` is called once: from the event loop with the folder, or with nothing if the
    /// question was cancelled or can't be asked; not at all if the object is deleted before.
    FolderQuestion(QQmlEngine& engine, QWindow* parentWindow, const QString& text, const QString& acceptLabel,
                   const URL& start, OnChoice onChoice, QObject* parent);

private slots:
    void choose(const QUrl& folder);
    void cancel();

private:
    void openInAWindow(const QString& title);
    void answer(const std::optional<URL>& folder);

    OnChoice onChoice_;
    std::unique_ptr<QQuickWindow> window_;  ///< for the toolkit's dialog, which needs one to lie in
    std::unique_ptr<QObject> dialog_;
};

}  // namespace varnelle
