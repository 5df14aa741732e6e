#pragma once

#include <QSocketNotifier>
#include <functional>
#include <memory>

namespace varnelle {

/// Turns the signals by which a desktop or a terminal ends a program (SIGTERM, SIGINT, SIGHUP) into a call
/// from the event loop. One at a time; main thread.
class TerminationSignals final {
public:
    explicit TerminationSignals(std::function<void()> onSignal);
    ~TerminationSignals();
    TerminationSignals(const TerminationSignals&) = delete;
    TerminationSignals& operator=(const TerminationSignals&) = delete;

private:
    int descriptor_;
    std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace varnelle
