#include "ui/MenuModel.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace varnelle {
namespace {

bool looksLike(const MenuItem& a, const MenuItem& b) {
    return std::tie(a.text, a.icon, a.isChecked, a.isEnabled, a.isSeparator) ==
           std::tie(b.text, b.icon, b.isChecked, b.isEnabled, b.isSeparator);
}

}  // namespace

MenuItem MenuItem::separator() {
    MenuItem item;
    item.isEnabled = false;
    item.isSeparator = true;
    return item;
}

MenuItem MenuItem::note(QString text) {
    MenuItem item;
    item.text = std::move(text);
    item.isEnabled = false;
    return item;
}

void MenuModel::setItems(std::vector<MenuItem> items) {
    const bool looksTheSame = std::equal(items_.begin(), items_.end(), items.begin(), items.end(), looksLike);
    if (looksTheSame) {
        items_ = std::move(items);  // the actions may differ
        return;
    }
    beginResetModel();
    items_ = std::move(items);
    endResetModel();
    emit itemsChanged();
}

void MenuModel::trigger(int row) {
    if (!canBeChosen(row)) return;
    // The action may well replace the items.
    const auto action = items_[static_cast<std::size_t>(row)].action;
    if (action) action();
}

int MenuModel::nextRow(int row, int step) const {
    const int rows = count();
    int candidate = row < 0 && step < 0 ? rows : row;
    for (int tries = 0; tries < rows; ++tries) {
        candidate = (candidate + step + rows) % rows;
        if (canBeChosen(candidate)) return candidate;
    }
    return -1;
}

bool MenuModel::canBeChosen(int row) const {
    if (row < 0 || row >= count()) return false;
    const MenuItem& item = items_[static_cast<std::size_t>(row)];
    return item.isEnabled && !item.isSeparator;
}

int MenuModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : count();
}

QVariant MenuModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) return {};
    const MenuItem& item = items_[static_cast<std::size_t>(index.row())];
    switch (role) {
        case TextRole:
            return item.text;
        case IconRole:
            return item.icon;
        case IsCheckedRole:
            return item.isChecked;
        case IsEnabledRole:
            return item.isEnabled && !item.isSeparator;
        case IsSeparatorRole:
            return item.isSeparator;
        default:
            return {};
    }
}

QHash<int, QByteArray> MenuModel::roleNames() const {
    return {{TextRole, "text"},
            {IconRole, "icon"},
            {IsCheckedRole, "isChecked"},
            {IsEnabledRole, "isEnabled"},
            {IsSeparatorRole, "isSeparator"}};
}

}  // namespace varnelle
