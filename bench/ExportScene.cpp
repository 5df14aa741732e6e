#include "ExportScene.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <future>
#include <memory>
#include <numbers>
#include <random>
#include <stdexcept>
#include <thread>
#include <utility>

#include "camera/CursorRecordingFile.h"
#include "foundation/UUID.h"
#include "imaging/PNG.h"
#include "imaging/RoundedRectMask.h"
#include "media/AssetWriter.h"
#include "media/MediaAsset.h"
#include "model/ProjectPackage.h"
#include "recording/MovieTrackRecorder.h"
#include "recording/RecordingGeometry.h"
#include "render/FramePainter.h"
#include "render/FramePlan.h"

namespace varnelle::bench {
namespace {

constexpr int kFrameRate = 60;
constexpr CGSize kScreenPoints{1920, 1080};
constexpr std::int64_t kSoundBitRate = 192'000;

/// The text of an editor as it would be on one very long page: luma in full, and the colour of words at half
/// size.
class TextPage {
public:
    TextPage(int widthPoints, int lineCount, int scale)
        : width_(widthPoints * scale),
          height_(lineCount * kLineHeight * scale),
          scale_(scale),
          luma_(static_cast<std::size_t>(width_) * height_, kPaper),
          blue_(luma_.size() / 4, kNeutral),
          red_(luma_.size() / 4, kNeutral) {
        for (int line = 0; line < lineCount; ++line) typeLine(line, widthPoints);
    }

    /// Copies a part of the page, beginning at a row of the page, onto a frame. All numbers are even.
    void copyTo(const VideoFrame& frame, int left, int top, int rowCount, int firstRow) const {
        for (int y = 0; y < rowCount; ++y) {
            std::memcpy(frame.plane(0).data + (top + y) * frame.plane(0).bytesPerRow + left,
                        luma_.data() + static_cast<std::size_t>((firstRow + y) % height_) * width_, width_);
        }
        for (int y = 0; y < rowCount / 2; ++y) {
            const std::size_t from =
                static_cast<std::size_t>((firstRow / 2 + y) % (height_ / 2)) * (width_ / 2);
            for (std::size_t p = 1; p < 3; ++p) {
                std::memcpy(frame.plane(p).data + (top / 2 + y) * frame.plane(p).bytesPerRow + left / 2,
                            (p == 1 ? blue_ : red_).data() + from, width_ / 2);
            }
        }
    }

private:
    static constexpr int kLineHeight = 20;  // points, as are the next
    static constexpr int kCellWidth = 10;
    static constexpr int kGlyphHeight = 14;
    static constexpr std::uint8_t kPaper = 32;
    static constexpr std::uint8_t kInk = 190;
    static constexpr std::uint8_t kNeutral = 128;

    void typeLine(int line, int widthPoints) {
        const int columns = widthPoints / kCellWidth;
        int column = static_cast<int>(random_() % 6) * 4;
        const int end = column + static_cast<int>(random_() % static_cast<unsigned>(columns - column));
        while (column < end) {
            const int length = 1 + static_cast<int>(random_() % 9);
            const auto tint = static_cast<int>(random_() % 3);
            for (int i = 0; i < length && column < end; ++i) drawGlyph(column++, line, tint);
            ++column;
        }
    }

    /// A few strokes, as letters have them: stems, bars and softer edges.
    void drawGlyph(int column, int line, int tint) {
        const int left = column * kCellWidth;
        const int top = line * kLineHeight + 3;
        for (unsigned stroke = 0, count = 2 + random_() % 3; stroke < count; ++stroke) {
            const int x = static_cast<int>(random_() % (kCellWidth - 3));
            const int y = static_cast<int>(random_() % (kGlyphHeight - 2));
            const bool isStem = random_() % 2 == 0;
            for (int i = isStem ? 0 : x; i < (isStem ? kGlyphHeight : kCellWidth - 2); ++i) {
                const int pointX = left + (isStem ? x : i);
                const int pointY = top + (isStem ? i : y);
                fillPoint(pointX, pointY, kInk);
                fillPoint(pointX + (isStem ? 1 : 0), pointY + (isStem ? 0 : 1), kInk / 2);
            }
        }
        if (tint == 0) return;
        for (int y = top * scale_ / 2; y < (top + kGlyphHeight) * scale_ / 2; ++y) {
            const std::size_t row = static_cast<std::size_t>(y) * (width_ / 2);
            for (int x = left * scale_ / 2; x < (left + kCellWidth) * scale_ / 2; ++x) {
                blue_[row + x] = tint == 1 ? 150 : 110;
                red_[row + x] = tint == 1 ? 112 : 148;
            }
        }
    }

    void fillPoint(int pointX, int pointY, std::uint8_t value) {
        for (int y = pointY * scale_; y < (pointY + 1) * scale_; ++y) {
            const auto row = luma_.begin() + static_cast<std::ptrdiff_t>(y) * width_;
            std::fill_n(row + static_cast<std::ptrdiff_t>(pointX) * scale_, scale_, value);
        }
    }

