// Where the photo of an identity card goes: a BMP file, a converted one, or a directory.
#include "api/identity_photo.h"

#include <algorithm>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "standins/photo/photo_room.h"
#include "support/identity_card.h"
#include "support/log_capture.h"
#include "unit/in_child.h"
#include "vantor/support.h"

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing_support::ForeignCard;
using testing_support::IdentityCard;
using testing_support::LogCapture;
using testing_support::PhotoRoom;
using testing_support::ReadFile;
using testing_support::ResidentCard;
using testing_support::ResultInChild;
using testing_support::WriteFile;

namespace
{

const uintmax_t kBmpSize = 38862;

int WritePhoto(const IdentityCard &card, const std::string &path)
{
    const std::string raw = card.text + card.photo;
    return WriteIdentityPhoto(reinterpret_cast<const unsigned char *>(raw.data()), path.c_str());
}

int WritePhoto(const std::string &path)
{
    return WritePhoto(ResidentCard(), path);
}

bool IsBmp(const std::string &path)
{
    return fs::is_regular_file(path) && fs::file_size(path) == kBmpSize;
}

mode_t ModeOf(const std::string &path)
{
    struct stat status;
    EXPECT_EQ(stat(path.c_str(), &status), 0);
    return status.st_mode & 07777;
}

// The files and directories below the working directory but for the libraries, in order.
std::string Everything()
{
    std::vector<std::string> names;
    for (const auto &entry : fs::recursive_directory_iterator("."))
        if (entry.path().extension() != ".so")
            names.push_back(entry.path().string().substr(2));
    std::sort(names.begin(), names.end());
    std::string text;
    for (const std::string &name : names)
        text += name + " ";
    return text;
}

// No umask, so that modes are seen as they were asked for; and no log file among the photos.
struct OpenRoom : PhotoRoom
{
    mode_t mask = umask(0);
    OpenRoom()
    {
        GSetLogFilePath("/dev/null");
    }
    ~OpenRoom()
    {
        umask(mask);
    }
};

} // namespace

TEST(IdentityPhotoFile, NoPathIsNoPhoto)
{
    PhotoRoom room; // without a decoder: nothing asks for it
    EXPECT_EQ(WritePhoto(""), 0);
    EXPECT_EQ(WriteIdentityPhoto(ResidentCard().Record(), nullptr), 0);
    EXPECT_EQ(Everything(), "");
}

TEST(IdentityPhotoFile, ABmpGoesToThePathItself)
{
    OpenRoom room;
    room.Decoder();
    fs::create_directory("photos");
    EXPECT_EQ(WritePhoto("photos/head.bmp"), 0);
    EXPECT_TRUE(IsBmp("photos/head.bmp"));
    EXPECT_EQ(WritePhoto("head.bmp"), 0);
    EXPECT_EQ(Everything(), "head.bmp photos photos/head.bmp ");
}

TEST(IdentityPhotoFile, TheDirectoryOfABmpIsMadeWithMode07)
{
    OpenRoom room;
    room.Decoder();
    WritePhoto("photos/head.bmp");
    EXPECT_EQ(ModeOf("photos"), 07u);
    WritePhoto("missing/deeper/head.bmp"); // one level only
    EXPECT_FALSE(fs::exists("missing"));
}

// Its owner has no access to it.
TEST(IdentityPhotoFile, ForAnOrdinaryUserADirectoryThatWasMadeIsOfNoUse)
{
    OpenRoom room;
    room.Decoder();
    fs::permissions(".", fs::perms::all);
    EXPECT_EQ(testing_support::ResultWithoutRights(
                  []
                  {
                      const int result = WritePhoto("photos/head.bmp");
                      return result == -3 && fs::exists("photos") ? 0 : 1;
                  }),
              0);
    fs::permissions("photos", fs::perms::all);
}

TEST(IdentityPhotoFile, ABackslashEndsTheDirectoryOfABmpBeforeASlash)
{
    OpenRoom room;
    room.Decoder();
    fs::create_directory("a");
    EXPECT_EQ(WritePhoto("a/b\\c.bmp"), 0);
    EXPECT_TRUE(fs::is_directory("a/b"));
    EXPECT_TRUE(IsBmp("a/b\\c.bmp"));
    EXPECT_EQ(WritePhoto("x\\y.bmp"), 0);
    EXPECT_TRUE(fs::is_directory("x"));
    EXPECT_TRUE(IsBmp("x\\y.bmp"));
}

