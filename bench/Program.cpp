#include "Program.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <ctime>
#include <stdexcept>

namespace varnelle::bench {
namespace {

std::vector<char*> pointers(std::vector<std::string>& strings) {
    std::vector<char*> result;
    for (std::string& string : strings) result.push_back(string.data());
    result.push_back(nullptr);
    return result;
}

std::vector<std::string> environmentWith(const std::vector<std::string>& additions) {
    std::vector<std::string> result = additions;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        const std::string name = text.substr(0, text.find('=') + 1);
        bool isReplaced = false;
        for (const std::string& addition : additions) isReplaced = isReplaced || addition.starts_with(name);
        if (!isReplaced) result.push_back(text);
    }
    return result;
}

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

}  // namespace

Program::Program(const std::vector<std::string>& arguments, const std::vector<std::string>& environment)
    : name_(arguments.at(0)), errors_(std::tmpfile()) {
    std::array<int, 2> ends{};
    if (!errors_ || pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe to a program");
    output_.reset(fdopen(ends[0], "r"));
    // Everything that allocates happens before the fork: other threads may hold the allocator's lock.
    std::vector<std::string> argumentStrings = arguments;
    std::vector<std::string> environmentStrings = environmentWith(environment);
    const auto argv = pointers(argumentStrings);
    const auto envp = pointers(environmentStrings);
    const int errors = fileno(errors_.get());
    start_ = std::chrono::steady_clock::now();
    processID_ = fork();
    if (processID_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
        dup2(ends[1], STDOUT_FILENO);
        dup2(errors, STDERR_FILENO);
        execvpe(argv[0], argv.data(), envp.data());
        _exit(127);
    }
    close(ends[1]);
    if (processID_ < 0) throw std::runtime_error("no process for " + name_);
}

Program::~Program() {
    if (processID_ < 0) return;
    kill(processID_, SIGKILL);
    waitpid(processID_, nullptr, 0);
}

std::optional<std::string> Program::readLine() {
    std::string line;
    for (int character = std::fgetc(output_.get()); character != EOF; character = std::fgetc(output_.get())) {
        if (character == '\n') return line;
        line += static_cast<char>(character);
    }
    return line.empty() ? std::nullopt : std::optional(line);
}

double Program::processorSeconds() const {
    clockid_t clock = 0;
    timespec time{};
    if (clock_getcpuclockid(processID_, &clock) != 0 || clock_gettime(clock, &time) != 0) {
        throw std::runtime_error(name_ + " has no processor clock");
    }
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

Usage Program::waitForEnd() {
    // A program that still writes must not be held up by a full pipe.
    while (readLine()) {
    }
    int status = 0;
    rusage usage{};
    wait4(processID_, &status, 0, &usage);
    processID_ = -1;
    const auto wall = std::chrono::steady_clock::now() - start_;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error(name_ + " failed:\n" + complaints());
    }
    return {std::chrono::duration<double>(wall).count(), seconds(usage.ru_utime) + seconds(usage.ru_stime)};
}

std::string Program::complaints() const {
    std::string text;
    std::rewind(errors_.get());
    for (int character = std::fgetc(errors_.get()); character != EOF; character = std::fgetc(errors_.get())) {
        text += static_cast<char>(character);
    }
    return text;
}

Usage run(const std::vector<std::string>& arguments, const std::vector<std::string>& environment) {
    return Program(arguments, environment).waitForEnd();
}

}  // namespace varnelle::bench
