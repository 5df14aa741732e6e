#pragma once

#include <compare>
#include <filesystem>
#include <string>
#include <string_view>

namespace varnelle {

/// The place of a file or directory: an absolute path without "." and ".." and without a trailing slash.
/// Normalisation is lexical; symbolic links are not looked at.
class URL {
public:
    URL() = default;
    /// A relative path is taken from the current directory.
    explicit URL(const std::filesystem::path& path);

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    [[nodiscard]] std::string string() const { return path_.string(); }
    [[nodiscard]] std::string lastPathComponent() const { return path_.filename().string(); }
    /// The extension without its dot; empty if there is none.
    [[nodiscard]] std::string pathExtension() const;
    /// The last component without its extension.
    [[nodiscard]] std::string stem() const { return path_.stem().string(); }
    [[nodiscard]] URL appending(std::string_view component) const;
    [[nodiscard]] URL parent() const { return URL(path_.parent_path()); }
    [[nodiscard]] bool exists() const;

    std::strong_ordering operator<=>(const URL& other) const { return path_.compare(other.path_) <=> 0; }
    bool operator==(const URL& other) const { return path_ == other.path_; }

private:
    std::filesystem::path path_;
};

/// Where recordings are kept while they are not saved: `$TMPDIR` if set, else /var/tmp, because /tmp is often
/// memory. In a directory that others may write to, that is one that only this user can enter, which is made
/// if need be; where somebody else has taken its name, ".cache" in the home directory.
URL temporaryDirectory();
/// `$HOME`, else the home directory of the password file.
URL homeDirectory();

}  // namespace varnelle
