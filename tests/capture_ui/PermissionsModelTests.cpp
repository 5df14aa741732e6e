#include "capture_ui/PermissionsModel.h"

#include <QSignalSpy>

#include "CaptureUiTest.h"

namespace varnelle {
namespace {

using namespace std::chrono_literals;

class PermissionsModelTest : public test::CaptureUiTest {
protected:
    PermissionsModelTest() {
        permissions.screen = false;
        permissions.accessibility = false;
    }
    PermissionsModel model{permissions, 5ms};
};

TEST_F(PermissionsModelTest, RowsFollowWhatIsGranted) {
    model.appear();
    EXPECT_EQ(model.screenRecording()->badgeText(), "REQUIRED");
    EXPECT_EQ(model.accessibility()->badgeIcon(), "xmark");
    permissions.screen = true;
    EXPECT_TRUE(eventually([&] { return model.screenRecording()->isGranted(); }));
    EXPECT_EQ(model.screenRecording()->badgeText(), "ENABLED");
    EXPECT_EQ(model.screenRecording()->badgeIcon(), "checkmark");
    EXPECT_FALSE(model.accessibility()->isGranted());
    EXPECT_FALSE(model.canContinue());
    permissions.accessibility = true;
    EXPECT_TRUE(eventually([&] { return model.canContinue(); }));
    permissions.screen = false;
    EXPECT_TRUE(eventually([&] { return !model.canContinue(); }));
    EXPECT_EQ(model.screenRecording()->badgeText(), "REQUIRED");
}

TEST_F(PermissionsModelTest, LooksAtOnceAndAsLongAsItIsShown) {
    permissions.screen = true;
    EXPECT_FALSE(model.screenRecording()->isGranted());
    model.appear();
    EXPECT_TRUE(model.screenRecording()->isGranted());
    const int looks = permissions.looks;
    EXPECT_TRUE(eventually([&] { return permissions.looks > looks + 2; }));
    model.disappear();
    EXPECT_FALSE(model.isPolling());
}

TEST_F(PermissionsModelTest, GoesOnOnlyWithEverything) {
    const QSignalSpy allGranted(&model, &PermissionsModel::allGranted);
    permissions.screen = true;
    model.appear();
    model.pressContinue();
    EXPECT_EQ(allGranted.count(), 0);
    EXPECT_TRUE(model.isPolling());
    permissions.accessibility = true;
    ASSERT_TRUE(eventually([&] { return model.canContinue(); }));
    model.pressContinue();
    EXPECT_EQ(allGranted.count(), 1);
    EXPECT_FALSE(model.isPolling());
}

TEST_F(PermissionsModelTest, EachRowAsksForItsOwn) {
    model.pressScreenRecording();
    EXPECT_EQ(permissions.screenRequests, 1);
    EXPECT_EQ(permissions.accessibilityRequests, 0);
    model.pressAccessibility();
    EXPECT_EQ(permissions.accessibilityRequests, 1);
}

}  // namespace
}  // namespace varnelle
