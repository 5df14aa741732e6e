#pragma once

#include <exception>
#include <memory>
#include <optional>

#include "media/Composition.h"
#include "media/SampleBuffer.h"
#include "media/VideoComposition.h"

namespace varnelle {

enum class TransferStatus { unknown, reading, completed, failed, cancelled };

/// Reads a composition's picture frame by frame through a compositor. Frames lie on the grid of the frame
/// duration from zero up to (not including) the composition's end, are delivered in order, and several are in
/// work at once: decoding runs ahead on threads of its own, bounded, so memory stays flat.
///
/// `copyNextSampleBuffer` is for one thread at a time; `cancelReading` may be called on any thread.
class AssetReader {
public:
    /// Opens the sources. Throws `MediaError`.
    AssetReader(std::shared_ptr<const Composition> composition, VideoComposition videoComposition);
    ~AssetReader();
    AssetReader(const AssetReader&) = delete;
    AssetReader& operator=(const AssetReader&) = delete;

    /// Starts decoding and composing ahead. False, with `error()` set, if that isn't possible.
    [[nodiscard]] bool startReading();
    /// The next composed frame with its presentation time and duration; waits for it. Absent at the end,
    /// after a failure and after `cancelReading`: `status()` tells which.
    [[nodiscard]] std::optional<SampleBuffer> copyNextSampleBuffer();
    /// Stops reading; a waiting `copyNextSampleBuffer` returns nothing. Doesn't wait.
    void cancelReading();

    [[nodiscard]] TransferStatus status() const;
    /// Why reading failed, or null.
    [[nodiscard]] std::exception_ptr error() const;

private:
    class Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace varnelle
