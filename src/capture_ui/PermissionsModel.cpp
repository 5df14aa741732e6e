#include "capture_ui/PermissionsModel.h"

#include <utility>

namespace varnelle {

PermissionRow::PermissionRow(QString icon, QString title, QString subtitle, QObject* parent)
    : QObject(parent), icon_(std::move(icon)), title_(std::move(title)), subtitle_(std::move(subtitle)) {}

void PermissionRow::setGranted(bool isGranted) {
    if (_isGranted == isGranted) return;
    _isGranted = isGranted;
    emit isGrantedChanged();
}

PermissionsModel::PermissionsModel(SystemPermissions& permissions, std::chrono::milliseconds pollInterval)
    : permissions_(permissions),
      screenRecording_("rectangle.inset.filled.and.person.filled", tr("Screen Recording"),
                       tr("Record your screen, windows and displays"), this),
      accessibility_("accessibility", tr("Accessibility"), tr("Detect window positions and cursor location"),
                     this) {
    connect(&screenRecording_, &PermissionRow::isGrantedChanged, this, &PermissionsModel::canContinueChanged);
    connect(&accessibility_, &PermissionRow::isGrantedChanged, this, &PermissionsModel::canContinueChanged);
    pollTimer_.setInterval(pollInterval);
    connect(&pollTimer_, &QTimer::timeout, this, &PermissionsModel::poll);
}

void PermissionsModel::appear() {
    poll();
    pollTimer_.start();
}

void PermissionsModel::disappear() {
    pollTimer_.stop();
}

void PermissionsModel::pressContinue() {
    if (!canContinue()) return;
    pollTimer_.stop();
    emit allGranted();
}

void PermissionsModel::poll() {
    screenRecording_.setGranted(permissions_.hasScreenCaptureAccess());
    accessibility_.setGranted(permissions_.isAccessibilityTrusted());
}

}  // namespace varnelle
