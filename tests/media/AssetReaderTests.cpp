#include "media/AssetReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

#include "foundation/AtomicFile.h"
#include "media/FrameSource.h"
#include "media/MediaError.h"
#include "support/FakeCompositor.h"
#include "support/MediaFixtures.h"
#include "support/TemporaryDirectory.h"

namespace varnelle {
namespace {

using test::regularTimes;
using test::smallVideo;
using test::TemporaryDirectory;
using test::writeNumberedMovie;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr int kWidth = 192;
constexpr int kHeight = 108;

std::shared_ptr<const MediaAsset> numberedMovie(const URL& url, const std::vector<CMTime>& times,
                                                bool reorders = false) {
    VideoSettings settings = smallVideo(kWidth, kHeight);
    settings.allowsFrameReordering = reorders;
    writeNumberedMovie(url, settings, times);
    return std::make_shared<const MediaAsset>(url);
}

VideoComposition videoComposition(const Composition& composition, CMTime frameDuration,
                                  std::shared_ptr<VideoCompositing> compositor, std::vector<TrackID> tracks) {
    VideoComposition result;
    result.makeCompositor = [compositor = std::move(compositor)] { return compositor; };
    result.instruction = std::make_shared<test::PlainInstruction>(
        CMTimeRange{kCMTimeZero, composition.duration()}, std::move(tracks));
    result.renderSize = {kWidth, kHeight};
    result.frameDuration = frameDuration;
    return result;
}

/// Numbers of the frames that a composition shows, -2 where it shows none.
std::vector<int> shownNumbers(const std::shared_ptr<const Composition>& composition, CMTime frameDuration,
                              TrackID track = 1) {
    AssetReader reader(composition,
                       videoComposition(*composition, frameDuration,
                                        std::make_shared<test::PassThroughCompositor>(track), {track}));
    EXPECT_TRUE(reader.startReading());
    std::vector<int> numbers;
    while (const auto sample = reader.copyNextSampleBuffer()) {
        const auto place = static_cast<std::int64_t>(numbers.size());
        EXPECT_EQ(sample->presentationTime,
                  CMTime::make(place * frameDuration.value, frameDuration.timescale));
        EXPECT_EQ(sample->duration, frameDuration);
        numbers.push_back(
            sample->image()->format() == PixelFormat::bgra ? -2 : test::readNumber(*sample->image()));
    }
    EXPECT_EQ(reader.status(), TransferStatus::completed);
    return numbers;
}

std::vector<int> sequence(int from, int to, int step = 1) {
    std::vector<int> numbers;
    for (int i = from; step > 0 ? i < to : i > to; i += step) numbers.push_back(i);
    return numbers;
}

TEST(FrameSource, GivesTheExactFrameInAnyOrder) {
    const TemporaryDirectory directory;
    for (const bool reorders : {false, true}) {
        const auto asset = numberedMovie(directory.file("movie.mov"), regularTimes(100, 30), reorders);
        for (const std::size_t cacheBytes : {std::size_t{0}, std::size_t{3'000'000}}) {
            FrameSource source(asset, asset->tracks().front(), cacheBytes);
            for (const int wanted : {0, 1, 2, 50, 49, 48, 99, 0, 14, 15, 16, 31, 29, 99, 98, 3}) {
                // A moment before the next frame still belongs to this one.
                const CMTime time = CMTime::make(wanted, 30) + CMTime::make(1, 31);
                const auto frame = source.frame(time);
                ASSERT_TRUE(frame);
                EXPECT_EQ(test::readNumber(*frame), wanted);
                EXPECT_EQ(source.frameIndex(time), static_cast<std::size_t>(wanted));
                EXPECT_TRUE(source.frame(time)->sharesStorage(*frame));
            }
            EXPECT_EQ(test::readNumber(*source.frame(CMTime::make(-1, 1))), 0);
            EXPECT_EQ(test::readNumber(*source.frame(CMTime::make(100, 1))), 99);
            EXPECT_FALSE(source.frame(kCMTimeInvalid));
        }
    }
}

TEST(FrameSource, DecodesWhatWasWritten) {
    const TemporaryDirectory directory;
    const auto asset = numberedMovie(directory.file("movie.mov"), regularTimes(12, 30));
    FrameSource source(asset, asset->tracks().front());
    const auto frame = source.frame(CMTime::make(7, 30));
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->width(), kWidth);
    EXPECT_EQ(frame->color(), ColorDescription::bt709Limited());
    const VideoFrame original = test::numberedPicture(kWidth, kHeight, 7);
    double squares = 0;
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const std::uint8_t* pixel = original.plane(0).data + y * original.plane(0).bytesPerRow + 4 * x;
            const double luma =
                16 + 219 / 255.0 * (0.0722 * pixel[0] + 0.7152 * pixel[1] + 0.2126 * pixel[2]);
            const double difference = frame->plane(0).data[y * frame->plane(0).bytesPerRow + x] - luma;
            squares += difference * difference;
        }
    }
    const double signalToNoise = 10 * std::log10(255.0 * 255 * kWidth * kHeight / squares);
    EXPECT_GT(signalToNoise, 38);
}

