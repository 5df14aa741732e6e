#pragma once

#include <QQmlEngine>
#include <QQuickView>
#include <QUrl>
#include <QVariantMap>

#include "platform/WindowManagement.h"

namespace varnelle {

/// A window without a frame that floats over the user's desktop: transparent where its content is, and as
/// large as that unless it is told otherwise. Main thread.
class PanelWindow : public QQuickView {
    Q_OBJECT

public:
    enum class Size { followsContent, isSetFromOutside };

    /// `content` is the QML file of the content's root item, which gets `properties`. A file that can't be
    /// loaded is a bug and ends the program. `management` must outlive the window.
    PanelWindow(QQmlEngine& engine, WindowManagement& management, const QUrl& content,
                const QVariantMap& properties, Size size, const PanelBehaviour& behaviour);

    /// Whether showing it, or a click, gives it the keyboard.
    void setTakesKeyboard(bool takesKeyboard);
    /// Puts it directly below another one; both are shown.
    void orderBelow(const QWindow& sibling);

private:
    WindowManagement& management_;
    PanelBehaviour behaviour_;
};

/// Loads a view's content. A file that can't be loaded is a bug and ends the program.
void loadContent(QQuickView& view, const QUrl& content, const QVariantMap& properties);

}  // namespace varnelle
