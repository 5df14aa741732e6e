#include "media/detail/PlayerPictures.h"

#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "media/detail/FrameRequest.h"
#include "media/detail/TrackPictures.h"

namespace varnelle::detail {
namespace {

using Clock = std::chrono::steady_clock;

/// Frames that are made ahead of the clock: enough to hide the decoding of a cut on a busy machine, few
/// enough for a change of the look to be seen at once.
constexpr std::size_t kFramesAhead = 8;
/// With so many the clock may start; the others come faster than they are due.
constexpr std::size_t kFramesToBegin = 3;
/// More frames a second than this aren't worth making.
constexpr double kScreenRate = 60;
/// How long a scrub may go without a new frame before one is carried through.
constexpr std::chrono::milliseconds kPatience{100};
/// Decoded frames that are kept: of the screen, over a second at 1080p; of any other track.
constexpr std::size_t kScreenCacheBytes = 256'000'000;
constexpr std::size_t kOtherCacheBytes = 64'000'000;

double renderScale(CGSize renderSize, CGSize pixels) {
    if (!(pixels.width >= 1 && pixels.height >= 1)) return 1;
    constexpr double leastSide = 2;
    const double least = std::max(leastSide / renderSize.width, leastSide / renderSize.height);
    return std::min(
        1.0, std::max(least, std::min(pixels.width / renderSize.width, pixels.height / renderSize.height)));
}

}  // namespace

/// A frame to be made.
struct PlayerPictures::Job {
    bool isStill = false;
    std::int64_t index = 0;
    std::uint64_t epoch = 0;
    bool isCarriedThrough = false;
    CMTime time;
    std::function<CMTime()> clock;  ///< of a run
};

/// What the thread works with; nobody else sees it.
struct PlayerPictures::Loaded {
    std::shared_ptr<const PlayerItem> item;
    std::shared_ptr<VideoCompositing> compositor;
    std::shared_ptr<VideoRenderContext> context;
    std::vector<TrackPictures> tracks;
    std::exception_ptr failure;   ///< why there is nothing of the above
    CGSize pixels;                ///< that the context was made for
    std::uint64_t epoch = 0;      ///< of what the compositor has to do
    double secondsForAFrame = 0;  ///< from its beginning to its request, lately
};

struct PlayerPictures::State {
    explicit State(std::function<void()> handler) : onChange(std::move(handler)) {}

    const std::function<void()> onChange;
    std::mutex mutex;
    std::condition_variable wakeUp;
    // guarded by mutex
    std::shared_ptr<const PlayerItem> item;
    FrameGrid grid;
    CGSize pixels;
    std::uint64_t epoch = 1;                ///< what was begun in another one is of no use
    std::uint64_t carriedThroughSince = 1;  ///< unless it is a still of this or a later one, carried through
    bool isStopping = false;
    std::exception_ptr failure;

    std::optional<std::int64_t> wantedStill;
    std::optional<Job> stillInWork;
    std::optional<Clock::time_point> unservedSince;  ///< when the oldest request without a frame came
    std::optional<Picture> still;

    std::function<CMTime()> clock;  ///< empty unless a run is on
    double rate = 1;
    std::int64_t next = 0;
    std::size_t runInWork = 0;
    std::map<std::int64_t, VideoFrame> ready;
    std::int64_t lastTaken = 0;
    Counts counts;

