#include "camera/CursorRecordingFile.h"

#include <simdjson.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <functional>

#include "foundation/AtomicFile.h"

namespace varnelle {
namespace {

namespace ondemand = simdjson::ondemand;

/// No recording is longer, and a camera path over more would take memory without bound: a time beyond it is
/// damage.
constexpr double kLongestRecordingSeconds = 24 * 3600;

/// Screens are a few units across, so that arithmetic on any number that is let in stays far from what isn't
/// finite.
constexpr double kLargestNumber = 1e6;

// simdjson's exceptions carry the reason; readCursorRecording turns them into errors that name the file.

double inRange(double number) {
    if (!(std::abs(number) <= kLargestNumber)) throw CursorRecordingError("a number is out of range");
    return number;
}

std::optional<CGRect> readFrame(ondemand::value value) {
    std::array<double, 4> numbers{};
    std::size_t count = 0;
    for (ondemand::array pair : value.get_array()) {
        if (count % 2 != 0) throw simdjson::simdjson_error(simdjson::INCORRECT_TYPE);
        for (const double number : pair) {
            if (count == numbers.size()) throw simdjson::simdjson_error(simdjson::INCORRECT_TYPE);
            numbers.at(count++) = inRange(number);
        }
        if (count != 2 && count != 4) throw simdjson::simdjson_error(simdjson::INCORRECT_TYPE);
    }
    if (count != numbers.size()) throw simdjson::simdjson_error(simdjson::INCORRECT_TYPE);
    return CGRect{{numbers[0], numbers[1]}, {numbers[2], numbers[3]}};
}

template <typename Kind>
Kind readKind(std::string_view word, int count) {
    for (int i = 0; i < count; ++i) {
        if (rawString(static_cast<Kind>(i)) == word) return static_cast<Kind>(i);
    }
    throw CursorRecordingError("an unknown kind “" + std::string(word) + "”");
}

bool readOptionalVisibility(ondemand::object& object) {
    ondemand::value value;
    const auto error = object["isVisible"].get(value);
    if (error == simdjson::NO_SUCH_FIELD) return true;
    if (error != simdjson::SUCCESS) throw simdjson::simdjson_error(error);
    return value.is_null() ? true : bool(value.get_bool());
}

CursorMovementSample readMovement(ondemand::object object) {
    CursorMovementSample sample;
    sample.isVisible = object["isVisible"].get_bool();
    sample.normalizedX = inRange(object["normalizedX"].get_double());
    sample.normalizedY = inRange(object["normalizedY"].get_double());
    sample.timeSeconds = inRange(object["timeSeconds"].get_double());
    return sample;
}

CursorActivitySample readActivity(ondemand::object object) {
    CursorActivitySample sample;
    sample.isVisible = object["isVisible"].get_bool();
    sample.kind = readKind<CursorActivityKind>(object["kind"].get_string(), 4);
    sample.normalizedX = inRange(object["normalizedX"].get_double());
    sample.normalizedY = inRange(object["normalizedY"].get_double());
    sample.timeSeconds = inRange(object["timeSeconds"].get_double());
    return sample;
}

CursorScrollSample readScroll(ondemand::object object) {
    CursorScrollSample sample;
    sample.isMomentum = object["isMomentum"].get_bool();
    sample.isVisible = readOptionalVisibility(object);
    sample.normalizedDeltaX = inRange(object["normalizedDeltaX"].get_double());
    sample.normalizedDeltaY = inRange(object["normalizedDeltaY"].get_double());
    sample.timeSeconds = inRange(object["timeSeconds"].get_double());
    return sample;
}

CursorKeyboardActivitySample readKeyboard(ondemand::object object) {
    CursorKeyboardActivitySample sample;
    sample.isVisible = readOptionalVisibility(object);
    sample.kind = readKind<CursorKeyboardActivityKind>(object["kind"].get_string(), 3);
    sample.timeSeconds = inRange(object["timeSeconds"].get_double());
    return sample;
}

CursorWindowContextSample readWindowContext(ondemand::object object) {
    CursorWindowContextSample sample;
    bool hasTime = false;
    for (ondemand::field field : object) {
        const std::string_view key = field.unescaped_key();
        ondemand::value value = field.value();
        if (value.is_null()) continue;
        if (key == "timeSeconds") {
            sample.timeSeconds = inRange(value.get_double());
            hasTime = true;
        } else if (key == "activeWindowFrame") {
            sample.activeWindowFrame = readFrame(value);
        } else if (key == "focusedElementFrame") {
            sample.focusedElementFrame = readFrame(value);
        } else if (key == "focusedElementRole") {
            sample.focusedElementRole = std::string(std::string_view(value.get_string()));
        } else if (key == "keyboardFocusedElementFrame") {
            sample.keyboardFocusedElementFrame = readFrame(value);
        } else if (key == "keyboardFocusedElementRole") {
            sample.keyboardFocusedElementRole = std::string(std::string_view(value.get_string()));
        }
    }
    if (!hasTime) throw simdjson::simdjson_error(simdjson::NO_SUCH_FIELD);
    return sample;
}

template <typename Sample>
void readList(ondemand::value value, std::vector<Sample>& samples, Sample (*read)(ondemand::object)) {
    for (ondemand::object object : value.get_array()) samples.push_back(read(object));
}

CursorRecording readDocument(ondemand::document& document) {
    CursorRecording recording;
    bool hasRegion = false;
    bool hasMovement = false;
    bool hasActivity = false;
    for (ondemand::field field : document.get_object()) {
        const std::string_view key = field.unescaped_key();
        ondemand::value value = field.value();
        if (key == "captureRegion") {
            ondemand::object region = value.get_object();
            recording.captureRegion.height = inRange(region["height"].get_double());
            recording.captureRegion.originX = inRange(region["originX"].get_double());
            recording.captureRegion.originY = inRange(region["originY"].get_double());
            recording.captureRegion.width = inRange(region["width"].get_double());
            hasRegion = true;
        } else if (key == "movementSamples") {
            readList(value, recording.movementSamples, readMovement);
            hasMovement = true;
        } else if (key == "activitySamples") {
            readList(value, recording.activitySamples, readActivity);
            hasActivity = true;
        } else if (value.is_null()) {
            continue;
        } else if (key == "windowContextSamples") {
            readList(value, recording.windowContextSamples, readWindowContext);
        } else if (key == "scrollSamples") {
            readList(value, recording.scrollSamples, readScroll);
        } else if (key == "keyboardSamples") {
            readList(value, recording.keyboardSamples, readKeyboard);
        }
    }
    if (!hasRegion || !hasMovement || !hasActivity) throw simdjson::simdjson_error(simdjson::NO_SUCH_FIELD);
    // Only past the end of the text there is no location any more.
    if (document.current_location().error() == simdjson::SUCCESS) {
        throw simdjson::simdjson_error(simdjson::TRAILING_CONTENT);
    }
    recording.sortSamples();
    if (!(recording.lastEventTime() <= kLongestRecordingSeconds)) {
        throw CursorRecordingError("a time lies beyond the length of any recording");
    }
    return recording;
}

/// Builds JSON text into a file in bounded memory.
class JSONStream {
public:
    /// `sink` is given the text in large pieces.
    explicit JSONStream(std::function<void(std::string_view)> sink) : sink_(std::move(sink)) {}

