#include "editor/CameraOverlayModel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QSignalSpy>

#include "editor/FakeLookEditing.h"

namespace varnelle {
namespace {

using testing::DoubleNear;
using testing::ElementsAre;

/// A canvas of 1000 x 500 shown at half size, with a bubble of 200.
class CameraOverlayModelTest : public testing::Test {
protected:
    CameraOverlayModelTest() {
        editing.current.relativeSize = 0.2;
        editing.current.padding = 20;
        editing.current.anchor = OverlayAnchor::bottomLeft;
        model.setRenderSize({1000, 500});
        model.setPreviewSize({500, 250});
        model.setHasCamera(true);
    }
    void expectPosition(double x, double y) {
        ASSERT_TRUE(editing.current.position);
        EXPECT_THAT(editing.current.position->x, DoubleNear(x, 1e-9));
        EXPECT_THAT(editing.current.position->y, DoubleNear(y, 1e-9));
    }
    test::FakeLookEditing editing;
    CameraOverlayModel model{editing};
};

TEST_F(CameraOverlayModelTest, LiesOverTheBubble) {
    EXPECT_EQ(model.bubble(), QRectF(10, 140, 100, 100));
    EXPECT_DOUBLE_EQ(model.cornerRadius(), 22);
    editing.current.maskType = OverlayMaskType::circle;
    EXPECT_EQ(model.cornerRadius(), 50);
    editing.current.maskType = OverlayMaskType::square;
    EXPECT_EQ(model.cornerRadius(), 0);
    EXPECT_TRUE(model.isShown());
    editing.current.showsCamera = false;
    EXPECT_FALSE(model.isShown());
}

TEST_F(CameraOverlayModelTest, ADragMovesTheCentreAndIsOneStep) {
    model.drag(10, 0);
    expectPosition(0.14, 0.24);
    model.drag(50, -25);
    expectPosition(0.22, 0.34);
    EXPECT_TRUE(model.isDragging());
    model.endDrag(60, -25);
    expectPosition(0.24, 0.34);
    EXPECT_THAT(editing.steps, ElementsAre("begin", "preview", "preview", "commit", "end"));
    EXPECT_EQ(model.bubble(), QRectF(70, 115, 100, 100));
    editing.steps.clear();
    model.nudge(0, 1);
    expectPosition(0.24, 0.336);
    EXPECT_THAT(editing.steps, ElementsAre("commit"));
}

TEST_F(CameraOverlayModelTest, TheBubbleStaysWholeInsideTheCanvas) {
    for (const auto& [x, y, expected] :
         {std::tuple{-1e4, 1e4, CGPoint{0.1, 0.2}}, std::tuple{1e4, -1e4, CGPoint{0.9, 0.8}}}) {
        model.drag(x, y);
        expectPosition(expected.x, expected.y);
        model.endDrag(x, y);
    }
    // Higher than the canvas, so its bounds change sides.
    editing.current.scale = 2.75;
    OverlayConfiguration look = editing.current;
    look.position = CGPoint{0.5, 5};
    EXPECT_THAT(withClampedPosition(look, {1000, 500}).position->y, DoubleNear(0.55, 1e-9));
    look.position = CGPoint{0.5, -5};
    EXPECT_THAT(withClampedPosition(look, {1000, 500}).position->y, DoubleNear(0.45, 1e-9));
    look.position.reset();
    EXPECT_EQ(withClampedPosition(look, {1000, 500}), look);
}

TEST_F(CameraOverlayModelTest, ATapMovesNothing) {
    QSignalSpy tapped(&model, &CameraOverlayModel::tapped);
    model.tap();
    model.endDrag(3, 3);
    EXPECT_EQ(tapped.count(), 1);
    EXPECT_TRUE(editing.steps.empty());
}

}  // namespace
}  // namespace varnelle
