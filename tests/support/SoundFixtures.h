#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "media/AudioMixReader.h"
#include "media/Composition.h"
#include "support/MediaFixtures.h"

namespace varnelle::test {

/// What a channel plays at a moment.
using Waveform = std::function<double(double seconds, int channel)>;

Waveform tone(double frequency, double amplitude);
/// Reproducible noise of the given amplitude, a value of its own for each sample of a grid of 48,000 Hz.
float noise(std::int64_t sample, int channel, float amplitude = 0.5F);

/// How a sound file that isn't one of ours is stored; `codec` is the library's name, such as "pcm_s16le".
struct SoundFormat {
    std::string codec;
    int rate = 48'000;
    int channels = 2;
};

struct SoundPart {
    SoundFormat format;
    double beginSeconds = 0;
    double endSeconds = 0;
    Waveform waveform;
};

/// Writes a file with one sound track, which takes the form of one part after another; the name's extension
/// decides the container. Throws `std::runtime_error`.
void writeSound(const URL& url, const std::vector<SoundPart>& parts);

/// Appends sound in blocks of 10 ms, as capture delivers it.
void appendSound(AssetWriterInput& input, int rate, int channels, double fromSeconds, double toSeconds,
                 const Waveform& waveform);

/// Everything that a reader delivers, interleaved; fails the test unless the blocks follow on one another.
std::vector<float> readAll(AudioMixReader& reader);
std::vector<float> mixed(const std::shared_ptr<const Composition>& composition, const AudioMix& mix = {});
/// One channel of an interleaved stereo sound.
std::vector<float> channelOf(const std::vector<float>& stereo, int channel);

/// The tone of a frequency that is in a sound (48,000 Hz), and what else is.
struct ToneFit {
    double amplitude = 0;
    double delaySamples = 0;     ///< against a sine that begins at zero; modulo the period
    double residueDecibels = 0;  ///< of everything else, against the tone
};
ToneFit fitTone(const std::vector<float>& sound, std::size_t begin, std::size_t end, double frequency);

/// For sound that was played and recorded: the middle one, by its residue, of the fits to successive eighths
/// of a second. Where a host takes the processors away for a moment, the sound server skips a cycle, which
/// spoils one or two of them.
ToneFit usualTone(const std::vector<float>& sound, std::size_t begin, std::size_t end, double frequency);

/// The root mean square of the quietest tenth of a second: whether something is missing anywhere.
double quietestLoudness(const std::vector<float>& sound, std::size_t begin, std::size_t end);

/// By how many samples a sound lags behind what is expected at a place, within the limit either way.
int lagOf(const std::vector<float>& sound, std::size_t begin, const std::vector<float>& expected, int limit);

}  // namespace varnelle::test
