// The names of photo files for the variant calls.
#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "vantor/identity_cards.h"

namespace
{

std::string Name(int kind, const char *name, const char *path)
{
    char out[1000];
    memset(out, '#', sizeof out);
    out[999] = '\0';
    EXPECT_EQ(BO_ModifyIdPath_YC(kind, name, path, out), 0);
    return out[0] == '#' ? "untouched" : out;
}

} // namespace

TEST(PhotoName, TheKindIsItsSuffix)
{
    EXPECT_EQ(Name(0, "110101", "C:\\photos\\x.jpg"), "C:\\photos\\110101.jpg");
    EXPECT_EQ(Name(1, "110101", "C:\\photos\\x.jpg"), "C:\\photos\\110101_1.jpg");
    EXPECT_EQ(Name(2, "110101", "C:\\photos\\x.jpg"), "C:\\photos\\110101_2.jpg");
    EXPECT_EQ(Name(3, "110101", "C:\\photos\\x.jpg"), "C:\\photos\\110101_3.jpg");
}

TEST(PhotoName, TheFilesEndingStays)
{
    EXPECT_EQ(Name(0, "n", "d\\x.bmp"), "d\\n.bmp");
    EXPECT_EQ(Name(0, "n", "d\\x.png"), "d\\n.png");
    EXPECT_EQ(Name(2, "n", "d\\e\\x.gif"), "d\\e\\n_2.gif");
    EXPECT_EQ(Name(0, "n", "\\x.jpg"), "\\n.jpg");
}

TEST(PhotoName, AnyOtherPathIsADirectory)
{
    EXPECT_EQ(Name(0, "n", "/home/photos"), "/home/photos\\n.bmp");
    EXPECT_EQ(Name(1, "n", "d"), "d\\n_1.bmp");
    EXPECT_EQ(Name(2, "n", "d\\x.tif"), "d\\x.tif\\n_2.bmp");
    EXPECT_EQ(Name(3, "n", "d\\x.JPG"), "d\\x.JPG\\n_3.bmp");
    EXPECT_EQ(Name(0, "n", ".jpg"), ".jpg\\n.bmp"); // no longer than its ending
}

TEST(PhotoName, AFileWithoutABackslashGivesNone)
{
    EXPECT_EQ(Name(0, "n", "/home/photos/x.jpg"), "");
    EXPECT_EQ(Name(0, "n", "x.bmp"), "");
}

TEST(PhotoName, NoPathGivesNone)
{
    EXPECT_EQ(Name(0, "n", nullptr), "");
    EXPECT_EQ(Name(3, "n", ""), "");
}

TEST(PhotoName, AnotherKindLeavesTheRoomAlone)
{
    EXPECT_EQ(Name(-1, "n", "d"), "untouched");
    EXPECT_EQ(Name(4, "n", "d"), "untouched");
    EXPECT_EQ(Name(4, "n", nullptr), "untouched");
}

TEST(PhotoName, ALongPathGivesNone)
{
    EXPECT_EQ(Name(0, "n", std::string(260, 'd').c_str()), std::string(260, 'd') + "\\n.bmp");
    EXPECT_EQ(Name(0, "n", std::string(261, 'd').c_str()), "");
}

TEST(PhotoName, WritesItsTextAndOneNul)
{
    char out[32];
    memset(out, '#', sizeof out);
    BO_ModifyIdPath_YC(1, "n", "d", out);
    EXPECT_EQ(std::string(out, 10), std::string("d\\n_1.bmp") + '\0');
    EXPECT_EQ(out[10], '#');
}

TEST(PhotoName, TheArgumentsMayLieInTheRoom)
{
    char out[64] = "d\\x.png";
    BO_ModifyIdPath_YC(0, out, out, out);
    EXPECT_STREQ(out, "d\\d\\x.png.png");
    EXPECT_EQ(Name(0, nullptr, "d"), "d\\.bmp");
    EXPECT_EQ(BO_ModifyIdPath_YC(0, "n", "d", nullptr), 0);
}