    int width_;
    int height_;
    int scale_;
    std::vector<std::uint8_t> luma_;
    std::vector<std::uint8_t> blue_;
    std::vector<std::uint8_t> red_;
    std::mt19937 random_{7};
};

/// The desktop around the text: a bar on top, a list on the left, panels of even colour.
void paintDesktop(const VideoFrame& frame, const TextPage& list, int scale) {
    for (std::size_t p = 0; p < 3; ++p) {
        const int height = p == 0 ? frame.height() : frame.height() / 2;
        const int width = p == 0 ? frame.width() : frame.width() / 2;
        const int barHeight = 36 * scale / (p == 0 ? 1 : 2);
        for (int y = 0; y < height; ++y) {
            std::uint8_t* row = frame.plane(p).data + y * frame.plane(p).bytesPerRow;
            const int color = p == 0 ? (y < barHeight ? 70 : 40) : (p == 1 ? 134 : 124);
            std::memset(row, color, static_cast<std::size_t>(width));
        }
    }
    list.copyTo(frame, 20 * scale, 60 * scale, 960 * scale, 0);
}

/// How far the text has scrolled, in points: it goes on for two seconds of every three.
int scrolledPoints(int frameIndex) {
    constexpr int period = 3 * kFrameRate;
    constexpr int lively = 2 * kFrameRate;
    constexpr int pointsPerFrame = 4;
    return pointsPerFrame * (frameIndex / period * lively + std::min(frameIndex % period, lively));
}

template <typename Data>
void append(AssetWriterInput& input, Data data, int frameIndex) {
    SampleBuffer sample;
    sample.data = std::move(data);
    sample.presentationTime = CMTime::make(frameIndex, kFrameRate);
    sample.duration = CMTime::make(1, kFrameRate);
    while (!input.isReadyForMoreMediaData()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    if (!input.append(sample)) throw std::runtime_error("The recording of the scene can't be written.");
}

/// What is heard during one frame: a chord that swells, over noise.
PCMBlock music(int frameIndex) {
    constexpr int rate = 48'000;
    constexpr int length = rate / kFrameRate;
    static std::minstd_rand random(7);
    auto samples = std::make_shared<std::vector<float>>();
    for (int i = 0; i < length; ++i) {
        const double t = static_cast<double>(frameIndex * length + i) / rate;
        for (int channel = 0; channel < 2; ++channel) {
            double value = 0.02 * (static_cast<double>(random()) / std::minstd_rand::max() - 0.5);
            for (const double note : {220.0, 277.2, 329.6, 440.0})
                value += 0.1 * std::sin(2 * std::numbers::pi * (note + channel) * t);
            samples->push_back(static_cast<float>(value * (0.6 + 0.4 * std::sin(3 * t))));
        }
    }
    return {rate, 2, std::move(samples)};
}

void writeMovie(const URL& url, int scale, double seconds) {
    const PixelSize size{static_cast<int>(kScreenPoints.width) * scale,
                         static_cast<int>(kScreenPoints.height) * scale};
    const TextPage list(400, 48, scale);
    const TextPage text(1400, 200, scale);
    AssetWriter::Options options;
    options.survivesTermination = true;
    AssetWriter writer(url, FileType::quickTimeMovie, options);
    AssetWriterInput* input = writer.addVideoInput(
        recordingVideoSettings(kFrameRate, screenBitRate(size), size.width, size.height));
    AssetWriterInput* sound = writer.addAudioInput(recordingAudioSettings(2, kSoundBitRate));
    if (!writer.startWriting()) std::rethrow_exception(writer.error());
    writer.startSession(kCMTimeZero);
    VideoFramePool pool(PixelFormat::i420, size.width, size.height, ColorDescription::bt709Limited());
    const int frameCount = static_cast<int>(seconds * kFrameRate);
    for (int i = 0; i < frameCount; ++i) {
        append(*sound, music(i), i);
        if (i > 0 && scrolledPoints(i) == scrolledPoints(i - 1)) continue;
        const VideoFrame frame = pool.newFrame();
        paintDesktop(frame, list, scale);
        text.copyTo(frame, 460 * scale, 60 * scale, 980 * scale, scrolledPoints(i) * scale);
        append(*input, frame, i);
    }
    writer.endSession(CMTime::make(frameCount, kFrameRate));
    std::promise<void> finished;
    writer.finishWriting([&finished] { finished.set_value(); });
    finished.get_future().wait();
    if (writer.error()) std::rethrow_exception(writer.error());
}

/// A pointer that crosses the screen in a second, works at a place for one and a half, and clicks there.
CursorRecording telemetry(double seconds) {
    constexpr int samplesPerSecond = 120;
    constexpr double period = 2.5;
    constexpr double sweep = 1.0;
    const auto placeOf = [](int stop) {
        return CGPoint{0.2 + 0.6 * ((stop * 7) % 5) / 4.0, 0.2 + 0.6 * ((stop * 3) % 4) / 3.0};
    };
    CursorRecording recording;
    recording.captureRegion = {0, 0, kScreenPoints.width, kScreenPoints.height};
    for (int i = 0; i < static_cast<int>(seconds * samplesPerSecond); ++i) {
        const double t = static_cast<double>(i) / samplesPerSecond;
        const int stop = static_cast<int>(t / period);
        const double share = std::min((t - stop * period) / sweep, 1.0);
        const double eased = share * share * (3 - 2 * share);
        const CGPoint from = placeOf(stop);
        const CGPoint to = placeOf(stop + 1);
        recording.movementSamples.push_back(
            {t, from.x + (to.x - from.x) * eased, from.y + (to.y - from.y) * eased, true});
    }
    for (int stop = 0; (stop + 1) * period < seconds; ++stop) {
        const CGPoint place = placeOf(stop + 1);
        const double t = stop * period + 1.4;
        recording.activitySamples.push_back({t, CursorActivityKind::leftMouseDown, place.x, place.y, true});
        recording.activitySamples.push_back(
            {t + 0.1, CursorActivityKind::leftMouseUp, place.x, place.y, true});
    }
    return recording;
}

OverlayConfiguration look() {
    OverlayConfiguration configuration;
    configuration.wallpaperPath = "procedural://gradient/digital_ocean";
    return configuration;
}

URL writeProject(const URL& directory, const ExportScene& scene, const URL& cursor,
                 const std::vector<ZoomRange>& zooms) {
    RecordingSession session;
    session.id = UUID::random();
    session.directoryURL = directory;
    session.screenRecordingURL = scene.movie;
    session.cursorRecordingURL = cursor;
    session.createdAt = Date{1'794'780'071};
    session.frameRate = kFrameRate;
    session.renderSize = scene.canvas;
    session.availableAudioSources = {RecordedAudioSource::system};
    ProjectEditorState state;
    state.currentProject = Project::make(session, MediaAsset(scene.movie).duration(), look());
    for (const ZoomRange& zoom : zooms) {
        const CMTimeRange range{timeFromSeconds(zoom.start), timeFromSeconds(zoom.end - zoom.start)};
        state.currentProject.timeline.zoomPanClips.append({UUID::random(), range});
    }
    return writePackage(state, directory.appending("scene." + std::string(kProjectPackageExtension)));
}

/// The canvas with the shadow, as our painter draws it; the screen on it will be covered.
void writeBackground(const ExportScene& scene) {
    const OverlayConfiguration configuration = look();
    FramePlanInput input;
    input.canvas = scene.canvas;
    input.sourceSize = scene.canvas;
    input.configuration = &configuration;
    input.cursorState.visibility = CursorVisibility::hidden;
    const VideoFrame screen =
        VideoFrame::allocate(PixelFormat::i420, static_cast<int>(scene.canvas.width),
                             static_cast<int>(scene.canvas.height), ColorDescription::bt709Limited());
    for (std::size_t p = 0; p < 3; ++p) {
        const int rows = p == 0 ? screen.height() : screen.height() / 2;
        std::memset(screen.plane(p).data, p == 0 ? 32 : 128,
                    static_cast<std::size_t>(screen.plane(p).bytesPerRow * rows));
    }
    const Bitmap canvas(screen.width(), screen.height());
    FramePainter().paint(makeFramePlan(input), screen, {}, canvas.view());
    writePNG(canvas.view(), scene.background);
}

void writeMask(const ExportScene& scene) {
    const Bitmap mask(static_cast<int>(scene.screenRect.width()),
                      static_cast<int>(scene.screenRect.height()));
    fill(mask.view(), {0, 0, 0, 1});
    RoundedRectMask shape({{0, 0}, scene.screenRect.size}, look().canvasCornerRadius, mask.width());
    for (int y = 0; y < mask.height(); ++y) {
        const RoundedRectMask::Row row = shape.row(y);
        for (int x = row.begin; x < row.end; ++x) {
            std::uint8_t value = 255;
            if (x < row.fullBegin) value = row.leftCoverage[x - row.begin];
            if (x >= row.fullEnd) value = row.rightCoverage[x - row.fullEnd];
            std::memset(mask.view().pixel(x, y), value, 3);
        }
    }
    writePNG(mask.view(), scene.mask);
}

CGRect wholePixels(const CGRect& rect) {
    const auto even = [](double value) { return std::round(value / 2) * 2; };
    return {{even(rect.minX()), even(rect.minY())}, {even(rect.width()), even(rect.height())}};
}

}  // namespace

ExportScene makeExportScene(const URL& directory, int scale, double seconds,
                            const std::vector<ZoomRange>& zooms) {
    ExportScene scene;
    scene.canvas = {kScreenPoints.width * scale, kScreenPoints.height * scale};
    scene.movie = directory.appending("screen.mov");
    scene.background = directory.appending("background.png");
    scene.mask = directory.appending("mask.png");
    scene.screenRect = wholePixels(fittedScreenRect(scene.canvas, scene.canvas, look()));
    writeMovie(scene.movie, scale, seconds);
    const URL cursor = directory.appending("cursor.json");
    writeCursorRecording(telemetry(seconds), cursor);
    scene.package = writeProject(directory, scene, cursor, zooms);
    writeBackground(scene);
    writeMask(scene);
    return scene;
}

}  // namespace varnelle::bench
