#pragma once

#include <memory>
#include <span>
#include <vector>

namespace soundtouch {
class SoundTouch;
}

namespace varnelle::detail {

/// Makes sound in the form of the mix faster or slower without changing its pitch. What goes in at sample n
/// comes out within 18 milliseconds of n / rate. At rate 1 sound passes bit for bit. For one thread at
/// a time.
class SoundStretcher {
public:
    explicit SoundStretcher(double rate);
    ~SoundStretcher();
    SoundStretcher(const SoundStretcher&) = delete;
    SoundStretcher& operator=(const SoundStretcher&) = delete;

    /// Takes interleaved samples; appends what is ready, which is some of what came before.
    void process(std::span<const float> samples, std::vector<float>& output);
    /// Appends the rest.
    void flush(std::vector<float>& output);

private:
    void receive(std::vector<float>& output);

    std::unique_ptr<soundtouch::SoundTouch> stretcher_;  ///< null at rate 1
    int toSkip_ = 0;  ///< samples to be left out at the beginning; silence to be put there if negative
};

}  // namespace varnelle::detail