TEST(IdentityPhotoFile, TheEndingCountsAnywhereAndBmpFirst)
{
    OpenRoom room;
    room.Decoder();
    fs::create_directory("x.bmp.d");
    EXPECT_EQ(WritePhoto("x.bmp.d/y.jpg"), 0);
    EXPECT_TRUE(IsBmp("x.bmp.d/y.jpg"));
    EXPECT_EQ(WritePhoto("z.jpg.bmp"), 0);
    EXPECT_TRUE(IsBmp("z.jpg.bmp"));
    fs::create_directory("UPPER.BMP"); // another ending: a directory
    EXPECT_EQ(WritePhoto("UPPER.BMP"), 0);
    EXPECT_TRUE(IsBmp("UPPER.BMP/11010519491231002X.bmp"));
}

TEST(IdentityPhotoFile, AConverterGetsATemporaryBmpTheTargetAndTheQuality)
{
    for (const char *ending : {".jpg", ".png", ".gif"})
    {
        OpenRoom room;
        LogCapture log;
        room.Decoder();
        room.Converter("librecording_PicConvert.so");
        fs::create_directory("d");
        const std::string target = std::string("d/x") + ending;
        EXPECT_EQ(WritePhoto(target), -77) << "its result as it is";
        EXPECT_EQ(ReadFile(target), "d/temp.bmp (there), " + target + " (missing), 60");
        EXPECT_EQ(Everything(), "d " + target + " ") << "the temporary file is gone";
        EXPECT_EQ(log.Lines(), "Info:ID_GetBmpFile ret = 0\r\n"
                               "Info:BmpToJpg szBmpFile = d/temp.bmp, szJpgFile = " +
                                   target + "\r\n");
        EXPECT_THAT(ReadFile("/proc/self/maps"), testing::Not(HasSubstr("libPicConvert.so")));
    }
}

TEST(IdentityPhotoFile, WithoutASlashTheTemporaryFileIsInTheWorkingDirectory)
{
    OpenRoom room;
    room.Decoder();
    room.Converter("librecording_PicConvert.so");
    EXPECT_EQ(WritePhoto("x.jpg"), -77);
    EXPECT_EQ(ReadFile("x.jpg"), "temp.bmp (there), x.jpg (missing), 60");
    EXPECT_EQ(WritePhoto("a\\b.png"), -77);
    EXPECT_EQ(ReadFile("a\\b.png"), "temp.bmp (there), a\\b.png (missing), 60");
    EXPECT_EQ(Everything(), "a\\b.png x.jpg ");
}

TEST(IdentityPhotoFile, ADirectoryOfTheTargetsNameThatWasThereStays)
{
    OpenRoom room;
    room.Decoder();
    room.Converter("librecording_PicConvert.so");
    fs::create_directory("x.jpg");
    EXPECT_EQ(WritePhoto("x.jpg"), -78); // the stand-in's word for a target it cannot write
    EXPECT_EQ(Everything(), "x.jpg ");
}

TEST(IdentityPhotoFile, AnOlderTargetIsNotTouchedBeforeTheConverter)
{
    OpenRoom room;
    room.Decoder();
    room.Converter("librecording_PicConvert.so");
    WriteFile("x.jpg", "old");
    EXPECT_EQ(WritePhoto("x.jpg"), -77);
    EXPECT_EQ(ReadFile("x.jpg"), "temp.bmp (there), x.jpg (there), 60");
}

TEST(IdentityPhotoFile, WithoutAConverterTheTemporaryBmpStays)
{
    OpenRoom room;
    LogCapture log(1);
    room.Decoder();
    EXPECT_EQ(WritePhoto("x.jpg"), -1009);
    EXPECT_EQ(Everything(), "temp.bmp ");
    EXPECT_TRUE(IsBmp("temp.bmp"));
    EXPECT_EQ(log.Lines(), "") << "the code is returned directly";
}

TEST(IdentityPhotoFile, AConverterWithoutItsEntryGives1010AndIsClosed)
{
    OpenRoom room;
    LogCapture log(1);
    room.Decoder();
    room.Converter("libempty.so");
    EXPECT_EQ(WritePhoto("x.jpg"), -1010);
    EXPECT_EQ(Everything(), "temp.bmp ");
    EXPECT_EQ(log.Lines(), "");
    EXPECT_THAT(ReadFile("/proc/self/maps"), testing::Not(HasSubstr("libPicConvert.so")));
}

TEST(IdentityPhotoFile, TheCompanionConvertsToAllThreeFormats)
{
    OpenRoom room;
    room.Decoder();
    room.RealConverter();
    const std::pair<const char *, std::string> kFormats[] = {
        {"x.jpg", "\xFF\xD8\xFF"}, {"x.png", "\x89PNG\r\n"}, {"x.gif", "GIF8"}};
    for (const auto &[path, beginning] : kFormats)
    {
        EXPECT_EQ(WritePhoto(path), 0);
        EXPECT_EQ(ReadFile(path).substr(0, beginning.size()), beginning);
    }
    EXPECT_EQ(Everything(), "x.gif x.jpg x.png ");
}

