#include <gmock/gmock.h>

#include <QSignalSpy>
#include <QTest>
#include <QThreadPool>
#include <algorithm>
#include <filesystem>
#include <fstream>

#include "editor/FilmStripCache.h"
#include "editor/WaveformCache.h"
#include "foundation/AtomicFile.h"
#include "support/MediaFixtures.h"
#include "support/SoundFixtures.h"
#include "support/TemporaryDirectory.h"
#include "support/XServer.h"

namespace varnelle {
namespace {

namespace fs = std::filesystem;

class TimelineCachesTest : public testing::Test {
protected:
    /// Queues of caches that have gone are waited for elsewhere.
    ~TimelineCachesTest() override { QThreadPool::globalInstance()->waitForDone(); }

    [[nodiscard]] std::vector<fs::path> keptFiles() const {
        std::vector<fs::path> files;
        if (!cacheURL.exists()) return files;
        for (const auto& entry : fs::directory_iterator(cacheURL.path())) files.push_back(entry.path());
        return files;
    }
    /// The same file as far as its name, size and time tell, with nothing in it.
    static void wipe(const URL& file) {
        const auto time = fs::last_write_time(file.path());
        const auto size = fs::file_size(file.path());
        {
            std::ofstream stream(file.path(), std::ios::trunc | std::ios::binary);
            stream << std::string(size, '\0');
        }
        fs::last_write_time(file.path(), time);
    }
    static void damage(const fs::path& file) {
        std::fstream stream(file, std::ios::in | std::ios::out | std::ios::binary);
        stream.seekp(static_cast<std::streamoff>(fs::file_size(file) / 2));
        stream << "damage";
    }

    const test::TemporaryDirectory temporary;
    const URL cacheURL = temporary.file("cache");
    const TimelineCacheDirectory directory{cacheURL};
};

TEST_F(TimelineCachesTest, ADirectoryKeepsWhatWasUsedLast) {
    const TimelineCacheDirectory small(cacheURL, 400);
    const auto age = [&](const std::string& name, int hours) {
        const auto now = fs::file_time_type::clock::now();
        fs::last_write_time(cacheURL.appending(name).path(), now - std::chrono::hours(hours));
    };
    const QByteArray contents(100, 'x');
    for (const std::string name : {"a", "b", "c"}) small.write(name, contents);
    age("a", 3);
    age("b", 2);
    age("c", 1);
    EXPECT_EQ(small.read("a"), contents) << "and so it is used again";
    small.write("d", contents);
    EXPECT_EQ(small.read("b"), std::nullopt);
    for (const std::string name : {"a", "c", "d"}) EXPECT_EQ(small.read(name), contents) << name;
    damage(cacheURL.appending("c").path());
    EXPECT_EQ(small.read("c"), std::nullopt);
    EXPECT_EQ(small.read("missing"), std::nullopt);
}

TEST_F(TimelineCachesTest, AChangedFileHasAnotherName) {
    const URL media = temporary.file("screen.mov");
    EXPECT_EQ(TimelineCacheDirectory::name(media, "waveform"), std::nullopt);
    writeFileAtomically(media, "one");
    const auto before = TimelineCacheDirectory::name(media, "waveform");
    EXPECT_NE(TimelineCacheDirectory::name(media, "filmstrip"), before);
    wipe(media);
    EXPECT_EQ(TimelineCacheDirectory::name(media, "waveform"), before);
    fs::last_write_time(media.path(), fs::file_time_type::clock::now() + std::chrono::hours(1));
    EXPECT_NE(TimelineCacheDirectory::name(media, "waveform"), before);
}

class FilmStripCacheTest : public TimelineCachesTest {
protected:
    static constexpr int kSeconds = 20;