TEST(AssetReader, CutsHoldsAndGoesBack) {
    const TemporaryDirectory directory;
    const auto asset = numberedMovie(directory.file("movie.mov"), regularTimes(90, 30), true);
    const MediaTrack source = asset->tracks().front();
    auto composition = std::make_shared<Composition>();
    CompositionTrack& track = composition->addTrack(MediaType::video);
    const auto append = [&](int from, int count) {
        track.insertTimeRange({CMTime::make(from, 30), CMTime::make(count, 30)}, asset, source,
                              track.duration());
    };
    append(60, 10);  // forward
    append(5, 10);   // back
    append(85, 8);   // beyond the end: the last frame is held
    std::vector<int> expected = sequence(60, 70);
    for (const int number : sequence(5, 15)) expected.push_back(number);
    for (const int number : {85, 86, 87, 88, 89, 89, 89, 89}) expected.push_back(number);
    EXPECT_EQ(shownNumbers(composition, CMTime::make(1, 30)), expected);
    // At half the rate every second frame is shown.
    const auto half = shownNumbers(composition, CMTime::make(1, 15));
    ASSERT_EQ(half.size(), 14U);
    EXPECT_THAT(std::vector<int>(half.begin(), half.begin() + 6), ElementsAre(60, 62, 64, 66, 68, 5));
}

TEST(AssetReader, HoldsFramesOfAScreenThatRarelyChanges) {
    const TemporaryDirectory directory;
    const auto asset = numberedMovie(directory.file("movie.mov"), {kCMTimeZero, CMTime::make(1, 10),
                                                                   CMTime::make(100'000'001, 250'000'000),
                                                                   CMTime::make(7, 10), CMTime::make(8, 10)});
    auto composition = std::make_shared<Composition>();
    CompositionTrack& track = composition->addTrack(MediaType::video);
    track.insertTimeRange({kCMTimeZero, CMTime::make(9, 10)}, asset, asset->tracks().front(), kCMTimeZero);
    // The third frame came four nanoseconds after 0.4 s, which is that time in ticks of the track.
    EXPECT_THAT(shownNumbers(composition, CMTime::make(1, 10)), ElementsAre(0, 1, 1, 1, 2, 2, 2, 3, 4));
}

TEST(AssetReader, HeldFramesShareTheirStorage) {
    const TemporaryDirectory directory;
    const auto asset = numberedMovie(directory.file("movie.mov"), regularTimes(5, 10));
    auto composition = std::make_shared<Composition>();
    composition->addTrack(MediaType::video)
        .insertTimeRange({kCMTimeZero, CMTime::make(1, 2)}, asset, asset->tracks().front(), kCMTimeZero);
    AssetReader reader(composition, videoComposition(*composition, CMTime::make(1, 30),
                                                     std::make_shared<test::PassThroughCompositor>(1), {1}));
    ASSERT_TRUE(reader.startReading());
    VideoFrame last;
    for (int i = 0; i < 15; ++i) {
        const auto sample = reader.copyNextSampleBuffer();
        ASSERT_TRUE(sample);
        EXPECT_EQ(sample->image()->sharesStorage(last), i % 3 != 0) << i;
        last = *sample->image();
    }
    EXPECT_FALSE(reader.copyNextSampleBuffer());
}

TEST(AssetReader, PlaysScaledSegmentsAndLeavesGapsEmpty) {
    const TemporaryDirectory directory;
    const auto asset = numberedMovie(directory.file("movie.mov"), regularTimes(60, 30));
    auto composition = std::make_shared<Composition>();
    CompositionTrack& screen = composition->addTrack(MediaType::video);
    screen.insertTimeRange({kCMTimeZero, CMTime::make(20, 30)}, asset, asset->tracks().front(), kCMTimeZero);
    CompositionTrack& camera = composition->addTrack(MediaType::video);
    camera.insertTimeRange({CMTime::make(10, 30), CMTime::make(10, 30)}, asset, asset->tracks().front(),
                           CMTime::make(4, 30));
    EXPECT_EQ(
        shownNumbers(composition, CMTime::make(1, 30), 2),
        (std::vector<int>{-2, -2, -2, -2, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, -2, -2, -2, -2, -2, -2}));
    screen.scaleTimeRange({kCMTimeZero, CMTime::make(20, 30)}, CMTime::make(40, 30));
    std::vector<int> slow;
    for (int i = 0; i < 40; ++i) slow.push_back(i / 2);
    EXPECT_EQ(shownNumbers(composition, CMTime::make(1, 30), 1), slow);
}

