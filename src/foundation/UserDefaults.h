#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace varnelle {

/// Small things that the program remembers for the user between runs, by key.
class UserDefaults {
public:
    virtual ~UserDefaults() = default;
    [[nodiscard]] virtual std::optional<std::string> string(std::string_view key) const = 0;
    /// False where nothing is kept.
    [[nodiscard]] virtual bool boolean(std::string_view key) const = 0;
    virtual void set(std::string_view key, std::string_view value) = 0;
    virtual void set(std::string_view key, bool value) = 0;
};

}  // namespace varnelle
