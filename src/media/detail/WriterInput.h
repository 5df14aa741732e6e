#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <thread>

#include "media/AssetWriter.h"
#include "media/detail/AudioEncoder.h"
#include "media/detail/FrameConverter.h"
#include "media/detail/Muxer.h"
#include "media/detail/SampleQueue.h"
#include "media/detail/VideoEncoder.h"

namespace varnelle::detail {

/// One track being written: a queue, and a thread that encodes what comes out of it into the muxer.
class WriterInput : public AssetWriterInput {
public:
    using FailureHandler = std::function<void(const std::exception_ptr&)>;

    ~WriterInput() override;

    [[nodiscard]] bool isReadyForMoreMediaData() const override { return samples_->isReady(); }
    [[nodiscard]] bool append(const SampleBuffer& sample) override;
    void requestMediaDataWhenReady(SerialQueue& queue, std::function<void()> block) override;
    void markAsFinished() override { samples_->markAsFinished(); }

    /// Starts the thread; `onFailure` is called on it, at most once.
    void start(FailureHandler onFailure);
    void startSession(const CMTime& sourceTime) { samples_->start(sourceTime); }
    void abandon() { samples_->abandon(); }
    /// Waits until everything that was appended is with the muxer.
    void drain();

protected:
    WriterInput(Muxer& muxer, std::size_t queueCapacity, std::int32_t timescale,
                std::shared_ptr<InputPacing> pacing);
    [[nodiscard]] virtual bool fits(const SampleBuffer& sample) const = 0;
    virtual void encode(const SampleBuffer& sample, const PacketHandler& onPacket) = 0;
    virtual void finishEncoding(const PacketHandler& onPacket) = 0;
    [[nodiscard]] virtual const char* threadName() const = 0;

    Muxer& muxer_;
    std::size_t track_ = 0;

private:
    void run(const FailureHandler& onFailure);

    std::shared_ptr<SampleQueue> samples_;
    std::thread thread_;
};

class VideoWriterInput final : public WriterInput {
public:
    VideoWriterInput(Muxer& muxer, const VideoSettings& settings, std::unique_ptr<VideoEncoder> encoder,
                     std::shared_ptr<InputPacing> pacing);
    [[nodiscard]] const std::string& encoderName() const { return encoder_->name(); }

private:
    [[nodiscard]] bool fits(const SampleBuffer& sample) const override { return sample.image() != nullptr; }
    void encode(const SampleBuffer& sample, const PacketHandler& onPacket) override;
    void finishEncoding(const PacketHandler& onPacket) override { encoder_->finish(onPacket); }
    [[nodiscard]] const char* threadName() const override { return "encode-video"; }

    std::unique_ptr<VideoEncoder> encoder_;
    FrameConverter converter_;
};

class AudioWriterInput final : public WriterInput {
public:
    AudioWriterInput(Muxer& muxer, const AudioSettings& settings, std::shared_ptr<InputPacing> pacing);

private:
    [[nodiscard]] bool fits(const SampleBuffer& sample) const override;
    void encode(const SampleBuffer& sample, const PacketHandler& onPacket) override;
    void finishEncoding(const PacketHandler& onPacket) override { encoder_.finish(onPacket); }
    [[nodiscard]] const char* threadName() const override { return "encode-sound"; }

    AudioEncoder encoder_;
};

}  // namespace varnelle::detail
