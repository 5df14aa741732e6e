#include "recording/SessionRecovery.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <system_error>

#include "camera/CursorRecordingFile.h"
#include "foundation/AtomicFile.h"
#include "foundation/DirectoryLock.h"
#include "foundation/Error.h"
#include "foundation/Log.h"
#include "media/MediaAsset.h"
#include "model/ProjectLifecycle.h"
#include "recording/StorageWatch.h"
#include "recording/TelemetryJournal.h"

namespace varnelle {
namespace {

constexpr const char* kNoteName = "session.json";
constexpr int kNoteVersion = 1;
constexpr int kUsualFrameRate = 60;

bool exists(const URL& url) {
    std::error_code ignored;
    return std::filesystem::is_regular_file(url.path(), ignored);
}

/// Takes over what the note says; a note that is missing or damaged changes nothing.
void applyNote(const URL& directory, RecordingSession& session) {
    RecordingSession noted = session;
    try {
        std::ifstream file(directory.appending(kNoteName).path());
        const nlohmann::json note = nlohmann::json::parse(file);
        if (note.at("version") != kNoteVersion) return;
        noted.id = UUID::parse(note.at("id").get<std::string>()).value();
        noted.createdAt = Date::parseISO8601(note.at("createdAt").get<std::string>()).value();
        noted.frameRate = note.at("frameRate").get<int>();
        noted.renderSize = {note.at("renderWidth").get<double>(), note.at("renderHeight").get<double>()};
    } catch (const std::exception&) {
        return;
    }
    const bool isUsable = noted.frameRate > 0 && noted.renderSize.width > 0 && noted.renderSize.height > 0;
    if (isUsable) session = noted;
}

/// When the directory was last changed, in whole seconds; for sessions without a note.
Date dateOf(const URL& directory) {
    std::error_code error;
    const auto time = std::filesystem::last_write_time(directory.path(), error);
    if (error) return Date::now();
    const auto age = std::filesystem::file_time_type::clock::now() - time;
    return {Date::now().secondsSinceEpoch - std::chrono::duration_cast<std::chrono::seconds>(age).count()};
}

std::vector<RecordedAudioSource> audioSourcesOf(const MediaAsset& movie) {
    // The recorder writes system sound in stereo and the microphone in mono, in this order.
    std::vector<RecordedAudioSource> sources;
    for (const MediaTrack& track : movie.tracks(MediaType::audio)) {
        sources.push_back(track.channelCount == 1 ? RecordedAudioSource::microphone
                                                  : RecordedAudioSource::system);
    }
    return sources;
}

/// Completes the telemetry from its journal if its recorder didn't. Absent if there is nothing.
std::optional<URL> recoverTelemetry(const URL& telemetry) {
    if (exists(telemetry)) return telemetry;
    const auto samples = TelemetryJournal::read(TelemetryJournal::beside(telemetry));
    if (!samples) return std::nullopt;
    try {
        writeCursorRecording(*samples, telemetry);
        return telemetry;
    } catch (const FileError& error) {
        logger(LogCategory::recording).warn("{}", error.what());
        return std::nullopt;
    }
}

RecordingSession sessionIn(const URL& directory, const MediaAsset& movie) {
    RecordingSession session;
    session.id = UUID::random();
    session.createdAt = dateOf(directory);
    session.frameRate = kUsualFrameRate;
    session.renderSize = movie.tracks(MediaType::video).front().naturalSize;
    applyNote(directory, session);
    session.directoryURL = directory;
    session.screenRecordingURL = directory.appending("screen.mov");
    session.availableAudioSources = audioSourcesOf(movie);
    const URL camera = directory.appending("camera.mov");
    if (exists(camera)) session.cameraRecordingURL = camera;
    session.cursorRecordingURL = recoverTelemetry(directory.appending("cursor.json"));
    return session;
}

/// Absent without pictures that can be read.
std::optional<RecoverableSession> recover(const URL& directory) {
    try {
        const MediaAsset movie(directory.appending("screen.mov"));
        const auto videos = movie.tracks(MediaType::video);
        if (videos.empty() || videos.front().sampleIndex->empty()) return std::nullopt;
        RecoverableSession found{
            sessionIn(directory, movie), movie.duration(),
            StorageWatch::readStorage(directory).value_or(StorageReading{}).writtenBytes};
        // A camera whose movie didn't get as far as its first picture would only stand in the way.
        if (found.session.cameraRecordingURL) {
            try {
                (void)MediaAsset(*found.session.cameraRecordingURL);
            } catch (const Error&) {
                found.session.cameraRecordingURL.reset();
            }
        }
        return found;
    } catch (const std::exception& error) {
        logger(LogCategory::recording).info("Nothing to recover in {}: {}", directory.string(), error.what());
        return std::nullopt;
    }
}

}  // namespace

void writeSessionNote(const RecordingSession& session) {
    const nlohmann::json note{{"version", kNoteVersion},
                              {"id", session.id.string()},
                              {"createdAt", session.createdAt.iso8601()},
                              {"frameRate", session.frameRate},
                              {"renderWidth", session.renderSize.width},
                              {"renderHeight", session.renderSize.height}};
    writeFileAtomically(session.directoryURL.appending(kNoteName), note.dump());
}

std::vector<RecoverableSession> recoverableSessions(const URL& temporaryDirectory) {
    std::vector<RecoverableSession> found;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(sessionsDirectory(temporaryDirectory).path(), error), end;
         !error && entry != end; entry.increment(error)) {
        std::error_code ignored;
        if (!entry->is_directory(ignored) || entry->is_symlink(ignored)) continue;
        const URL directory(entry->path());
        try {
            if (!DirectoryLock::tryExclusive(directory)) continue;
        } catch (const FileError&) {
            continue;
        }
        if (isSetAside(directory)) {
            std::filesystem::remove_all(directory.path(), ignored);
        } else if (auto session = recover(directory)) {
            found.push_back(std::move(*session));
        }
    }
    std::sort(found.begin(), found.end(), [](const RecoverableSession& a, const RecoverableSession& b) {
        return a.session.createdAt > b.session.createdAt;
    });
    return found;
}

}  // namespace varnelle
