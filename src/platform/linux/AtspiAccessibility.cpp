#include "platform/linux/AtspiAccessibility.h"

#include <atspi/atspi-constants.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <string_view>
#include <utility>

#include "platform/linux/AtspiBus.h"

namespace varnelle {
namespace {

using Clock = std::chrono::steady_clock;
using Deadline = DBusClient::Deadline;

/// A program that is well answers in well under a millisecond, and a busy one between two of its frames.
constexpr std::chrono::milliseconds kCallTime{100};
constexpr std::chrono::seconds kLeaveAloneTime{1};
constexpr std::chrono::seconds kConnectInterval{1};
/// A bus that still has to be started is there at the next attempt.
constexpr std::chrono::milliseconds kConnectTime{150};
constexpr std::chrono::seconds kLearnInterval{1};
constexpr std::chrono::seconds kSearchInterval{2};
/// A search for the focus looks at no more objects than this, nor for longer.
constexpr std::size_t kMostSearched = 2000;
constexpr std::size_t kSearchBatch = 32;
constexpr std::chrono::milliseconds kSearchTime{150};
constexpr std::chrono::seconds kKnowWindowTime{1};
constexpr std::chrono::seconds kKnowIdentityTime{1};
constexpr std::size_t kMostIdentities = 1000;
/// An element, and as many around it as the rules climb.
constexpr std::size_t kDescribedTogether = 4;
/// Trees are not this deep; some programs tell circles.
constexpr int kDeepest = 32;
/// Frames are whole pixels in one place and scaled in another.
constexpr double kFrameTolerance = 2;

constexpr const char* kRegistry = "org.a11y.atspi.Registry";
constexpr const char* kRootPath = "/org/a11y/atspi/accessible/root";
/// Whether it is no use to ask for selected text.
bool isWithoutText(std::string_view role) {
    constexpr std::array<std::string_view, 11> roles{
        "AXApplication", "AXWindow", "AXButton",    "AXPopUpButton", "AXToggle", "AXCheckBox",
        "AXRadioButton", "AXSlider", "AXScrollBar", "AXMenuItem",    "AXImage"};
    return std::find(roles.begin(), roles.end(), role) != roles.end();
}

bool isContainer(std::string_view role) {
    return role == "AXGroup" || role == "AXUnknown";
}

bool isNear(CGPoint a, CGPoint b) {
    return std::abs(a.x - b.x) <= kFrameTolerance && std::abs(a.y - b.y) <= kFrameTolerance;
}

bool isNear(CGSize a, CGSize b) {
    return isNear(CGPoint{a.width, a.height}, CGPoint{b.width, b.height});
}

CGRect moved(const CGRect& rect, CGPoint offset) {
    return {{rect.minX() + offset.x, rect.minY() + offset.y}, rect.size};
}

}  // namespace

class AtspiAccessibility::Element final : public AccessibilityElement {
public:
    Element(AtspiAccessibility& tree, AtspiReference reference, CGPoint offset)
        : tree_(tree), reference_(std::move(reference)), offset_(offset) {}
    std::optional<std::string> role() override {
        const Identity& known = tree_.describe(reference_).identity;
        if (!known.role) return std::nullopt;
        const std::string_view role = storedRole(*known.role, known.states);
        // What a program holds directly is a window, even where its toolkit calls it a container.
        const bool isTopLevel = known.parent && known.parent->path == kRootPath;
        return std::string(isTopLevel && isContainer(role) ? "AXWindow" : role);
    }
    std::unique_ptr<AccessibilityElement> parent() override {
        const auto& parent = tree_.describe(reference_).identity.parent;
        // Above a program stands the registry, which is no part of what the user sees.
        if (!parent || parent->busName != reference_.busName) return nullptr;
        return std::make_unique<Element>(tree_, *parent, offset_);
    }
    std::optional<CGRect> frame() override {
        const auto& extents = tree_.describe(reference_).extents;
        if (!extents) return std::nullopt;
        return moved(*extents, offset_);
    }
    std::optional<CGRect> selectedTextBounds() override {
        if (isWithoutText(role().value_or(""))) return std::nullopt;
        const auto bounds = tree_.selectedTextBounds(reference_);
        if (!bounds) return std::nullopt;
        return moved(*bounds, offset_);
    }

private:
    AtspiAccessibility& tree_;
    const AtspiReference reference_;
    const CGPoint offset_;
};

AtspiAccessibility::AtspiAccessibility(double pixelsPerPoint) : pixelsPerPoint_(pixelsPerPoint) {}
AtspiAccessibility::~AtspiAccessibility() = default;

void AtspiAccessibility::beginSample(Deadline deadline) {
    deadline_ = deadline;
    if (identities_.size() > kMostIdentities) identities_.clear();
    descriptions_.clear();
    if (bus_ != nullptr && !bus_->isConnected()) {
        bus_ = nullptr;
        windows_.clear();
        identities_.clear();
        applications_.clear();
        focus_.clear();
        leftAloneUntil_.clear();
    }
    if (bus_ == nullptr) connect();
    if (bus_ != nullptr) bus_->takeSignals();
}

std::unique_ptr<AccessibilityElement> AtspiAccessibility::elementAt(CGPoint place, std::int64_t processID,
                                                                    const CGRect& windowFrame) {
    const auto window = windowOf(processID, windowFrame);
    if (!window) return nullptr;
    const auto x = static_cast<dbus_int32_t>(std::lround((place.x - window->offset.x) * pixelsPerPoint_));
    const auto y = static_cast<dbus_int32_t>(std::lround((place.y - window->offset.y) * pixelsPerPoint_));
    const auto pointQuestion = [x, y](const AtspiReference& object) {
        return makeCall(object.busName.c_str(), object.path.c_str(), kComponent, "GetAccessibleAtPoint",
                        DBUS_TYPE_INT32, &x, DBUS_TYPE_INT32, &y, DBUS_TYPE_UINT32, &kScreenCoordinates,
                        DBUS_TYPE_INVALID);
    };
    // Mostly the pointer is where it was, and so is the keyboard: what will be asked then is asked now.
    AtspiReference expected = lastPointed_;
    if (expected.busName != window->reference.busName) expected = window->reference;
    std::vector<Wanted> wanted;
    want(expected, States::known, wanted);
    const auto focus = focus_.find(expected.busName);
    if (focus != focus_.end() && !focus->second.reference.isNull()) {
        want(focus->second.reference, States::fresh, wanted);
    }
    std::array<DBusMessageHandle, 2> messages{pointQuestion(window->reference), pointQuestion(expected)};
    std::array<DBusClient::Reply, 2> answers;
    if (!describeAll(expected.busName, wanted, messages, answers)) return nullptr;
    AtspiReference found = window->reference;
    DBusMessageHandle answer = std::move(answers[0].message);
    for (int depth = 0; depth < kDeepest; ++depth) {
        // Some toolkits answer with the innermost object, some with the next one on the way there.
        auto inner = readReference(answer.get());
        if (!inner || *inner == found || inner->busName != found.busName) break;
        found = *std::move(inner);
        const bool isAnswered = found == expected && answers[1].message != nullptr;
        answer = isAnswered ? std::move(answers[1].message) : call(found, pointQuestion(found));
    }
    lastPointed_ = found;
    return std::make_unique<Element>(*this, found, window->offset);
}

std::unique_ptr<AccessibilityElement> AtspiAccessibility::focusedElement(std::int64_t processID,
                                                                         const CGRect& windowFrame) {
    const auto window = windowOf(processID, windowFrame);
    if (!window) return nullptr;
    KnownFocus& known = focus_[window->reference.busName];
    // A signal that arrives while the program is asked may name another element; then that one is asked.
    AtspiReference asked;
    while (known.reference != asked) {
        asked = known.reference;
        if (hasState(describe(asked, States::fresh).identity.states, ATSPI_STATE_FOCUSED)) {
            return std::make_unique<Element>(*this, asked, window->offset);
        }
    }
    // Programs tell when the focus moves, so a search is for the one that was there before, or for those that
    // don't tell.
    if (Clock::now() < known.searchAgain) return nullptr;
    known.searchAgain = Clock::now() + kSearchInterval;
    const auto found = searchFocus(window->reference);
    if (!found) return nullptr;
    focus_[window->reference.busName].reference = *found;
    return std::make_unique<Element>(*this, *found, window->offset);
}

void AtspiAccessibility::connect() {
    const auto now = Clock::now();
    if (now < connectAgain_) return;
    connectAgain_ = now + kConnectInterval;
    const auto deadline = std::min(deadline_, now + kConnectTime);
    const auto address = accessibilityBusAddress(deadline);
    if (!address) return;
    bus_ = DBusClient::connect(*address, deadline);
    if (bus_ == nullptr) return;
    bus_->setSignalHandler([this](DBusMessage& signal) { noteSignal(signal); });
    bus_->addMatch(
        "type='signal',interface='org.a11y.atspi.Event.Object',member='StateChanged',arg0='focused'");
    const char* event = "object:state-changed:focused";
    bus_->send(makeCall(kRegistry, "/org/a11y/atspi/registry", kRegistry, "RegisterEvent", DBUS_TYPE_STRING,
                        &event, DBUS_TYPE_INVALID));
    learnAgain_ = now;
}

void AtspiAccessibility::noteSignal(DBusMessage& signal) {
    if (dbus_message_is_signal(&signal, "org.a11y.atspi.Event.Object", "StateChanged") == FALSE) return;
    const char* sender = dbus_message_get_sender(&signal);
    const char* path = dbus_message_get_path(&signal);
    const char* state = nullptr;
    dbus_int32_t isSet = 0;
    if (sender == nullptr || path == nullptr ||
        dbus_message_get_args(&signal, nullptr, DBUS_TYPE_STRING, &state, DBUS_TYPE_INT32, &isSet,
                              DBUS_TYPE_INVALID) == FALSE)
        return;
    if (isSet == 0 || std::strcmp(state, "focused") != 0) return;
    focus_[sender].reference = {sender, path};
}

bool AtspiAccessibility::call(const std::string& busName, std::span<DBusMessageHandle> messages,
                              std::span<DBusClient::Reply> replies) {
    if (bus_ == nullptr || isLeftAlone(busName)) return false;
    bus_->callAll(messages, replies, std::min(deadline_, Clock::now() + kCallTime));
    for (const DBusClient::Reply& reply : replies) {
        if (reply.outcome != DBusClient::Outcome::timedOut) continue;
        leftAloneUntil_[busName] = Clock::now() + kLeaveAloneTime;
        return false;
    }
    return true;
}

DBusMessageHandle AtspiAccessibility::call(const AtspiReference& object, DBusMessageHandle message) {
    std::array<DBusMessageHandle, 1> messages{std::move(message)};
    std::array<DBusClient::Reply, 1> replies;
    call(object.busName, messages, replies);
    return std::move(replies[0].message);
}

bool AtspiAccessibility::isLeftAlone(const std::string& busName) const {
    const auto until = leftAloneUntil_.find(busName);
    return until != leftAloneUntil_.end() && Clock::now() < until->second;
}

std::optional<std::string> AtspiAccessibility::applicationOf(std::int64_t processID) {
    if (bus_ == nullptr || processID < 0) return std::nullopt;
    auto application = applications_.find(processID);
    if (application == applications_.end() && Clock::now() >= learnAgain_) {
        learnAgain_ = Clock::now() + kLearnInterval;
        learnApplications();
        application = applications_.find(processID);
    }
    if (application == applications_.end()) return std::nullopt;
    return application->second;
}

void AtspiAccessibility::learnApplications() {
    applications_.clear();
    const std::vector<AtspiReference> roots = children({kRegistry, kRootPath});
    std::vector<DBusMessageHandle> messages;
    for (const AtspiReference& root : roots) {
        const char* name = root.busName.c_str();
        messages.push_back(makeCall(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS,
                                    "GetConnectionUnixProcessID", DBUS_TYPE_STRING, &name,
                                    DBUS_TYPE_INVALID));
    }
    std::vector<DBusClient::Reply> replies(messages.size());
    if (!call(DBUS_SERVICE_DBUS, messages, replies)) return;
    for (std::size_t i = 0; i < roots.size(); ++i) {
        const auto process = readUnsigned(replies[i].message.get());
        if (process) applications_[*process] = roots[i].busName;
    }
}

std::vector<AtspiReference> AtspiAccessibility::children(const AtspiReference& object) {
    const auto reply = call(object, question(object, kAccessible, "GetChildren"));
    return readReferences(reply.get());
}

std::optional<AtspiAccessibility::Window> AtspiAccessibility::windowOf(std::int64_t processID,
                                                                       const CGRect& windowFrame) {
    const auto now = Clock::now();
    std::erase_if(windows_, [now](const KnownWindow& window) { return window.until < now; });
    for (const KnownWindow& known : windows_) {
        if (known.processID == processID && known.frame == windowFrame) return known.window;
    }
    auto window = searchWindow(processID, windowFrame);
    if (window) windows_.push_back({processID, windowFrame, *window, now + kKnowWindowTime});
    return window;
}

std::optional<AtspiAccessibility::Window> AtspiAccessibility::searchWindow(std::int64_t processID,
                                                                           const CGRect& windowFrame) {
    const auto application = applicationOf(processID);
    if (!application || isLeftAlone(*application)) return std::nullopt;
    const std::vector<AtspiReference> windows = children({*application, kRootPath});
    if (windows.empty()) {
        // Gone, and perhaps there again under another name.
        if (!isLeftAlone(*application)) applications_.erase(processID);
        return std::nullopt;
    }
    std::vector<DBusMessageHandle> messages;
    messages.reserve(windows.size());
    for (const AtspiReference& window : windows) messages.push_back(extentsQuestion(window));
    std::vector<DBusClient::Reply> replies(messages.size());
    if (!call(*application, messages, replies)) return std::nullopt;
    std::optional<Window> best;
    int bestRank = 0;
    for (std::size_t i = 0; i < windows.size(); ++i) {
        const auto extents = readExtents(replies[i].message.get(), pixelsPerPoint_);
        if (!extents) continue;
        const bool isRightSize = isNear(extents->size, windowFrame.size);
        const bool isRightPlace = isNear(extents->origin, windowFrame.origin);
        // Toolkits that don't know where their windows are tell places relative to the window.
        const bool isRelative = !isRightPlace && extents->origin == CGPoint{0, 0};
        const bool isOverlapping = !extents->intersection(windowFrame).isEmpty();
        int rank = 0;
        if (isRightPlace && isRightSize)
            rank = 4;
        else if (isRelative && isRightSize)
            rank = 3;
        else if (isRightPlace)
            rank = 2;
        else if (isRelative || isOverlapping)
            rank = 1;
        if (rank <= bestRank) continue;
        bestRank = rank;
        best = Window{windows[i], isRelative ? windowFrame.origin : CGPoint{0, 0}};
    }
    return best;
}

const AtspiAccessibility::Description& AtspiAccessibility::describe(const AtspiReference& object,
                                                                    States states) {
    const auto known = descriptions_.find(object);
    if (known != descriptions_.end() && (states == States::known || known->second.hasFreshStates)) {
        return known->second;
    }
    // Whoever asks for an element will ask for those around it.
    std::vector<Wanted> wanted;
    want(object, states, wanted);
    describeAll(object.busName, wanted);
    return descriptions_[object];
}

bool AtspiAccessibility::describeAll(const std::string& busName, const std::vector<Wanted>& wanted,
                                     std::span<DBusMessageHandle> questions,
                                     std::span<DBusClient::Reply> answers) {
    constexpr std::size_t kPerObject = 4;
    std::vector<DBusMessageHandle> messages;
    for (const auto& [object, states] : wanted) {
        const auto identity = identities_.find(object);
        const bool isNew = identity == identities_.end() || identity->second.until < Clock::now();
        const bool asksStates = isNew || states == States::fresh;
        messages.push_back(extentsQuestion(object));
        messages.push_back(isNew ? question(object, kAccessible, "GetRole") : nullptr);
        messages.push_back(isNew ? parentQuestion(object) : nullptr);
        messages.push_back(asksStates ? question(object, kAccessible, "GetState") : nullptr);
    }
    for (DBusMessageHandle& further : questions) messages.push_back(std::move(further));
    std::vector<DBusClient::Reply> replies(messages.size());
    if (!call(busName, messages, replies)) return false;
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        const std::size_t first = i * kPerObject;
        const auto reply = [&replies, first](std::size_t index) {
            return replies[first + index].message.get();
        };
        Identity& identity = identities_[wanted[i].object];
        if (messages[first + 1] != nullptr) {
            identity.role = readUnsigned(reply(1));
            identity.parent = readReference(reply(2));
            identity.until = Clock::now() + kKnowIdentityTime;
        }
        const bool hasFreshStates = messages[first + 3] != nullptr;
        if (hasFreshStates) identity.states = readStates(reply(3));
        descriptions_[wanted[i].object] = {identity, readExtents(reply(0), pixelsPerPoint_), hasFreshStates};
    }
    std::move(replies.end() - static_cast<std::ptrdiff_t>(answers.size()), replies.end(), answers.begin());
    return true;
}

