#include "timeline/TimelineSourceTimeMapper.h"

#include <gtest/gtest.h>

namespace varnelle {
namespace {

double mapped(const TimelineSourceTimeMapper& mapper, double seconds) {
    return mapper.sourceTime(CMTime::fromSeconds(seconds, 600)).seconds();
}

TEST(TimelineSourceTimeMapper, WithoutSegmentsIsTheIdentity) {
    EXPECT_EQ(mapped(TimelineSourceTimeMapper(), 3.5), 3.5);
}

TEST(TimelineSourceTimeMapper, HoldsTheEndsOfSegments) {
    //  timeline  [0 A 5) [5 B 8)   gap   [10 C 12)
    //  source     0       20              30
    const TimelineSourceTimeMapper mapper({{10, 12, 30}, {0, 5, 0}, {5, 8, 20}});
    struct Case {
        double timeline, source;
    };
    for (const Case& c :
         {Case{2, 2}, Case{5, 20}, Case{7.5, 22.5}, Case{9, 23}, Case{10, 30}, Case{50, 32}, Case{-3, 0}}) {
        EXPECT_EQ(mapped(mapper, c.timeline), c.source) << "at " << c.timeline;
    }
    const TimelineSourceTimeMapper late({{2, 5, 10}});
    EXPECT_EQ(mapped(late, 1), 10) << "before the first segment its start holds";
    EXPECT_EQ(late.sourceTime(kCMTimeInvalid).seconds(), 10);
}

}  // namespace
}  // namespace varnelle
