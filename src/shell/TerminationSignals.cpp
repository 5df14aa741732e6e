#include "shell/TerminationSignals.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <utility>

namespace varnelle {
namespace {

constexpr std::array kSignals{SIGTERM, SIGINT, SIGHUP};

volatile std::sig_atomic_t signalDescriptor = -1;

void handle(int) {
    const int interruptedError = errno;
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(signalDescriptor, &one, sizeof one);
    errno = interruptedError;
}

}  // namespace

TerminationSignals::TerminationSignals(std::function<void()> onSignal)
    : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      notifier_(std::make_unique<QSocketNotifier>(descriptor_, QSocketNotifier::Read)) {
    signalDescriptor = descriptor_;
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(),
                     [this, onSignal = std::move(onSignal)] {
                         std::uint64_t count = 0;
                         if (::read(descriptor_, &count, sizeof count) > 0) onSignal();
                     });
    for (const int number : kSignals) std::signal(number, handle);
}

TerminationSignals::~TerminationSignals() {
    for (const int number : kSignals) std::signal(number, SIG_DFL);
    signalDescriptor = -1;
    notifier_.reset();
    ::close(descriptor_);
}

}  // namespace varnelle
