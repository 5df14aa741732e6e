#include "editor/PreviewItem.h"

#include <gtest/gtest.h>
#include <QQuickWindow>
#include <QTest>

#include <thread>

#include "FakePlayer.h"
#include "editor/PreviewFrames.h"
#include "support/MediaFixtures.h"

namespace varnelle {
namespace {

constexpr int kDeadline = 20'000;  // milliseconds

class PreviewItemTest : public testing::Test {
protected:
    PreviewItemTest() {
        auto made = std::make_unique<test::FakePlayer>(log);
        player = made.get();
        controller = std::make_unique<EditorPlaybackController>(std::move(made));
        window.setColor(Qt::black);
        window.resize(400, 300);
        item = new PreviewItem(window.contentItem());
        item->setPosition({20.3, 30.4});
        item->setSize({320, 200});
        item->setController(controller.get());
        window.show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&window));
    }

    /// As the player does, from a thread of its own.
    void showFrame(const VideoFrame& picture) {
        std::thread([&] { player->handlers.onFrame({picture, kCMTimeZero}); }).join();
    }
    [[nodiscard]] QColor seenAt(int x, int y) { return window.grabWindow().pixelColor(x, y); }

    std::shared_ptr<test::FakePlayer::Log> log = std::make_shared<test::FakePlayer::Log>();
    test::FakePlayer* player;
    std::unique_ptr<EditorPlaybackController> controller;
    QQuickWindow window;
    PreviewItem* item;
};

TEST_F(PreviewItemTest, AsksForThePixelsThatItShowsAndShowsThemAsTheyAre) {
    EXPECT_EQ(log->renderSize, (CGSize{320, 181})) << "fitted in at 16 to 9";
    EXPECT_EQ(item->pictureRect(), QRectF(0, 10, 320, 180));
    // One column of pixels in two is bright: nothing may be interpolated.
    const VideoFrame stripes = test::plainPicture(320, 180, 10, 10, 10);
    for (int y = 0; y < 180; ++y) {
        for (int x = 0; x < 320; x += 2)
            stripes.plane(0).data[y * stripes.plane(0).bytesPerRow + 4 * x + 1] = 200;
    }
    showFrame(stripes);
    ASSERT_TRUE(QTest::qWaitFor([&] { return seenAt(20, 40).green() == 200; }, kDeadline));
    const QImage seen = window.grabWindow();
    for (int x = 0; x < 320; ++x) EXPECT_EQ(seen.pixelColor(20 + x, 100).green(), x % 2 == 0 ? 200 : 10) << x;
    EXPECT_EQ(seen.pixelColor(19, 100), QColor(Qt::black));
    EXPECT_EQ(seen.pixelColor(340, 100), QColor(Qt::black));
    EXPECT_EQ(seen.pixelColor(30, 39), QColor(Qt::black)) << "above the picture";
}

TEST_F(PreviewItemTest, TheNewestFrameIsShown) {
    std::thread([&] {
        for (int i = 0; i < 200; ++i)
            player->handlers.onFrame(
                {test::plainPicture(320, 180, 0, static_cast<std::uint8_t>(i), 0), kCMTimeZero});
    }).join();
    EXPECT_TRUE(QTest::qWaitFor([&] { return seenAt(100, 100).green() == 199; }, kDeadline));
    controller->previewFrames()->clear();
    EXPECT_TRUE(QTest::qWaitFor([&] { return seenAt(100, 100) == QColor(Qt::black); }, kDeadline));
}

TEST_F(PreviewItemTest, ANewSizeIsToldOnceItRests) {
    showFrame(test::plainPicture(320, 180, 0, 100, 0));
    for (int i = 1; i <= 16; ++i) item->setSize({320 - 10.0 * i, 200});
    EXPECT_EQ(log->renderSize, (CGSize{320, 181}));
    EXPECT_EQ(item->pictureRect(), QRectF(0, 55, 160, 90));
    EXPECT_TRUE(QTest::qWaitFor([&] { return seenAt(100, 130).green() == 100; }, kDeadline))
        << "meanwhile the old picture is stretched";
    EXPECT_EQ(seenAt(200, 130), QColor(Qt::black));
    EXPECT_TRUE(QTest::qWaitFor([&] { return log->renderSize == CGSize{160, 91}; }, kDeadline));
}

TEST_F(PreviewItemTest, EitherMayGoFirst) {
    const auto frames = controller->previewFrames();
    controller = nullptr;
    EXPECT_EQ(item->controller(), nullptr);
    frames->put(test::plainPicture(320, 180, 0, 100, 0));
    item->setSize({100, 100});
    delete item;
    frames->put(test::plainPicture(320, 180, 0, 120, 0));
    QCoreApplication::processEvents();
}

}  // namespace
}  // namespace varnelle
