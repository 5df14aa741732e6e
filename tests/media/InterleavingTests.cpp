#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

#include "foundation/Queue.h"
#include "media/MediaAsset.h"
#include "media/detail/SampleQueue.h"
#include "support/MediaFixtures.h"
#include "support/TemporaryDirectory.h"

namespace varnelle {
namespace {

constexpr int kFrameRate = 30;
constexpr int kBlockFrames = 1024;

/// Feeds an input as fast as it takes samples, up to a time.
class Pump {
public:
    Pump(AssetWriterInput& input, std::function<SampleBuffer(int)> makeSample, double endSeconds,
         std::function<void(double)> onAppended)
        : input_(input),
          makeSample_(std::move(makeSample)),
          endSeconds_(endSeconds),
          onAppended_(std::move(onAppended)) {
        input_.requestMediaDataWhenReady(queue_, [this] { feed(); });
    }
    /// Whether it comes to its end within the time.
    bool endsWithin(std::chrono::seconds time) {
        return done_.get_future().wait_for(time) == std::future_status::ready;
    }

private:
    void feed() {
        while (!isDone_ && input_.isReadyForMoreMediaData()) {
            const SampleBuffer sample = makeSample_(next_++);
            if (sample.presentationTime.seconds() >= endSeconds_ || !input_.append(sample)) {
                isDone_ = true;
                input_.markAsFinished();
                done_.set_value();
                return;
            }
            onAppended_(sample.presentationTime.seconds());
        }
    }

    AssetWriterInput& input_;
    const std::function<SampleBuffer(int)> makeSample_;
    const double endSeconds_;
    const std::function<void(double)> onAppended_;
    int next_ = 0;
    bool isDone_ = false;
    std::promise<void> done_;
    SerialQueue queue_{"com.varnelle.test.pump"};  // ends first
};

SampleBuffer picture(int index) {
    return test::videoSample(test::numberedPicture(64, 64, index), CMTime::make(index, kFrameRate));
}
SampleBuffer sound(int index) {
    return test::audioSample(48'000, 2, std::vector<float>(2 * kBlockFrames, 0.1F),
                             CMTime::make(std::int64_t{kBlockFrames} * index, 48'000));
}

TEST(PulledInputs, StayTogetherAndComeToTheirEnds) {
    const test::TemporaryDirectory directory;
    struct Case {
        const char* name;
        double videoEnd;
        double soundEnd;
    };
    for (const auto& [name, videoEnd, soundEnd] :
         {Case{"equal", 6, 6}, Case{"short sound", 6, 2}, Case{"short picture", 2, 6}}) {
        SCOPED_TRACE(name);
        const URL url = directory.file("movie.mp4");
        AssetWriter writer(url, FileType::mpeg4, {});
        AssetWriterInput* video = writer.addVideoInput(test::smallVideo(64, 64));
        AssetWriterInput* audio = writer.addAudioInput({48'000, 2, 256'000});
        ASSERT_TRUE(writer.startWriting());
        std::atomic<double> pictureTime = 0;
        std::atomic<double> largestLead = 0;
        Pump sounds(*audio, sound, soundEnd, [&](double seconds) {
            if (pictureTime < 1e6) largestLead = std::max(largestLead.load(), seconds - pictureTime);
        });
        Pump pictures(*video, picture, videoEnd, [&, videoEnd = videoEnd](double seconds) {
            // Behind its last picture nobody waits for it.
            pictureTime = seconds + 1.5 / kFrameRate < videoEnd ? seconds : 1e9;
        });
        writer.startSession(kCMTimeZero);
        ASSERT_TRUE(pictures.endsWithin(std::chrono::seconds(60)));
        ASSERT_TRUE(sounds.endsWithin(std::chrono::seconds(60)));
        EXPECT_LT(largestLead, 1.1);
        ASSERT_EQ(test::finishAndWait(writer), TransferStatus::completed);
        const MediaAsset movie(url);
        EXPECT_NEAR(movie.tracks()[0].duration.seconds(), videoEnd, 0.001);
        EXPECT_NEAR(movie.tracks()[1].duration.seconds(), soundEnd, 0.022);
    }
}

TEST(PulledInputs, OneThatWaitsForTheOtherEndsWhenTheWriterIsCancelled) {
    const test::TemporaryDirectory directory;
    AssetWriter writer(directory.file("movie.mp4"), FileType::mpeg4, {});
    AssetWriterInput* video = writer.addVideoInput(test::smallVideo(64, 64));
    AssetWriterInput* audio = writer.addAudioInput({48'000, 2, 256'000});
    ASSERT_TRUE(writer.startWriting());
    SerialQueue idle("com.varnelle.test.idle");
    video->requestMediaDataWhenReady(idle, [] {});
    std::atomic<double> lead = 0;
    Pump sounds(*audio, sound, 60, [&](double seconds) { lead = seconds; });
    writer.startSession(kCMTimeZero);
    // The encoder's queue is full at times, too, but only the pacing keeps the input without room for long.
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + std::chrono::seconds(60);
    auto lastRoom = Clock::now();
    while (Clock::now() - lastRoom < std::chrono::milliseconds(200) && Clock::now() < deadline) {
        if (audio->isReadyForMoreMediaData()) lastRoom = Clock::now();
        std::this_thread::yield();
    }
    EXPECT_FALSE(audio->isReadyForMoreMediaData());
    EXPECT_GT(lead, 0.9);
    EXPECT_LT(lead, 1.1);
    writer.cancelWriting();
    EXPECT_TRUE(sounds.endsWithin(std::chrono::seconds(60)));
    video->markAsFinished();
}

TEST(PulledInputs, OneThatIsCaughtUpWithWhileItLooksIsAskedAgain) {
    const auto pacing = std::make_shared<detail::InputPacing>();
    const auto ahead = std::make_shared<detail::SampleQueue>(4, 600, pacing);
    const auto behind = std::make_shared<detail::SampleQueue>(4, 600, pacing);
    ahead->start(kCMTimeZero);
    behind->start(kCMTimeZero);
    SerialQueue queue("com.varnelle.test.pump");
    SerialQueue idle("com.varnelle.test.idle");
    std::promise<void> askedAgain;
    int calls = 0;
    ahead->requestMediaData(queue, [&] {
        switch (++calls) {
            case 1:
                EXPECT_TRUE(
                    ahead->append(test::videoSample(test::numberedPicture(64, 64, 0), CMTime::make(5, 1))));
                break;
            case 2:
                behind->requestMediaData(idle, [] {});
                EXPECT_FALSE(ahead->isReady());
                EXPECT_TRUE(
                    behind->append(test::videoSample(test::numberedPicture(64, 64, 0), CMTime::make(5, 1))));
                break;
            case 3:
                askedAgain.set_value();
                break;
            default:
                break;
        }
    });
    EXPECT_EQ(askedAgain.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
    ahead->markAsFinished();
    behind->markAsFinished();
}

}  // namespace
}  // namespace varnelle
