#pragma once

#include <functional>
#include <map>

#include "foundation/UserDefaults.h"

namespace varnelle::test {

/// User defaults that last as long as the test.
class MemoryDefaults final : public UserDefaults {
public:
    [[nodiscard]] std::optional<std::string> string(std::string_view key) const override {
        const auto found = strings.find(key);
        return found == strings.end() ? std::nullopt : std::optional(found->second);
    }
    [[nodiscard]] bool boolean(std::string_view key) const override { return string(key) == "true"; }
    void set(std::string_view key, std::string_view value) override { strings[std::string(key)] = value; }
    void set(std::string_view key, bool value) override {
        set(key, std::string_view(value ? "true" : "false"));
    }

    std::map<std::string, std::string, std::less<>> strings;
};

}  // namespace varnelle::test
