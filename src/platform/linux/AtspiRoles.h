#pragma once

#include <cstdint>
#include <string_view>

namespace varnelle {

/// The states of an accessible object, as the 64 bits of `AtspiStateType`.
using AtspiStates = std::uint64_t;

/// Whether a state, one of `AtspiStateType`, is among them.
constexpr bool hasState(AtspiStates states, int state) {
    return (states >> state & 1U) != 0;
}

/// The stored word for what an object is: its role, one of `AtspiRole`, and the states that tell kinds of
/// text and choices apart. "AXUnknown" for roles that say nothing.
std::string_view storedRole(std::uint32_t role, AtspiStates states);

}  // namespace varnelle
