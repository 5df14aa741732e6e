#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace varnelle::bench {

/// What a program took from its start to its end.
struct Usage {
    double wallSeconds = 0;
    double processorSeconds =
        0;  ///< user and system time of all its threads and of the processes it waited for
};

/// A program that a row of the table starts. Its standard output is read line by line; what it says on
/// standard error is only shown if it fails. Ended and waited for at the latest on destruction.
class Program {
public:
    /// `environment` holds "NAME=value" entries that are added to our own. Throws `std::runtime_error` if no
    /// process can be started.
    explicit Program(const std::vector<std::string>& arguments,
                     const std::vector<std::string>& environment = {});
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    /// The next line without its end; absent when the program has closed its output.
    std::optional<std::string> readLine();
    /// Processor time of all its threads up to now.
    [[nodiscard]] double processorSeconds() const;
    /// Waits for the end. Throws `std::runtime_error` with what the program said if it failed.
    Usage waitForEnd();

private:
    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    using File = std::unique_ptr<std::FILE, CloseFile>;

    [[nodiscard]] std::string complaints() const;

    std::string name_;
    pid_t processID_ = -1;
    std::chrono::steady_clock::time_point start_;
    File output_;
    File errors_;
};

/// Runs a program to its end.
Usage run(const std::vector<std::string>& arguments, const std::vector<std::string>& environment = {});

}  // namespace varnelle::bench
