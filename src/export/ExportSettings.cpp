#include "export/ExportSettings.h"

#include <QDateTime>
#include <QStandardPaths>
#include <algorithm>
#include <cmath>

#include "model/FileNames.h"

namespace varnelle {
namespace {

constexpr std::string_view kMovieExtension = "mp4";

bool existsOrCanBeMade(const URL& directory) {
    std::error_code error;
    if (std::filesystem::is_directory(directory.path(), error)) return true;
    std::filesystem::create_directories(directory.path(), error);
    return !error;
}

}  // namespace

const std::array<ExportPresetInfo, 6>& exportPresets() {
    static const std::array<ExportPresetInfo, 6> presets{{
        {ExportPreset::original, "original", "Original", "Original Resolution", std::nullopt, 0,
         std::nullopt},
        {ExportPreset::mac5K, "mac5K", "5K (5120×2880)", "5K Retina", CGSize{5120, 2880}, 5110, 60'000'000},
        {ExportPreset::uhd4K, "uhd4K", "4K (3840×2160)", "Ultra HD", CGSize{3840, 2160}, 3830, 40'000'000},
        {ExportPreset::qhd1440p, "qhd1440p", "1440p (2560×1440)", "Quad HD", CGSize{2560, 1440}, 2550,
         24'000'000},
        {ExportPreset::fullHD, "fullHD", "1080p (1920×1080)", "High Definition", CGSize{1920, 1080}, 1910,
         12'000'000},
        {ExportPreset::hd720p, "hd720p", "720p (1280×720)", "Standard HD", CGSize{1280, 720}, 1270,
         6'000'000},
    }};
    return presets;
}

const ExportPresetInfo& info(ExportPreset preset) {
    return exportPresets().at(static_cast<std::size_t>(preset));
}

std::vector<ExportPreset> availablePresets(double widthPixels, double heightPixels) {
    const double longSide = std::max(widthPixels, heightPixels);
    constexpr double sameSizeTolerance = 5;
    std::vector<ExportPreset> presets;
    for (const ExportPresetInfo& preset : exportPresets()) {
        const bool repeatsTheSource = preset.targetSize &&
                                      std::abs(widthPixels - preset.targetSize->width) < sameSizeTolerance &&
                                      std::abs(heightPixels - preset.targetSize->height) < sameSizeTolerance;
        const bool isReached = !preset.targetSize || longSide >= preset.longSideThreshold;
        if (isReached && !repeatsTheSource) presets.push_back(preset.preset);
    }
    return presets;
}

std::optional<std::string> sanitizedFilename(const std::optional<std::string>& text) {
    if (!text) return std::nullopt;
    std::string name(trimmed(*text));
    const std::string extension = lowercased(std::filesystem::path(name).extension().string());
    if (extension == ".mp4" || extension == ".mov" || extension == ".m4v") {
        name.resize(name.size() - extension.size());
    }
    std::replace_if(
        name.begin(), name.end(), [](char c) { return c == '/' || c == ':'; }, '-');
    name = trimmed(name);
    if (name.empty()) return std::nullopt;
    return name;
}

URL defaultMoviesDirectory() {
    const std::string movies = QStandardPaths::writableLocation(QStandardPaths::MoviesLocation).toStdString();
    if (!movies.empty() && existsOrCanBeMade(URL(movies))) return URL(movies);
    const URL atHome = homeDirectory().appending("Movies");
    return existsOrCanBeMade(atHome) ? atHome : temporaryDirectory();
}

int exportFrameRate(int wantedFrameRate) {
    return wantedFrameRate > 49 ? 60 : 30;
}

URL ExportSettings::outputURL() const {
    const std::string name = customFilename.value_or(
        "Varnelle_" + QDateTime::currentDateTime().toString("yyyy-MM-dd_HH-mm-ss").toStdString());
    return outputDirectory.appending(name + "." + std::string(kMovieExtension));
}

}  // namespace varnelle
