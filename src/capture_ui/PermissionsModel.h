#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QString>
#include <QTimer>
#include <chrono>

#include "platform/SystemPermissions.h"

namespace varnelle {

/// One permission, as its row in the permissions window shows it.
class PermissionRow final : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("belongs to the permissions")
    Q_PROPERTY(QString icon READ icon CONSTANT)
    Q_PROPERTY(QString title READ title CONSTANT)
    Q_PROPERTY(QString subtitle READ subtitle CONSTANT)
    Q_PROPERTY(bool isGranted READ isGranted NOTIFY isGrantedChanged)
    Q_PROPERTY(QString badgeText READ badgeText NOTIFY isGrantedChanged)
    Q_PROPERTY(QString badgeIcon READ badgeIcon NOTIFY isGrantedChanged)

public:
    PermissionRow(QString icon, QString title, QString subtitle, QObject* parent);

    [[nodiscard]] const QString& icon() const { return icon_; }
    [[nodiscard]] const QString& title() const { return title_; }
    [[nodiscard]] const QString& subtitle() const { return subtitle_; }
    [[nodiscard]] bool isGranted() const { return _isGranted; }
    [[nodiscard]] QString badgeText() const { return _isGranted ? tr("ENABLED") : tr("REQUIRED"); }
    [[nodiscard]] QString badgeIcon() const { return _isGranted ? "checkmark" : "xmark"; }
    void setGranted(bool isGranted);

signals:
    void isGrantedChanged();

private:
    const QString icon_;
    const QString title_;
    const QString subtitle_;
    bool _isGranted = false;
};

/// The permissions that the program can't do without, looked at again and again while their window shows
/// them. Main thread.
class PermissionsModel final : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("belongs to the capture interface")
    Q_PROPERTY(varnelle::PermissionRow* screenRecording READ screenRecording CONSTANT)
    Q_PROPERTY(varnelle::PermissionRow* accessibility READ accessibility CONSTANT)
    Q_PROPERTY(bool canContinue READ canContinue NOTIFY canContinueChanged)

public:
    /// `permissions` must outlive the object.
    explicit PermissionsModel(SystemPermissions& permissions,
                              std::chrono::milliseconds pollInterval = std::chrono::seconds(1));

    [[nodiscard]] PermissionRow* screenRecording() { return &screenRecording_; }
    [[nodiscard]] PermissionRow* accessibility() { return &accessibility_; }
    [[nodiscard]] bool canContinue() const {
        return screenRecording_.isGranted() && accessibility_.isGranted();
    }
    [[nodiscard]] bool isPolling() const { return pollTimer_.isActive(); }

    /// The window has come up: looks now, and from now on.
    Q_INVOKABLE void appear();
    /// The window has gone.
    Q_INVOKABLE void disappear();
    Q_INVOKABLE void pressScreenRecording() { permissions_.requestScreenCaptureAccess(); }
    Q_INVOKABLE void pressAccessibility() { permissions_.requestAccessibilityTrust(); }
    /// Nothing happens until everything is granted.
    Q_INVOKABLE void pressContinue();

signals:
    void canContinueChanged();
    /// The user goes on to the program with everything granted.
    void allGranted();

private:
    void poll();

    SystemPermissions& permissions_;
    PermissionRow screenRecording_;
    PermissionRow accessibility_;
    QTimer pollTimer_;
};

}  // namespace varnelle
