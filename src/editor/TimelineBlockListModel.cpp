#include "editor/TimelineBlockListModel.h"

#include <algorithm>
#include <iterator>

#include "app/DurationFormat.h"

namespace varnelle {
namespace {

/// Points. What is narrower can't be pointed at; the keyboard leads to it, and selected it counts.
constexpr double kMinimumBlockWidth = 4;

}  // namespace

TimelineBlockListModel::TimelineBlockListModel(const TimelineModel& model, TimelineModel::Lane lane)
    : model_(model), lane_(lane) {
    for (const auto signal : {&TimelineModel::layoutChanged, &TimelineModel::scrollXChanged,
                              &TimelineModel::contentChanged, &TimelineModel::selectionChanged}) {
        connect(&model_, signal, this, &TimelineBlockListModel::refresh);
    }
}

std::vector<TimelineBlockListModel::Block> TimelineBlockListModel::blocksInSight() const {
    std::vector<Block> blocks;
    const bool isPrimary = lane_ == TimelineModel::Lane::Primary;
    const auto& spans = isPrimary ? model_.primarySpans() : model_.zoomPanSpans();
    const auto& selected = isPrimary ? model_.selectedClipID() : model_.selectedZoomPanClipID();
    const double from = model_.secondsAt(0);
    const double to = model_.secondsAt(model_.viewWidth());
    for (std::size_t i = 0; i < spans.size() && spans[i].start <= to; ++i) {
        const TimelineSpan& span = spans[i];
        const bool isSelected = selected == span.clipID;
        const bool isTooNarrow = span.duration * model_.pixelsPerSecond() < kMinimumBlockWidth;
        if (span.end() < from || (isTooNarrow && !isSelected)) continue;
        blocks.push_back({static_cast<int>(i) + 1, span.clipID, span.start, span.duration, isSelected});
    }
    return blocks;
}

void TimelineBlockListModel::refresh() {
    std::vector<Block> next = blocksInSight();
    if (next == blocks_) return;
    const auto isSame = [](const Block& a, const Block& b) { return a.clipID == b.clipID; };
    const auto rows = [](const auto& list) { return static_cast<int>(list.size()); };
    // What stays is one stretch, unless a clip between others has come or gone.
    const auto first =
        next.empty() ? blocks_.end() : std::find_if(blocks_.begin(), blocks_.end(), [&](const Block& block) {
            return isSame(block, next.front());
        });
    const int removedBefore = first == blocks_.end() ? 0 : static_cast<int>(first - blocks_.begin());
    if (removedBefore > 0) {
        beginRemoveRows({}, 0, removedBefore - 1);
        blocks_.erase(blocks_.begin(), first);
        endRemoveRows();
    }
    if (!next.empty() && !blocks_.empty() && !isSame(blocks_.front(), next.front())) {
        const auto found = std::find_if(next.begin(), next.end(),
                                        [&](const Block& block) { return isSame(block, blocks_.front()); });
        if (found != next.end()) {
            beginInsertRows({}, 0, static_cast<int>(found - next.begin()) - 1);
            blocks_.insert(blocks_.begin(), next.begin(), found);
            endInsertRows();
        }
    }
    const auto common = std::mismatch(blocks_.begin(), blocks_.end(), next.begin(), next.end(), isSame);
    const int kept = static_cast<int>(common.first - blocks_.begin());
    if (kept < rows(blocks_)) {
        beginRemoveRows({}, kept, rows(blocks_) - 1);
        blocks_.resize(static_cast<std::size_t>(kept));
        endRemoveRows();
    }
    for (int row = 0; row < kept; ++row) {
        Block& block = blocks_[static_cast<std::size_t>(row)];
        if (block == next[static_cast<std::size_t>(row)]) continue;
        block = next[static_cast<std::size_t>(row)];
        emit dataChanged(index(row), index(row));
    }
    if (kept < rows(next)) {
        beginInsertRows({}, kept, rows(next) - 1);
        blocks_ = std::move(next);
        endInsertRows();
    }
}

int TimelineBlockListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(blocks_.size());
}

QVariant TimelineBlockListModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) return {};
    const Block& block = blocks_[static_cast<std::size_t>(index.row())];
    switch (role) {
        case NumberRole:
            return block.number;
        case StartRole:
            return block.start;
        case DurationRole:
            return block.duration;
        case StartTextRole:
            return QString::fromStdString(durationWithTenths(block.start));
        case DurationTextRole:
            return QString::fromStdString(durationWithTenths(block.duration));
        case IsSelectedRole:
            return block.isSelected;
        default:
            return {};
    }
}

QHash<int, QByteArray> TimelineBlockListModel::roleNames() const {
    return {
        {NumberRole, "number"},       {StartRole, "startSeconds"},        {DurationRole, "durationSeconds"},
        {StartTextRole, "startText"}, {DurationTextRole, "durationText"}, {IsSelectedRole, "isSelected"}};
}

}  // namespace varnelle
