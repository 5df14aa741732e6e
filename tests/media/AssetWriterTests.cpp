#include "media/AssetWriter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <future>
#include <latch>

#include "foundation/AtomicFile.h"
#include "foundation/Queue.h"
#include "media/FrameSource.h"
#include "media/MediaAsset.h"
#include "media/MediaError.h"
#include "support/MediaFixtures.h"
#include "support/TemporaryDirectory.h"
#include "support/Waiting.h"

namespace varnelle {
namespace {

using test::appendWaiting;
using test::finishAndWait;
using test::numberedPicture;
using test::regularTimes;
using test::smallVideo;
using test::TemporaryDirectory;
using test::videoSample;
using test::writeNumberedMovie;
using testing::HasSubstr;
using namespace std::chrono_literals;

std::vector<double> milliseconds(const MediaTrack& track) {
    std::vector<double> result;
    for (const SampleIndexEntry& entry : *track.sampleIndex)
        result.push_back(entry.presentationTime.seconds() * 1000);
    return result;
}

struct Recording {
    const char* name;
    EncodingPurpose purpose;
    bool reorders;
    bool survives;
};

class WriterTimes : public testing::TestWithParam<Recording> {};

TEST_P(WriterTimes, AreKeptAndTheLastFrameIsStretched) {
    const TemporaryDirectory directory;
    const URL url = directory.file("movie.mov");
    VideoSettings settings = smallVideo(160, 90);
    settings.purpose = GetParam().purpose;
    settings.allowsFrameReordering = GetParam().reorders;
    std::vector<CMTime> times = regularTimes(40, 30);
    // Then a screen that changes now and then, timed by a clock in nanoseconds.
    for (const std::int64_t nanoseconds : {1'512'345'678LL, 1'999'999'999LL, 3'250'000'123LL}) {
        times.push_back(CMTime::make(nanoseconds, 1'000'000'000));
    }
    AssetWriter::Options options;
    options.survivesTermination = GetParam().survives;
    writeNumberedMovie(url, settings, times, options, CMTime::make(5, 1));
    EXPECT_EQ(directory.entryCount(), 1U);

    const MediaAsset asset(url);
    ASSERT_EQ(asset.tracks().size(), 1U);
    const MediaTrack& track = asset.tracks().front();
    const auto& index = *track.sampleIndex;
    ASSERT_EQ(index.size(), times.size());
    EXPECT_EQ(index.front().presentationTime, kCMTimeZero);
    FrameSource source(std::make_shared<const MediaAsset>(asset), track);
    const double keyFrameInterval = settings.purpose == EncodingPurpose::liveCapture ? 0.25 : 0.5;
    double lastKey = 0;
    for (std::size_t i = 0; i < times.size(); ++i) {
        EXPECT_NEAR(index[i].presentationTime.seconds(), times[i].seconds(), 1e-4) << i;
        const auto picture = source.frame(times[i] + CMTime::make(1, 10'000));
        ASSERT_TRUE(picture);
        EXPECT_EQ(test::readNumber(*picture), static_cast<int>(i));
        if (i < 40) {
            EXPECT_EQ(index[i].presentationTime, times[i]);
        }
        if (!index[i].isKeyFrame) {
            EXPECT_LE(index[i].presentationTime.seconds() - lastKey, keyFrameInterval);
        } else {
            lastKey = index[i].presentationTime.seconds();
        }
    }
    EXPECT_TRUE(index.front().isKeyFrame);
    EXPECT_EQ(track.naturalSize, (CGSize{160, 90}));
    EXPECT_NEAR(track.nominalFrameRate, 30, 0.01);
    EXPECT_NEAR(asset.duration().seconds(), 5, 0.0005);
}

INSTANTIATE_TEST_SUITE_P(All, WriterTimes,
                         testing::Values(Recording{"live", EncodingPurpose::liveCapture, false, false},
                                         Recording{"liveSurviving", EncodingPurpose::liveCapture, false,
                                                   true},
                                         Recording{"exportReordered", EncodingPurpose::export_, true, false},
                                         Recording{"exportPlain", EncodingPurpose::export_, false, false}),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(AssetWriter, CountsTimesFromTheSessionAndRefusesWhatDoesntGrow) {
    const TemporaryDirectory directory;
    const URL url = directory.file("movie.mov");
    AssetWriter writer(url, FileType::quickTimeMovie, {});
    AssetWriterInput* input = writer.addVideoInput(smallVideo(64, 64));
    const VideoFrame picture = numberedPicture(64, 64, 1);
    EXPECT_FALSE(input->isReadyForMoreMediaData());
    EXPECT_FALSE(input->append(videoSample(picture, kCMTimeZero)));
    ASSERT_TRUE(writer.startWriting());
    writer.startSession(CMTime::make(10, 1));
    EXPECT_TRUE(input->isReadyForMoreMediaData());
    EXPECT_FALSE(input->append(videoSample(picture, CMTime::make(9, 1))));
    EXPECT_FALSE(input->append(videoSample(picture, kCMTimeInvalid)));
    EXPECT_FALSE(input->append(test::audioSample(48000, 1, {0, 0}, CMTime::make(11, 1))));
    EXPECT_TRUE(appendWaiting(*input, videoSample(picture, CMTime::make(10, 1))));
    EXPECT_TRUE(appendWaiting(*input, videoSample(picture, CMTime::make(21, 2))));
    EXPECT_FALSE(input->append(videoSample(picture, CMTime::make(21, 2))));
    EXPECT_FALSE(input->append(videoSample(picture, CMTime::make(20, 2))));
    input->markAsFinished();
    input->markAsFinished();
    EXPECT_FALSE(input->append(videoSample(picture, CMTime::make(12, 1))));
    ASSERT_EQ(finishAndWait(writer), TransferStatus::completed);
    EXPECT_THAT(milliseconds(MediaAsset(url).tracks().front()), testing::ElementsAre(0.0, 500.0));
}

TEST(AssetWriter, FragmentsBeginWhenTheirFirstPictureIsShown) {
    const TemporaryDirectory directory;
    const URL url = directory.file("still.mov");
    AssetWriter writer(url, FileType::quickTimeMovie,
                       {.survivesTermination = true, .expectsMediaDataInRealTime = true});
    VideoSettings settings = smallVideo(64, 64);
    settings.purpose = EncodingPurpose::liveCapture;
    AssetWriterInput* input = writer.addVideoInput(settings);
    ASSERT_TRUE(writer.startWriting());
    writer.startSession(kCMTimeZero);
    // A screen that stays still for longer than a fragment lasts.
    const std::vector<CMTime> times{kCMTimeZero, CMTime::make(3, 1), CMTime::make(7, 2), CMTime::make(9, 1)};
    for (std::size_t i = 0; i < times.size(); ++i) {
        const auto before = std::filesystem::file_size(url.path());
        ASSERT_TRUE(input->append(videoSample(numberedPicture(64, 64, static_cast<int>(i)), times[i])));
        ASSERT_TRUE(test::waitUntil([&] { return std::filesystem::file_size(url.path()) > before; },
                                    std::chrono::seconds(10)))
            << "the fragment is written";
    }
    ASSERT_EQ(finishAndWait(writer), TransferStatus::completed);
    const MediaTrack track = MediaAsset(url).tracks().at(0);
    std::vector<CMTime> written;
    for (const SampleIndexEntry& entry : *track.sampleIndex) written.push_back(entry.presentationTime);
    EXPECT_EQ(written, times);
}

TEST(AssetWriter, WithoutSamplesFailsAndLeavesNoFile) {
    for (const bool survives : {false, true}) {
        const TemporaryDirectory directory;
        AssetWriter writer(directory.file("empty.mov"), FileType::quickTimeMovie,
                           {.survivesTermination = survives});
        writer.addVideoInput(smallVideo(64, 64));
        writer.addAudioInput({});
        ASSERT_TRUE(writer.startWriting());
        writer.startSession(kCMTimeZero);
        EXPECT_EQ(finishAndWait(writer), TransferStatus::failed);
        EXPECT_THAT(test::errorText(writer.error()), HasSubstr("empty.mov"));
        EXPECT_EQ(directory.entryCount(), 0U);
    }
}

TEST(AssetWriter, CancellingAndForgettingLeaveNothing) {
    for (const bool survives : {false, true}) {
        for (const bool cancels : {false, true}) {
            const TemporaryDirectory directory;
            {
                AssetWriter writer(directory.file("a.mov"), FileType::quickTimeMovie,
                                   {.survivesTermination = survives});
                AssetWriterInput* input = writer.addVideoInput(smallVideo(64, 64));
                ASSERT_TRUE(writer.startWriting());
                writer.startSession(kCMTimeZero);
                EXPECT_TRUE(input->append(videoSample(numberedPicture(64, 64, 1), kCMTimeZero)));
                if (cancels) {
                    writer.cancelWriting();
                    EXPECT_EQ(writer.status(), TransferStatus::cancelled);
                    EXPECT_FALSE(input->append(videoSample(numberedPicture(64, 64, 1), CMTime::make(1, 1))));
                    EXPECT_EQ(finishAndWait(writer), TransferStatus::cancelled);
                }
            }
            EXPECT_EQ(directory.entryCount(), 0U);
        }
    }
}

TEST(AssetWriter, CancellingWhileFinishingEitherLeavesTheOldMovieOrComesTooLate) {
    const TemporaryDirectory directory;
    const URL url = directory.file("movie.mp4");
    const auto fileNumber = [&url] {
        struct stat status {};
        EXPECT_EQ(stat(url.string().c_str(), &status), 0);
        return status.st_ino;
    };
    for (const bool waitsForTheMovie : {true, false}) {
        for (int round = 0; round < 10; ++round) {
            writeFileAtomically(url, "old");
            const auto old = fileNumber();
            AssetWriter writer(url, FileType::mpeg4, {.optimizesForNetworkUse = true});
            AssetWriterInput* input = writer.addVideoInput(smallVideo(64, 64));
            ASSERT_TRUE(writer.startWriting());
            writer.startSession(kCMTimeZero);
            for (int i = 0; i < 3; ++i) {
                ASSERT_TRUE(
                    appendWaiting(*input, videoSample(numberedPicture(64, 64, i), CMTime::make(i, 30))));
            }
            std::promise<void> finished;
            writer.finishWriting([&] { finished.set_value(); });
            auto end = finished.get_future();
            // The new movie is seen the moment it has its name, while it is still being flushed.
            const auto delay = std::chrono::microseconds(round * 300);
            if (waitsForTheMovie) {
                while (fileNumber() == old && end.wait_for(0s) != std::future_status::ready) {
                }
            } else {
                end.wait_for(delay);
            }
            writer.cancelWriting();
            end.wait();
            const bool isCompleted = writer.status() == TransferStatus::completed;
            EXPECT_TRUE(isCompleted || writer.status() == TransferStatus::cancelled);
            EXPECT_TRUE(isCompleted || !waitsForTheMovie);
            EXPECT_EQ(readFile(url) == "old", !isCompleted);
            EXPECT_EQ(directory.entryCount(), 1U) << "nothing unfinished stays";
        }
    }
}

TEST(AssetWriter, RefusesSizesThatCantBeEncoded) {
    const TemporaryDirectory directory;
    for (const auto& [width, height] :
         {std::pair{0, 0}, {-2, 64}, {63, 64}, {64, 63}, {16, 64}, {64, 16}, {8194, 64}, {64, 100'000}}) {
        AssetWriter writer(directory.file("a.mov"), FileType::quickTimeMovie, {});
        for (const EncodingPurpose purpose : {EncodingPurpose::liveCapture, EncodingPurpose::export_}) {
            VideoSettings settings = smallVideo(width, height);
            settings.purpose = purpose;
            try {
                writer.addVideoInput(settings);
                ADD_FAILURE() << width << "x" << height;
            } catch (const MediaError& error) {
                EXPECT_EQ(error.code(), MediaError::Code::unsupportedSize);
                EXPECT_THAT(error.what(), HasSubstr(std::to_string(width)));
            }
        }
    }
}

TEST(AssetWriter, NamesTheFileWhereItCantWrite) {
    const TemporaryDirectory directory;
    try {
        AssetWriter writer(directory.file("missing/a.mov"), FileType::quickTimeMovie, {});
        FAIL();
    } catch (const MediaError& error) {
        EXPECT_EQ(error.code(), MediaError::Code::cannotWrite);
        EXPECT_THAT(error.what(), HasSubstr("missing/a.mov"));
    }
    std::filesystem::create_directories(directory.file("b.mov").path());
    AssetWriter writer(directory.file("b.mov"), FileType::quickTimeMovie, {.survivesTermination = true});
    writer.addVideoInput(smallVideo(64, 64));
    EXPECT_FALSE(writer.startWriting());
    EXPECT_EQ(writer.status(), TransferStatus::failed);
    EXPECT_THAT(test::errorText(writer.error()), HasSubstr("b.mov"));
}

TEST(AssetWriter, PutsTheIndexInFrontForTheNetwork) {
    for (const bool isInFront : {false, true}) {
        const TemporaryDirectory directory;
        const URL url = directory.file("movie.mp4");
        writeNumberedMovie(url, smallVideo(64, 64), regularTimes(5, 30),
                           {.optimizesForNetworkUse = isInFront});
        const std::string bytes = readFile(url);
        ASSERT_NE(bytes.find("moov"), std::string::npos);
        EXPECT_EQ(bytes.find("moov") < bytes.find("mdat"), isInFront);
        EXPECT_NE(bytes.find("hvc1"), std::string::npos);
        // Color: primaries, transfer and matrix of BT.709.
        const auto color = bytes.find("colrncl");
        ASSERT_NE(color, std::string::npos);
        EXPECT_EQ(bytes.substr(color + 8, 6), std::string("\0\1\0\1\0\1", 6));
    }
}

TEST(AssetWriter, AsksForDataUntilTheInputIsFinished) {
    const TemporaryDirectory directory;
    const URL url = directory.file("pumped.mov");
    AssetWriter writer(url, FileType::mpeg4, {});
    AssetWriterInput* input = writer.addVideoInput(smallVideo(64, 64));
    SerialQueue queue("com.varnelle.test.pump");
    std::promise<void> dry;
    std::atomic<int> running = 0;
    int next = 0;
    bool isDry = false;
    input->requestMediaDataWhenReady(queue, [&] {
        EXPECT_EQ(++running, 1);
        while (!isDry && input->isReadyForMoreMediaData()) {
            if (next == 50) {
                isDry = true;
                input->markAsFinished();
                dry.set_value();
            } else {
                EXPECT_TRUE(
                    input->append(videoSample(numberedPicture(64, 64, next), CMTime::make(next, 30))));
                ++next;
            }
        }
        --running;
    });
    ASSERT_TRUE(writer.startWriting());
    writer.startSession(kCMTimeZero);
    dry.get_future().wait();
    ASSERT_EQ(finishAndWait(writer), TransferStatus::completed);
    EXPECT_EQ(MediaAsset(url).tracks().front().sampleIndex->size(), 50U);
}

TEST(AssetWriter, APumpRunsDryAfterCancelling) {
    const TemporaryDirectory directory;
    AssetWriter writer(directory.file("pumped.mov"), FileType::mpeg4, {});
    AssetWriterInput* input = writer.addVideoInput(smallVideo(64, 64));
    SerialQueue queue("com.varnelle.test.pump");
    std::promise<void> dry;
    std::latch began(1);
    int next = 0;
    input->requestMediaDataWhenReady(queue, [&] {
        while (input->isReadyForMoreMediaData()) {
            if (!input->append(videoSample(numberedPicture(64, 64, next), CMTime::make(next, 30)))) {
                input->markAsFinished();
                dry.set_value();
                return;
            }
            if (++next == 1) began.count_down();
        }
    });
    ASSERT_TRUE(writer.startWriting());
    writer.startSession(kCMTimeZero);
    began.wait();
    writer.cancelWriting();
    dry.get_future().wait();
    EXPECT_EQ(finishAndWait(writer), TransferStatus::cancelled);
}

TEST(AssetWriter, ReorderedMoviesLastAsLongAsTheirFrames) {
    const test::TemporaryDirectory directory;
    // Memory that nobody has written holds anything but zeros, which would hide that somebody reads it.
    mallopt(M_PERTURB, 127);
    // How a group of reordered pictures ends depends on its length and on what moves.
    for (const int count : {1, 2, 3, 5, 17, 36, 40}) {
        VideoSettings settings = test::smallVideo(64, 48);
        settings.purpose = EncodingPurpose::export_;
        settings.allowsFrameReordering = true;
        settings.expectedSourceFrameRate = 60;
        const URL url = directory.file(std::to_string(count) + ".mp4");
        test::writeNumberedMovie(url, settings, test::regularTimes(count, 60));
        const MediaTrack track = MediaAsset(url).tracks(MediaType::video).front();
        EXPECT_EQ(track.sampleIndex->size(), static_cast<std::size_t>(count));
        EXPECT_NEAR(track.duration.seconds(), count / 60.0, 0.0001) << count;
    }
    mallopt(M_PERTURB, 0);
}

}  // namespace
}  // namespace varnelle