void AtspiAccessibility::want(const AtspiReference& object, States states,
                              std::vector<Wanted>& wanted) const {
    wanted.push_back({object, states});
    AtspiReference last = object;
    for (std::size_t count = 1; count < kDescribedTogether; ++count) {
        const auto identity = identities_.find(last);
        if (identity == identities_.end() || !identity->second.parent) return;
        last = *identity->second.parent;
        const bool isWanted = std::any_of(wanted.begin(), wanted.end(),
                                          [&last](const Wanted& each) { return each.object == last; });
        if (last.busName != object.busName || isWanted || descriptions_.contains(last)) return;
        wanted.push_back({last, States::known});
    }
}

std::optional<AtspiReference> AtspiAccessibility::searchFocus(const AtspiReference& window) {
    const auto deadline = std::min(deadline_, Clock::now() + kSearchTime);
    std::optional<AtspiReference> found;
    std::size_t searched = 0;
    // The deepest focused object counts: a page has the focus along with a field in it.
    std::vector<AtspiReference> open{window};
    while (!open.empty() && searched < kMostSearched && Clock::now() < deadline) {
        const std::size_t count = std::min(open.size(), kSearchBatch);
        const std::vector<AtspiReference> batch(open.end() - static_cast<std::ptrdiff_t>(count), open.end());
        open.resize(open.size() - count);
        searched += count;
        std::vector<DBusMessageHandle> messages;
        for (const AtspiReference& object : batch) {
            messages.push_back(question(object, kAccessible, "GetState"));
            messages.push_back(question(object, kAccessible, "GetChildren"));
        }
        std::vector<DBusClient::Reply> replies(messages.size());
        if (!call(window.busName, messages, replies)) break;
        for (std::size_t i = 0; i < count; ++i) {
            const AtspiStates states = readStates(replies[2 * i].message.get());
            if (hasState(states, ATSPI_STATE_FOCUSED)) {
                found = batch[i];
                open.clear();
            } else if (!hasState(states, ATSPI_STATE_SHOWING)) {
                continue;
            }
            const auto inner = readReferences(replies[2 * i + 1].message.get());
            open.insert(open.end(), inner.begin(), inner.end());
            if (found == batch[i]) break;
        }
    }
    return found;
}

