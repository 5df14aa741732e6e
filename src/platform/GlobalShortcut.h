#pragma once

namespace varnelle {

/// A key with modifiers held.
struct KeyChord {
    char32_t key = 0;  ///< the character that the key gives without modifiers: a small letter, a digit
    bool hasControl = false;
    bool hasAlternate = false;
    bool hasShift = false;
    bool hasCommand = false;  ///< the key with the system's sign

    bool operator==(const KeyChord&) const = default;
};

/// Has a chord for the program, whatever program has the keyboard, for as long as the object lives. No
/// handler runs once it is destroyed; it must not be destroyed by its own handler.
class GlobalShortcut {
public:
    virtual ~GlobalShortcut() = default;
};

}  // namespace varnelle
