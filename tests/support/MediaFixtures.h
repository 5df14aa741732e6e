#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "media/AssetWriter.h"
#include "media/SampleBuffer.h"

namespace varnelle::test {

/// A BGRA picture that says which one it is: a grey cell for each bit of `number` (16 bits, most significant
/// first) in the top quarter, and a bright square below it that moves with the number.
VideoFrame numberedPicture(int widthPixels, int heightPixels, int number);
/// The number of a decoded picture (I420 or NV12), or -1 if a cell is neither dark nor bright.
int readNumber(const VideoFrame& frame);
/// A BGRA picture of one color.
VideoFrame plainPicture(int widthPixels, int heightPixels, std::uint8_t blue, std::uint8_t green,
                        std::uint8_t red);

SampleBuffer videoSample(const VideoFrame& frame, const CMTime& time);
SampleBuffer audioSample(int sampleRate, int channelCount, std::vector<float> samples, const CMTime& time);

/// Appends, waiting for room; false if the sample was refused for another reason.
bool appendWaiting(AssetWriterInput& input, const SampleBuffer& sample);
/// Finishes and waits for the end.
TransferStatus finishAndWait(AssetWriter& writer);
/// The text of the writer's error; empty if there is none.
std::string errorText(const std::exception_ptr& error);

/// Settings that encode quickly and nearly without loss.
VideoSettings smallVideo(int widthPixels, int heightPixels);
/// Writes pictures with numbers 0, 1, 2, ... at the given times.
void writeNumberedMovie(const URL& url, const VideoSettings& settings, const std::vector<CMTime>& times,
                        AssetWriter::Options options = {}, const CMTime& end = kCMTimeInvalid);
/// `count` times of a constant rate, from zero.
std::vector<CMTime> regularTimes(int count, int framesPerSecond);

}  // namespace varnelle::test
