#include "model/ProjectDocument.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <set>

namespace varnelle {
namespace {

using nlohmann::json;

constexpr int kFormatVersion = 1;

// Bounds that no real recording comes near; beyond them a number is damage, not data.
constexpr double kLargestSeconds = 1e8;
constexpr double kLargestSide = 1e5;
constexpr double kLargestSetting = 1e6;
constexpr int kHighestFrameRate = 1000;
/// Several times as deep as a document goes.
constexpr int kDeepestNesting = 32;

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

json persisted(const std::vector<Project>& projects, const AssetReferences& references) {
    json result = json::array();
    for (const Project& project : projects) result.push_back(persisted(project, references));
    return result;
}

/// JSON has no word for them, and what the library writes in their place couldn't be read again.
void requireFiniteNumbers(const json& value) {
    if (value.is_number_float() && !std::isfinite(value.get<double>())) {
        throw ProjectEncodingError("The project can't be saved: one of its settings is not a finite number.");
    }
    if (value.is_structured()) std::for_each(value.begin(), value.end(), requireFiniteNumbers);
}

/// Reads typed values out of a JSON object, with errors that say where in the document they arose.
class ObjectReader {
public:
    ObjectReader(const json& object, std::string path) : object_(object), path_(std::move(path)) {
        if (!object_.is_object()) fail(path_, "is not an object");
    }

    [[nodiscard]] bool has(const char* key) const {
        const auto found = object_.find(key);
        return found != object_.end() && !found->is_null();
    }
    [[nodiscard]] std::string string(const char* key) const {
        const json& value = required(key);
        if (!value.is_string()) fail(place(key), "is not a text");
        auto text = value.get<std::string>();
        // Names and paths end there for the system, which would look elsewhere than where they seem to lead.
        if (text.find('\0') != std::string::npos) fail(place(key), "holds a zero byte");
        return text;
    }
    [[nodiscard]] bool boolean(const char* key) const {
        const json& value = required(key);
        if (!value.is_boolean()) fail(place(key), "is not true or false");
        return value.get<bool>();
    }
    [[nodiscard]] double number(const char* key, double lowest, double highest) const {
        const json& value = required(key);
        if (!value.is_number()) fail(place(key), "is not a number");
        const double result = value.get<double>();
        if (!(result >= lowest && result <= highest)) fail(place(key), "is out of range");
        return result;
    }
    [[nodiscard]] double setting(const char* key) const {
        return number(key, -kLargestSetting, kLargestSetting);
    }
    /// Seconds are taken as they are stored elsewhere: a negative number counts as 0.
    [[nodiscard]] CMTime time(const char* key) const {
        return timeFromSeconds(number(key, -kLargestSeconds, kLargestSeconds));
    }
    [[nodiscard]] std::int64_t integer(const char* key, std::int64_t lowest = INT32_MIN,
                                       std::int64_t highest = INT32_MAX) const {
        const json& value = required(key);
        if (!value.is_number_integer()) fail(place(key), "is not a whole number");
        return static_cast<std::int64_t>(
            number(key, static_cast<double>(lowest), static_cast<double>(highest)));
    }
    [[nodiscard]] UUID uuid(const char* key) const {
        const auto uuid = UUID::parse(string(key));
        if (!uuid) fail(place(key), "is not a UUID");
        return *uuid;
    }
    [[nodiscard]] Date date(const char* key) const {
        const auto date = Date::parseISO8601(string(key));
        if (!date) fail(place(key), "is not a date");
        return *date;
    }
    [[nodiscard]] ObjectReader object(const char* key) const { return {required(key), place(key)}; }
    template <typename Element>
    [[nodiscard]] std::vector<Element> list(const char* key,
                                            const std::function<Element(const ObjectReader&)>& read) const {
        const json& value = required(key);
        if (!value.is_array()) fail(place(key), "is not a list");
        std::vector<Element> result;
        result.reserve(value.size());
        for (const json& element : value) {
            result.push_back(read({element, place(key) + "[" + std::to_string(result.size()) + "]"}));
        }
        return result;
    }
    [[nodiscard]] const json& raw(const char* key) const { return required(key); }

    [[noreturn]] static void fail(const std::string& place, const std::string& what) {
        throw ProjectDecodingError("“" + place + "” " + what);
    }

private:
    [[nodiscard]] std::string place(const char* key) const { return path_.empty() ? key : path_ + "." + key; }
    [[nodiscard]] const json& required(const char* key) const {
        const auto found = object_.find(key);
        if (found == object_.end()) fail(place(key), "is missing");
        return *found;
    }

