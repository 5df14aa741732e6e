#include <gtest/gtest.h>

#include "CaptureUiTest.h"
#include "capture_ui/AreaSelectionGeometry.h"
#include "capture_ui/AreaSelectionModel.h"

namespace varnelle {
namespace {

using enum ResizeHandle;

TEST(AreaSelectionGeometry, FindsTheHandleUnderAPoint) {
    struct Case {
        CGRect rect;
        CGPoint point;
        std::optional<ResizeHandle> handle;
    };
    const CGRect large{{100, 100}, {300, 200}};  // band 12
    const CGRect narrow{{100, 100}, {10, 100}};  // band 4.5, reach 9
    const CGRect tiny{{100, 100}, {2, 2}};       // band 0.9
    const CGRect flat{{100, 100}, {300, 0}};
    const Case cases[] = {
        {large, {100, 300}, topLeft},       {large, {112, 288}, topLeft},
        {large, {113, 290}, top},           {large, {89, 311}, topLeft},
        {large, {250, 300}, top},           {large, {250, 287}, std::nullopt},
        {large, {250, 311.9}, top},         {large, {250, 312}, std::nullopt},
        {large, {400, 300}, topRight},      {large, {399, 200}, right},
        {large, {412, 200}, std::nullopt},  {large, {388, 112}, bottomRight},
        {large, {250, 88}, bottom},         {large, {250, 87.9}, std::nullopt},
        {large, {100, 100}, bottomLeft},    {large, {88, 200}, left},
        {large, {113, 200}, std::nullopt},  {narrow, {104.4, 150}, left},
        {narrow, {105, 150}, std::nullopt}, {narrow, {105.6, 150}, right},
        {narrow, {105, 199}, top},          {narrow, {104.5, 100}, bottomLeft},
        {tiny, {101, 101}, std::nullopt},   {tiny, {100.5, 101.5}, topLeft},
        {flat, {200, 100}, std::nullopt},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(resizeHandle(each.point, each.rect), each.handle)
            << each.rect.width() << " wide, at " << each.point.x << ", " << each.point.y;
    }
}

const CGRect kScreen{{1000, 200}, {600, 500}};

TEST(AreaSelectionGeometry, DragsNeverLeaveTheScreen) {
    struct Case {
        Interaction interaction;
        CGPoint to;
        std::optional<CGRect> rect;
    };
    const CGPoint start{0, 0};
    const CGRect old{{1100, 300}, {200, 100}};
    const auto move = MovingInteraction{start, old};
    const auto resize = [&](ResizeHandle handle) { return ResizingInteraction{handle, start, old}; };
    const CGRect huge{{900, 300}, {700, 100}};
    const Case cases[] = {
        {CreatingInteraction{{10, 10}}, {11.9, 300}, std::nullopt},
        {CreatingInteraction{{10, 10}}, {12, 12}, CGRect{{1010, 210}, {2, 2}}},
        {CreatingInteraction{{50, 60}}, {20, 30}, CGRect{{1020, 230}, {30, 30}}},
        {CreatingInteraction{{590, 490}}, {900, 900}, CGRect{{1590, 690}, {10, 10}}},
        {CreatingInteraction{{599, 490}}, {900, 900}, std::nullopt},
        {move, {10, -20}, CGRect{{1110, 280}, {200, 100}}},
        {move, {-150, 0}, CGRect{{1000, 300}, {200, 100}}},
        {move, {1000, 1000}, CGRect{{1400, 600}, {200, 100}}},
        {move, {0, -1000}, CGRect{{1100, 200}, {200, 100}}},
        {MovingInteraction{start, huge}, {5, 0}, CGRect{{1000, 300}, {600, 100}}},
        {resize(left), {30, 50}, CGRect{{1130, 300}, {170, 100}}},
        {resize(left), {500, 0}, CGRect{{1280, 300}, {20, 100}}},
        {resize(left), {-500, 0}, CGRect{{1000, 300}, {300, 100}}},
        {resize(right), {-500, 0}, CGRect{{1100, 300}, {20, 100}}},
        {resize(right), {500, 0}, CGRect{{1100, 300}, {500, 100}}},
        {resize(top), {50, 1000}, CGRect{{1100, 300}, {200, 400}}},
        {resize(top), {0, -1000}, CGRect{{1100, 300}, {200, 20}}},
        {resize(bottom), {50, -1000}, CGRect{{1100, 200}, {200, 200}}},
        {resize(bottom), {0, 1000}, CGRect{{1100, 380}, {200, 20}}},
        {resize(topLeft), {10, 10}, CGRect{{1110, 300}, {190, 110}}},
        {resize(topRight), {10, 10}, CGRect{{1100, 300}, {210, 110}}},
        {resize(bottomRight), {10, 10}, CGRect{{1100, 310}, {210, 90}}},
        {resize(bottomLeft), {10, 10}, CGRect{{1110, 310}, {190, 90}}},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(draggedRect(each.interaction, each.to, kScreen), each.rect)
            << "line " << &each - cases << ", to " << each.to.x << ", " << each.to.y;
    }
}

TEST(AreaSelectionGeometry, ViewAndScreenAreEachOthersMirror) {
    EXPECT_EQ(windowPoint({10, 30}, kScreen), (CGPoint{10, 470}));
    EXPECT_EQ(viewRect({{1010, 220}, {100, 50}}, kScreen), (CGRect{{10, 430}, {100, 50}}));
    EXPECT_EQ(viewRect({{900, 600}, {200, 200}}, kScreen), (CGRect{{0, 0}, {100, 100}})) << "cut";
    EXPECT_TRUE(viewRect({{0, 0}, {100, 100}}, kScreen).isEmpty());
    EXPECT_EQ(initialArea(kScreen), (CGRect{{1090, 290}, {420, 320}}));
}

class AreaSelectionModelTest : public test::CaptureUiTest {
protected:
    AreaSelectionModelTest() {
        launches();
        sources().selectDisplay(2);
        model = std::make_unique<AreaSelectionModel>(sources());
    }
    std::unique_ptr<AreaSelectionModel> model;
};

// The right display's bottom left corner lies at (1000, 200) of the selection's space.
TEST_F(AreaSelectionModelTest, DrawsMovesAndResizes) {
    EXPECT_FALSE(model->hasOverlay());
    EXPECT_FALSE(model->canStart());
    model->press({100, 100});
    EXPECT_EQ(model->cursorShape(), Qt::CrossCursor);
    model->drag({101, 101});
    EXPECT_EQ(sources().selectedAreaRect(), std::nullopt);
    model->drag({300, 200});
    EXPECT_EQ(sources().selectedAreaRect(), (CGRect{{1100, 500}, {200, 100}}));
    EXPECT_EQ(model->overlayRect(), QRectF(100, 100, 200, 100));
    EXPECT_EQ(model->sizeText(), "200 × 100");
    EXPECT_TRUE(model->canStart());
    EXPECT_EQ(model->overlayOpacity(), 1);
    model->release({300, 200});
    EXPECT_EQ(model->cursorShape(), Qt::SizeFDiagCursor) << "over the lower right corner";
    EXPECT_FALSE(model->interaction());

    model->press({150, 150});
    EXPECT_EQ(model->cursorShape(), Qt::ClosedHandCursor);
    model->drag({160, 130});
    EXPECT_EQ(model->overlayRect(), QRectF(110, 80, 200, 100));
    model->release({160, 130});
    EXPECT_EQ(model->cursorShape(), Qt::OpenHandCursor);

    model->press({110, 130});
    EXPECT_EQ(model->cursorShape(), Qt::SizeHorCursor);
    model->drag({500, 130});
    EXPECT_EQ(model->overlayRect(), QRectF(290, 80, 20, 100)) << "20 points short of the right edge";
    model->release({500, 130});
    EXPECT_EQ(model->cursorShape(), Qt::CrossCursor);

    model->press({400, 400});
    EXPECT_EQ(model->overlayRect(), QRectF(290, 80, 20, 100)) << "the old one stays until the drag is long";
    model->drag({410, 450});
    model->release({410, 450});
    EXPECT_EQ(model->overlayRect(), QRectF(400, 400, 10, 50));
    EXPECT_FALSE(model->canStart());
    EXPECT_EQ(model->overlayOpacity(), 0.6);
}

TEST_F(AreaSelectionModelTest, CursorsTellWhatAPressWouldDo) {
    model->hover({10, 10});
    EXPECT_EQ(model->cursorShape(), Qt::CrossCursor);
    sources().setSelectedAreaRect(CGRect{{1100, 300}, {200, 200}});  // in the view: 100, 200 to 300, 400
    const std::pair<QPointF, Qt::CursorShape> cases[] = {
        {{200, 300}, Qt::OpenHandCursor}, {{100, 200}, Qt::SizeFDiagCursor},
        {{200, 200}, Qt::SizeVerCursor},  {{300, 200}, Qt::SizeBDiagCursor},
        {{300, 300}, Qt::SizeHorCursor},  {{300, 399}, Qt::SizeFDiagCursor},
        {{200, 400}, Qt::SizeVerCursor},  {{100, 399}, Qt::SizeBDiagCursor},
        {{100, 300}, Qt::SizeHorCursor},  {{50, 300}, Qt::CrossCursor},
    };
    for (const auto& [point, shape] : cases) {
        model->hover(point);
        EXPECT_EQ(model->cursorShape(), shape) << point.x() << ", " << point.y();
    }
    model->setEnabled(false);
    EXPECT_EQ(model->cursorShape(), Qt::ArrowCursor);
    model->press({200, 300});
    model->drag({250, 300});
    model->release({250, 300});
    model->nudge(1, 1);
    EXPECT_EQ(model->cursorShape(), Qt::ArrowCursor);
    EXPECT_EQ(model->overlayRect(), QRectF(100, 200, 200, 200));
}

TEST_F(AreaSelectionModelTest, TheKeyboardMovesAndResizes) {
    model->nudge(1, 1);
    EXPECT_EQ(sources().selectedAreaRect(), std::nullopt);
    sources().setSelectedAreaRect(CGRect{{1100, 300}, {200, 200}});
    model->nudge(10, -20);
    EXPECT_EQ(model->overlayRect(), QRectF(110, 180, 200, 200));
    model->nudgeCorner(10, 30);
    EXPECT_EQ(model->overlayRect(), QRectF(110, 180, 210, 230));
}

TEST_F(AreaSelectionModelTest, IsOfItsOwnScreenOnly) {
    sources().setSelectedAreaRect(CGRect{{100, 100}, {200, 200}});
    EXPECT_FALSE(model->hasOverlay());
    sources().selectDisplay(1);
    EXPECT_EQ(model->overlayRect(), QRectF(100, 500, 200, 200));
}

}  // namespace
}  // namespace varnelle
