#include "support/PipeWireServer.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "support/Waiting.h"

namespace varnelle::test {
namespace {

using namespace std::chrono_literals;

constexpr auto kStartDeadline = 20s;

constexpr const char* kServerConfiguration = R"(
context.properties = {
    core.daemon = true
    core.name = pipewire-0
    support.dbus = false
    mem.allow-mlock = false
    default.clock.rate = 48000
    default.clock.quantum = 1024
    default.clock.min-quantum = 1024
    default.clock.max-quantum = 1024
}
context.spa-libs = {
    audio.convert.* = audioconvert/libspa-audioconvert
    support.* = support/libspa-support
}
context.modules = [
    { name = libpipewire-module-protocol-native }
    { name = libpipewire-module-metadata }
    { name = libpipewire-module-spa-node-factory }
    { name = libpipewire-module-client-node }
    { name = libpipewire-module-client-device }
    { name = libpipewire-module-access }
    { name = libpipewire-module-adapter }
    { name = libpipewire-module-link-factory }
    { name = libpipewire-module-session-manager }
]
context.objects = [
    { factory = spa-node-factory
      args = { factory.name = support.node.driver  node.name = Dummy-Driver
               node.group = pipewire.dummy  priority.driver = 20000 } }
    { factory = adapter
      args = { factory.name = support.null-audio-sink  node.name = test-sink
               node.description = "Test output"  media.class = Audio/Sink
               audio.position = [ FL FR ] } }
]
)";

/// Devices of the machine have no place here, and neither has the bus, which there may be none of.
constexpr const char* kSessionConfiguration = R"(
alsa_monitor.enabled = false
v4l2_monitor.enabled = false
libcamera_monitor.enabled = false
default_access.properties["enable-flatpak-portal"] = false
)";
constexpr const char* kBluetoothConfiguration = "bluez_monitor.enabled = false\n";

void writeText(const std::filesystem::path& path, const char* text) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << text;
}

bool takesConnections(const std::string& path) {
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    const bool isOpen =
        ::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    close(descriptor);
    return isOpen;
}

}  // namespace

bool PipeWireServer::isAvailable() {
    return access("/usr/bin/pipewire", X_OK) == 0 && access("/usr/bin/wireplumber", X_OK) == 0 &&
           access("/usr/bin/pw-metadata", X_OK) == 0;
}

PipeWireServer::PipeWireServer() {
    const std::string directory = directory_.url().string();
    remoteName_ = directory + "/pipewire-0";
    environment_ = {"XDG_RUNTIME_DIR=" + directory,
                    "PIPEWIRE_RUNTIME_DIR=" + directory,
                    "HOME=" + directory,
                    "XDG_CONFIG_HOME=" + directory + "/config",
                    "XDG_STATE_HOME=" + directory + "/state",
                    "DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent",
                    "DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nonexistent"};
    writeText(directory + "/pipewire.conf", kServerConfiguration);
    writeText(directory + "/config/wireplumber/main.lua.d/51-test.lua", kSessionConfiguration);
    writeText(directory + "/config/wireplumber/bluetooth.lua.d/51-test.lua", kBluetoothConfiguration);
    start();
}

void PipeWireServer::start() {
    server_ = std::make_unique<ChildProcess>(
        std::vector<std::string>{"pipewire", "-c", directory_.url().string() + "/pipewire.conf"},
        environment_);
    if (!waitUntil([this] { return takesConnections(remoteName_); }, kStartDeadline)) {
        throw std::runtime_error("pipewire didn't start");
    }
    sessionManager_ = std::make_unique<ChildProcess>(std::vector<std::string>{"wireplumber"}, environment_);
    const auto hasChosen = [this] {
        return outputOf({"pw-metadata", "0", "default.audio.sink"}).find(kSinkName) != std::string::npos;
    };
    if (!waitUntil(hasChosen, kStartDeadline)) throw std::runtime_error("wireplumber didn't start");
}

void PipeWireServer::kill() {
    server_ = nullptr;
    sessionManager_ = nullptr;
}

void PipeWireServer::freeze() {
    server_->sendSignal(SIGSTOP);
}

void PipeWireServer::thaw() {
    server_->sendSignal(SIGCONT);
}

void PipeWireServer::preferSink(const std::string& name) {
    (void)outputOf({"pw-metadata", "0", "default.configured.audio.sink", "{ \"name\": \"" + name + "\" }",
                    "Spa:String:JSON"});
    const auto hasChosen = [&] {
        return outputOf({"pw-metadata", "0", "default.audio.sink"}).find(name) != std::string::npos;
    };
    if (!waitUntil(hasChosen, kStartDeadline)) throw std::runtime_error("the output wasn't chosen");
}

std::string PipeWireServer::outputOf(std::vector<std::string> command) const {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    ChildProcess process(command, environment_, -1, ends[1]);
    close(ends[1]);
    std::string output;
    std::array<char, 4096> buffer{};
    for (ssize_t count = 0; (count = read(ends[0], buffer.data(), buffer.size())) > 0;) {
        output.append(buffer.data(), static_cast<std::size_t>(count));
    }
    close(ends[0]);
    process.waitForEnd();
    return output;
}

}  // namespace varnelle::test