TEST(IdentityPhotoFile, WithoutADecoderItIsAGeneralFailure)
{
    OpenRoom room;
    room.RealConverter();
    for (const char *path : {"x.bmp", "x.jpg", "d"})
        EXPECT_EQ(WritePhoto(path), -1014) << path;
    EXPECT_EQ(Everything(), "d ") << "the directory with the target's name is gone again";
}

TEST(IdentityPhotoFile, ADecoderWithoutItsEntryIsAnOpenFailure)
{
    EXPECT_EQ(ResultInChild(
                  []
                  {
                      OpenRoom room;
                      room.Decoder("libempty.so");
                      return WritePhoto("x.bmp") == -1000 && WritePhoto("x.jpg") == -1000 &&
                                     Everything().empty()
                                 ? 0
                                 : 1;
                  }),
              0);
}

TEST(IdentityPhotoFile, APhotoThatCannotBeDecodedGivesMinus3)
{
    OpenRoom room;
    LogCapture log;
    room.Decoder("libfailing_wlt.so");
    room.RealConverter();
    EXPECT_EQ(WritePhoto("x.png"), -3);
    EXPECT_EQ(log.Lines(), "Info:ID_GetBmpFile ret = -3\r\nError:iErrorCode = -3\r\n");
    EXPECT_EQ(WritePhoto("x.bmp"), -3);
    EXPECT_EQ(Everything(), "");
}

TEST(IdentityPhotoFile, APlaceThatCannotBeWrittenGivesMinus3)
{
    OpenRoom room;
    room.Decoder();
    room.RealConverter();
    WriteFile("file", "");
    for (const char *path : {"file/x.bmp", "file/x.jpg", "file", "missing/x.gif", "missing/d"})
        EXPECT_EQ(WritePhoto(path), -3) << path;
    EXPECT_EQ(Everything(), "file ");
}

TEST(IdentityPhotoFile, AnyOtherPathIsADirectoryForTheNumber)
{
    OpenRoom room;
    room.Decoder();
    fs::create_directory("d");
    EXPECT_EQ(WritePhoto("d"), 0);
    EXPECT_TRUE(IsBmp("d/11010519491231002X.bmp"));
    EXPECT_EQ(WritePhoto(ForeignCard(), "d"), 0);
    EXPECT_TRUE(IsBmp("d/CAN110081010110.bmp"));
    WritePhoto("made");
    EXPECT_EQ(ModeOf("made"), 07u);
}

TEST(IdentityPhotoFile, ANumberThatLeadsElsewhereIsRefused)
{
    OpenRoom room;
    room.Decoder();
    fs::create_directory("d");
    IdentityCard card = ResidentCard();
    card.Put(122, u"../../../../../esc");
    EXPECT_EQ(WritePhoto(card, "d"), -3);
    EXPECT_EQ(Everything(), "d ");
    card.Put(122, u"..                ");
    EXPECT_EQ(WritePhoto(card, "d"), 0); // a name like any other
    card.text.replace(122, 36, std::string(36, '\0'));
    EXPECT_EQ(WritePhoto(card, "d"), 0);
    EXPECT_TRUE(IsBmp("d/.bmp"));
}

TEST(IdentityPhotoFile, TheLongestPathAndNumberFit)
{
    OpenRoom room;
    room.Decoder();
    room.Converter("librecording_PicConvert.so");
    std::string start;
    while (start.size() < 252)
        start += "./";
    fs::create_directory("12345678");
    IdentityCard card = ResidentCard();
    card.Put(122, std::u16string(18, u'\x80')); // 72 bytes
    std::string number;
    for (int i = 0; i < 18; i++)
        number += "\x81\x30\x81\x30";
    EXPECT_EQ((start + "12345678").size(), 260u);
    EXPECT_EQ(WritePhoto(card, start + "12345678"), 0);
    EXPECT_TRUE(IsBmp("12345678/" + number + ".bmp"));
    EXPECT_EQ(WritePhoto(start + "1234.bmp"), 0);
    EXPECT_TRUE(IsBmp("1234.bmp"));
    EXPECT_EQ(WritePhoto(start + "1234.png"), -77);
    EXPECT_EQ(ReadFile("1234.png"),
              start + "temp.bmp (there), " + start + "1234.png (missing), 60");
}
