// The photo as a BMP file, by a stand-in for the decoder.
#include <array>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "standins/photo/photo_room.h"
#include "support/golden_line.h"
#include "support/identity_card.h"
#include "support/log_capture.h"
#include "unit/in_child.h"
#include "vantor/identity_operations.h"

using testing::EndsWith;
using testing::StartsWith;
using testing_support::IdentityCard;
using testing_support::LogCapture;
using testing_support::PhotoRoom;
using testing_support::ReadFile;
using testing_support::ToHex;

namespace
{

int MakeBmp(const std::string &path)
{
    const IdentityCard card;
    return ID_GetBmpFile(reinterpret_cast<const unsigned char *>(card.photo.data()), path.c_str());
}

// Red, green, blue of a pixel, counted from the top left corner.
std::array<int, 3> Pixel(const std::string &bmp, size_t x, size_t y)
{
    const size_t offset = 54 + (125 - y) * 308 + x * 3;
    return {static_cast<unsigned char>(bmp[offset + 2]),
            static_cast<unsigned char>(bmp[offset + 1]), static_cast<unsigned char>(bmp[offset])};
}

} // namespace

TEST(IdentityPhoto, IsABmpFileOf38862Bytes)
{
    PhotoRoom room;
    room.Decoder();
    ASSERT_EQ(MakeBmp("head.bmp"), 0);
    const std::string bmp = ReadFile("head.bmp");
    ASSERT_EQ(bmp.size(), 38862u);
    EXPECT_EQ(ToHex(bmp.substr(0, 54)),
              "42 4D CE 97 00 00 00 00 00 00 36 00 00 00 "                   // BM, 38862, 0, 54
              "28 00 00 00 66 00 00 00 7E 00 00 00 01 00 18 00 00 00 00 00 " // 40, 102, 126, 1, 24
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 ");
}

TEST(IdentityPhoto, RowsEndInTwoBytesOfFF)
{
    PhotoRoom room;
    room.Decoder();
    ASSERT_EQ(MakeBmp("head.bmp"), 0);
    const std::string bmp = ReadFile("head.bmp");
    for (size_t row = 0; row < 126; row++)
        ASSERT_EQ(ToHex(bmp.substr(54 + 308 * row + 306, 2)), "FF FF ") << row;
}

// The stand-in's picture: its order and its colours come out as they went in, bytes turned round.
TEST(IdentityPhoto, PixelsKeepTheirOrderAndAreTurnedRound)
{
    PhotoRoom room;
    room.Decoder();
    ASSERT_EQ(MakeBmp("head.bmp"), 0);
    const std::string bmp = ReadFile("head.bmp");
    EXPECT_EQ(Pixel(bmp, 41, 56), (std::array<int, 3>{40, 35, 45})) << "an eye";
    EXPECT_EQ(Pixel(bmp, 51, 75), (std::array<int, 3>{170, 80, 80})) << "the mouth";
    EXPECT_EQ(Pixel(bmp, 51, 105), (std::array<int, 3>{245, 245, 245})) << "the collar";
    // The mosaic on the wall: photo byte 0 at the top left, 31 (16 brighter by a sixteenth) right.
    EXPECT_EQ(Pixel(bmp, 101, 0)[0] - Pixel(bmp, 0, 0)[0], 1);
    EXPECT_EQ(Pixel(bmp, 0, 28)[2] - Pixel(bmp, 0, 0)[2], 14); // byte 224
}

TEST(IdentityPhoto, WithoutTheDecoderItSaysWhy)
{
    PhotoRoom room;
    LogCapture log(1);
    EXPECT_EQ(MakeBmp("head.bmp"), -1);
    EXPECT_THAT(log.Lines(), StartsWith("Error:dlopen libwlt.so error, dlerror = ./libwlt.so: "));
    EXPECT_THAT(log.Lines(), EndsWith("\r\n"));
    EXPECT_FALSE(std::filesystem::exists("head.bmp"));
}

TEST(IdentityPhoto, ADecoderThatIsNoLibraryCountsAsNone)
{
    PhotoRoom room;
    testing_support::WriteFile("libwlt.so", "not a library");
    EXPECT_EQ(MakeBmp("head.bmp"), -1);
}

// In a child: the library stays open, and this process would find it under its name again.
TEST(IdentityPhoto, ADecoderWithoutItsEntryGivesMinus2)
{
    EXPECT_EQ(testing_support::ResultInChild(
                  []
                  {
                      PhotoRoom room;
                      room.Decoder("libempty.so");
                      return MakeBmp("head.bmp") == -2 && !std::filesystem::exists("head.bmp") ? 0
                                                                                               : 1;
                  }),
              0);
}

TEST(IdentityPhoto, ADecoderWithoutItsEntryStaysOpenAndAllOthersAreClosed)
{
    EXPECT_EQ(testing_support::ResultInChild(
                  []
                  {
                      PhotoRoom room;
                      room.Decoder();
                      MakeBmp("head.bmp");
                      const bool closed =
                          ReadFile("/proc/self/maps").find("libwlt.so") == std::string::npos;
                      std::filesystem::remove("libwlt.so");
                      room.Decoder("libfailing_wlt.so");
                      MakeBmp("head.bmp");
                      const bool closedAgain =
                          ReadFile("/proc/self/maps").find("libwlt.so") == std::string::npos;
                      std::filesystem::remove("libwlt.so");
                      room.Decoder("libempty.so");
                      MakeBmp("head.bmp");
                      const bool open =
                          ReadFile("/proc/self/maps").find("libwlt.so") != std::string::npos;
                      return closed && closedAgain && open ? 0 : 1;
                  }),
              0);
}

TEST(IdentityPhoto, APhotoThatTheDecoderRefusesGivesMinus3)
{
    PhotoRoom room;
    room.Decoder("libfailing_wlt.so");
    EXPECT_EQ(MakeBmp("head.bmp"), -3);
    EXPECT_FALSE(std::filesystem::exists("head.bmp"));
    std::filesystem::remove("libwlt.so");
    room.Decoder();
    const unsigned char nothing[1024] = {};
    EXPECT_EQ(ID_GetBmpFile(nothing, "head.bmp"), -3);
}

TEST(IdentityPhoto, AFileThatCannotBeWrittenGivesMinus3)
{
    PhotoRoom room;
    room.Decoder();
    EXPECT_EQ(MakeBmp("missing/head.bmp"), -3);
    EXPECT_EQ(MakeBmp(""), -3);
    EXPECT_EQ(MakeBmp("."), -3);
    EXPECT_EQ(MakeBmp(std::string(5000, 'n')), -3);
    EXPECT_EQ(MakeBmp("/dev/full"), -3);
}

TEST(IdentityPhoto, AnOlderFileIsReplaced)
{
    PhotoRoom room;
    room.Decoder();
    testing_support::WriteFile("head.bmp", std::string(50000, 'o'));
    ASSERT_EQ(MakeBmp("head.bmp"), 0);
    EXPECT_EQ(ReadFile("head.bmp").size(), 38862u);
}

TEST(IdentityPhoto, NullIsRefused)
{
    const unsigned char photo[1024] = {1};
    EXPECT_EQ(ID_GetBmpFile(nullptr, "head.bmp"), -3);
    EXPECT_EQ(ID_GetBmpFile(photo, nullptr), -3);
}
