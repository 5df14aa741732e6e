#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <random>
#include <thread>

#include "Measure.h"
#include "Program.h"
#include "foundation/UUID.h"
#include "model/ProjectPackage.h"

namespace varnelle::bench {
namespace {

namespace fs = std::filesystem;

constexpr int kRounds = 7;

/// A directory on the file system that recordings are made on; /tmp may be memory.
class Workplace {
public:
    Workplace() : url_(temporaryDirectory().appending("varnelle-bench-" + UUID::random().string())) {
        fs::create_directories(url_.path());
    }
    ~Workplace() {
        std::error_code ignored;
        fs::remove_all(url_.path(), ignored);
    }
    Workplace(const Workplace&) = delete;
    Workplace& operator=(const Workplace&) = delete;
    [[nodiscard]] URL file(const char* name) const { return url_.appending(name); }

private:
    URL url_;
};

/// Writes bytes that nothing on the way to the disk can make fewer of.
void writeNoise(const URL& url, std::size_t megabytes) {
    std::mt19937_64 random(megabytes);
    std::vector<std::uint64_t> block((std::size_t{1} << 20) / sizeof(std::uint64_t));
    std::ofstream file(url.path(), std::ios::binary);
    for (std::size_t i = 0; i < megabytes; ++i) {
        for (std::uint64_t& word : block) word = random();
        file.write(reinterpret_cast<const char*>(block.data()), std::streamsize{1} << 20);
    }
    if (!file.flush()) throw std::runtime_error("There is no room for 2 GB of media and two copies of it.");
}

/// Seconds of a block which begins with nothing waiting to be written. The disk has a moment to discard what
/// was removed before, which goes on after the file system has said that it is done.
double secondsFromCalm(const std::function<void()>& block) {
    sync();
    std::this_thread::sleep_for(std::chrono::seconds(1));
    const auto start = std::chrono::steady_clock::now();
    block();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

Row measure(const std::string& name) {
    const Workplace place;
    RecordingSession session;
    session.id = UUID::random();
    session.screenRecordingURL = place.file("screen.mov");
    session.cameraRecordingURL = place.file("camera.mov");
    session.cursorRecordingURL = place.file("cursor.json");
    session.frameRate = 60;
    session.renderSize = {1920, 1080};
    writeNoise(session.screenRecordingURL, 1500);
    writeNoise(*session.cameraRecordingURL, 500);
    writeNoise(*session.cursorRecordingURL, 48);
    const ProjectEditorState state{
        Project::make(session, timeFromSeconds(600), OverlayConfiguration{}), {}, {}};

    const URL package = place.file("Demo.varnelle");
    const URL copies = place.file("copies");
    std::vector<std::string> copy{"cp", "--reflink=auto"};
    std::vector<std::string> flush{"sync"};
    for (const URL& source : collectSourceURLs(state)) {
        copy.push_back(source.string());
        flush.push_back(copies.appending(source.lastPathComponent()).string());
    }
    copy.push_back(copies.string());

    std::vector<double> ours;
    std::vector<double> theirs;
    const auto save = [&] {
        ours.push_back(secondsFromCalm([&] { writePackage(state, package); }));
        fs::remove_all(package.path());
    };
    const auto copyAndSync = [&] {
        fs::create_directories(copies.path());
        theirs.push_back(secondsFromCalm([&] {
            run(copy);
            run(flush);
        }));
        fs::remove_all(copies.path());
    };
    for (int round = 0; round < kRounds; ++round) {
        // Neither always comes after the other.
        round % 2 == 0 ? (save(), copyAndSync()) : (copyAndSync(), save());
    }
    const auto [fastest, slowest] = std::minmax_element(ours.begin(), ours.end());
    const auto [theirFastest, theirSlowest] = std::minmax_element(theirs.begin(), theirs.end());
    return {name,
            median(ours),
            median(theirs),
            "s",
            1.1,
            fmt::format("{:.2f} to {:.2f} s against {:.2f} to {:.2f} s", *fastest, *slowest, *theirFastest,
                        *theirSlowest)};
}

}  // namespace

std::vector<NamedRow> savingRows() {
    const std::string name = "saving 2 GB of media";
    return {{name, [name] { return measure(name); }}};
}

}  // namespace varnelle::bench