    FilmStripCacheTest() { writeFileAtomically(movie, wholeMovie()); }
    /// Encoded once for all tests.
    static const std::string& wholeMovie() {
        static const std::string bytes = [] {
            const test::TemporaryDirectory place;
            const URL file = place.file("screen.mov");
            test::writeNumberedMovie(file, test::smallVideo(320, 180), test::regularTimes(10 * kSeconds, 10));
            return readFile(file);
        }();
        return bytes;
    }
    static int number(const QImage& picture) {
        int number = 0;
        for (int bit = 0; bit < 16; ++bit) {
            const int x = picture.width() * (2 * bit + 1) / 32;
            number = number << 1 | (qGray(picture.pixel(x, picture.height() / 8)) > 128 ? 1 : 0);
        }
        return number;
    }
    [[nodiscard]] std::vector<FilmStripCache::Key> keys(std::int64_t count) const {
        std::vector<FilmStripCache::Key> result;
        for (std::int64_t i = 0; i < count; ++i) result.push_back({movie, i});
        return result;
    }
    /// Wishes for pictures and gives their numbers once they are there.
    [[nodiscard]] std::vector<int> numbers(FilmStripCache& strips,
                                           const std::vector<FilmStripCache::Key>& wanted) const {
        strips.want(wanted);
        const auto isThere = [&](const auto& key) { return !strips.picture(key).isNull(); };
        EXPECT_TRUE(
            QTest::qWaitFor([&] { return std::all_of(wanted.begin(), wanted.end(), isThere); }, 20'000));
        std::vector<int> result;
        for (const auto& key : wanted) result.push_back(number(strips.picture(key)));
        return result;
    }
    /// Ends a cache; what it knows is on the disk then.
    static void end(std::unique_ptr<FilmStripCache>& strips) {
        strips.reset();
        QThreadPool::globalInstance()->waitForDone();
    }

    const URL movie = temporary.file("screen.mov");
    std::unique_ptr<FilmStripCache> cache = std::make_unique<FilmStripCache>(directory);
};

TEST_F(FilmStripCacheTest, PicturesAreThoseOfTheirTimes) {
    const std::vector<FilmStripCache::Key> wanted{{movie, 6}, {movie, 0}, {movie, 39}, {movie, 99}};
    EXPECT_EQ(cache->picture(wanted[0]).isNull(), true);
    EXPECT_EQ(cache->aspectRatio(movie), 16.0 / 9);
    EXPECT_THAT(numbers(*cache, wanted), testing::ElementsAre(30, 0, 195, 199));
    EXPECT_EQ(cache->picture(wanted[0]).size(), QSize(171, 96));
    EXPECT_EQ(number(cache->nearestPicture({movie, 20})), 30);
    EXPECT_EQ(number(cache->nearestPicture({movie, 38})), 195);
    EXPECT_TRUE(cache->nearestPicture({temporary.file("other.mov"), 1}).isNull());
}

/// As another program turns them.
TEST_F(FilmStripCacheTest, PicturesAreTurnedAsTheirTrackSays) {
    const URL turned = temporary.file("turned.mov");
    const URL decoded = temporary.file("decoded.gray");
    test::ChildProcess tag({"ffmpeg", "-v", "error", "-i", movie.string(), "-c", "copy", "-metadata:s:v:0",
                            "rotate=90", turned.string()});
    ASSERT_EQ(tag.waitForEnd(), 0);
    test::ChildProcess decode({"ffmpeg", "-v", "error", "-ss", "3", "-i", turned.string(), "-frames:v", "1",
                               "-vf", "scale=54:96:flags=area", "-pix_fmt", "gray", "-f", "rawvideo",
                               decoded.string()});
    ASSERT_EQ(decode.waitForEnd(), 0);
    const std::string expected = readFile(decoded);
    cache->want({{turned, 6}});
    ASSERT_TRUE(QTest::qWaitFor([&] { return !cache->picture({turned, 6}).isNull(); }, 20'000));
    const QImage shown = cache->picture({turned, 6});
    ASSERT_EQ(shown.size(), QSize(54, 96));
    int sum = 0;
    for (int y = 0; y < 96; ++y) {
        for (int x = 0; x < 54; ++x) {
            const auto theirs = static_cast<std::uint8_t>(expected.at(static_cast<std::size_t>(54 * y + x)));
            sum += std::abs(qGray(shown.pixel(x, y)) - theirs);
        }
    }
    EXPECT_LT(sum / (96 * 54), 10) << "turned the other way, it is more than 40";
}

TEST_F(FilmStripCacheTest, PicturesAreFoundAgainWithoutTheMovie) {
    EXPECT_THAT(numbers(*cache, keys(3)), testing::ElementsAre(0, 5, 10));
    end(cache);
    ASSERT_EQ(keptFiles().size(), 1U);
    wipe(movie);
    cache = std::make_unique<FilmStripCache>(directory);
    EXPECT_THAT(numbers(*cache, keys(3)), testing::ElementsAre(0, 5, 10));
}

TEST_F(FilmStripCacheTest, ADamagedFileIsMadeAnew) {
    EXPECT_THAT(numbers(*cache, keys(3)), testing::ElementsAre(0, 5, 10));
    end(cache);
    damage(keptFiles().at(0));
    cache = std::make_unique<FilmStripCache>(directory);
    EXPECT_THAT(numbers(*cache, keys(3)), testing::ElementsAre(0, 5, 10));
    end(cache);
    EXPECT_TRUE(directory.read(keptFiles().at(0).filename()));
}

TEST_F(FilmStripCacheTest, WhatIsNotInSightAnyMoreIsNotMade) {
    const auto seen = keys(700);
    const auto isMade = [&](const auto& key) { return !cache->picture(key).isNull(); };
    cache->want(seen);
    ASSERT_TRUE(QTest::qWaitFor([&] { return isMade(seen.front()); }, 20'000));
    EXPECT_THAT(numbers(*cache, {{movie, 1000}}), testing::ElementsAre(199));
    EXPECT_FALSE(isMade(seen.back()));
}

TEST_F(FilmStripCacheTest, AMovieThatCantBeReadIsAskedOnce) {
    const URL broken = temporary.file("broken.mov");
    writeFileAtomically(broken, "this is no movie");
    QSignalSpy changes(cache.get(), &FilmStripCache::picturesChanged);
    cache->want({{broken, 0}, {broken, 1}});
    EXPECT_TRUE(changes.wait(20'000));
    // Asked again, it would have a picture now.
    writeFileAtomically(broken, wholeMovie());
    cache->want({{broken, 1}, {movie, 2}});
    ASSERT_TRUE(QTest::qWaitFor([&] { return !cache->picture({movie, 2}).isNull(); }, 20'000));
    EXPECT_TRUE(cache->picture({broken, 1}).isNull());
}

class WaveformCacheTest : public TimelineCachesTest {
protected:
    /// Silent for a second, a tone of half the scale for two, silent again.
    WaveformCacheTest() {
        const test::Waveform tone = test::tone(440, 0.5);
        test::writeSound(sound, {{{"pcm_s16le", 48'000, 2}, 0, 4, [=](double seconds, int channel) {
                                      return seconds >= 1 && seconds < 3 ? tone(seconds, channel) : 0.0;
                                  }}});
    }
    static Waveform complete(WaveformCache& cache, const URL& source) {
        cache.want({source});
        EXPECT_TRUE(QTest::qWaitFor(
            [&] {
                const auto waveform = cache.waveform(source);
                return waveform && waveform->isComplete;
            },
            20'000));
        const auto waveform = cache.waveform(source);
        return waveform ? *waveform : Waveform{};
    }
    static void expectTone(const Waveform& waveform) {
        EXPECT_EQ(waveform.peaks.size(), 400U);
        EXPECT_EQ(waveform.peak(0, 0.9), 0);
        EXPECT_NEAR(waveform.peak(1.5, 1.51), 0.5, 0.01);
        EXPECT_NEAR(waveform.peak(2.9, 4), 0.5, 0.01);
        EXPECT_EQ(waveform.peak(3.1, 99), 0);
        EXPECT_EQ(waveform.peak(99, 100), 0);
    }

    const URL sound = temporary.file("sound.mov");
};

TEST_F(WaveformCacheTest, ShowsTheSoundAndIsFoundAgainUnlessDamaged) {
    expectTone(complete(*std::make_unique<WaveformCache>(directory), sound));
    QThreadPool::globalInstance()->waitForDone();
    damage(keptFiles().at(0));
    expectTone(complete(*std::make_unique<WaveformCache>(directory), sound));
    QThreadPool::globalInstance()->waitForDone();
    wipe(sound);
    expectTone(complete(*std::make_unique<WaveformCache>(directory), sound));
}

TEST_F(WaveformCacheTest, AMovieWithoutSoundHasNoPeaks) {
    const URL movie = temporary.file("screen.mov");
    test::writeNumberedMovie(movie, test::smallVideo(64, 64), test::regularTimes(3, 10));
    WaveformCache cache(directory);
    EXPECT_TRUE(complete(cache, movie).peaks.empty());
}

TEST_F(WaveformCacheTest, WhatIsNotNeededAnyMoreIsGivenUp) {
    const URL other = temporary.file("long.mov");
    test::writeSound(other, {{{"pcm_u8", 8000, 1}, 0, 1200, [](double, int) { return 0.5; }}});
    {
        WaveformCache cache(directory);
        cache.want({other});
        ASSERT_TRUE(QTest::qWaitFor([&] { return cache.waveform(other) != nullptr; }, 20'000));
        ASSERT_FALSE(cache.waveform(other)->isComplete);
        expectTone(complete(cache, sound));
        EXPECT_EQ(keptFiles().size(), 1U);
        cache.want({other});
    }
    QThreadPool::globalInstance()->waitForDone();
    EXPECT_EQ(keptFiles().size(), 1U);
}

}  // namespace
}  // namespace varnelle
