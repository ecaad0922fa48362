// The literal copy that stands in for printing a value as its own format.
#include <gtest/gtest.h>

#include <cstring>

#include "runtime/pavo_format.h"

TEST(FormatLiteral, FoldsDoublePercentAndCopiesEverythingElse)
{
    char out[64];
    EXPECT_EQ(pavo_format_literal(out, sizeof out, "50%%"), 3);
    EXPECT_STREQ(out, "50%");
    pavo_format_literal(out, sizeof out, "%s%n%d %x");
    EXPECT_STREQ(out, "%s%n%d %x");
    pavo_format_literal(out, sizeof out, "%%%%%");
    EXPECT_STREQ(out, "%%%");
    pavo_format_literal(out, sizeof out, nullptr);
    EXPECT_STREQ(out, "");
}

TEST(FormatLiteral, CutsAtSizeMinusOneAndReportsFullLength)
{
    char out[5];
    std::memset(out, 'X', sizeof out);
    EXPECT_EQ(pavo_format_literal(out, sizeof out, "abcdefgh"), 8);
    EXPECT_STREQ(out, "abcd");
    char one[1] = {'X'};
    EXPECT_EQ(pavo_format_literal(one, 1, "abc"), 3);
    EXPECT_EQ(one[0], '\0');
    char untouched = 'Q';
    EXPECT_EQ(pavo_format_literal(&untouched, 0, "ab"), 2);
    EXPECT_EQ(untouched, 'Q');
}
