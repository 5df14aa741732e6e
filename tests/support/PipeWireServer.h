#pragma once

#include <memory>
#include <string>
#include <vector>

#include "support/TemporaryDirectory.h"
#include "support/XServer.h"

namespace varnelle::test {

/// A private PipeWire server with its session manager, in a directory of its own: no bus, no hardware, one
/// output that plays to nobody (`kSinkName`), at 48,000 Hz in cycles of `kCycleFrames`.
class PipeWireServer {
public:
    static constexpr const char* kSinkName = "test-sink";
    /// Long enough for a busy machine to keep up with.
    static constexpr int kCycleFrames = 1024;

    /// Whether the programs are there; a test without them skips with this reason.
    static bool isAvailable();
    static constexpr const char* kMissing = "pipewire or wireplumber is not installed";

    /// Starts both. Throws `std::runtime_error`.
    PipeWireServer();

    /// What to connect to: the path of the socket.
    [[nodiscard]] const std::string& remoteName() const { return remoteName_; }
    /// Ends both at once, as a crash would.
    void kill();
    /// Starts both and waits until the session manager has chosen the output.
    void start();
    /// Stops the server's process, so that it keeps its connections and answers nothing, or lets it go on.
    void freeze();
    void thaw();
    /// Makes one of several outputs the preferred one.
    void preferSink(const std::string& name);

private:
    [[nodiscard]] std::string outputOf(std::vector<std::string> command) const;

    TemporaryDirectory directory_;
    std::string remoteName_;
    std::vector<std::string> environment_;
    std::unique_ptr<ChildProcess> server_;
    std::unique_ptr<ChildProcess> sessionManager_;
};

}  // namespace varnelle::test
