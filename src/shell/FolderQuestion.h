#pragma once

#include <QObject>
#include <QQmlEngine>
#include <QUrl>
#include <QWindow>
#include <functional>
#include <optional>

#include "foundation/URL.h"

namespace varnelle {

/// Lets the user choose a folder. Deletes itself when that has happened. Main thread.
class FolderQuestion final : public QObject {
    Q_OBJECT

public:
    using OnChoice = std::function<void(const std::optional<URL>&)>;

    /// `parentWindow` may be null. `onChoice` is called once, from the event loop: with the folder, or with
    /// nothing if the question was cancelled or can't be asked.
    FolderQuestion(QQmlEngine& engine, QWindow* parentWindow, const QString& title, const URL& start,
                   OnChoice onChoice, QObject* parent);

private slots:
    void choose(const QUrl& folder);
    void cancel();

private:
    void answer(const std::optional<URL>& folder);

    OnChoice onChoice_;
};

}  // namespace varnelle
