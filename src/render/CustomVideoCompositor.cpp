#include "render/CustomVideoCompositor.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <thread>

#include "render/OrientedFrame.h"
#include "render/VideoCompositorError.h"

namespace varnelle {
namespace {

/// As many frames in work as processors less one, which leaves room for decoding and encoding, within 2
/// and 4.
std::size_t framesInWork() {
    return std::clamp<std::size_t>(std::max(std::thread::hardware_concurrency(), 1U) - 1, 2, 4);
}

constexpr std::size_t kRecentFrames = 6;

/// A canvas of a recording on a scaled display may have a size between pixels; frames haven't.
CGSize wholePixels(CGSize size) {
    return {std::floor(size.width), std::floor(size.height)};
}

/// The camera to follow. While a range is left, the view holds the moment when the leaving began, so that the
/// picture doesn't pan as it zooms out.
std::optional<SmoothingCameraSnapshot> cameraFor(const OverlayVideoCompositionInstruction::Contents& contents,
                                                 const ZoomPanState& state, const CMTime& sourceTime) {
    if (!contents.smoothingCamera) return std::nullopt;
    auto snapshot = contents.smoothingCamera->snapshot(sourceTime);
    if (!snapshot || state.phase != ZoomPanPhase::leaving || state.isEmpty) return snapshot;
    const CMTime leaving =
        timeFromSeconds(std::max(state.rangeEnd - state.transitionDuration, state.rangeStart));
    const auto frozen = contents.smoothingCamera->snapshot(contents.sourceTimeMapper.sourceTime(leaving));
    return frozen ? frozen : snapshot;
}

VideoFrame newOutput(VideoRenderContext& context) {
    try {
        return context.newPixelBuffer();
    } catch (const std::bad_alloc&) {
        throw VideoCompositorError::renderContextUnavailable("there isn't enough memory");
    }
}

}  // namespace

FramePlan planFrame(const OverlayVideoCompositionInstruction& instruction, const CMTime& compositionTime,
                    CGSize sourceSize, CGSize canvas, bool hasCameraFrame) {
    const auto& contents = instruction.contents();
    const OverlayConfiguration configuration = contents.overlayController->configuration();
    const CMTime sourceTime = contents.sourceTimeMapper.sourceTime(compositionTime);
    FramePlanInput input;
    input.canvas = wholePixels(canvas);
    input.sourceSize = sourceSize;
    input.configuration = &configuration;
    input.zoomPanState = contents.zoomPanClipsController->state(compositionTime, kZoomTransitionSeconds);
    input.snapshot = cameraFor(contents, input.zoomPanState, sourceTime);
    input.hasCameraFrame = hasCameraFrame;
    input.cursorState.visibility = CursorVisibility::noData;
    if (contents.cursorRecording) {
        input.cursorState = contents.cursorRecording->cursorState(sourceTime);
        input.captureRegion = contents.cursorRecording->captureRegion;
    }
    return makeFramePlan(input);
}

CustomVideoCompositor::CustomVideoCompositor()
    : renderQueue_("com.varnelle.editor.customcompositor", framesInWork()) {}

void CustomVideoCompositor::renderContextChanged(std::shared_ptr<VideoRenderContext> context) {
    const CGSize size = context ? context->size() : CGSize{};
    bool hasSizeChanged = false;
    {
        const std::lock_guard lock(contextLock_);
        hasSizeChanged = size != lastRenderSize_;
        renderContext_ = std::move(context);
        lastRenderSize_ = size;
    }
    // A frame in work may still put a picture of the old size into a cache; its key holds the size, so it is
    // never found for the new one.
    if (hasSizeChanged) {
        painter_.removeCachedLayers();
        const std::lock_guard lock(recentLock_);
        recentFrames_.clear();
    }
}

void CustomVideoCompositor::startRequest(std::shared_ptr<VideoCompositionRequest> request) {
    std::uint64_t generation = 0;
    {
        const std::lock_guard lock(stateLock_);
        generation = cancelGeneration_;
    }
    renderQueue_.async(
        [this, request = std::move(request), generation] { renderFrame(*request, generation); });
}

void CustomVideoCompositor::cancelAllPendingRequests() {
    const std::lock_guard lock(stateLock_);
    ++cancelGeneration_;
}

bool CustomVideoCompositor::isCancelled(std::uint64_t generation) const {
    const std::lock_guard lock(stateLock_);
    return generation != cancelGeneration_;
}

void CustomVideoCompositor::renderFrame(VideoCompositionRequest& request, std::uint64_t generation) {
    if (isCancelled(generation)) return request.finishCancelledRequest();
    try {
        const auto instruction =
            std::dynamic_pointer_cast<const OverlayVideoCompositionInstruction>(request.instruction());
        std::shared_ptr<VideoRenderContext> context;
        {
            const std::lock_guard lock(contextLock_);
            context = renderContext_;
        }
        const auto source = instruction ? request.sourceFrame(instruction->contents().screenTrackID)
                                        : std::optional<VideoFrame>();
        if (!instruction || !context || !source) throw VideoCompositorError::renderContextUnavailable();

        const auto& contents = instruction->contents();
        Ingredients ingredients;
        ingredients.screen = *source;
        ingredients.screenTransform = contents.screenTransform;
        // A camera picture that is missing leaves out the bubble of this frame alone.
        const auto camera =
            contents.cameraTrackID ? request.sourceFrame(*contents.cameraTrackID) : std::nullopt;
        ingredients.plan = planFrame(*instruction, request.compositionTime(),
                                     orientedSize(*source, contents.screenTransform), context->renderSize(),
                                     camera.has_value());
        if (context->renderScale() != 1) {
            ingredients.plan = scaled(ingredients.plan, context->renderScale());
            ingredients.plan.canvas = context->size();
        }
        if (ingredients.plan.bubble) {
            ingredients.camera = *camera;
            ingredients.cameraTransform = contents.cameraTransform;
        }
        const auto frame = frameFor(ingredients, *context, generation);
        if (!frame) return request.finishCancelledRequest();
        request.finish(*frame);
    } catch (const Error&) {
        request.finish(std::current_exception());
    } catch (const std::exception& error) {
        request.finish(std::make_exception_ptr(
            Error(std::string("A frame couldn't be rendered: ") + error.what() + ".")));
    }
}

bool CustomVideoCompositor::Ingredients::isSame(const Ingredients& other) const {
    return screen.sharesStorage(other.screen) && camera.sharesStorage(other.camera) && plan == other.plan &&
           screenTransform == other.screenTransform && cameraTransform == other.cameraTransform;
}

std::optional<VideoFrame> CustomVideoCompositor::frameFor(const Ingredients& ingredients,
                                                          VideoRenderContext& context,
                                                          std::uint64_t generation) {
    const auto isWanted = [&] { return !isCancelled(generation); };
    std::promise<VideoFrame> promise;
    bool isMine = false;
    const auto output = recentFrame(ingredients, promise, isMine);
    if (!isMine) {
        const VideoFrame& frame = output.get();
        if (!frame.isEmpty()) return isWanted() ? std::optional(frame) : std::nullopt;
        // The thread that was drawing it gave up: it was cancelled, and so is this request, or it failed.
    }
    const auto giveUp = [&] {
        if (!isMine) return;
        forget(ingredients);
        promise.set_value({});
    };
    if (!isWanted()) {
        giveUp();
        return std::nullopt;
    }
    VideoFrame frame;
    bool isWhole = false;
    try {
        frame = newOutput(context);
        isWhole = painter_.paint(
            ingredients.plan, orientedFrame(ingredients.screen, ingredients.screenTransform),
            ingredients.camera.isEmpty() ? VideoFrame()
                                         : orientedFrame(ingredients.camera, ingredients.cameraTransform),
            {frame.plane(0).data, frame.plane(0).bytesPerRow, frame.width(), frame.height()}, isWanted);
        frame = frame.tagged({ColorDescription::Primaries::bt709, ColorDescription::Transfer::bt709,
                              ColorDescription::Matrix::rgb, ColorDescription::Range::full});
    } catch (...) {
        giveUp();
        throw;
    }
    if (!isWhole) {
        giveUp();
        return std::nullopt;
    }
    if (isMine) promise.set_value(frame);
    if (!isWanted()) return std::nullopt;
    return frame;
}

std::shared_future<VideoFrame> CustomVideoCompositor::recentFrame(const Ingredients& ingredients,
                                                                  std::promise<VideoFrame>& promise,
                                                                  bool& isMine) {
    const std::lock_guard lock(recentLock_);
    for (const RecentFrame& recent : recentFrames_) {
        if (recent.ingredients.isSame(ingredients)) return recent.output;
    }
    isMine = true;
    recentFrames_.push_back({ingredients, promise.get_future().share()});
    if (recentFrames_.size() > kRecentFrames) recentFrames_.pop_front();
    return recentFrames_.back().output;
}

void CustomVideoCompositor::forget(const Ingredients& ingredients) {
    const std::lock_guard lock(recentLock_);
    std::erase_if(recentFrames_,
                  [&](const RecentFrame& recent) { return recent.ingredients.isSame(ingredients); });
}

}  // namespace varnelle
