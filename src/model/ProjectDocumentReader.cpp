#include <algorithm>
#include <exception>
#include <nlohmann/json.hpp>
#include <optional>

#include "model/ProjectDocument.h"
#include "model/StoredRanges.h"

namespace varnelle {
namespace {

using nlohmann::json;

/// Several times as deep as a document goes.
constexpr int kDeepestNesting = 32;

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
        return number(key, -kLargestStoredSetting, kLargestStoredSetting);
    }
    /// Seconds are taken as they are stored elsewhere: a negative number counts as 0.
    [[nodiscard]] CMTime time(const char* key) const {
        return timeFromSeconds(number(key, -kLargestStoredSeconds, kLargestStoredSeconds));
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
    void requireList(const char* key) const {
        if (!required(key).is_array()) fail(place(key), "is not a list");
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
    session.frameRate = static_cast<int>(object.integer("frameRate", 0, kHighestStoredFrameRate));
    session.renderSize = {object.number("renderWidth", 0, kLargestStoredSide),
                          object.number("renderHeight", 0, kLargestStoredSide)};
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
    track.isMuted = object.boolean("isMuted");
    return track;
}

Timeline readTimeline(const ObjectReader& object, const RecordingSession& session, const Resolver& resolve) {
    Timeline timeline;
    timeline.tracks = object.list<TimelineTrack>(
        "tracks", [&](const ObjectReader& track) { return readTrack(track, resolve); });
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

template <typename Element>
bool share(SharedList<Element>& list, const SharedList<Element>& other) {
    const bool areEqual = list == other;
    if (areEqual) list = other;
    return areEqual;
}

/// Lets a step of the history share its lists with others where they are equal, as it did when it was made.
void shareLists(Timeline& timeline, const std::vector<const Project*>& others) {
    bool sharesTracks = false;
    for (const Project* other : others) {
        share(timeline.zoomPanClips, other->timeline.zoomPanClips);
        sharesTracks = sharesTracks || share(timeline.tracks, other->timeline.tracks);
    }
    if (sharesTracks) return;
    std::vector<TimelineTrack>& tracks = timeline.tracks.mutableElements();
    for (const Project* other : others) {
        const std::size_t count = std::min(tracks.size(), other->timeline.tracks.size());
        for (std::size_t i = 0; i < count; ++i) share(tracks[i].clips, other->timeline.tracks[i].clips);
    }
}

/// Takes the projects out of a document while it is parsed, so that only one of them at a time is held as
/// JSON. What is wrong with them is told only in the end: in a document of another format they may be
/// anything.
class DocumentReader {
public:
    DocumentReader(const URL& assetsDirectory, const Resolver& resolve)
        : assetsDirectory_(assetsDirectory), resolve_(resolve) {}

    ProjectEditorState read(std::string_view text) {
        const json rest = json::parse(text, [this](int depth, json::parse_event_t event, json& value) {
            return meet(depth, event, value);
        });
        const ObjectReader document(rest, "");
        if (document.integer("formatVersion") != kDocumentFormatVersion) {
            throw ProjectPersistenceError::invalidProject(
                "This Varnelle project uses an unsupported format.");
        }
        if (failure_) std::rethrow_exception(failure_);
        if (!current_) static_cast<void>(document.object("currentProject"));  // which says what it is instead
        document.requireList("undoStack");
        document.requireList("redoStack");
        state_.currentProject = std::move(*current_);
        return std::move(state_);
    }

private:
    /// Returns whether the parser keeps the value.
    bool meet(int depth, json::parse_event_t event, const json& value) {
        using Event = json::parse_event_t;
        if (depth > kDeepestNesting) throw ProjectDecodingError("it is nested too deeply");
        if (depth == 1) {
            if (event == Event::key) enter(value.get<std::string>());
            if (event == Event::array_start) stack_ = stackNamed(key_);
            if (event == Event::array_end) stack_ = nullptr;
            if (event == Event::object_end && key_ == "currentProject") {
                readInto(current_, value);
                return false;
            }
        }
        const bool isWhole = event == Event::object_end || event == Event::array_end || event == Event::value;
        if (depth != 2 || stack_ == nullptr || !isWhole) return true;
        std::optional<Project> step;
        readInto(step, value, "[" + std::to_string(stack_->size()) + "]");
        if (step) stack_->push_back(std::move(*step));
        return false;
    }

    /// Of a key that is there twice the latter counts.
    void enter(std::string key) {
        key_ = std::move(key);
        if (key_ == "currentProject") current_.reset();
        if (std::vector<Project>* stack = stackNamed(key_)) stack->clear();
    }

    std::vector<Project>* stackNamed(const std::string& key) {
        if (key == "undoStack") return &state_.undoStack;
        return key == "redoStack" ? &state_.redoStack : nullptr;
    }

    void readInto(std::optional<Project>& project, const json& value, const std::string& index = "") {
        if (failure_) return;
        try {
            project = readProject({value, key_ + index}, assetsDirectory_, resolve_);
        } catch (const Error&) {
            failure_ = std::current_exception();
            return;
        }
        if (stack_ == nullptr) return;
        std::vector<const Project*> others;
        if (!stack_->empty()) others.push_back(&stack_->back());
        if (current_) others.push_back(&*current_);
        shareLists(project->timeline, others);
    }

    const URL& assetsDirectory_;
    const Resolver& resolve_;
    ProjectEditorState state_;
    std::optional<Project> current_;
    std::exception_ptr failure_;
    std::string key_;                        ///< the last one of the document itself
    std::vector<Project>* stack_ = nullptr;  ///< while the parser is in it
};

}  // namespace

ProjectEditorState parseDocument(std::string_view text, const std::string& packageName,
                                 const URL& assetsDirectory,
                                 const std::function<URL(const std::string& reference)>& resolve) {
    try {
        return DocumentReader(assetsDirectory, resolve).read(text);
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
