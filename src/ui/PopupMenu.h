#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QPointer>
#include <QQuickItem>
#include <QQuickView>
#include <memory>

#include "ui/MenuModel.h"

namespace varnelle {

/// A menu in a window of its own, so that it may reach beyond the panel that it belongs to. While it is open
/// it has the pointer and the keyboard; it closes when a line is chosen, at Escape and at a click elsewhere.
/// Main thread.
class PopupMenu : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(varnelle::MenuModel* model READ model WRITE setModel NOTIFY modelChanged)
    Q_PROPERTY(bool isOpen READ isOpen NOTIFY isOpenChanged)

public:
    explicit PopupMenu(QObject* parent = nullptr);
    ~PopupMenu() override;

    [[nodiscard]] MenuModel* model() const { return model_; }
    void setModel(MenuModel* model);
    [[nodiscard]] bool isOpen() const { return window_ != nullptr; }

    /// Opens beside `anchor`, below it or, where there is no room, above, within the screen.
    Q_INVOKABLE void open(QQuickItem* anchor);
    Q_INVOKABLE void close();

signals:
    void modelChanged();
    void isOpenChanged();

private:
    bool eventFilter(QObject* target, QEvent* event) override;
    void place(const QQuickItem& anchor);

    QPointer<MenuModel> model_;
    std::unique_ptr<QQuickView> window_;
};

}  // namespace varnelle
