#pragma once

#include <QtQml/qqmlregistration.h>
#include <QAbstractListModel>
#include <QString>
#include <functional>
#include <vector>

namespace varnelle {

/// One line of a menu: something to choose, a divider, or (disabled) a text to read.
struct MenuItem {
    QString text{};
    QString icon{};  ///< a symbol's name; empty for none
    bool isChecked = false;
    bool isEnabled = true;
    bool isSeparator = false;
    std::function<void()> action{};  ///< what choosing it does

    static MenuItem separator();
    /// A text that can't be chosen.
    static MenuItem note(QString text);
};

/// The lines of a menu as they are now, from top to bottom. Main thread.
class MenuModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("belongs to what the menu is for")
    Q_PROPERTY(int count READ count NOTIFY itemsChanged)

public:
    enum Role {
        TextRole = Qt::UserRole,  ///< "text", string
        IconRole,                 ///< "icon", a symbol's name or empty
        IsCheckedRole,            ///< "isChecked", bool
        IsEnabledRole,            ///< "isEnabled", bool; false for dividers
        IsSeparatorRole,          ///< "isSeparator", bool
    };
    Q_ENUM(Role)

    using QAbstractListModel::QAbstractListModel;

    /// Shows other lines. Views hear of it only if they look different from the present ones.
    void setItems(std::vector<MenuItem> items);
    [[nodiscard]] const std::vector<MenuItem>& items() const { return items_; }
    [[nodiscard]] int count() const { return static_cast<int>(items_.size()); }

    /// Chooses a line. Nothing happens for one that can't be chosen.
    Q_INVOKABLE void trigger(int row);
    /// The line that can be chosen after `row` in the direction of `step` (1 or -1), going round at the ends;
    /// from -1 the first or the last. -1 if there is none.
    Q_INVOKABLE [[nodiscard]] int nextRow(int row, int step) const;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

signals:
    void itemsChanged();

private:
    [[nodiscard]] bool canBeChosen(int row) const;

    std::vector<MenuItem> items_;
};

}  // namespace varnelle
