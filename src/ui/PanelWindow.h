#pragma once

#include <QImage>
#include <QPointer>
#include <QQmlEngine>
#include <QQuickView>
#include <QUrl>
#include <QVariantMap>
#include <optional>

#include "platform/WindowManagement.h"
#include "ui/PictureItem.h"

namespace varnelle {

/// A window without a frame that floats over the user's desktop: transparent where its content is, and as
/// large as that unless it is told otherwise. On a desktop that knows no transparency it is cut to the
/// rounded rectangle that its root item tells of by `outerPadding` and `outerRadius`, if it has them. Main
/// thread.
class PanelWindow : public QQuickView {
    Q_OBJECT

public:
    enum class Size { followsContent, isSetFromOutside };
    /// What happens to clicks on it.
    enum class Clicks { taken, passedThrough };

    /// `content` is the QML file of the content's root item, which gets `properties`. A file that can't be
    /// loaded is a bug and ends the program. `management` must outlive the window.
    PanelWindow(QQmlEngine& engine, WindowManagement& management, const QUrl& content,
                const QVariantMap& properties, Size size, const PanelBehaviour& behaviour,
                Clicks clicks = Clicks::taken);

    /// Puts its corner there, in the interface's places; or the whole of it.
    void placeAt(QPoint corner);
    void placeAt(const QRect& frame);
    /// Whether showing it, or a click, gives it the keyboard.
    void setTakesKeyboard(bool takesKeyboard);
    /// Shows a picture behind the content, for a desktop on which what is transparent would be black.
    void setBackdrop(const QImage& picture);
    /// Puts it directly below another one; both are shown.
    void orderBelow(const QWindow& sibling);

private:
    void resizeEvent(QResizeEvent* event) override;
    void exposeEvent(QExposeEvent* event) override;
    void cutToShape();

    WindowManagement& management_;
    QPointer<PictureItem> backdrop_;
    std::optional<QPoint> unconfirmedCorner_;  ///< until it is on the screen
    PanelBehaviour behaviour_;
};

/// Loads a view's content. A file that can't be loaded is a bug and ends the program.
void loadContent(QQuickView& view, const QUrl& content, const QVariantMap& properties);

}  // namespace varnelle
