#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace varnelle {

/// A universally unique identifier (RFC 4122).
class UUID {
public:
    /// The nil identifier.
    UUID() = default;
    /// A fresh random one (version 4). Safe on any thread.
    static UUID random();
    /// From the canonical form, in either case; absent if `text` isn't one.
    static std::optional<UUID> parse(std::string_view text);

    /// The canonical form, upper case.
    [[nodiscard]] std::string string() const;

    auto operator<=>(const UUID&) const = default;

private:
    std::array<std::uint8_t, 16> bytes_{};
};

}  // namespace varnelle
