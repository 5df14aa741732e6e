#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QString>

#include "ui/MenuModel.h"

namespace varnelle {

/// One control of the dock bar: an icon over a label, and perhaps a menu. Main thread.
class DockBarItem final : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("belongs to the dock bar")
    Q_PROPERTY(QString icon READ icon NOTIFY lookChanged)
    Q_PROPERTY(QString label READ label NOTIFY lookChanged)
    Q_PROPERTY(bool isOn READ isOn NOTIFY lookChanged)
    Q_PROPERTY(bool isAvailable READ isAvailable NOTIFY lookChanged)
    Q_PROPERTY(varnelle::MenuModel* menu READ menu CONSTANT)

public:
    enum class State {
        off,
        on,           ///< a selected source, a device in use
        unavailable,  ///< there is no such device
    };

    struct Look {
        QString icon;
        QString label;
        State state = State::off;

        bool operator==(const Look&) const = default;
    };
    /// What pressing the control does.
    enum class Press { act, openMenu };

    explicit DockBarItem(Press press, QObject* parent) : QObject(parent) {
        if (press == Press::openMenu) menu_ = new MenuModel(this);
    }

    [[nodiscard]] const Look& look() const { return look_; }
    void setLook(const Look& look) {
        if (look_ == look) return;
        look_ = look;
        emit lookChanged();
    }
    [[nodiscard]] const QString& icon() const { return look_.icon; }
    [[nodiscard]] const QString& label() const { return look_.label; }
    [[nodiscard]] State state() const { return look_.state; }
    [[nodiscard]] bool isOn() const { return look_.state == State::on; }
    [[nodiscard]] bool isAvailable() const { return look_.state != State::unavailable; }
    /// Null for a control that acts at once.
    [[nodiscard]] MenuModel* menu() const { return menu_; }

signals:
    void lookChanged();

private:
    Look look_;
    MenuModel* menu_ = nullptr;
};

}  // namespace varnelle
