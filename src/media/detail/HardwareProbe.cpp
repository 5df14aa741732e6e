#include "media/detail/HardwareProbe.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <thread>

#include "foundation/Log.h"

extern char** environ;

namespace varnelle::detail {
namespace {

constexpr auto kTimeLimit = std::chrono::seconds(5);

bool hasRenderNode() {
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator("/dev/dri", ignored)) {
        if (entry.path().filename().string().starts_with("renderD")) return true;
    }
    return false;
}

std::filesystem::path probeProgram() {
    std::error_code failed;
    const auto self = std::filesystem::read_symlink("/proc/self/exe", failed);
    return failed ? std::filesystem::path() : self.parent_path() / "encoder_probe";
}

/// Whether the process ends by itself with success in time. It is killed otherwise.
bool succeedsInTime(pid_t process) {
    const auto deadline = std::chrono::steady_clock::now() + kTimeLimit;
    int status = 0;
    while (true) {
        const pid_t ended = waitpid(process, &status, WNOHANG);
        if (ended == process) return WIFEXITED(status) && WEXITSTATUS(status) == 0;
        if (ended < 0 && errno != EINTR) return false;
        if (std::chrono::steady_clock::now() > deadline) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    kill(process, SIGKILL);
    // A process that is stuck in a driver can't be waited for: reap it only if it is already gone.
    waitpid(process, &status, WNOHANG);
    return false;
}

bool isProven(const std::filesystem::path& probe, const std::string& encoder) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        posix_spawn_file_actions_addopen(&actions, descriptor, "/dev/null", O_RDWR, 0);
    }
    std::string program = probe.string();
    std::string name = encoder;
    char* arguments[] = {program.data(), name.data(), nullptr};
    pid_t process = 0;
    const int result = posix_spawn(&process, program.c_str(), &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    const bool works = result == 0 && succeedsInTime(process);
    logger(LogCategory::app)
        .info("The hardware encoder {} {}.", encoder, works ? "works" : "doesn't work here");
    return works;
}

std::vector<std::string> findProvenEncoders() {
    const std::filesystem::path probe = probeProgram();
    std::error_code ignored;
    if (probe.empty() || !std::filesystem::exists(probe, ignored)) return {};
    std::vector<std::string> candidates;
    if (std::filesystem::exists("/dev/nvidia0", ignored)) candidates.emplace_back("hevc_nvenc");
    if (hasRenderNode()) candidates.insert(candidates.end(), {"hevc_qsv", "hevc_vaapi"});
    std::erase_if(candidates, [&probe](const std::string& name) { return !isProven(probe, name); });
    return candidates;
}

}  // namespace

const std::vector<std::string>& provenHardwareEncoders() {
    static const std::vector<std::string> encoders = findProvenEncoders();
    return encoders;
}

}  // namespace varnelle::detail
