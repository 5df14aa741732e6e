#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace varnelle::bench {

// The command lines that make the ffmpeg program encode exactly as the media folder's encoder does. Whoever
// changes the settings there changes them here.

/// A key frame every half second of 60 frames each.
inline std::vector<std::string> keyFrameArguments() {
    return {"-g", "30", "-forced-idr", "1", "-force_key_frames", "expr:gte(t,n_forced*0.5)"};
}

inline std::vector<std::string> exportEncoderArguments(std::int64_t bitRate) {
    std::vector<std::string> arguments{
        "-c:v",      "libx265",    "-preset",      "superfast",
        "-threads",  "0",          "-b:v",         std::to_string(bitRate),
        "-pix_fmt",  "yuv420p",    "-tag:v",       "hvc1",
        "-movflags", "+faststart", "-x265-params", "log-level=none:open-gop=0:info=0:hrd=0:fps=60/1"};
    const auto keys = keyFrameArguments();
    arguments.insert(arguments.end(), keys.begin(), keys.end());
    return arguments;
}

inline std::vector<std::string> exportSoundArguments() {
    return {"-c:a", "aac", "-b:a", "256k", "-ar", "48000", "-ac", "2"};
}

/// `encoder` is "libx264" or "libx265", whichever our recorder takes on this machine.
inline std::vector<std::string> captureEncoderArguments(const std::string& encoder, std::int64_t bitRate) {
    const std::string rate = std::to_string(bitRate);
    const std::string kilobits = std::to_string(bitRate / 1000);
    std::vector<std::string> arguments{"-c:v",        encoder,    "-preset",  "ultrafast", "-tune",
                                       "zerolatency", "-threads", "1",        "-crf",      "20",
                                       "-bf",         "0",        "-pix_fmt", "yuv420p"};
    const std::vector<std::string> own =
        encoder == "libx265"
            ? std::vector<
                  std::string>{"-x265-params",
                               "log-level=none:open-gop=0:info=0:hrd=0:fps=60/1:frame-threads=1:wpp=1:"
                               "rc-lookahead=0:bframes=0:scenecut=0:vbv-maxrate=" +
                                   kilobits + ":vbv-bufsize=" + kilobits}
            : std::vector<std::string>{"-maxrate", rate, "-bufsize", rate};
    arguments.insert(arguments.end(), own.begin(), own.end());
    const auto keys = keyFrameArguments();
    arguments.insert(arguments.end(), keys.begin(), keys.end());
    return arguments;
}

}  // namespace varnelle::bench