    JSONStream& text(std::string_view literal) {
        buffer_ += literal;
        if (buffer_.size() >= kFlushBytes) flush();
        return *this;
    }
    JSONStream& number(double value) {
        std::array<char, 32> digits{};
        // JSON has no word for what isn't finite, and no sample should hold it.
        const double usable = std::isfinite(value) ? value : 0;
        const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), usable);
        return text({digits.data(), static_cast<std::size_t>(result.ptr - digits.data())});
    }
    JSONStream& boolean(bool value) { return text(value ? "true" : "false"); }
    JSONStream& string(std::string_view value) {
        text("\"");
        for (const char c : value) {
            if (c == '"' || c == '\\') {
                text("\\").text({&c, 1});
            } else if (static_cast<unsigned char>(c) < 0x20) {
                std::array<char, 8> escape{};
                std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(c));
                text(escape.data());
            } else {
                text({&c, 1});
            }
        }
        return text("\"");
    }
    JSONStream& frame(const CGRect& frame) {
        text("[[").number(frame.minX()).text(",").number(frame.minY()).text("],[");
        return number(frame.width()).text(",").number(frame.height()).text("]]");
    }
    void flush() {
        sink_(buffer_);
        buffer_.clear();
    }

private:
    static constexpr std::size_t kFlushBytes = 1 << 20;

    std::function<void(std::string_view)> sink_;
    std::string buffer_;
};

void write(JSONStream& json, const CursorMovementSample& sample) {
    json.text("{\"isVisible\":").boolean(sample.isVisible);
    json.text(",\"normalizedX\":").number(sample.normalizedX);
    json.text(",\"normalizedY\":").number(sample.normalizedY);
    json.text(",\"timeSeconds\":").number(sample.timeSeconds).text("}");
}

