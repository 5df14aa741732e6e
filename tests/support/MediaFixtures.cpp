#include "support/MediaFixtures.h"

#include <algorithm>
#include <future>
#include <stdexcept>
#include <thread>

#include "media/MediaError.h"

namespace varnelle::test {
namespace {

constexpr int kBits = 16;

void fill(const VideoFrame& frame, int left, int top, int right, int bottom, std::uint8_t blue,
          std::uint8_t green, std::uint8_t red) {
    for (int y = std::max(0, top); y < std::min(bottom, frame.height()); ++y) {
        std::uint8_t* row = frame.plane(0).data + y * frame.plane(0).bytesPerRow;
        for (int x = std::max(0, left); x < std::min(right, frame.width()); ++x) {
            row[4 * x] = blue;
            row[4 * x + 1] = green;
            row[4 * x + 2] = red;
            row[4 * x + 3] = 255;
        }
    }
}

}  // namespace

VideoFrame plainPicture(int widthPixels, int heightPixels, std::uint8_t blue, std::uint8_t green,
                        std::uint8_t red) {
    VideoFrame frame =
        VideoFrame::allocate(PixelFormat::bgra, widthPixels, heightPixels, ColorDescription::sRGB());
    fill(frame, 0, 0, widthPixels, heightPixels, blue, green, red);
    return frame;
}

VideoFrame numberedPicture(int widthPixels, int heightPixels, int number) {
    VideoFrame frame = plainPicture(widthPixels, heightPixels, 90, 60, 30);
    for (int bit = 0; bit < kBits; ++bit) {
        const bool isSet = (number >> (kBits - 1 - bit) & 1) != 0;
        const std::uint8_t grey = isSet ? 230 : 20;
        fill(frame, widthPixels * bit / kBits, 0, widthPixels * (bit + 1) / kBits, heightPixels / 4, grey,
             grey, grey);
    }
    const int side = heightPixels / 4;
    const int x = number * 7 % std::max(1, widthPixels - side);
    const int y = heightPixels / 4 + number * 3 % std::max(1, heightPixels * 3 / 4 - side);
    fill(frame, x, y, x + side, y + side, 40, 200, 220);
    return frame;
}

int readNumber(const VideoFrame& frame) {
    int number = 0;
    for (int bit = 0; bit < kBits; ++bit) {
        const int x = frame.width() * (2 * bit + 1) / (2 * kBits);
        const int y = frame.height() / 8;
        const int luma = frame.plane(0).data[y * frame.plane(0).bytesPerRow + x];
        if (luma > 90 && luma < 160) return -1;
        number = number << 1 | (luma >= 160 ? 1 : 0);
    }
    return number;
}

SampleBuffer videoSample(const VideoFrame& frame, const CMTime& time) {
    SampleBuffer sample;
    sample.data = frame;
    sample.presentationTime = time;
    return sample;
}

SampleBuffer audioSample(int sampleRate, int channelCount, std::vector<float> samples, const CMTime& time) {
    SampleBuffer sample;
    sample.data =
        PCMBlock{sampleRate, channelCount, std::make_shared<const std::vector<float>>(std::move(samples))};
    sample.presentationTime = time;
    return sample;
}

bool appendWaiting(AssetWriterInput& input, const SampleBuffer& sample) {
    while (!input.isReadyForMoreMediaData()) std::this_thread::yield();
    return input.append(sample);
}

TransferStatus finishAndWait(AssetWriter& writer) {
    std::promise<void> done;
    writer.finishWriting([&done] { done.set_value(); });
    done.get_future().wait();
    return writer.status();
}

std::string errorText(const std::exception_ptr& error) {
    if (!error) return {};
    try {
        std::rethrow_exception(error);
    } catch (const std::exception& exception) {
        return exception.what();
    }
}

VideoSettings smallVideo(int widthPixels, int heightPixels) {
    VideoSettings settings;
    settings.width = widthPixels;
    settings.height = heightPixels;
    settings.expectedSourceFrameRate = 30;
    return settings;
}

void writeNumberedMovie(const URL& url, const VideoSettings& settings, const std::vector<CMTime>& times,
                        AssetWriter::Options options, const CMTime& end) {
    AssetWriter writer(url, FileType::quickTimeMovie, options);
    AssetWriterInput* video = writer.addVideoInput(settings);
    if (!writer.startWriting()) std::rethrow_exception(writer.error());
    writer.startSession(kCMTimeZero);
    for (std::size_t i = 0; i < times.size(); ++i) {
        const VideoFrame picture = numberedPicture(settings.width, settings.height, static_cast<int>(i));
        if (!appendWaiting(*video, videoSample(picture, times[i])))
            throw std::runtime_error("a frame was refused");
    }
    if (end.isValid()) writer.endSession(end);
    if (finishAndWait(writer) != TransferStatus::completed) std::rethrow_exception(writer.error());
}

std::vector<CMTime> regularTimes(int count, int framesPerSecond) {
    std::vector<CMTime> times;
    for (int i = 0; i < count; ++i) times.push_back(CMTime::make(i, framesPerSecond));
    return times;
}

}  // namespace varnelle::test
