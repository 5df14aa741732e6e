#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "model/ProjectDocument.h"
#include "model/StoredRanges.h"

namespace varnelle {
namespace {

using nlohmann::json;

std::string reference(const AssetReferences& references, const URL& source) {
    const auto found = references.find(source);
    return found == references.end() ? std::string() : found->second;
}

json persisted(const OverlayConfiguration& overlay) {
    json result = {
        {"showsCamera", overlay.showsCamera},
        {"relativeSize", overlay.relativeSize},
        {"scale", overlay.scale},
        {"padding", overlay.padding},
        {"maskType", rawString(overlay.maskType)},
        {"cornerRadius", overlay.cornerRadius},
        {"cornerRadiusRatio", overlay.cornerRadiusRatio},
        {"anchor", static_cast<int>(overlay.anchor)},
        {"isMirrored", overlay.isMirrored},
        {"canvasBackgroundStyle", rawString(overlay.canvasBackgroundStyle)},
        {"wallpaperPath", overlay.wallpaperPath},
        {"canvasPadding", overlay.canvasPadding},
        {"canvasCornerRadius", overlay.canvasCornerRadius},
        {"canvasShadowOpacity", overlay.canvasShadowOpacity},
        {"canvasShadowRadius", overlay.canvasShadowRadius},
        {"overlayShadowOpacity", overlay.overlayShadowOpacity},
        {"overlayShadowRadius", overlay.overlayShadowRadius},
        {"cursor",
         {{"showsCursor", overlay.cursor.showsCursor},
          {"zoomAndPanDisabled", overlay.cursor.zoomAndPanDisabled},
          {"rippleOnClickEnabled", overlay.cursor.rippleOnClickEnabled},
          {"clickAnimationEnabled", overlay.cursor.clickAnimationEnabled},
          {"size", overlay.cursor.size}}},
    };
    if (overlay.position) {
        result["positionX"] = overlay.position->x;
        result["positionY"] = overlay.position->y;
    }
    return result;
}

json persisted(const TimelineTrack& track, const AssetReferences& references) {
    json clips = json::array();
    for (const TimelineClip& clip : track.clips) {
        clips.push_back({{"id", clip.id.string()},
                         {"sourceReference", reference(references, clip.sourceURL)},
                         {"trimStartSeconds", clampedSeconds(clip.trimRange.start)},
                         {"trimDurationSeconds", clampedSeconds(clip.trimRange.duration)},
                         {"timelineOffsetSeconds", clampedSeconds(clip.timelineOffset)}});
    }
    return {{"id", track.id.string()},
            {"type", rawString(track.type)},
            {"clips", std::move(clips)},
            {"isMuted", track.isMuted}};
}

json persisted(const Timeline& timeline, const AssetReferences& references) {
    json tracks = json::array();
    for (const TimelineTrack& track : timeline.tracks) tracks.push_back(persisted(track, references));
    json zoomPanClips = json::array();
    for (const TimelineZoomPanClip& clip : timeline.zoomPanClips) {
        zoomPanClips.push_back({{"id", clip.id.string()},
                                {"startSeconds", clampedSeconds(clip.timeRange.start)},
                                {"durationSeconds", clampedSeconds(clip.timeRange.duration)}});
    }
    return {{"tracks", std::move(tracks)},
            {"overlayConfiguration", persisted(timeline.overlayConfiguration)},
            {"audioConfiguration",
             {{"includesSystemSound", timeline.audioConfiguration.includesSystemSound},
              {"includesMicrophone", timeline.audioConfiguration.includesMicrophone}}},
            {"zoomPanClips", std::move(zoomPanClips)}};
}

json persisted(const RecordingSession& session, const AssetReferences& references) {
    json sources = json::array();
    for (const RecordedAudioSource source : session.availableAudioSources)
        sources.push_back(rawString(source));
    json result = {{"id", session.id.string()},
                   {"screenRecordingReference", reference(references, session.screenRecordingURL)},
                   {"audioSources", std::move(sources)},
                   {"createdAt", session.createdAt.iso8601()},
                   {"frameRate", session.frameRate},
                   {"renderWidth", session.renderSize.width},
                   {"renderHeight", session.renderSize.height}};
    if (session.cameraRecordingURL) {
        result["cameraRecordingReference"] = reference(references, *session.cameraRecordingURL);
    }
    if (session.cursorRecordingURL) {
        result["cursorRecordingReference"] = reference(references, *session.cursorRecordingURL);
    }
    return result;
}

json persisted(const Project& project, const AssetReferences& references) {
    return {{"id", project.id.string()},
            {"name", project.name},
            {"recordingSession", persisted(project.recordingSession, references)},
            {"timeline", persisted(project.timeline, references)},
            {"createdAt", project.createdAt.iso8601()}};
}

/// JSON has no word for them, and what the library writes in their place couldn't be read again.
void requireFiniteNumbers(const json& value) {
    if (value.is_number_float() && !std::isfinite(value.get<double>())) {
        throw ProjectEncodingError("The project can't be saved: one of its settings is not a finite number.");
    }
    if (value.is_structured()) std::for_each(value.begin(), value.end(), requireFiniteNumbers);
}

/// Writes a document project by project, so that only one of them at a time is held as JSON: histories are
/// long.
class DocumentWriter {
public:
    DocumentWriter(const AssetReferences& references, DocumentLayout layout)
        : references_(references), isPretty_(layout == DocumentLayout::pretty) {}

