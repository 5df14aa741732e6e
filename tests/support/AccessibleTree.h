#pragma once

#include <sys/types.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace varnelle::test {

/// One element that shows of a program's interface, as assistive programs see it.
struct AccessibleElement {
    std::string role;  ///< such as "push button"
    std::string name;
    std::string description;
    int x = 0;  ///< on the screen, device pixels from the top left
    int y = 0;
    int width = 0;
    int height = 0;
    bool isFocusable = false;
    bool isFocused = false;
    bool isEnabled = false;
    bool isChecked = false;
    bool isInActiveWindow = false;  ///< in the window that has the keyboard, or that window itself

    [[nodiscard]] int midX() const { return x + width / 2; }
    [[nodiscard]] int midY() const { return y + height / 2; }
};

/// Everything that a program shows at the moment, in the order of its tree. Empty if the program isn't known
/// to the accessibility bus (yet). The bus is the one of the process's environment at the first call.
std::vector<AccessibleElement> accessibleElements(pid_t program);

/// The first element that is showing and has the name; one in the window that has the keyboard comes before
/// all others.
std::optional<AccessibleElement> shownElement(pid_t program, const std::string& name);

/// An element whose name tells a state that changes quickly: each look is a single question to the program.
class AccessibleLabel {
public:
    /// The first element that is showing and whose name begins like this.
    AccessibleLabel(pid_t program, const std::string& beginning);
    /// The name at present; empty if there is no such element.
    [[nodiscard]] std::string text() const;

private:
    std::shared_ptr<void> object_;
};

}  // namespace varnelle::test
