#include "recording/StorageWatch.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "support/TemporaryDirectory.h"

namespace varnelle {
namespace {

using Seconds = std::chrono::duration<double>;

constexpr std::uint64_t kMegabyte = 1 << 20;

TEST(StorageForecast, GoesByTheRateOfTheLastTenSecondsAndKeepsRoomForCompletion) {
    StorageForecast forecast;
    EXPECT_EQ(forecast.secondsLeft(Seconds{100}, {1000 * kMegabyte, 0}), std::nullopt);
    EXPECT_EQ(forecast.secondsLeft(Seconds{101}, {1000 * kMegabyte, 2 * kMegabyte}), std::nullopt)
        << "one second tells little";
    // Two megabytes a second for a while, then ten.
    for (int i = 2; i <= 20; ++i) {
        const auto written = static_cast<std::uint64_t>(2 * i) * kMegabyte;
        const auto left = forecast.secondsLeft(
            Seconds{100.0 + i}, {(264 - 2 * static_cast<std::uint64_t>(i)) * kMegabyte, written});
        ASSERT_TRUE(left.has_value());
        EXPECT_NEAR(left->count(), (200 - 2 * i) / 2.0, 0.01);
    }
    std::optional<Seconds> left;
    for (int i = 1; i <= 10; ++i) {
        left = forecast.secondsLeft(Seconds{120.0 + i},
                                    {164 * kMegabyte, static_cast<std::uint64_t>(40 + 10 * i) * kMegabyte});
    }
    EXPECT_NEAR(left->count(), 10, 0.01) << "the quiet time has been forgotten";
    EXPECT_EQ(forecast.secondsLeft(Seconds{131}, {60 * kMegabyte, 150 * kMegabyte}), Seconds{0})
        << "what is left is needed to complete the files";
}

TEST(StorageForecast, NothingWrittenLastsForEver) {
    StorageForecast forecast;
    for (int i = 0; i < 30; ++i) {
        EXPECT_EQ(forecast.secondsLeft(Seconds{1.0 * i}, {100 * kMegabyte, 5 * kMegabyte}), std::nullopt);
    }
}

TEST(StorageForecast, RoomThatOthersHaveTakenIsNoticedWhileNothingIsWritten) {
    StorageForecast forecast;
    EXPECT_EQ(forecast.secondsLeft(Seconds{0}, {100 * kMegabyte, 0}), std::nullopt);
    EXPECT_EQ(forecast.secondsLeft(Seconds{1}, {60 * kMegabyte, 0}), Seconds{0});
}

TEST(StorageWatch, ReadsTheDiskAndTheFilesOfASession) {
    const test::TemporaryDirectory directory;
    std::ofstream(directory.file("screen.mov").path()) << std::string(1000, 'x');
    std::ofstream(directory.file("cursor.json").path()) << std::string(234, 'x');
    const auto reading = StorageWatch::readStorage(directory.url());
    ASSERT_TRUE(reading.has_value());
    EXPECT_EQ(reading->writtenBytes, 1234U);
    EXPECT_GT(reading->freeBytes, 0U);
    EXPECT_EQ(StorageWatch::readStorage(directory.file("gone")), std::nullopt);
}

}  // namespace
}  // namespace varnelle
