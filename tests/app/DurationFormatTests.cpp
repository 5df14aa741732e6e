#include "app/DurationFormat.h"

#include <gtest/gtest.h>

#include <limits>

namespace varnelle {
namespace {

TEST(DurationFormat, CutsOffAndLeavesHoursOutBelowOne) {
    struct Case {
        double seconds;
        const char* menuBar;
        const char* tenths;
        const char* hundredths;
        const char* panel;
    };
    const Case cases[] = {
        {0, "0:00", "0:00.0", "0:00.00", "00:00"},
        {59.9, "0:59", "0:59.9", "0:59.90", "00:59"},
        {59.9999999, "0:59", "0:59.9", "0:59.99", "00:59"},
        {0.29, "0:00", "0:00.2", "0:00.29", "00:00"},
        {605.078, "10:05", "10:05.0", "10:05.07", "10:05"},
        {3599.999, "59:59", "59:59.9", "59:59.99", "59:59"},
        {3600, "1:00:00", "1:00:00.0", "1:00:00.00", "00:00"},
        {3725, "1:02:05", "1:02:05.0", "1:02:05.00", "02:05"},
        {360'000.57, "100:00:00", "100:00:00.5", "100:00:00.57", "00:00"},
        {-1.5, "0:00", "0:00.0", "0:00.00", "00:00"},
        {std::numeric_limits<double>::infinity(), "0:00", "0:00.0", "0:00.00", "00:00"},
        {std::numeric_limits<double>::quiet_NaN(), "0:00", "0:00.0", "0:00.00", "00:00"},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(menuBarDuration(each.seconds), each.menuBar) << each.seconds;
        EXPECT_EQ(durationWithTenths(each.seconds), each.tenths) << each.seconds;
        EXPECT_EQ(durationWithHundredths(each.seconds), each.hundredths) << each.seconds;
        EXPECT_EQ(panelTimer(each.seconds), each.panel) << each.seconds;
    }
}

}  // namespace
}  // namespace varnelle
