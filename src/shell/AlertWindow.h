#pragma once

#include <QQuickView>
#include <QStringList>
#include <functional>

namespace varnelle {

/// What an alert says and offers.
struct AlertContent {
    QString message;
    QString informativeText;
    QStringList buttons;    ///< from the one that Enter presses to the last
    int cancelButton = -1;  ///< which one Escape and the window's own close press; -1 for the last
    int destructiveButton = -1;
};

/// A question or a message in a window of its own, which keeps the user from the program's other windows
/// until it is answered. Main thread.
class AlertWindow final : public QQuickView {
    Q_OBJECT

public:
    /// `parent` is the window that the alert belongs to, or null. `onAnswer` gets the number of the pressed
    /// button, once; the window deletes itself afterwards.
    AlertWindow(QQmlEngine& engine, QWindow* parent, const AlertContent& content,
                std::function<void(int)> onAnswer);

private slots:
    void answer(int button);

private:
    bool event(QEvent* event) override;
    void fixSize();

    int cancelButton_;
    std::function<void(int)> onAnswer_;
};

}  // namespace varnelle
