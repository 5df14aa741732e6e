#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "foundation/Geometry.h"
#include "platform/FocusInput.h"
#include "platform/linux/AtspiMessages.h"
#include "platform/linux/AtspiRoles.h"
#include "platform/linux/DBusClient.h"

namespace varnelle {

/// The accessibility trees of other programs (AT-SPI 2, spoken straight over D-Bus, since every call needs a
/// deadline). For one thread at a time. Nothing throws; what can't be had in time is absent.
///
/// A program that lets a call time out is left alone for a second. A bus that goes away is looked for again
/// once a second.
class AtspiAccessibility {
public:
    using Deadline = DBusClient::Deadline;

    /// `pixelsPerPoint` of the screen, as programs tell places in pixels.
    explicit AtspiAccessibility(double pixelsPerPoint);
    ~AtspiAccessibility();

    /// Answers until the deadline only. Connects to the bus if there is no connection.
    void beginSample(Deadline deadline);

    /// The innermost element at a place, in the window of a process that has the given frame. Global points.
    [[nodiscard]] std::unique_ptr<AccessibilityElement> elementAt(CGPoint place, std::int64_t processID,
                                                                  const CGRect& windowFrame);
    /// The element of a process that has the keyboard; `windowFrame` is that of its front window.
    [[nodiscard]] std::unique_ptr<AccessibilityElement> focusedElement(std::int64_t processID,
                                                                       const CGRect& windowFrame);

private:
    class Element;

    /// A window of a program, and what has to be added to the places that it tells.
    struct Window {
        AtspiReference reference;
        CGPoint offset;
    };
    /// What seldom changes while an object is there.
    struct Identity {
        std::optional<std::uint32_t> role;
        AtspiStates states = 0;
        std::optional<AtspiReference> parent;
        Deadline until;
    };
    struct Description {
        Identity identity;
        std::optional<CGRect> extents;
        bool hasFreshStates = false;
    };
    enum class States { known, fresh };
    struct Wanted {
        AtspiReference object;
        States states = States::known;
    };
    struct KnownWindow {
        std::int64_t processID = 0;
        CGRect frame;
        Window window;
        Deadline until;
    };
    struct KnownFocus {
        AtspiReference reference;
        Deadline searchAgain;
    };

    void connect();
    void noteSignal(DBusMessage& signal);
    /// Calls objects of one program, all at once; false if it doesn't answer.
    bool call(const std::string& busName, std::span<DBusMessageHandle> messages,
              std::span<DBusClient::Reply> replies);
    DBusMessageHandle call(const AtspiReference& object, DBusMessageHandle message);
    [[nodiscard]] bool isLeftAlone(const std::string& busName) const;

    std::optional<std::string> applicationOf(std::int64_t processID);
    void learnApplications();
    std::vector<AtspiReference> children(const AtspiReference& object);
    std::optional<Window> windowOf(std::int64_t processID, const CGRect& windowFrame);
    std::optional<Window> searchWindow(std::int64_t processID, const CGRect& windowFrame);
    /// What was asked during this sample already is not asked again.
    const Description& describe(const AtspiReference& object, States states = States::known);
    /// Describes objects of one program, and asks it further questions, with one wait for everything. False
    /// if it doesn't answer.
    bool describeAll(const std::string& busName, const std::vector<Wanted>& wanted,
                     std::span<DBusMessageHandle> questions = {}, std::span<DBusClient::Reply> answers = {});
    /// Adds an object, and those around it as far as they are known, for as long as they aren't described
    /// yet.
    void want(const AtspiReference& object, States states, std::vector<Wanted>& wanted) const;
    std::optional<AtspiReference> searchFocus(const AtspiReference& window);
    std::optional<CGRect> selectedTextBounds(const AtspiReference& object);

    std::unique_ptr<DBusClient> bus_;
    const double pixelsPerPoint_;
    Deadline deadline_;
    Deadline connectAgain_;
    Deadline learnAgain_;
    std::map<std::int64_t, std::string> applications_;  ///< the bus names of processes
    std::map<std::string, Deadline> leftAloneUntil_;
    std::map<std::string, KnownFocus> focus_;  ///< by bus name
    std::vector<KnownWindow> windows_;
    AtspiReference lastPointed_;
    std::map<AtspiReference, Description> descriptions_;  ///< of this sample
    std::map<AtspiReference, Identity> identities_;       ///< of the samples before too
};

}  // namespace varnelle
