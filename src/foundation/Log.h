#pragma once

#include <spdlog/spdlog.h>

#include <functional>
#include <string>

namespace varnelle {

/// The three categories that the program logs under.
enum class LogCategory { app, recording, capture };

/// The logger of a category; it writes to standard error. Safe on any thread.
spdlog::logger& logger(LogCategory category);

/// Lets a caller see every line of a category as well, for as long as the object lives. Meant for tests.
class LogObserver {
public:
    LogObserver(LogCategory category, std::function<void(const std::string&)> onMessage);
    ~LogObserver();
    LogObserver(const LogObserver&) = delete;
    LogObserver& operator=(const LogObserver&) = delete;

private:
    LogCategory category_;
    spdlog::sink_ptr sink_;
};

}  // namespace varnelle
