#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/GlobalShortcut.h"
#include "platform/linux/X11Connection.h"
#include "platform/linux/X11EventThread.h"

namespace varnelle {

/// A chord as a passive grab of the keys that give its character in any of the keyboard's layouts, with and
/// without the locks (CapsLock, NumLock). Follows changes of the keyboard.
class X11GlobalShortcut final : public GlobalShortcut {
public:
    /// Throws `PlatformError` if the chord can't be had.
    X11GlobalShortcut(const std::string& displayName, const KeyChord& chord, std::function<void()> onPress);

private:
    using Stroke = std::pair<xcb_keycode_t, std::uint16_t>;  ///< a key, and modifiers each a bit

    void useKeyboardExtension();
    [[nodiscard]] std::set<Stroke> findStrokes();
    void grab(const std::set<Stroke>& strokes);
    void release(const std::set<Stroke>& strokes);
    void handle(const xcb_generic_event_t& event);
    void followKeyboard();
    [[nodiscard]] std::vector<xcb_keycode_t> keysOf(std::uint32_t symbol);
    /// The modifiers, each a bit, that some key with one of the symbols sets.
    [[nodiscard]] std::uint16_t modifiersOf(const std::vector<std::uint32_t>& symbols);

    // Until the thread runs, the constructor's; from then on the thread's.
    X11Connection connection_;
    const KeyChord chord_;
    const std::function<void()> onPress_;
    std::set<Stroke> strokes_;  ///< that are grabbed
    bool isPressed_ = false;
    std::uint8_t extensionEvent_ = 0;  ///< the number of the keyboard extension's events; 0 without it

    std::unique_ptr<X11EventThread> thread_;
};

}  // namespace varnelle