TEST(AssetReader, CancellingWakesAWaitingReader) {
    const TemporaryDirectory directory;
    const auto asset = numberedMovie(directory.file("movie.mov"), regularTimes(60, 30));
    auto composition = std::make_shared<Composition>();
    composition->addTrack(MediaType::video)
        .insertTimeRange({kCMTimeZero, CMTime::make(2, 1)}, asset, asset->tracks().front(), kCMTimeZero);
    const auto compositor = std::make_shared<test::StuckCompositor>();
    AssetReader reader(composition, videoComposition(*composition, CMTime::make(1, 30), compositor, {1}));
    ASSERT_TRUE(reader.startReading());
    std::thread waiting([&] { EXPECT_FALSE(reader.copyNextSampleBuffer()); });
    compositor->waitForRequests(2);
    reader.cancelReading();
    waiting.join();
    EXPECT_EQ(reader.status(), TransferStatus::cancelled);
    EXPECT_FALSE(reader.copyNextSampleBuffer());
}

TEST(AssetReader, DeliversInOrderWhateverOrderTheyAreFinishedIn) {
    const TemporaryDirectory directory;
    const auto asset = numberedMovie(directory.file("movie.mov"), regularTimes(10, 30));
    auto composition = std::make_shared<Composition>();
    composition->addTrack(MediaType::video)
        .insertTimeRange({kCMTimeZero, CMTime::make(10, 30)}, asset, asset->tracks().front(), kCMTimeZero);
    const auto compositor = std::make_shared<test::StuckCompositor>();
    AssetReader reader(composition, videoComposition(*composition, CMTime::make(1, 30), compositor, {1}));
    ASSERT_TRUE(reader.startReading());
    for (int i = 0; i < 10; i += 2) {
        const auto first = compositor->take();
        const auto second = compositor->take();
        second->finish(*second->sourceFrame(1));
        first->finish(*first->sourceFrame(1));
        first->finish(std::make_exception_ptr(std::runtime_error("too late")));
        for (int k = 0; k < 2; ++k)
            EXPECT_EQ(test::readNumber(*reader.copyNextSampleBuffer()->image()), i + k);
    }
    EXPECT_FALSE(reader.copyNextSampleBuffer());
    EXPECT_EQ(reader.status(), TransferStatus::completed);
}

TEST(AssetReader, FailsWithTheCompositorsErrorOrWhenTheFileIsGone) {
    const TemporaryDirectory directory;
    const URL url = directory.file("movie.mov");
    const auto asset = numberedMovie(url, regularTimes(10, 30));
    auto composition = std::make_shared<Composition>();
    composition->addTrack(MediaType::video)
        .insertTimeRange({kCMTimeZero, CMTime::make(10, 30)}, asset, asset->tracks().front(), kCMTimeZero);
    for (const bool drops : {false, true}) {
        const auto compositor = std::make_shared<test::StuckCompositor>();
        AssetReader reader(composition, videoComposition(*composition, CMTime::make(1, 30), compositor, {1}));
        ASSERT_TRUE(reader.startReading());
        if (drops) {
            compositor->take().reset();
        } else {
            compositor->take()->finish(std::make_exception_ptr(std::runtime_error("no paint left")));
        }
        EXPECT_FALSE(reader.copyNextSampleBuffer());
        EXPECT_EQ(reader.status(), TransferStatus::failed);
        EXPECT_THAT(test::errorText(reader.error()), HasSubstr(drops ? "dropped" : "no paint left"));
    }
    std::filesystem::remove(url.path());
    try {
        AssetReader reader(composition,
                           videoComposition(*composition, CMTime::make(1, 30),
                                            std::make_shared<test::PassThroughCompositor>(1), {1}));
        FAIL();
    } catch (const MediaError& error) {
        EXPECT_THAT(error.what(), HasSubstr("movie.mov"));
    }
}

TEST(AssetReader, GoesOnBehindDamagedPictures) {
    const TemporaryDirectory directory;
    const URL url = directory.file("movie.mov");
    numberedMovie(url, regularTimes(60, 30));
    std::string bytes = readFile(url);
    const auto media = bytes.find("mdat");
    const auto index = bytes.find("moov");
    ASSERT_LT(media, index);
    const std::size_t begin = media + (index - media) * 4 / 10;
    for (std::size_t i = begin; i < begin + 200; ++i) bytes[i] = static_cast<char>(0xA5 ^ (i * 31));
    writeFileAtomically(url, bytes);
    const auto asset = std::make_shared<const MediaAsset>(url);
    auto composition = std::make_shared<Composition>();
    composition->addTrack(MediaType::video)
        .insertTimeRange({kCMTimeZero, CMTime::make(2, 1)}, asset, asset->tracks().front(), kCMTimeZero);
    const std::vector<int> numbers = shownNumbers(composition, CMTime::make(1, 30));
    ASSERT_EQ(numbers.size(), 60U);
    EXPECT_EQ(std::vector<int>(numbers.begin(), numbers.begin() + 10), sequence(0, 10));
    EXPECT_EQ(std::vector<int>(numbers.end() - 10, numbers.end()), sequence(50, 60));
}

}  // namespace
}  // namespace varnelle
