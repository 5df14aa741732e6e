#pragma once

#include <QImage>
#include <QObject>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "editor/TimelineCacheDirectory.h"
#include "foundation/Queue.h"
#include "foundation/URL.h"

namespace varnelle {

/// Small pictures of movies, each half a second apart. They are made on a queue of their own, one after the
/// other in the order in which they were wished for last; what isn't wished for any more isn't made. Kept on
/// disk too. Main thread, and the render thread while that waits.
class FilmStripCache : public QObject {
    Q_OBJECT

public:
    static constexpr int kPictureHeight = 96;  ///< pixels: of a lane at scale 2
    static constexpr double kPictureSeconds = 0.5;

    /// A picture by its place in the strip: in half seconds of source time.
    struct Key {
        URL source;
        std::int64_t index = 0;
        auto operator<=>(const Key&) const = default;
    };

    explicit FilmStripCache(TimelineCacheDirectory directory = TimelineCacheDirectory());
    /// Doesn't wait for the picture in work.
    ~FilmStripCache() override;

    /// Null if it isn't there yet.
    [[nodiscard]] QImage picture(const Key& key) const;
    /// The nearest one of the same source that is there; null if there is none.
    [[nodiscard]] QImage nearestPicture(const Key& key) const;
    /// Width by height of a source's pictures; that of most screens until one is there.
    [[nodiscard]] double aspectRatio(const URL& source) const;

    /// What is to be seen now, instead of what was wished for before.
    void want(std::vector<Key> keys);

signals:
    void picturesChanged();

private:
    class Worker;

    void add(const Key& key, const QImage& picture);
    void giveUp(const URL& source);
    void announce();

    struct Kept {
        QImage picture;
        mutable std::uint64_t lastUse = 0;
    };
    std::map<Key, Kept> pictures_;
    std::set<URL> failedSources_;
    std::vector<Key> wanted_;
    mutable std::uint64_t useCount_ = 0;
    bool isAnnounced_ = false;
    std::shared_ptr<Worker> worker_;
    std::shared_ptr<SerialQueue> queue_;
};

}  // namespace varnelle
