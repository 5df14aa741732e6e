#include <gtest/gtest.h>

#include "foundation/CountedCache.h"
#include "foundation/Date.h"
#include "foundation/Geometry.h"
#include "foundation/URL.h"
#include "foundation/UUID.h"

namespace varnelle {
namespace {

TEST(UUID, RoundTripsAndRefusesWhatIsNone) {
    const UUID uuid = UUID::random();
    EXPECT_EQ(UUID::parse(uuid.string()), uuid);
    EXPECT_NE(UUID::random(), uuid);
    EXPECT_EQ(UUID::parse("123e4567-e89b-12d3-a456-426614174000")->string(),
              "123E4567-E89B-12D3-A456-426614174000");
    for (const char* text :
         {"", "123e4567", "123e4567-e89b-12d3-a456-42661417400", "123e4567e89b-12d3-a456-4266141740000",
          "123e4567-e89b-12d3-a456-426614174000x", "g23e4567-e89b-12d3-a456-426614174000"}) {
        EXPECT_FALSE(UUID::parse(text)) << text;
    }
}

TEST(Date, ReadsAndWritesWholeSeconds) {
    EXPECT_EQ(Date::parseISO8601("2026-11-15T22:01:11Z")->secondsSinceEpoch, 1794780071);
    EXPECT_EQ(Date{1794780071}.iso8601(), "2026-11-15T22:01:11Z");
    EXPECT_EQ(Date{-1}.iso8601(), "1969-12-31T23:59:59Z");
    for (const char* text : {"", "2026-02-30T00:00:00Z", "2026-11-15T24:00:00Z", "2026-11-15 22:01:11Z",
                             "2026-11-15T22:01:11", "2026-11-15T22:01:11+01"}) {
        EXPECT_FALSE(Date::parseISO8601(text)) << text;
    }
}

TEST(URL, IsAbsoluteAndNormal) {
    EXPECT_EQ(URL("/a/./b/../c.mov").string(), "/a/c.mov");
    EXPECT_EQ(URL("/a/b/").string(), "/a/b");
    EXPECT_EQ(URL("/").string(), "/");
    EXPECT_TRUE(URL("x").path().is_absolute());
    EXPECT_EQ(URL("/a/take1.2.MOV").pathExtension(), "MOV");
    EXPECT_EQ(URL("/a/take1.2.MOV").stem(), "take1.2");
    EXPECT_EQ(URL("/a/.hidden").pathExtension(), "");
    EXPECT_EQ(URL("/a").appending("Assets/../../x").string(), "/x");
}

TEST(Geometry, RectanglesAndTransforms) {
    const CGRect rect{{10, 20}, {30, 40}};
    EXPECT_TRUE(rect.contains({10, 20}));
    EXPECT_FALSE(rect.contains({40, 30})) << "the far edge belongs to the neighbour";
    EXPECT_EQ((CGRect{{10, 20}, {-5, -6}}.standardized()), (CGRect{{5, 14}, {5, 6}}));
    EXPECT_EQ(rect.intersection({{20, 0}, {100, 30}}), (CGRect{{20, 20}, {20, 10}}));
    EXPECT_TRUE(rect.intersection({{40, 20}, {5, 5}}).isEmpty());
    const CGAffineTransform quarterTurn{0, 1, -1, 0, 0, 0};
    EXPECT_EQ(quarterTurn.apply(CGRect{{0, 0}, {30, 40}}), (CGRect{{-40, 0}, {40, 30}}));
}

TEST(CountedCache, DropsTheLeastRecentlyUsed) {
    CountedCache<std::string, int> cache(2);
    cache.setObject("a", 1);
    cache.setObject("b", 2);
    EXPECT_EQ(cache.object("a"), 1);
    cache.setObject("c", 3);
    EXPECT_EQ(cache.object("b"), std::nullopt);
    EXPECT_EQ(cache.object("a"), 1);
    cache.setObject("a", 4);
    EXPECT_EQ(cache.object("a"), 4);
    EXPECT_EQ(cache.count(), 2U);
    cache.removeAllObjects();
    EXPECT_EQ(cache.object("c"), std::nullopt);
}

}  // namespace
}  // namespace varnelle