    const json& object_;
    std::string path_;
};

bool refuseDeepNesting(int depth, json::parse_event_t /*event*/, json& /*parsed*/) {
    if (depth > kDeepestNesting) throw ProjectDecodingError("it is nested too deeply");
    return true;
}

/// Things that are looked up by their identifiers need one each.
template <typename Element>
void requireDistinctIDs(const std::vector<Element>& elements, const char* what) {
    std::set<UUID> ids;
    for (const Element& element : elements) {
        if (!ids.insert(element.id).second) {
            throw ProjectDecodingError(std::string("two ") + what + " have the id " + element.id.string());
        }
    }
}

using Resolver = std::function<URL(const std::string& reference)>;

std::vector<RecordedAudioSource> readAudioSources(const ObjectReader& session) {
    if (!session.has("audioSources")) return {RecordedAudioSource::system, RecordedAudioSource::microphone};
    std::vector<RecordedAudioSource> sources;
    const json& list = session.raw("audioSources");
    if (!list.is_array()) ObjectReader::fail("audioSources", "is not a list");
    for (const json& element : list) {
        if (!element.is_string()) ObjectReader::fail("audioSources", "holds what is not a text");
        const auto source = recordedAudioSource(element.get<std::string>());
        if (source && std::find(sources.begin(), sources.end(), *source) == sources.end())
            sources.push_back(*source);
    }
    return sources;
}

RecordingSession readSession(const ObjectReader& object, const URL& assetsDirectory,
                             const Resolver& resolve) {
    RecordingSession session;
    session.id = object.uuid("id");
    session.directoryURL = assetsDirectory;
    session.screenRecordingURL = resolve(object.string("screenRecordingReference"));
    if (object.has("cameraRecordingReference")) {
        session.cameraRecordingURL = resolve(object.string("cameraRecordingReference"));
    }
    if (object.has("cursorRecordingReference")) {
        session.cursorRecordingURL = resolve(object.string("cursorRecordingReference"));
    }
    session.availableAudioSources = readAudioSources(object);
    session.createdAt = object.date("createdAt");
    session.frameRate = static_cast<int>(object.integer("frameRate", 0, kHighestFrameRate));
    session.renderSize = {object.number("renderWidth", 0, kLargestSide),
                          object.number("renderHeight", 0, kLargestSide)};
    return session;
}

OverlayConfiguration readOverlay(const ObjectReader& object) {
    OverlayConfiguration overlay;
    overlay.showsCamera = !object.has("showsCamera") || object.boolean("showsCamera");
    if (object.has("positionX") && object.has("positionY")) {
        overlay.position = CGPoint{object.setting("positionX"), object.setting("positionY")};
    }
    overlay.relativeSize = object.setting("relativeSize");
    overlay.scale = object.setting("scale");
    overlay.padding = object.setting("padding");
    overlay.maskType = overlayMaskType(object.string("maskType")).value_or(OverlayMaskType::roundedRectangle);
    overlay.cornerRadius = object.setting("cornerRadius");
    overlay.cornerRadiusRatio = object.setting("cornerRadiusRatio");
    const std::int64_t anchor = object.integer("anchor");
    overlay.anchor =
        anchor >= 0 && anchor <= 3 ? static_cast<OverlayAnchor>(anchor) : OverlayAnchor::bottomLeft;
    overlay.isMirrored = object.boolean("isMirrored");
    overlay.canvasBackgroundStyle =
        object.string("canvasBackgroundStyle") == rawString(CanvasBackgroundStyle::none)
            ? CanvasBackgroundStyle::none
            : CanvasBackgroundStyle::macOSWallpaper;
    overlay.wallpaperPath = object.string("wallpaperPath");
    overlay.canvasPadding = object.setting("canvasPadding");
    overlay.canvasCornerRadius = object.setting("canvasCornerRadius");
    overlay.canvasShadowOpacity = object.setting("canvasShadowOpacity");
    overlay.canvasShadowRadius = object.setting("canvasShadowRadius");
    overlay.overlayShadowOpacity = object.setting("overlayShadowOpacity");
    overlay.overlayShadowRadius = object.setting("overlayShadowRadius");
    const ObjectReader cursor = object.object("cursor");
    overlay.cursor = {cursor.boolean("showsCursor"), cursor.boolean("zoomAndPanDisabled"),
                      cursor.boolean("rippleOnClickEnabled"), cursor.boolean("clickAnimationEnabled"),
                      cursor.setting("size")};
    return overlay;
}

TimelineTrack readTrack(const ObjectReader& object, const Resolver& resolve) {
    TimelineTrack track;
    track.id = object.uuid("id");
    const std::string type = object.string("type");
    if (type == rawString(TimelineTrack::TrackType::camera)) track.type = TimelineTrack::TrackType::camera;
    if (type == rawString(TimelineTrack::TrackType::audio)) track.type = TimelineTrack::TrackType::audio;
    track.clips = object.list<TimelineClip>("clips", [&](const ObjectReader& clip) {
        return TimelineClip{clip.uuid("id"),
                            resolve(clip.string("sourceReference")),
                            {clip.time("trimStartSeconds"), clip.time("trimDurationSeconds")},
                            clip.time("timelineOffsetSeconds")};
    });
    requireDistinctIDs(track.clips.elements(), "clips");
    track.isMuted = object.boolean("isMuted");
    return track;
}

Timeline readTimeline(const ObjectReader& object, const RecordingSession& session, const Resolver& resolve) {
    Timeline timeline;
    timeline.tracks = object.list<TimelineTrack>(
        "tracks", [&](const ObjectReader& track) { return readTrack(track, resolve); });
    requireDistinctIDs(timeline.tracks.elements(), "tracks");
    timeline.overlayConfiguration = readOverlay(object.object("overlayConfiguration"));
    if (object.has("audioConfiguration")) {
        const ObjectReader audio = object.object("audioConfiguration");
        timeline.audioConfiguration = {audio.boolean("includesSystemSound"),
                                       audio.boolean("includesMicrophone")};
    } else {
        timeline.audioConfiguration = AudioConfiguration::including(session.availableAudioSources);
    }
    timeline.zoomPanClips = object.list<TimelineZoomPanClip>("zoomPanClips", [](const ObjectReader& clip) {
        return TimelineZoomPanClip{clip.uuid("id"),
                                   {clip.time("startSeconds"), clip.time("durationSeconds")}};
    });
    requireDistinctIDs(timeline.zoomPanClips.elements(), "zoom clips");
    return timeline;
}

Project readProject(const ObjectReader& object, const URL& assetsDirectory, const Resolver& resolve) {
    Project project;
    project.id = object.uuid("id");
    project.name = object.string("name");
    project.recordingSession = readSession(object.object("recordingSession"), assetsDirectory, resolve);
    project.timeline = readTimeline(object.object("timeline"), project.recordingSession, resolve);
    project.createdAt = object.date("createdAt");
    return project;
}

ProjectEditorState readDocument(const ObjectReader& object, const URL& assetsDirectory,
                                const Resolver& resolve) {
    if (object.integer("formatVersion") != kFormatVersion) {
        throw ProjectPersistenceError::invalidProject("This Varnelle project uses an unsupported format.");
    }
    const auto read = [&](const ObjectReader& project) {
        return readProject(project, assetsDirectory, resolve);
    };
    ProjectEditorState state;
    state.currentProject = read(object.object("currentProject"));
    state.undoStack = object.list<Project>("undoStack", read);
    state.redoStack = object.list<Project>("redoStack", read);
    return state;
}

}  // namespace

std::string makeDocument(const ProjectEditorState& state, const AssetReferences& references,
                         DocumentLayout layout) {
    const json document = {{"formatVersion", kFormatVersion},
                           {"currentProject", persisted(state.currentProject, references)},
                           {"undoStack", persisted(state.undoStack, references)},
                           {"redoStack", persisted(state.redoStack, references)}};
    requireFiniteNumbers(document);
    try {
        if (layout == DocumentLayout::compact) return document.dump();
        // Names come from users and file systems; a wrong byte in one is no reason to fail the save.
        constexpr int indentation = 2;
        return document.dump(indentation, ' ', false, json::error_handler_t::replace) + "\n";
    } catch (const json::type_error& error) {
        throw ProjectEncodingError(std::string("The project can't be written as JSON: ") + error.what() +
                                   ".");
    }
}

std::string wellFormed(const std::string& text) {
    return json::parse(json(text).dump(-1, ' ', false, json::error_handler_t::replace)).get<std::string>();
}

ProjectEditorState parseDocument(std::string_view text, const std::string& packageName,
                                 const URL& assetsDirectory,
                                 const std::function<URL(const std::string& reference)>& resolve) {
    try {
        const json document = json::parse(text, refuseDeepNesting);
        return readDocument({document, ""}, assetsDirectory, resolve);
    } catch (const json::parse_error& error) {
        throw ProjectDecodingError("The manifest of “" + packageName + "” is not valid JSON at byte " +
                                   std::to_string(error.byte) + ".");
    } catch (const json::exception&) {
        // All that is left: the parser met a number beyond what a double holds.
        throw ProjectDecodingError("The manifest of “" + packageName +
                                   "” holds a number that is out of range.");
    } catch (const ProjectDecodingError& error) {
        throw ProjectDecodingError("The manifest of “" + packageName + "” can't be read: " + error.what() +
                                   ".");
    }
}

}  // namespace varnelle
