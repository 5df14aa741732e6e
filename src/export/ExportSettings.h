#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/Geometry.h"
#include "foundation/URL.h"
#include "media/AssetWriter.h"

namespace varnelle {

/// What all exports are encoded with.
inline constexpr VideoCodec kExportCodec = VideoCodec::hevc;

enum class ExportPreset { original, mac5K, uhd4K, qhd1440p, fullHD, hd720p };

/// What a preset stands for.
struct ExportPresetInfo {
    ExportPreset preset;
    std::string_view identifier;          ///< for command lines
    std::string_view label;               ///< shown to the user
    std::string_view subtitle;            ///< shown in its row
    std::optional<CGSize> targetSize;     ///< pixels; absent: the source's
    double longSideThreshold = 0;         ///< pixels that a source's long side must have
    std::optional<std::int64_t> bitRate;  ///< bits per second; absent lets the encoder decide
};

/// All presets in the order in which they are offered.
const std::array<ExportPresetInfo, 6>& exportPresets();
const ExportPresetInfo& info(ExportPreset preset);

/// The presets to offer for a source: those it is large enough for, without one that would repeat its very
/// size.
std::vector<ExportPreset> availablePresets(double widthPixels, double heightPixels);

/// What the user typed as a file name, made usable: without white space around it, without a movie extension,
/// with "/" and ":" replaced by "-". Absent if nothing remains.
std::optional<std::string> sanitizedFilename(const std::optional<std::string>& text);

/// The first of the user's movies folder, "Movies" at home and the temporary directory that exists or can be
/// made.
URL defaultMoviesDirectory();

/// The rate that a project is exported with: 60 or 30, whichever suits the wanted rate.
int exportFrameRate(int wantedFrameRate);

/// What an export is asked to do.
struct ExportSettings {
    ExportPreset preset = ExportPreset::original;
    bool includeAudio = true;
    std::optional<int> frameRate;  ///< absent: the recording's
    URL outputDirectory = defaultMoviesDirectory();
    std::optional<std::string> customFilename;  ///< without extension

    /// Where the movie goes. Without a custom name it is named after the present local time, anew at each
    /// call.
    [[nodiscard]] URL outputURL() const;
};

}  // namespace varnelle