    // In the order of the keys.
    std::string write(const ProjectEditorState& state) {
        text_ = "{";
        key("currentProject");
        write(state.currentProject, 1);
        text_ += ",";
        key("formatVersion");
        text_ += std::to_string(kDocumentFormatVersion) + ",";
        key("redoStack");
        write(state.redoStack);
        text_ += ",";
        key("undoStack");
        write(state.undoStack);
        startLine(0);
        text_ += isPretty_ ? "}\n" : "}";
        return std::move(text_);
    }

private:
    void startLine(std::size_t depth) {
        if (isPretty_) text_.append("\n").append(depth * kIndentation, ' ');
    }
    void key(const char* name) {
        startLine(1);
        text_.append("\"").append(name).append(isPretty_ ? "\": " : "\":");
    }
    void write(const std::vector<Project>& projects) {
        text_ += "[";
        for (const Project& project : projects) {
            if (&project != &projects.front()) text_ += ",";
            startLine(2);
            write(project, 2);
        }
        if (!projects.empty()) startLine(1);
        text_ += "]";
    }
    void write(const Project& project, std::size_t depth) {
        const json value = persisted(project, references_);
        requireFiniteNumbers(value);
        if (!isPretty_) {
            text_ += value.dump();
            return;
        }
        // Names come from users and file systems; a wrong byte in one is no reason to fail the save.
        const std::string lines = value.dump(kIndentation, ' ', false, json::error_handler_t::replace);
        // Line breaks within texts are escaped, so each that stands there ends a line.
        for (std::size_t start = 0;;) {
            const std::size_t end = lines.find('\n', start);
            text_.append(lines, start, end - start);
            if (end == std::string::npos) return;
            startLine(depth);
            start = end + 1;
        }
    }

    static constexpr int kIndentation = 2;

    const AssetReferences& references_;
    const bool isPretty_;
    std::string text_;
};

}  // namespace

std::string makeDocument(const ProjectEditorState& state, const AssetReferences& references,
                         DocumentLayout layout) {
    try {
        return DocumentWriter(references, layout).write(state);
    } catch (const json::type_error& error) {
        throw ProjectEncodingError(std::string("The project can't be written as JSON: ") + error.what() +
                                   ".");
    }
}

std::string wellFormed(const std::string& text) {
    return json::parse(json(text).dump(-1, ' ', false, json::error_handler_t::replace)).get<std::string>();
}

}  // namespace varnelle
