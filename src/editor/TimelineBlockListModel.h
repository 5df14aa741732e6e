#pragma once

#include <QtQml/qqmlregistration.h>
#include <QAbstractListModel>
#include <vector>

#include "editor/TimelineModel.h"

namespace varnelle {

/// The clips of a lane that lie in sight and are wide enough to be pointed at, for what needs an item for
/// each: assistive programs. Scrolling adds and removes rows at the ends. Main thread.
class TimelineBlockListModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("belongs to the timeline")

public:
    enum Role {
        NumberRole = Qt::UserRole,  ///< "number", int: the clip's place in its lane, from 1
        StartRole,                  ///< "startSeconds", double
        DurationRole,               ///< "durationSeconds", double
        StartTextRole,              ///< "startText", string
        DurationTextRole,           ///< "durationText", string
        IsSelectedRole,             ///< "isSelected", bool
    };
    Q_ENUM(Role)

    /// `model` must outlive the object.
    TimelineBlockListModel(const TimelineModel& model, TimelineModel::Lane lane);

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

private:
    struct Block {
        int number = 0;
        UUID clipID;
        double start = 0;
        double duration = 0;
        bool isSelected = false;
        bool operator==(const Block&) const = default;
    };

    void refresh();
    [[nodiscard]] std::vector<Block> blocksInSight() const;

    const TimelineModel& model_;
    const TimelineModel::Lane lane_;
    std::vector<Block> blocks_;
};

}  // namespace varnelle
