#include "media/AssetWriter.h"

#include <fmt/format.h>
#include <pthread.h>
#include <unistd.h>

#include <cassert>
#include <cerrno>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "foundation/Error.h"
#include "media/MediaError.h"
#include "media/detail/EncoderChoice.h"
#include "media/detail/Muxer.h"
#include "media/detail/WriterInput.h"

namespace varnelle {

class AssetWriter::Implementation {
public:
    Implementation(const URL& url, FileType type, const Options& options) : muxer_(url, type, options) {}

    ~Implementation() {
        cancel();
        // The completion may be what destroys the writer.
        if (finisher_.get_id() == std::this_thread::get_id()) {
            finisher_.detach();
        } else if (finisher_.joinable()) {
            finisher_.join();
        }
        // An input's thread may report a failure, which looks at all inputs: every one has to end before the
        // first goes.
        for (const auto& input : inputs_) {
            input->abandon();
            input->markAsFinished();
        }
        for (const auto& input : inputs_) input->drain();
        if (status() == TransferStatus::failed) muxer_.abandon(detail::Muxer::Leftover::keepIfReadable);
    }

    AssetWriterInput* addVideo(const VideoSettings& settings) {
        auto input = std::make_unique<detail::VideoWriterInput>(muxer_, settings,
                                                                detail::openBestEncoder(settings), pacing_);
        if (videoEncoderName_.empty()) videoEncoderName_ = input->encoderName();
        inputs_.push_back(std::move(input));
        return inputs_.back().get();
    }

    AssetWriterInput* addAudio(const AudioSettings& settings) {
        inputs_.push_back(std::make_unique<detail::AudioWriterInput>(muxer_, settings, pacing_));
        return inputs_.back().get();
    }

    bool start() {
        if (status() != TransferStatus::unknown) return false;
        try {
            muxer_.open();
        } catch (...) {
            fail(std::current_exception());
            return false;
        }
        {
            const std::lock_guard lock(mutex_);
            status_ = TransferStatus::reading;
        }
        for (const auto& input : inputs_) {
            input->start([this](const std::exception_ptr& error) { fail(error); });
        }
        return true;
    }

    void startSession(const CMTime& sourceTime) {
        {
            const std::lock_guard lock(mutex_);
            if (status_ != TransferStatus::reading) return;
            sessionStart_ = sourceTime;
        }
        for (const auto& input : inputs_) input->startSession(sourceTime);
    }

    void endSession(const CMTime& sourceTime) {
        const std::lock_guard lock(mutex_);
        sessionEnd_ = sourceTime - sessionStart_;
    }

    void finish(std::function<void()> completion) {
        assert(!finisher_.joinable());
        for (const auto& input : inputs_) input->markAsFinished();
        finisher_ = std::thread([this, completion = std::move(completion)] {
            pthread_setname_np(pthread_self(), "movie-finish");
            complete();
            // Nothing of this object is touched from here on: the completion may destroy it.
            completion();
        });
    }

    void cancel() {
        {
            const std::lock_guard lock(mutex_);
            if (status_ != TransferStatus::reading && status_ != TransferStatus::unknown) return;
            if (isInPlace_) return;
            status_ = TransferStatus::cancelled;
        }
        for (const auto& input : inputs_) input->abandon();
        muxer_.abandon(detail::Muxer::Leftover::remove);
    }

    [[nodiscard]] TransferStatus status() const {
        const std::lock_guard lock(mutex_);
        return status_;
    }

    [[nodiscard]] std::exception_ptr error() const {
        const std::lock_guard lock(mutex_);
        return error_;
    }

    [[nodiscard]] const std::string& videoEncoderName() const { return videoEncoderName_; }

private:
    void fail(const std::exception_ptr& error) {
        {
            const std::lock_guard lock(mutex_);
            if (status_ == TransferStatus::failed || status_ == TransferStatus::cancelled) return;
            status_ = TransferStatus::failed;
            error_ = error;
        }
        for (const auto& input : inputs_) input->abandon();
    }

    void complete() {
        for (const auto& input : inputs_) input->drain();
        std::optional<CMTime> end;
        {
            const std::lock_guard lock(mutex_);
            end = sessionEnd_;
        }
        if (status() == TransferStatus::reading) {
            try {
                muxer_.finish(end, [this](const auto& place) { return commit(place); });
            } catch (...) {
                fail(std::current_exception());
            }
        }
        {
            const std::lock_guard lock(mutex_);
            if (status_ == TransferStatus::reading) status_ = TransferStatus::completed;
            if (status_ == TransferStatus::unknown) {
                status_ = TransferStatus::failed;
                error_ = std::make_exception_ptr(MediaError(
                    MediaError::Code::cannotWrite, "A movie can't be finished before it is started."));
            }
        }
        if (status() == TransferStatus::failed) {
            muxer_.abandon(detail::Muxer::Leftover::keepIfReadable);
        }
    }

    /// Either the movie is put in its place or it is cancelled; nothing comes in between.
    bool commit(const std::function<void()>& place) {
        const std::lock_guard lock(mutex_);
        if (status_ != TransferStatus::reading) return false;
        place();
        isInPlace_ = true;
        return true;
    }

    mutable std::mutex mutex_;
    // guarded by mutex_
    TransferStatus status_ = TransferStatus::unknown;
    bool isInPlace_ = false;
    std::exception_ptr error_;
    CMTime sessionStart_ = kCMTimeZero;
    std::optional<CMTime> sessionEnd_;

    std::string videoEncoderName_;
    const std::shared_ptr<detail::InputPacing> pacing_ = std::make_shared<detail::InputPacing>();
    detail::Muxer muxer_;
    std::vector<std::unique_ptr<detail::WriterInput>> inputs_;  // end before the muxer that they write to
    std::thread finisher_;
};

AssetWriter::AssetWriter(const URL& url, FileType type, Options options) {
    if (access(url.parent().string().c_str(), W_OK | X_OK) != 0) {
        const FileError error("Writing", url.string(), errno);
        throw MediaError(MediaError::Code::cannotWrite, error.what());
    }
    implementation_ = std::make_unique<Implementation>(url, type, options);
}

AssetWriter::~AssetWriter() = default;

AssetWriterInput* AssetWriter::addVideoInput(const VideoSettings& settings) {
    return implementation_->addVideo(settings);
}

AssetWriterInput* AssetWriter::addAudioInput(const AudioSettings& settings) {
    return implementation_->addAudio(settings);
}

bool AssetWriter::startWriting() {
    return implementation_->start();
}
void AssetWriter::startSession(CMTime sourceTime) {
    implementation_->startSession(sourceTime);
}
void AssetWriter::endSession(CMTime sourceTime) {
    implementation_->endSession(sourceTime);
}
void AssetWriter::finishWriting(std::function<void()> completion) {
    implementation_->finish(std::move(completion));
}
void AssetWriter::cancelWriting() {
    implementation_->cancel();
}
TransferStatus AssetWriter::status() const {
    return implementation_->status();
}
std::exception_ptr AssetWriter::error() const {
    return implementation_->error();
}
std::string AssetWriter::videoEncoderName() const {
    return implementation_->videoEncoderName();
}

}  // namespace varnelle
