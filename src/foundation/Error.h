#pragma once

#include <stdexcept>
#include <string>

namespace varnelle {

/// Base of every error that the program throws on purpose. `what()` is a sentence for the user that names the
/// file or the thing that it is about.
class Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A file system call failed on a file.
class FileError : public Error {
public:
    /// Reads as: `action` “`path`” failed: the system's text for `errorNumber`.
    FileError(const std::string& action, const std::string& path, int errorNumber);

    [[nodiscard]] const std::string& action() const { return action_; }
    [[nodiscard]] const std::string& path() const { return path_; }
    [[nodiscard]] int errorNumber() const { return errorNumber_; }

private:
    std::string action_;
    std::string path_;
    int errorNumber_;
};

}  // namespace varnelle
