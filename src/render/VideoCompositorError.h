#pragma once

#include "foundation/Error.h"
#include "foundation/URL.h"

namespace varnelle {

/// A project can't be composed or a frame of it can't be rendered.
class VideoCompositorError : public Error {
public:
    enum class Code {
        missingVideoTrack,
        noVideoClips,
        trackCreationFailed,
        inconsistentTimelineOffsets,
        renderContextUnavailable,
    };

    static VideoCompositorError missingVideoTrack(const URL& url) {
        return {Code::missingVideoTrack, "The movie “" + url.string() + "” has no picture."};
    }
    static VideoCompositorError noVideoClips() {
        return {Code::noVideoClips, "The project has no clips to show."};
    }
    static VideoCompositorError inconsistentTimelineOffsets() {
        return {Code::inconsistentTimelineOffsets,
                "The clips on the timeline don't follow each other: a source may be shorter than its clip."};
    }
    static VideoCompositorError renderContextUnavailable(
        const std::string& reason = "its source picture isn't there") {
        return {Code::renderContextUnavailable, "A frame couldn't be rendered: " + reason + "."};
    }

    [[nodiscard]] Code code() const { return code_; }

private:
    VideoCompositorError(Code code, const std::string& message) : Error(message), code_(code) {}

    Code code_;
};

}  // namespace varnelle
