#pragma once

#include <algorithm>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "platform/FocusInput.h"
#include "platform/InputMonitors.h"

namespace varnelle::test {

/// Monitors whose events the test makes up. Events are for the thread that installs.
class FakeInputMonitors final : public InputMonitors {
public:
    std::unique_ptr<InputMonitor> addScrollMonitor(std::function<void(const ScrollEvent&)> handler) override {
        return add(scrollHandler_, std::move(handler));
    }
    std::unique_ptr<InputMonitor> addKeyMonitor(std::function<void(const KeyDownEvent&)> handler) override {
        return add(keyHandler_, std::move(handler));
    }
    void scroll(const ScrollEvent& event) const { scrollHandler_(event); }
    void press(const KeyDownEvent& event) const { keyHandler_(event); }
    [[nodiscard]] int installedCount() const { return installedCount_; }
    [[nodiscard]] int mostInstalled() const { return mostInstalled_; }

    bool refuses = false;

private:
    struct Token final : InputMonitor {
        explicit Token(int& counter) : installedCount(counter) { ++installedCount; }
        ~Token() override { --installedCount; }
        int& installedCount;
    };

    template <typename Handler>
    std::unique_ptr<InputMonitor> add(Handler& slot, Handler handler) {
        if (refuses) return nullptr;
        slot = std::move(handler);
        auto token = std::make_unique<Token>(installedCount_);
        mostInstalled_ = std::max(mostInstalled_, installedCount_);
        return token;
    }

    std::function<void(const ScrollEvent&)> scrollHandler_;
    std::function<void(const KeyDownEvent&)> keyHandler_;
    int installedCount_ = 0;
    int mostInstalled_ = 0;
};

/// A node of a tree that the test builds. Counts what it is asked; parts that are absent count as failing.
struct FakeElement {
    FakeElement() = default;
    FakeElement(std::optional<std::string> role_, std::optional<CGRect> frame_,
                FakeElement* parent_ = nullptr)
        : role(std::move(role_)), frame(frame_), parent(parent_) {}

    std::optional<std::string> role;
    std::optional<CGRect> frame;
    FakeElement* parent = nullptr;
    std::optional<CGRect> selection = std::nullopt;
};

class FakeElementHandle final : public AccessibilityElement {
public:
    explicit FakeElementHandle(const FakeElement& element) : element_(element) {}
    static std::unique_ptr<AccessibilityElement> of(const FakeElement* element) {
        return element != nullptr ? std::make_unique<FakeElementHandle>(*element) : nullptr;
    }
    std::optional<std::string> role() override { return element_.role; }
    std::unique_ptr<AccessibilityElement> parent() override { return of(element_.parent); }
    std::optional<CGRect> frame() override { return element_.frame; }
    std::optional<CGRect> selectedTextBounds() override { return element_.selection; }

private:
    const FakeElement& element_;
};

/// A desktop whose state the test sets, on any thread.
class FakeFocusInput final : public FocusInput {
public:
    struct State {
        std::optional<std::int64_t> process = std::nullopt;
        std::optional<CGRect> windowFrame = std::nullopt;
        const FakeElement* underPointer = nullptr;
        const FakeElement* withKeyboard = nullptr;
    };

    void beginSample() override {
        std::unique_lock lock(mutex_);
        ++sampleCount_;
        isWaiting_ = true;
        changed_.notify_all();
        changed_.wait(lock, [this] { return !blocks_; });
        isWaiting_ = false;
        sampled_ = state_;
    }
    std::optional<std::int64_t> frontmostProcess() override { return sampled_.process; }
    std::optional<CGRect> windowFrame(std::int64_t) override { return sampled_.windowFrame; }
    std::unique_ptr<AccessibilityElement> elementUnderPointer() override {
        return FakeElementHandle::of(sampled_.underPointer);
    }
    std::unique_ptr<AccessibilityElement> focusedElement(std::int64_t) override {
        return FakeElementHandle::of(sampled_.withKeyboard);
    }

    void setState(const State& state) {
        const std::lock_guard lock(mutex_);
        state_ = state;
    }
    [[nodiscard]] int sampleCount() const {
        const std::lock_guard lock(mutex_);
        return sampleCount_;
    }
    /// From now on samples don't end.
    void blockSamples() {
        const std::lock_guard lock(mutex_);
        blocks_ = true;
    }
    void unblockSamples() {
        const std::lock_guard lock(mutex_);
        blocks_ = false;
        changed_.notify_all();
    }
    [[nodiscard]] bool isBlocked() const {
        const std::lock_guard lock(mutex_);
        return blocks_ && isWaiting_;
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    State state_;             // guarded by mutex_
    int sampleCount_ = 0;     // guarded by mutex_
    bool blocks_ = false;     // guarded by mutex_
    bool isWaiting_ = false;  // guarded by mutex_
    State sampled_;           // the sampling thread's
};

}  // namespace varnelle::test
