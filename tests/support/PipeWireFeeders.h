#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace varnelle::test {

/// The value of a channel at a sample of a stream.
using SampleFunction = std::function<float(std::int64_t sample, int channel)>;

/// Plays sound to the preferred output as any program does, or offers it as a microphone. The object is a
/// program of its own to the server, on a thread of its own.
class SoundFeeder {
public:
    struct Options {
        int rate = 48'000;
        int channels = 2;
        /// A microphone's name and description; empty plays to the output instead.
        std::string microphoneName;
        std::string microphoneDescription;
        bool isUnpositioned = false;  ///< channels are numbered, as those of studio devices, and not placed
    };

    /// `remoteName` is that of the server. Throws `std::runtime_error`.
    SoundFeeder(const std::string& remoteName, SampleFunction function, Options options);
    SoundFeeder(const std::string& remoteName, SampleFunction function);
    ~SoundFeeder();
    SoundFeeder(const SoundFeeder&) = delete;
    SoundFeeder& operator=(const SoundFeeder&) = delete;

    /// Samples handed out so far.
    [[nodiscard]] std::int64_t position() const;
    /// When a sample is due, in nanoseconds of the monotonic clock, by the server's cycle in which it was
    /// handed out; absent before.
    [[nodiscard]] std::optional<std::int64_t> timeOf(std::int64_t sample) const;

private:
    class Implementation;
    std::unique_ptr<Implementation> implementation_;
};

/// Another output of the server's, for as long as the object lives.
class ExtraSink {
public:
    ExtraSink(const std::string& remoteName, const std::string& name);
    ~ExtraSink();
    ExtraSink(const ExtraSink&) = delete;
    ExtraSink& operator=(const ExtraSink&) = delete;

private:
    class Implementation;
    std::unique_ptr<Implementation> implementation_;
};

/// A camera whose pictures carry their number, counted from the first one that it delivers. It runs while
/// somebody looks.
class VirtualCamera {
public:
    enum class Layout { yuy2, nv12, i420, bgrx, mjpeg };
    struct Offer {
        Layout layout = Layout::yuy2;
        int widthPixels = 640;
        int heightPixels = 480;
        int framesPerSecond = 30;
        bool operator==(const Offer&) const = default;
    };

    /// `isSilent` makes it agree on a format and then deliver nothing. Throws `std::runtime_error`.
    VirtualCamera(const std::string& remoteName, const std::string& name, const std::string& description,
                  std::vector<Offer> offers, bool isSilent = false);
    ~VirtualCamera();
    VirtualCamera(const VirtualCamera&) = delete;
    VirtualCamera& operator=(const VirtualCamera&) = delete;

    [[nodiscard]] int pictureCount() const;
    /// The time that a picture carried, in nanoseconds of the monotonic clock.
    [[nodiscard]] std::int64_t timeOf(int number) const;
    /// What was agreed on last, if anything was.
    [[nodiscard]] std::optional<Offer> agreed() const;

private:
    class Implementation;
    std::unique_ptr<Implementation> implementation_;
};

/// The luma, 16 to 235, of a numbered picture at a place (0 to 1 from the top left): in the upper half twelve
/// upright bars, one for each bit of the number, lowest first, bright or dark; grey below.
int numberedLuma(int number, double x, double y);
/// The number of a picture whose lumas the function tells.
int numberFrom(const std::function<int(double x, double y)>& lumaAt);

}  // namespace varnelle::test
