#pragma once

#include <cstdint>

namespace varnelle {

/// How far in front a panel lies. Panels of a higher level stay above those of a lower one; all of them stay
/// above the windows of other programs. The numbers only order them.
enum class PanelLevel { overlay = 2, floating = 3, statusBar = 25 };

/// What tells a panel from a window.
struct PanelBehaviour {
    PanelLevel level = PanelLevel::floating;
    bool isOnAllWorkspaces = true;
    bool isInTaskbarAndPager = false;
    bool takesKeyboardWhenClicked = false;
};

/// What the program's own windows ask of the desktop. Windows are named by their native number
/// (`QWindow::winId`). For one thread; nothing throws.
class WindowManagement {
public:
    virtual ~WindowManagement() = default;
    /// Makes a window a panel, whether it is shown already or not, until it is destroyed: it stays one when
    /// it is hidden and shown again. Called again, it changes the panel's behaviour. Returns once the desktop
    /// has taken the wish, or after 100 milliseconds: a desktop that hangs holds up nobody.
    virtual void applyPanelBehaviour(std::uint64_t window, const PanelBehaviour& behaviour) = 0;
    /// Puts a shown window directly below another one, once. Of panels the levels count for more. Doesn't
    /// wait.
    virtual void orderBelow(std::uint64_t window, std::uint64_t sibling) = 0;
    /// Whether what is transparent in a window shows what lies beneath it. Without that it is black. Known
    /// without asking the desktop.
    [[nodiscard]] virtual bool isCompositing() = 0;
};

}  // namespace varnelle
