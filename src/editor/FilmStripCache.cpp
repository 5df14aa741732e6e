#include "editor/FilmStripCache.h"

#include <QBuffer>
#include <QDataStream>
#include <QThreadPool>
#include <algorithm>
#include <cmath>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

#include "foundation/Log.h"
#include "imaging/PictureSampler.h"
#include "media/FrameSource.h"
#include "media/MediaAsset.h"
#include "render/OrientedFrame.h"
#include "render/PlanarFrame.h"

namespace varnelle {
namespace {

constexpr double kUsualAspectRatio = 16.0 / 9;
constexpr int kMinimumPictureWidth = 16;
constexpr int kMaximumPictureWidth = 384;
/// 65 KB each.
constexpr std::size_t kPicturesInMemory = 800;
/// Some 4 KB each.
constexpr std::size_t kPicturesOnDisk = 2000;
constexpr int kPicturesPerWrite = 64;
constexpr int kJPEGQuality = 86;
constexpr auto kStreamVersion = QDataStream::Qt_6_4;

QImage shrunken(const VideoFrame& frame) {
    const int height = FilmStripCache::kPictureHeight;
    const int width = std::clamp(static_cast<int>(std::lround(1.0 * height * frame.width() / frame.height())),
                                 kMinimumPictureWidth, kMaximumPictureWidth);
    QImage picture(width, height, QImage::Format_RGB32);
    PictureSampler sampler(planarPicture(frame),
                           {{0, 0}, {static_cast<double>(width), static_cast<double>(height)}}, 0, width);
    for (int y = 0; y < height; ++y) sampler.row(y, picture.scanLine(y));
    return picture;
}

/// What stands where a movie has no picture.
QImage blackPicture() {
    const double width = FilmStripCache::kPictureHeight * kUsualAspectRatio;
    QImage picture(static_cast<int>(width), FilmStripCache::kPictureHeight, QImage::Format_RGB32);
    picture.fill(Qt::black);
    return picture;
}

QByteArray encoded(const QImage& picture) {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    picture.save(&buffer, "JPG", kJPEGQuality);
    return bytes;
}

}  // namespace

/// Makes the pictures. Everything but the wishes belongs to the queue.
class FilmStripCache::Worker {
public:
    Worker(FilmStripCache* owner, TimelineCacheDirectory directory)
        : owner_(owner), directory_(std::move(directory)) {}

    /// True if the queue has to be told to work.
    bool want(const std::vector<Key>& keys) {
        const std::lock_guard lock(mutex_);
        wanted_.assign(keys.begin(), keys.end());
        return !wanted_.empty() && !std::exchange(isWorking_, true);
    }
    void cancel() {
        const std::lock_guard lock(mutex_);
        owner_ = nullptr;
        wanted_.clear();
    }
    void work() {
        while (const auto key = next()) {
            try {
                make(*key);
            } catch (const std::exception& error) {
                logger(LogCategory::app).warn("The timeline shows no pictures of a movie. {}", error.what());
                source_.reset();
                forget(key->source);
                tell([source = key->source](FilmStripCache& owner) { owner.giveUp(source); });
            }
        }
    }

private:
    std::optional<Key> next() {
        {
            const std::lock_guard lock(mutex_);
            if (!wanted_.empty()) {
                Key key = wanted_.front();
                wanted_.pop_front();
                return key;
            }
        }
        save();
        const std::lock_guard lock(mutex_);
        isWorking_ = !wanted_.empty();
        if (!isWorking_) return std::nullopt;
        Key key = wanted_.front();
        wanted_.pop_front();
        return key;
    }
    void forget(const URL& source) {
        const std::lock_guard lock(mutex_);
        std::erase_if(wanted_, [&](const Key& key) { return key.source == source; });
    }
    template <typename Message>
    void tell(Message message) {
        const std::lock_guard lock(mutex_);
        if (owner_ == nullptr) return;
        QMetaObject::invokeMethod(
            owner_, [owner = owner_, message] { message(*owner); }, Qt::QueuedConnection);
    }
    void make(const Key& key) {
        open(key.source);
        QImage picture;
        if (const auto kept = strip_.find(key.index); kept != strip_.end()) {
            picture = QImage::fromData(kept->second, "JPG").convertToFormat(QImage::Format_RGB32);
        }
        if (picture.isNull()) {
            picture = decoded(key);
            if (strip_.size() < kPicturesOnDisk) {
                strip_[key.index] = encoded(picture);
                if (++unsavedCount_ >= kPicturesPerWrite) save();
            }
        }
        tell([key, picture](FilmStripCache& owner) { owner.add(key, picture); });
    }
    QImage decoded(const Key& key) {
        if (!source_) {
            const auto asset = std::make_shared<const MediaAsset>(key.source);
            const auto tracks = asset->tracks(MediaType::video);
            if (tracks.empty()) return blackPicture();
            source_ = std::make_unique<FrameSource>(asset, tracks.front());
            turn_ = tracks.front().preferredTransform;
        }
        const double seconds = static_cast<double>(key.index) * kPictureSeconds;
        const auto frame = source_->frame(CMTime::fromSeconds(seconds, kTimelineTimescale));
        return frame ? shrunken(orientedFrame(*frame, turn_)) : blackPicture();
    }
    /// Turns to a source: reads what is known of it.
    void open(const URL& url) {
        const auto name = TimelineCacheDirectory::name(url, "filmstrip");
        if (url == url_ && name == name_) return;
        save();
        source_.reset();
        strip_.clear();
        url_ = url;
        name_ = name;
        if (!name_) return;
        const auto contents = directory_.read(*name_);
        if (!contents) return;
        QDataStream stream(*contents);
        stream.setVersion(kStreamVersion);
        qint64 index = 0;
        QByteArray picture;
        while (!stream.atEnd()) {
            stream >> index >> picture;
            if (stream.status() != QDataStream::Ok) break;
            strip_[index] = picture;
        }
    }
    void save() {
        if (unsavedCount_ == 0 || !name_) return;
        unsavedCount_ = 0;
        QByteArray contents;
        QDataStream stream(&contents, QIODevice::WriteOnly);
        stream.setVersion(kStreamVersion);
        for (const auto& [index, picture] : strip_) stream << static_cast<qint64>(index) << picture;
        directory_.write(*name_, contents);
    }