std::optional<CGRect> AtspiAccessibility::selectedTextBounds(const AtspiReference& object) {
    const dbus_int32_t first = 0;
    std::array<DBusMessageHandle, 2> messages{
        question(object, kText, "GetNSelections"),
        makeCall(object.busName.c_str(), object.path.c_str(), kText, "GetSelection", DBUS_TYPE_INT32, &first,
                 DBUS_TYPE_INVALID)};
    std::array<DBusClient::Reply, 2> replies;
    if (!call(object.busName, messages, replies)) return std::nullopt;
    const auto count = readSigned(replies[0].message.get());
    dbus_int32_t begin = 0;
    dbus_int32_t end = 0;
    if (count.value_or(0) < 1 || replies[1].message == nullptr ||
        dbus_message_get_args(replies[1].message.get(), nullptr, DBUS_TYPE_INT32, &begin, DBUS_TYPE_INT32,
                              &end, DBUS_TYPE_INVALID) == FALSE ||
        end <= begin)
        return std::nullopt;
    const auto bounds =
        call(object, makeCall(object.busName.c_str(), object.path.c_str(), kText, "GetRangeExtents",
                              DBUS_TYPE_INT32, &begin, DBUS_TYPE_INT32, &end, DBUS_TYPE_UINT32,
                              &kScreenCoordinates, DBUS_TYPE_INVALID));
    return readExtents(bounds.get(), pixelsPerPoint_);
}

}  // namespace varnelle
