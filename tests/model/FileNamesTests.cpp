#include "model/FileNames.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace varnelle {
namespace {

TEST(FileNames, SanitizingKeepsWhatFileSystemsTake) {
    struct Case {
        const char* name;
        const char* expected;
    };
    for (const Case& c :
         {Case{"a/b:c", "a-b-c"}, Case{"  take 1\n", "take 1"}, Case{"<>|\"?*%\\", "--------"},
          Case{" \t\n", "Fallback"}, Case{"", "Fallback"}, Case{"über.mov", "über.mov"}}) {
        EXPECT_EQ(sanitizedFileName(c.name, "Fallback"), c.expected);
    }
}

TEST(FileNames, TrimmingKnowsTheBlanksOfUnicode) {
    for (const char* blank : {" ", "\t\n\v\f\r", "\xC2\x85", "\u00A0", "\u1680", "\u2000", "\u2009", "\u200A",
                              "\u2028", "\u2029", "\u202F", "\u205F", "\u3000", " \u00A0 \u3000"}) {
        const std::string text(blank);
        EXPECT_EQ(trimmed(text + "a" + text + "b" + text), "a" + text + "b") << text;
        EXPECT_EQ(trimmed(text), "");
    }
    for (const char* other : {"\uFEFF", "\u200B", "à", "丠"}) EXPECT_EQ(trimmed(other), other);
}

TEST(FileNames, NaturalOrderIgnoresCaseAndCountsNumbers) {
    std::vector<std::string> names{"take 10", "Take 2", "take 1", "b", "A", "a", "take 02", "take"};
    std::sort(names.begin(), names.end(), precedesNaturally);
    EXPECT_EQ(names,
              (std::vector<std::string>{"A", "a", "b", "take", "take 1", "Take 2", "take 02", "take 10"}));
}

}  // namespace
}  // namespace varnelle
