#include "recording/TelemetryJournal.h"

#include <fcntl.h>

#include <cerrno>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "camera/CursorRecordingFile.h"
#include "foundation/Error.h"
#include "foundation/Log.h"

namespace varnelle {
namespace {

template <typename Sample>
void append(std::vector<Sample>& all, std::vector<Sample> further) {
    all.insert(all.end(), std::make_move_iterator(further.begin()), std::make_move_iterator(further.end()));
}

}  // namespace

TelemetryJournal::TelemetryJournal(URL url) : url_(std::move(url)) {}

URL TelemetryJournal::beside(const URL& telemetry) {
    return telemetry.parent().appending(telemetry.stem() + ".journal");
}

void TelemetryJournal::add(CursorRecording samples) {
    queue_.async([this, samples = std::move(samples)] { write(samples); });
}

void TelemetryJournal::remove() {
    queue_.sync([this] {
        file_ = Descriptor();
        std::error_code ignored;
        std::filesystem::remove(url_.path(), ignored);
    });
}

void TelemetryJournal::write(const CursorRecording& samples) {
    if (isGivenUp_) return;
    if (!file_.isOpen()) {
        file_ = Descriptor(open(url_.path().c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
    }
    const int error = file_.isOpen() ? writeWhole(file_.get(), cursorRecordingText(samples) + "\n") : errno;
    if (error == 0) return;
    isGivenUp_ = true;
    logger(LogCategory::recording).warn("{}", FileError("Writing", url_.string(), error).what());
}

std::optional<CursorRecording> TelemetryJournal::read(const URL& url) {
    std::ifstream file(url.path());
    std::optional<CursorRecording> all;
    for (std::string line; std::getline(file, line);) {
        try {
            CursorRecording samples = parseCursorRecording(std::move(line), url.string());
            if (!all) {
                all = std::move(samples);
                continue;
            }
            append(all->movementSamples, std::move(samples.movementSamples));
            append(all->activitySamples, std::move(samples.activitySamples));
            append(all->windowContextSamples, std::move(samples.windowContextSamples));
            append(all->scrollSamples, std::move(samples.scrollSamples));
            append(all->keyboardSamples, std::move(samples.keyboardSamples));
        } catch (const CursorRecordingError&) {
            break;  // the line that was being written when the recorder died
        }
    }
    if (all) all->sortSamples();
    return all;
}

}  // namespace varnelle
