#pragma once

#include <QQmlEngine>
#include <QQuickView>
#include <QUrl>
#include <QVariantMap>

namespace varnelle {

/// A window without a frame that floats over the user's desktop: transparent where its content is, and as
/// large as that unless it is told otherwise. Main thread.
class PanelWindow : public QQuickView {
    Q_OBJECT

public:
    enum class Size { followsContent, isSetFromOutside };
    enum class Focus {
        taken,     ///< a click, or being asked for, gives it the keyboard
        declined,  ///< the program that the user works in keeps the keyboard
    };

    /// `content` is the QML file of the content's root item, which gets `properties`. A file that can't be
    /// loaded is a bug and ends the program.
    PanelWindow(QQmlEngine& engine, const QUrl& content, const QVariantMap& properties, Size size,
                Focus focus);
};

}  // namespace varnelle
