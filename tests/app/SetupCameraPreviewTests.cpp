#include "app/SetupCameraPreview.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCoro/QCoroTimer>
#include <chrono>
#include <future>
#include <map>
#include <mutex>

#include "foundation/Error.h"
#include "foundation/Log.h"
#include "recording/FakeDesktop.h"
#include "support/Waiting.h"
#include "tasks/Await.h"

namespace varnelle {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

/// Cameras that are set up when the test says so.
class SetupCameraPreviewTest : public testing::Test {
protected:
    std::shared_ptr<CameraFeed> setUp(const std::string& id) {
        attempts.put(id);
        std::shared_future<void> gate;
        {
            const std::lock_guard lock(mutex);
            gate = gates[id];
        }
        if (gate.valid()) gate.wait();
        const std::lock_guard lock(mutex);
        if (cameras.count(id) == 0) throw Error("It is unplugged.");
        return cameras[id];
    }
    bool eventually(const std::function<bool()>& condition) {
        const auto wait = [&condition]() -> QCoro::Task<> {
            for (int i = 0; i < 500 && !condition(); ++i) co_await QCoro::sleepFor(10ms);
        };
        await(wait());
        return condition();
    }
    void letEventsPass() {
        const auto wait = []() -> QCoro::Task<> { co_await QCoro::sleepFor(700ms); };
        await(wait());
    }

    test::Inbox<std::string> log;
    LogObserver observer{LogCategory::app, [this](const std::string& line) { log.put(line); }};
    std::mutex mutex;
    std::map<std::string, std::shared_ptr<test::FakeCamera>> cameras;  // guarded by mutex
    std::map<std::string, std::shared_future<void>> gates;             // guarded by mutex
    test::Inbox<std::string> attempts;
    std::optional<std::string> wanted;
    SetupCameraPreview preview{[this](const auto& id) { return setUp(*id); }, [this] { return wanted; }};
};

TEST_F(SetupCameraPreviewTest, RunsTheWantedCameraAndHandsItOverRunning) {
    cameras = {{"a", std::make_shared<test::FakeCamera>()}};
    wanted = "a";
    preview.updateSetupCameraPreview();
    preview.updateSetupCameraPreview();
    ASSERT_TRUE(eventually([this] { return preview.camera() != nullptr; }));
    preview.updateSetupCameraPreview();
    EXPECT_THAT(attempts.items(), ElementsAre("a")) << "neither while it is on its way nor while it runs";
    EXPECT_TRUE(cameras["a"]->isRunning());
    const auto taken = preview.takeCamera();
    EXPECT_EQ(taken, cameras["a"]);
    EXPECT_TRUE(taken->isRunning());
    EXPECT_EQ(preview.camera(), nullptr);
    wanted.reset();
    preview.updateSetupCameraPreview();
    EXPECT_TRUE(taken->isRunning()) << "it isn't the preview's any more";
}

TEST_F(SetupCameraPreviewTest, NewestChoiceWins) {
    cameras = {{"slow", std::make_shared<test::FakeCamera>()}, {"b", std::make_shared<test::FakeCamera>()}};
    std::promise<void> gate;
    gates["slow"] = gate.get_future().share();
    wanted = "slow";
    preview.updateSetupCameraPreview();
    ASSERT_TRUE(attempts.waitForCount(1, 10s));
    wanted = "b";
    preview.updateSetupCameraPreview();
    ASSERT_TRUE(eventually([this] { return preview.camera() != nullptr; }));
    gate.set_value();
    letEventsPass();
    EXPECT_EQ(preview.camera(), cameras["b"]);
    EXPECT_FALSE(cameras["slow"]->isRunning());
    wanted.reset();
    preview.updateSetupCameraPreview();
    EXPECT_EQ(preview.camera(), nullptr);
    EXPECT_FALSE(cameras["b"]->isRunning());
}

TEST_F(SetupCameraPreviewTest, CameraThatFailsGetsOneSecondChance) {
    wanted = "a";
    int tellings = 0;
    QObject::connect(&preview, &SetupCameraPreview::cameraChanged, &preview, [&tellings] { ++tellings; });
    preview.updateSetupCameraPreview();
    ASSERT_TRUE(eventually([this] { return attempts.count() == 2; }));
    letEventsPass();
    EXPECT_EQ(attempts.count(), 2U);
    EXPECT_EQ(tellings, 2) << "whoever waits for the picture learns that none comes";
    EXPECT_EQ(preview.camera(), nullptr);
    EXPECT_THAT(log.items(), ElementsAre("Failed to start setup camera preview: It is unplugged.",
                                         "Failed to start setup camera preview: It is unplugged."));
    preview.startSetupCameraPreview("a", true);
    ASSERT_TRUE(eventually([this] { return log.count() == 3; }));
    wanted.reset();
    letEventsPass();
    EXPECT_EQ(attempts.count(), 3U) << "nobody wants it any more";
}

}  // namespace
}  // namespace varnelle
