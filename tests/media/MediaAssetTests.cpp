#include "media/MediaAsset.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "foundation/AtomicFile.h"
#include "media/MediaError.h"
#include "support/MediaFixtures.h"
#include "support/TemporaryDirectory.h"

namespace varnelle {
namespace {

using test::regularTimes;
using test::smallVideo;
using test::TemporaryDirectory;
using test::writeNumberedMovie;
using testing::HasSubstr;

TEST(MediaAsset, RefusesWhatIsNoMovieAndNamesIt) {
    const TemporaryDirectory directory;
    const URL movie = directory.file("movie.mov");
    writeNumberedMovie(movie, smallVideo(64, 64), regularTimes(10, 30));
    const std::string bytes = readFile(movie);
    std::string absurd = bytes;
    // Width and height of the sample description: 24 bytes behind the format's name and its fixed fields.
    const auto entry = absurd.find("hvc1");
    ASSERT_NE(entry, std::string::npos);
    std::fill_n(absurd.begin() + static_cast<std::ptrdiff_t>(entry) + 28, 4, '\xff');

    using Code = MediaError::Code;
    const struct {
        const char* name;
        std::string bytes;
        Code code;
    } cases[] = {
        {"empty.mov", "", Code::notAMovie},
        {"text.mov", "This is a text and not a movie, whatever its name says.", Code::notAMovie},
        {"zeros.mov", std::string(100'000, '\0'), Code::notAMovie},
        {"withoutIndex.mov", bytes.substr(0, bytes.find("moov") - 4), Code::notAMovie},
        {"header.mov", bytes.substr(0, 20), Code::notAMovie},
        {"absurd.mov", absurd, Code::notAMovie},
    };
    for (const auto& test : cases) {
        const URL url = directory.file(test.name);
        writeFileAtomically(url, test.bytes);
        try {
            const MediaAsset asset(url);
            ADD_FAILURE() << test.name;
        } catch (const MediaError& error) {
            EXPECT_EQ(error.code(), test.code) << test.name;
            EXPECT_THAT(error.what(), HasSubstr(test.name));
        }
    }
    try {
        const MediaAsset asset(directory.file("missing.mov"));
        FAIL();
    } catch (const MediaError& error) {
        EXPECT_EQ(error.code(), Code::cannotOpen);
        EXPECT_THAT(error.what(), HasSubstr("missing.mov"));
    }
    EXPECT_THROW(MediaAsset{directory.url()}, MediaError);
}

TEST(MediaAsset, CoversWhatIsThereOfATruncatedMovie) {
    const TemporaryDirectory directory;
    const URL movie = directory.file("movie.mov");
    writeNumberedMovie(movie, smallVideo(160, 90), regularTimes(60, 30), {.optimizesForNetworkUse = true});
    const std::string bytes = readFile(movie);
    const auto media = bytes.find("mdat");
    const URL half = directory.file("half.mov");
    writeFileAtomically(half, bytes.substr(0, media + (bytes.size() - media) / 2));
    const MediaAsset whole(movie);
    const MediaAsset cut(half);
    ASSERT_EQ(cut.tracks().size(), 1U);
    EXPECT_EQ(whole.tracks().front().sampleIndex->size(), 60U);
    EXPECT_GT(cut.tracks().front().sampleIndex->size(), 5U);
    EXPECT_LT(cut.tracks().front().sampleIndex->size(), 55U);
    EXPECT_LT(cut.duration(), whole.duration());
}

TEST(MediaAsset, NeverFallsOverDamagedBytes) {
    const TemporaryDirectory directory;
    const URL movie = directory.file("movie.mov");
    writeNumberedMovie(movie, smallVideo(64, 64), regularTimes(10, 30));
    const std::string bytes = readFile(movie);
    const URL damaged = directory.file("damaged.mov");
    const auto index = bytes.find("moov");
    for (std::size_t at = index; at + 4 < bytes.size(); at += 7) {
        std::string copy = bytes;
        std::fill_n(copy.begin() + static_cast<std::ptrdiff_t>(at), 4, '\xff');
        writeFileAtomically(damaged, copy);
        try {
            const MediaAsset asset(damaged);
            EXPECT_FALSE(asset.tracks().empty());
        } catch (const MediaError&) {
            // Refused, which is just as good.
        }
    }
}

}  // namespace
}  // namespace varnelle
