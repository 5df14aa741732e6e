#include "media/detail/WriterInput.h"

#include <pthread.h>

#include <utility>

namespace varnelle::detail {
namespace {

/// Frames. Enough to bridge a slow frame, few enough to keep memory small.
constexpr std::size_t kVideoQueueCapacity = 6;
/// Blocks, usually of 10 to 20 ms.
constexpr std::size_t kAudioQueueCapacity = 64;

}  // namespace

WriterInput::WriterInput(Muxer& muxer, std::size_t queueCapacity, std::int32_t timescale,
                         std::shared_ptr<InputPacing> pacing)
    : muxer_(muxer), samples_(std::make_shared<SampleQueue>(queueCapacity, timescale, std::move(pacing))) {}

WriterInput::~WriterInput() {
    samples_->abandon();
    samples_->markAsFinished();
    drain();
}

bool WriterInput::append(const SampleBuffer& sample) {
    return fits(sample) && samples_->append(sample);
}

void WriterInput::requestMediaDataWhenReady(SerialQueue& queue, std::function<void()> block) {
    samples_->requestMediaData(queue, std::move(block));
}

void WriterInput::start(FailureHandler onFailure) {
    thread_ = std::thread([this, onFailure = std::move(onFailure)] { run(onFailure); });
}

void WriterInput::run(const FailureHandler& onFailure) {
    pthread_setname_np(pthread_self(), threadName());
    const PacketHandler write = [this](AVPacket& packet) { muxer_.write(track_, packet); };
    try {
        while (const auto sample = samples_->pop()) encode(*sample, write);
        if (!samples_->isAbandoned()) finishEncoding(write);
    } catch (...) {
        onFailure(std::current_exception());
    }
}

void WriterInput::drain() {
    if (thread_.joinable()) thread_.join();
}

VideoWriterInput::VideoWriterInput(Muxer& muxer, const VideoSettings& settings,
                                   std::unique_ptr<VideoEncoder> encoder, std::shared_ptr<InputPacing> pacing)
    : WriterInput(muxer, kVideoQueueCapacity, kVideoTimeBase.den, std::move(pacing)),
      encoder_(std::move(encoder)),
      converter_(settings.width, settings.height, settings.color) {
    track_ = muxer_.addTrack(encoder_->context(), kVideoTimeBase, MediaType::video);
}

void VideoWriterInput::encode(const SampleBuffer& sample, const PacketHandler& onPacket) {
    const FramePtr frame = converter_.convert(*sample.image());
    encoder_->encode(*frame, ticksFromTime(sample.presentationTime, kVideoTimeBase), onPacket);
}

AudioWriterInput::AudioWriterInput(Muxer& muxer, const AudioSettings& settings,
                                   std::shared_ptr<InputPacing> pacing)
    : WriterInput(muxer, kAudioQueueCapacity, settings.sampleRate, std::move(pacing)), encoder_(settings) {
    track_ = muxer_.addTrack(encoder_.context(), AVRational{1, settings.sampleRate}, MediaType::audio);
}

bool AudioWriterInput::fits(const SampleBuffer& sample) const {
    const PCMBlock* block = sample.pcm();
    return block != nullptr && block->frameCount() > 0 && block->sampleRate > 0;
}

void AudioWriterInput::encode(const SampleBuffer& sample, const PacketHandler& onPacket) {
    encoder_.encode(*sample.pcm(), sample.presentationTime, onPacket);
}

}  // namespace varnelle::detail