    std::mutex mutex_;
    FilmStripCache* owner_;   // guarded by mutex_; null once it has gone
    std::deque<Key> wanted_;  // guarded by mutex_
    bool isWorking_ = false;  // guarded by mutex_

    // Queue only.
    TimelineCacheDirectory directory_;
    URL url_;
    std::optional<std::string> name_;
    std::map<std::int64_t, QByteArray> strip_;  ///< JPEG files
    int unsavedCount_ = 0;
    std::unique_ptr<FrameSource> source_;
    CGAffineTransform turn_;  ///< of the source's pictures
};

FilmStripCache::FilmStripCache(TimelineCacheDirectory directory)
    : worker_(std::make_shared<Worker>(this, std::move(directory))),
      queue_(std::make_shared<SerialQueue>("com.varnelle.editor.filmstrip")) {}

FilmStripCache::~FilmStripCache() {
    worker_->cancel();
    // The queue's end waits for the picture in work, which the main thread mustn't.
    QThreadPool::globalInstance()->start([queue = std::move(queue_)]() mutable { queue.reset(); });
}

QImage FilmStripCache::picture(const Key& key) const {
    const auto found = pictures_.find(key);
    if (found == pictures_.end()) return {};
    found->second.lastUse = ++useCount_;
    return found->second.picture;
}

QImage FilmStripCache::nearestPicture(const Key& key) const {
    const auto after = pictures_.lower_bound(key);
    const bool hasAfter = after != pictures_.end() && after->first.source == key.source;
    const bool hasBefore = after != pictures_.begin() && std::prev(after)->first.source == key.source;
    if (!hasAfter && !hasBefore) return {};
    if (!hasBefore) return after->second.picture;
    const auto before = std::prev(after);
    const bool isAfterNearer = hasAfter && after->first.index - key.index < key.index - before->first.index;
    return (isAfterNearer ? after : before)->second.picture;
}

double FilmStripCache::aspectRatio(const URL& source) const {
    const QImage any = nearestPicture({source, 0});
    return any.isNull() ? kUsualAspectRatio : 1.0 * any.width() / any.height();
}

void FilmStripCache::want(std::vector<Key> keys) {
    std::erase_if(keys, [&](const Key& key) { return failedSources_.contains(key.source); });
    if (keys == wanted_) return;
    wanted_ = std::move(keys);
    if (worker_->want(wanted_)) queue_->async([worker = worker_] { worker->work(); });
}

void FilmStripCache::add(const Key& key, const QImage& picture) {
    pictures_.insert_or_assign(key, Kept{picture, ++useCount_});
    std::erase(wanted_, key);
    if (pictures_.size() > kPicturesInMemory) {
        const auto oldest = std::min_element(
            pictures_.begin(), pictures_.end(),
            [](const auto& a, const auto& b) { return a.second.lastUse < b.second.lastUse; });
        pictures_.erase(oldest);
    }
    announce();
}

void FilmStripCache::giveUp(const URL& source) {
    failedSources_.insert(source);
    announce();
}

void FilmStripCache::announce() {
    // Pictures that come together are shown together.
    if (std::exchange(isAnnounced_, true)) return;
    QMetaObject::invokeMethod(
        this,
        [this] {
            isAnnounced_ = false;
            emit picturesChanged();
        },
        Qt::QueuedConnection);
}

}  // namespace varnelle