    // With the mutex held.
    void overtake() {
        ++epoch;
        carriedThroughSince = epoch;
        clock = nullptr;
        runInWork = 0;
        ready.clear();
        wantedStill.reset();
        still.reset();
        failure = nullptr;
    }
    [[nodiscard]] bool canMakeStill() const {
        return wantedStill &&
               (!stillInWork || (stillInWork->epoch != epoch && !stillInWork->isCarriedThrough));
    }
    [[nodiscard]] bool canRunAhead() const {
        return clock && next < grid.count() && runInWork + ready.size() < kFramesAhead;
    }
    /// Frames of the grid from one that is made to the next.
    [[nodiscard]] std::int64_t step() const {
        const double wanted = rate / (grid.frameDuration().seconds() * kScreenRate);
        return std::max<std::int64_t>(1, std::llround(std::ceil(wanted - 0.01)));
    }
    [[nodiscard]] Job takeStillJob() {
        Job job{true, *wantedStill, epoch, false, grid.time(*wantedStill), {}};
        job.isCarriedThrough = unservedSince && Clock::now() - *unservedSince > kPatience;
        wantedStill.reset();
        stillInWork = job;
        return job;
    }
    [[nodiscard]] Job takeRunJob() {
        ++runInWork;
        Job job{false, next, epoch, false, grid.time(next), clock};
        next += step();
        return job;
    }
    [[nodiscard]] bool isWanted(const Job& job) const {
        if (isStopping) return false;
        return job.epoch == epoch || (job.isCarriedThrough && job.epoch >= carriedThroughSince);
    }
    void giveUp(const Job& job) {
        if (job.isStill && stillInWork && stillInWork->epoch == job.epoch) stillInWork.reset();
        if (!job.isStill && job.epoch == epoch) --runInWork;
    }
    void receive(const Job& job, const VideoFrame& picture) {
        giveUp(job);
        if (!isWanted(job)) return;
        if (job.isStill) {
            still = Picture{picture, job.index, job.epoch};
            unservedSince.reset();
        } else {
            ready.emplace(job.index, picture);
        }
    }
    void fail(const Job& job, const std::exception_ptr& error) {
        giveUp(job);
        if (job.epoch != epoch) return;
        overtake();
        failure = error;
    }
};

PlayerPictures::PlayerPictures(std::function<void()> onChange)
    : state_(std::make_shared<State>(std::move(onChange))), thread_([this] { work(); }) {}

PlayerPictures::~PlayerPictures() {
    {
        const std::lock_guard lock(state_->mutex);
        state_->overtake();
        state_->isStopping = true;
    }
    state_->wakeUp.notify_all();
    thread_.join();
    // Requests that are still under way hold the state, and shouldn't be who lets go of the item.
    std::shared_ptr<const PlayerItem> item;
    const std::lock_guard lock(state_->mutex);
    item.swap(state_->item);
}

void PlayerPictures::setItem(std::shared_ptr<const PlayerItem> item, const FrameGrid& grid) {
    {
        const std::lock_guard lock(state_->mutex);
        state_->overtake();
        state_->unservedSince.reset();
        state_->item = std::move(item);
        state_->grid = grid;
    }
    state_->wakeUp.notify_all();
}

void PlayerPictures::setRenderSize(CGSize pixels) {
    const std::lock_guard lock(state_->mutex);
    state_->pixels = pixels;
}

std::uint64_t PlayerPictures::requestStill(std::int64_t index) {
    std::uint64_t request = 0;
    {
        const std::lock_guard lock(state_->mutex);
        const std::uint64_t since = state_->carriedThroughSince;
        state_->overtake();
        state_->carriedThroughSince = since;
        state_->wantedStill = index;
        if (!state_->unservedSince) state_->unservedSince = Clock::now();
        request = state_->epoch;
    }
    state_->wakeUp.notify_all();
    return request;
}

void PlayerPictures::redrawStill(std::int64_t index) {
    {
        const std::lock_guard lock(state_->mutex);
        if (state_->wantedStill) return;
        const bool isInWork = state_->stillInWork && state_->stillInWork->epoch == state_->epoch;
        state_->wantedStill = isInWork ? state_->stillInWork->index : index;
    }
    state_->wakeUp.notify_all();
}

void PlayerPictures::cancelStill() {
    const std::lock_guard lock(state_->mutex);
    state_->overtake();
    state_->unservedSince.reset();
}

std::optional<PlayerPictures::Picture> PlayerPictures::takeStill() {
    const std::lock_guard lock(state_->mutex);
    return std::exchange(state_->still, std::nullopt);
}

void PlayerPictures::run(std::function<CMTime()> clock, double rate, std::int64_t next) {
    {
        const std::lock_guard lock(state_->mutex);
        state_->overtake();
        state_->clock = std::move(clock);
        state_->rate = rate;
        state_->next = next;
        state_->lastTaken = next - state_->step();
        state_->counts = {};
    }
    state_->wakeUp.notify_all();
}

void PlayerPictures::setRate(double rate) {
    const std::lock_guard lock(state_->mutex);
    state_->rate = rate;
}

void PlayerPictures::stopRun() {
    const std::lock_guard lock(state_->mutex);
    state_->overtake();
}

bool PlayerPictures::isReadyToRun() const {
    const std::lock_guard lock(state_->mutex);
    return state_->ready.size() >= kFramesToBegin ||
           (state_->next >= state_->grid.count() && state_->runInWork == 0);
}

std::optional<PlayerPictures::Picture> PlayerPictures::takeDue(const CMTime& now) {
    std::optional<Picture> due;
    {
        const std::lock_guard lock(state_->mutex);
        const auto after = state_->ready.upper_bound(state_->grid.indexAt(now));
        if (after == state_->ready.begin()) return std::nullopt;
        const auto newest = std::prev(after);
        due = Picture{newest->second, newest->first, 0};
        state_->ready.erase(state_->ready.begin(), after);
        ++state_->counts.shown;
        state_->counts.dropped +=
            std::max<std::int64_t>(0, (due->index - state_->lastTaken) / state_->step() - 1);
        state_->lastTaken = due->index;
    }
    state_->wakeUp.notify_all();
    return due;
}

std::optional<CMTime> PlayerPictures::nextDueTime() const {
    const std::lock_guard lock(state_->mutex);
    if (state_->ready.empty()) return std::nullopt;
    return state_->grid.time(state_->ready.begin()->first);
}

std::exception_ptr PlayerPictures::takeFailure() {
    const std::lock_guard lock(state_->mutex);
    return std::exchange(state_->failure, nullptr);
}

PlayerPictures::Counts PlayerPictures::counts() const {
    const std::lock_guard lock(state_->mutex);
    return state_->counts;
}

void PlayerPictures::work() {
    pthread_setname_np(pthread_self(), "player-pictures");
    Loaded loaded;
    std::unique_lock lock(state_->mutex);
    while (!state_->isStopping) {
        const bool isLoaded = loaded.item == state_->item;
        const bool canWork = state_->item && (state_->canMakeStill() || state_->canRunAhead());
        if (isLoaded && !canWork) {
            state_->wakeUp.wait(lock);
            continue;
        }
        Job job{false, 0, state_->epoch, false, kCMTimeZero, {}};
        if (isLoaded) job = state_->canMakeStill() ? state_->takeStillJob() : state_->takeRunJob();
        const auto item = state_->item;
        const CGSize pixels = state_->pixels;
        lock.unlock();
        if (!isLoaded) {
            load(loaded, item);
        } else {
            try {
                setSize(loaded, pixels);
                make(loaded, job);
            } catch (...) {
                {
                    const std::lock_guard failureLock(state_->mutex);
                    state_->fail(job, std::current_exception());
                }
                state_->onChange();
            }
        }
        lock.lock();
    }
    lock.unlock();
    if (loaded.compositor) loaded.compositor->cancelAllPendingRequests();
}

void PlayerPictures::load(Loaded& loaded, const std::shared_ptr<const PlayerItem>& item) {
    if (loaded.compositor) loaded.compositor->cancelAllPendingRequests();
    loaded = {};
    loaded.item = item;
    // Different from any size, so that the first frame makes a context.
    loaded.pixels = {-1, -1};
    if (!item) return;
    try {
        loaded.compositor = item->videoComposition.makeCompositor();
    } catch (...) {
        loaded.failure = std::current_exception();
    }
    for (const TrackID id : item->videoComposition.instruction->requiredSourceTrackIDs()) {
        const CompositionTrack* track = item->composition->track(id);
        if (track == nullptr || track->mediaType() != MediaType::video) continue;
        loaded.tracks.emplace_back(*track, loaded.tracks.empty() ? kScreenCacheBytes : kOtherCacheBytes);
    }
}

void PlayerPictures::setSize(Loaded& loaded, CGSize pixels) {
    if (loaded.failure) std::rethrow_exception(loaded.failure);
    if (pixels == loaded.pixels) return;
    loaded.pixels = pixels;
    const CGSize renderSize = loaded.item->videoComposition.renderSize;
    loaded.context = std::make_shared<VideoRenderContext>(renderSize, renderScale(renderSize, pixels));
    loaded.compositor->renderContextChanged(loaded.context);
}

void PlayerPictures::make(Loaded& loaded, const Job& job) const {
    if (std::exchange(loaded.epoch, job.epoch) != job.epoch) loaded.compositor->cancelAllPendingRequests();
    const auto isWanted = [&] {
        const std::lock_guard lock(state_->mutex);
        return state_->isWanted(job);
    };
    const Job wanted = job.isStill ? job : inTime(job, loaded.secondsForAFrame);
    const auto begin = Clock::now();
    SourceFrames frames;
    for (TrackPictures& track : loaded.tracks) {
        frames.emplace_back(track.trackID(), track.frameAt(wanted.time, isWanted));
    }
    if (!isWanted()) {
        const std::lock_guard lock(state_->mutex);
        return state_->giveUp(job);
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    loaded.secondsForAFrame += 0.2 * (seconds - loaded.secondsForAFrame);
    loaded.compositor->startRequest(std::make_shared<FrameRequest>(
        wanted.time, loaded.item->videoComposition.instruction, loaded.context, std::move(frames),
        [state = state_, wanted](const RequestAnswer& answer) {
            {
                const std::lock_guard lock(state->mutex);
                if (const auto* picture = std::get_if<VideoFrame>(&answer)) {
                    state->receive(wanted, *picture);
                } else if (const auto* error = std::get_if<std::exception_ptr>(&answer)) {
                    state->fail(wanted, *error);
                } else {
                    state->giveUp(wanted);
                }
            }
            state->wakeUp.notify_all();
            state->onChange();
        }));
}

/// The job itself, or one for a later frame if its own would be late.
PlayerPictures::Job PlayerPictures::inTime(const Job& job, double secondsForAFrame) const {
    const CMTime now = job.clock();
    const std::lock_guard lock(state_->mutex);
    const FrameGrid& grid = state_->grid;
    const std::int64_t current = grid.indexAt(now);
    if (job.epoch != state_->epoch || job.index > current) return job;
    const double lead = secondsForAFrame * state_->rate / grid.frameDuration().seconds();
    Job later = job;
    later.index = std::min(current + 1 + static_cast<std::int64_t>(std::ceil(lead)), grid.count() - 1);
    later.time = grid.time(later.index);
    state_->next = later.index + state_->step();
    return later;
}

}  // namespace varnelle::detail
