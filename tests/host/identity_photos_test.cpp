// The photo of an identity card, the flag of a card without an end, and the calls with C++ symbols.
#include <filesystem>
#include <gtest/gtest.h>

#include "host/identity_reader.h"
#include "standins/photo/photo_room.h"

using namespace testing_support;

TEST(IdentityLongTerm, TheFlagOfACardWithoutAnEndStays)
{
    IdentityReader reader;
    reader.WholeRead(ResidentCard()).PlugAndOpen();
    char info[1024];
    uint32_t length = 0;
    int32_t flag = 1;
    EXPECT_EQ(0, CALL(reader.library, BO_ReadIdInfo)("", 0, info, &length, &flag, 0, nullptr,
                                                     nullptr, 5));
    EXPECT_EQ(1, flag);
}

// Three characters whose GB18030 bytes are those of the two in UTF-8.
TEST(IdentityLongTerm, TheFlagFallsForAFieldOfTheSameBytes)
{
    IdentityReader reader;
    IdentityCard card = ResidentCard();
    card.Put(204, u"闀挎湡");
    reader.WholeRead(card).PlugAndOpen();
    char info[1024];
    uint32_t length = 0;
    int32_t flag = 1;
    EXPECT_EQ(0, CALL(reader.library, BO_ReadIdInfo)(nullptr, 0, info, &length, &flag, 0, nullptr,
                                                     nullptr, 5));
    EXPECT_EQ(0, flag);
}

TEST(IdentityPhotoData, DeliversNothingBetweenItsTwoLines)
{
    IdentityReader reader(Config("loglevel", "2"));
    for (int i = 0; i < 3; i++)
        reader.WholeRead(ResidentCard());
    reader.PlugAndOpen();
    char info[1024];
    uint32_t length = 0;
    unsigned char photo[4] = {9, 9, 9, 9};
    uint32_t photoLength = 4711;
    const auto read = CALL(reader.library, BO_ReadIdInfo);
    EXPECT_EQ(0, read(nullptr, 0, info, &length, nullptr, 4, photo, nullptr, 5));
    EXPECT_EQ(0, read(nullptr, 0, info, &length, nullptr, 4, nullptr, &photoLength, 5));
    EXPECT_EQ("", reader.BusinessLog());
    EXPECT_EQ(0, read(nullptr, 0, info, &length, nullptr, 4, photo, &photoLength, 5));
    reader.Finish();
    EXPECT_EQ("Info:ID_GetBmpData start\r\nInfo:ID_GetBmpData end, iPbLen = 0, ret = 0\r\n",
              reader.BusinessLog());
    EXPECT_EQ(9, photo[0]);
    EXPECT_EQ(4711u, photoLength);
}

TEST(IdentityPhoto, IsWrittenByTheTwoCallsThatHaveAPathForIt)
{
    PhotoRoom room;
    room.Decoder();
    room.RealConverter();
    IdentityReader reader;
    reader.WholeRead(ResidentCard()).WholeRead(ResidentCard()).WholeRead(ResidentCard());
    reader.WholeRead(ResidentCard()).PlugAndOpen();
    EXPECT_EQ(0, Make(Call::kPlain, reader.library, {"plain.bmp"}).result);
    EXPECT_EQ(0, Make(Call::kVariant, reader.library, {"variant.png"}).result);
    EXPECT_EQ(0, Make(Call::kPic, reader.library, {"pic.bmp"}).result);
    EXPECT_EQ(0, Make(Call::kFb, reader.library, {"fb.bmp"}).result);
    EXPECT_EQ(38862u, std::filesystem::file_size("plain.bmp"));
    EXPECT_TRUE(std::filesystem::exists("variant.png"));
    for (const char *path : {"pic.bmp", "fb.bmp", "face.bmp", "back.bmp", "card.bmp", "temp.bmp"})
        EXPECT_FALSE(std::filesystem::exists(path)) << path;
}

TEST(IdentityPhoto, AFailureIsTheResultAndTheTextIsThereAllTheSame)
{
    PhotoRoom room;
    room.Decoder("libfailing_wlt.so");
    IdentityReader reader;
    reader.WholeRead(ForeignCard()).WholeRead(ForeignCard()).PlugAndOpen();
    for (Call call : {Call::kPlain, Call::kVariant})
    {
        const Given given = Make(call, reader.library, {"head.bmp"});
        EXPECT_EQ(-3, given.result);
        EXPECT_EQ(0u, given.text.find("SMITH, JOHN|"));
        EXPECT_EQ(given.text.size(), given.length);
    }
}

TEST(IdentityPhoto, TheConvertersResultIsGivenAsItIs)
{
    PhotoRoom room;
    room.Decoder();
    room.Converter("librecording_PicConvert.so");
    IdentityReader reader;
    reader.WholeRead(ForeignCard()).WholeRead(ForeignCard()).PlugAndOpen();
    for (Call call : {Call::kPlain, Call::kVariant})
        EXPECT_EQ(-77, Make(call, reader.library, {"head.jpg"}).result);
    reader.Finish();
    EXPECT_EQ("", reader.BusinessLog()) << "it is not mapped, so it is not logged";
}

TEST(IdentityPhoto, ThePhotoOfTheRecordIsTheOneThatIsDecoded)
{
    PhotoRoom room;
    room.Decoder();
    IdentityCard card = ResidentCard();
    card.photo = std::string(1024, '\0'); // the stand-in refuses it
    IdentityReader reader;
    reader.WholeRead(card).PlugAndOpen();
    EXPECT_EQ(-3, Make(Call::kPlain, reader.library, {"head.bmp"}).result);
}

TEST(IdentityNames, AreExportedUnderTheirCppSymbols)
{
    HostLibrary library;
    char out[64];
    CPP_CALL(library, BO_ModifyIdPath_YC, "_Z18BO_ModifyIdPath_YCiPKcS0_Pc")(1, "n", "d", out);
    EXPECT_STREQ("d\\n_1.bmp", out);
    EXPECT_EQ(3,
              CPP_CALL(library, GStrUnicode2GB18030, "_Z19GStrUnicode2GB18030PKcPci")("A", out, 2));
}