void write(JSONStream& json, const CursorActivitySample& sample) {
    json.text("{\"isVisible\":").boolean(sample.isVisible);
    json.text(",\"kind\":").string(rawString(sample.kind));
    json.text(",\"normalizedX\":").number(sample.normalizedX);
    json.text(",\"normalizedY\":").number(sample.normalizedY);
    json.text(",\"timeSeconds\":").number(sample.timeSeconds).text("}");
}

void write(JSONStream& json, const CursorScrollSample& sample) {
    json.text("{\"isMomentum\":").boolean(sample.isMomentum);
    json.text(",\"isVisible\":").boolean(sample.isVisible);
    json.text(",\"normalizedDeltaX\":").number(sample.normalizedDeltaX);
    json.text(",\"normalizedDeltaY\":").number(sample.normalizedDeltaY);
    json.text(",\"timeSeconds\":").number(sample.timeSeconds).text("}");
}

void write(JSONStream& json, const CursorKeyboardActivitySample& sample) {
    json.text("{\"isVisible\":").boolean(sample.isVisible);
    json.text(",\"kind\":").string(rawString(sample.kind));
    json.text(",\"timeSeconds\":").number(sample.timeSeconds).text("}");
}

void write(JSONStream& json, const CursorWindowContextSample& sample) {
    json.text("{");
    if (sample.activeWindowFrame)
        json.text("\"activeWindowFrame\":").frame(*sample.activeWindowFrame).text(",");
    if (sample.focusedElementFrame)
        json.text("\"focusedElementFrame\":").frame(*sample.focusedElementFrame).text(",");
    if (sample.focusedElementRole)
        json.text("\"focusedElementRole\":").string(*sample.focusedElementRole).text(",");
    if (sample.keyboardFocusedElementFrame) {
        json.text("\"keyboardFocusedElementFrame\":").frame(*sample.keyboardFocusedElementFrame).text(",");
    }
    if (sample.keyboardFocusedElementRole) {
        json.text("\"keyboardFocusedElementRole\":").string(*sample.keyboardFocusedElementRole).text(",");
    }
    json.text("\"timeSeconds\":").number(sample.timeSeconds).text("}");
}

template <typename Sample>
void writeList(JSONStream& json, std::string_view key, const std::vector<Sample>& samples) {
    json.text("\"").text(key).text("\":[");
    bool isFirst = true;
    for (const Sample& sample : samples) {
        if (!isFirst) json.text(",");
        isFirst = false;
        write(json, sample);
    }
    json.text("]");
}

void write(const CursorRecording& recording, std::function<void(std::string_view)> sink) {
    JSONStream json(std::move(sink));
    json.text("{");
    writeList(json, "activitySamples", recording.activitySamples);
    const CursorCaptureRegion& region = recording.captureRegion;
    json.text(",\"captureRegion\":{\"height\":").number(region.height);
    json.text(",\"originX\":").number(region.originX);
    json.text(",\"originY\":").number(region.originY);
    json.text(",\"width\":").number(region.width).text("}");
    if (!recording.keyboardSamples.empty()) {
        json.text(",");
        writeList(json, "keyboardSamples", recording.keyboardSamples);
    }
    json.text(",");
    writeList(json, "movementSamples", recording.movementSamples);
    if (!recording.scrollSamples.empty()) {
        json.text(",");
        writeList(json, "scrollSamples", recording.scrollSamples);
    }
    if (!recording.windowContextSamples.empty()) {
        json.text(",");
        writeList(json, "windowContextSamples", recording.windowContextSamples);
    }
    json.text("}");
    json.flush();
}

}  // namespace

CursorRecording parseCursorRecording(std::string json, const std::string& name) {
    const auto fail = [&name](std::string reason) {
        if (!reason.ends_with('.')) reason += '.';
        throw CursorRecordingError("The telemetry file “" + name + "” can't be read: " + reason);
    };
    try {
        json.reserve(json.size() + simdjson::SIMDJSON_PADDING);
        ondemand::parser parser;
        ondemand::document document = parser.iterate(json);
        return readDocument(document);
    } catch (const simdjson::simdjson_error& error) {
        fail(error.what());
    } catch (const CursorRecordingError& error) {
        fail(error.what());
    }
    return {};
}

CursorRecording readCursorRecording(const URL& url) {
    return parseCursorRecording(readFile(url), url.string());
}

std::string cursorRecordingText(const CursorRecording& recording) {
    std::string text;
    write(recording, [&text](std::string_view piece) { text += piece; });
    return text;
}

void writeCursorRecording(const CursorRecording& recording, const URL& url) {
    AtomicFile file(url);
    write(recording, [&file](std::string_view piece) { file.write(piece); });
    file.commit();
}

}  // namespace varnelle
