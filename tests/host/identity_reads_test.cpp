// Reading an identity card: every end that a read can come to, the mode and the line speed around
// it.
#include <atomic>
#include <filesystem>
#include <gtest/gtest.h>
#include <thread>

#include "host/identity_reader.h"
#include "standins/photo/photo_room.h"

using namespace testing_support;

TEST(IdentityRead, WithoutAFingerprintTheCardIsReadPlainly)
{
    for (Call call : kCalls)
    {
        IdentityReader reader;
        reader.Switch().Reset().Find().Select().ReadFp(FromHex("000021"));
        reader.Read(ForeignCard().Payload()).Back().PlugAndOpen();
        const Given given = Make(call, reader.library);
        EXPECT_EQ(0, given.result);
        EXPECT_EQ(0u, given.text.find("SMITH, JOHN|"));
    }
}

TEST(IdentityRead, AReadThatFailsIsToldBehindTheSwitchBack)
{
    for (Call call : kCalls)
    {
        IdentityReader reader(Config("loglevel", "2"));
        reader.Switch().Reset().Find().Select().ReadFp(FromHex("000041"));
        reader.Read(FromHex("000031")).Back().PlugAndOpen();
        const Given given = Make(call, reader.library);
        EXPECT_EQ(-3002, given.result);
        EXPECT_EQ("", given.text);
        EXPECT_EQ(77u, given.length);
        reader.Finish();
        EXPECT_EQ("Error:ID_ReadCard Error!\r\nError:iErrorCode = -3002\r\n", reader.BusinessLog());
        const std::string log = reader.Log();
        EXPECT_LT(log.rfind("Send Cmd: " ESC "$B0"), log.find("ID_ReadCard Error!"));
    }
}

TEST(IdentityRead, AShortReplyGivesEmptyFields)
{
    IdentityReader reader;
    reader.Switch().Reset().Find().Select().ReadFp(FromHex("000090")).Back().PlugAndOpen();
    const Given given = Make(Call::kPlain, reader.library);
    EXPECT_EQ(0, given.result);
    EXPECT_EQ("|\xCE\xB4\xD6\xAA||||||||N||||", given.text);
}

TEST(IdentityRead, AFailedResetEndsIt)
{
    for (Call call : kCalls)
    {
        IdentityReader reader;
        reader.Switch().Reset("000011").Back().PlugAndOpen();
        EXPECT_EQ(-3000, Make(call, reader.library).result);
        reader.Finish();
        EXPECT_EQ("Error:ID_ResetCard Error!\r\nError:iErrorCode = -3000\r\n",
                  reader.BusinessLog());
    }
}

TEST(IdentityRead, AFailedSelectionEndsIt)
{
    for (Call call : kCalls)
    {
        IdentityReader reader;
        reader.Switch().Reset().Find().Select("000081").Back().PlugAndOpen();
        EXPECT_EQ(-3001, Make(call, reader.library).result);
        reader.Finish();
        EXPECT_EQ("Error:ID_SelectCard Error!\r\nError:iErrorCode = -3001\r\n",
                  reader.BusinessLog());
    }
}

TEST(IdentityRead, WithoutADeviceItGives1003)
{
    HostLibrary closed;
    for (Call call : kCalls)
        EXPECT_EQ(-1003, Make(call, closed).result);
    EXPECT_EQ(-1003, CALL(closed, BO_IdReset)());
    EXPECT_EQ(-1003, CALL(closed, BO_SetIdBaud)(9600));
}

TEST(IdentityRead, ANegativeTimeoutIsRefusedBeforeAnythingElse)
{
    const std::string path(261, 'p');
    for (Call call : kCalls)
    {
        IdentityReader reader;
        reader.PlugAndOpen();
        EXPECT_EQ(-1007, Make(call, reader.library, {path.c_str(), -1}).result);
        reader.Finish();
        EXPECT_EQ("Error:Timeout Error!\r\n", reader.BusinessLog());
    }
    IdentityReader reader;
    reader.PlugAndOpen();
    EXPECT_EQ(-1007, CALL(reader.library, BO_GetIdRawData)(nullptr, nullptr, nullptr, nullptr,
                                                           nullptr, nullptr, -1));
    EXPECT_EQ("Error:Timeout Error!\r\n", reader.BusinessLog());
}

TEST(IdentityRead, APathOf261CharactersIsRefused)
{
    const std::string path(261, 'p');
    const std::pair<Call, const char *> kMessages[] = {{Call::kPlain, "szBmpPath Error!\r\n"},
                                                       {Call::kPic, "szPicPath Error!\r\n"},
                                                       {Call::kFb, "szHeadPath Error!\r\n"},
                                                       {Call::kVariant, "szHeadPath Error!\r\n"}};
    for (const auto &[call, message] : kMessages)
    {
        IdentityReader reader;
        reader.PlugAndOpen();
        EXPECT_EQ(-1007, Make(call, reader.library, {path.c_str()}).result);
        reader.Finish();
        EXPECT_EQ(std::string("Error:") + message, reader.BusinessLog());
    }
}

TEST(IdentityRead, APathOf260CharactersIsAccepted)
{
    PhotoRoom room;
    room.Decoder();
    std::string path;
    while (path.size() < 252)
        path += "./";
    path += "head.bmp";
    ASSERT_EQ(260u, path.size());
    for (Call call : kCalls)
    {
        IdentityReader reader;
        reader.WholeRead(ResidentCard()).PlugAndOpen();
        EXPECT_EQ(0, Make(call, reader.library, {path.c_str()}).result);
        EXPECT_EQ(call == Call::kPlain || call == Call::kVariant,
                  std::filesystem::remove("head.bmp"));
    }
}

TEST(IdentityRead, NeedsItsOutputs)
{
    IdentityReader reader;
    reader.PlugAndOpen();
    char info[8];
    uint32_t length = 77;
    const HostLibrary &library = reader.library;
    for (const auto &[text, size] :
         {std::pair<char *, uint32_t *>{nullptr, &length}, {info, nullptr}})
    {
        EXPECT_EQ(-1007, CALL(library, BO_ReadIdInfo)(nullptr, 0, text, size, nullptr, 0, nullptr,
                                                      nullptr, 1));
        EXPECT_EQ(-1007, CALL(library, BO_ReadIdInfo_Pic)(nullptr, 0, text, size, 1));
        EXPECT_EQ(-1007, CALL(library, BO_ReadIdInfo_Pic_FB)(nullptr, nullptr, nullptr, nullptr,
                                                             text, size, nullptr, nullptr, 1));
        EXPECT_EQ(-1007, CALL(library, BO_ReadIdInfo_Pic_YC)(nullptr, nullptr, nullptr, nullptr, 8,
                                                             text, size, 1));
    }
}

TEST(IdentityRead, ACancelLeavesTheReaderInItsNormalMode)
{
    IdentityReader reader;
    reader.Switch().Reset().Find("000080").Back().PlugAndOpen();
    std::atomic<bool> done{false};
    std::thread canceller(
        [&]
        {
            while (!done) // one that comes before the wait begins counts for nothing
            {
                CALL(reader.library, BO_CancelWait)();
                std::this_thread::yield();
            }
        });
    EXPECT_EQ(-1006, Make(Call::kPlain, reader.library, {nullptr, 0}).result);
    done = true;
    canceller.join();
    reader.Finish();
    EXPECT_EQ("Error:Canceled!\r\nError:iErrorCode = -1006\r\n", reader.BusinessLog());
    EXPECT_EQ(9600u, BaudOf(reader.library));
}

TEST(IdentityRead, RawDataAreReadAndNotHandedBack)
{
    IdentityReader reader;
    reader.WholeRead(ResidentCard()).PlugAndOpen();
    unsigned char bytes[8] = "as it w";
    EXPECT_EQ(0,
              CALL(reader.library, BO_GetIdRawData)(bytes, bytes, bytes, bytes, bytes, bytes, 5));
    EXPECT_STREQ("as it w", reinterpret_cast<char *>(bytes));
}

TEST(IdentityRead, RawDataFailAsTheOthersDo)
{
    const auto read = [](IdentityReader *reader)
    {
        reader->PlugAndOpen();
        return CALL(reader->library, BO_GetIdRawData)(nullptr, nullptr, nullptr, nullptr, nullptr,
                                                      nullptr, 5);
    };
    IdentityReader reset;
    reset.Switch().Reset("000011").Back();
    EXPECT_EQ(-3000, read(&reset));
    IdentityReader select;
    select.Switch().Reset().Find().Select("000082").Back();
    EXPECT_EQ(-3002, read(&select));
    IdentityReader card;
    card.Switch().Reset().Find().Select().ReadFp(FromHex("000041")).Read(FromHex("000041")).Back();
    EXPECT_EQ(-3001, read(&card));
}

TEST(IdentityModule, IsReset)
{
    IdentityReader reader;
    reader.Switch().Reset().Back().Switch().Reset("000080").Back().PlugAndOpen();
    EXPECT_EQ(0, CALL(reader.library, BO_IdReset)());
    EXPECT_EQ(-3000, CALL(reader.library, BO_IdReset)());
    reader.Finish();
    EXPECT_EQ("Error:ID_ResetCard Error!\r\nError:iErrorCode = -3000\r\n", reader.BusinessLog());
}

TEST(IdentityModule, TakesARate)
{
    IdentityReader reader;
    reader.Switch().Exchange("6000", FromHex("000090")).Back();
    reader.Switch().Exchange("6004", FromHex("000091")).Back().Switch().Back().PlugAndOpen();
    EXPECT_EQ(0, CALL(reader.library, BO_SetIdBaud)(115200));
    EXPECT_EQ(-3004, CALL(reader.library, BO_SetIdBaud)(9600));
    EXPECT_EQ(-1007, CALL(reader.library, BO_SetIdBaud)(1200)) << "switched there and back";
}

TEST(IdentitySwitch, TheLineFollowsToItsConfiguredSpeedAndBack)
{
    IdentityReader reader(
        Config("IdBaud", "38400", Config("DevBaud", "19200", Config("loglevel", "2"))));
    reader.Sequence(ESC "$S4").Reset().Back().Plug();
    ASSERT_EQ(0, CALL(reader.library, BO_Open)(3, 19200, 0));
    EXPECT_EQ(0, CALL(reader.library, BO_IdReset)());
    EXPECT_EQ(19200u, BaudOf(reader.library));
    EXPECT_EQ(1u, VARIABLE(reader.library, context).isOpen);
    EXPECT_EQ(1u, VARIABLE(reader.library, context).refCnt);
    reader.Finish();
    const std::string log = reader.Log();
    const size_t there = log.find("Info:iBaud = 38400, iDevBaud = 19200\r\n");
    const size_t back = log.find("Info:iBaud = 19200, iDevBaud = 38400\r\n");
    ASSERT_NE(std::string::npos, there);
    ASSERT_NE(std::string::npos, back);
    EXPECT_LT(log.find("Send Cmd: " ESC "$S4"), there) << "the mode first, then the line";
    EXPECT_LT(log.find("Send Cmd: " ESC "$B0"), back);
    EXPECT_LT(there, log.find("Send Cmd: " ESC "$B0"));
}

TEST(IdentitySwitch, WithoutASettingTheSpeedIs9600)
{
    IdentityReader reader("[devcfg]\nDevBaud=19200\n[log]\nloglevel=2\n");
    reader.Switch().Reset().Back().Plug();
    ASSERT_EQ(0, CALL(reader.library, BO_Open)(3, 19200, 0));
    EXPECT_EQ(0, CALL(reader.library, BO_IdReset)());
    EXPECT_NE(std::string::npos, reader.Log().find("Info:iBaud = 9600, iDevBaud = 19200\r\n"));
    EXPECT_EQ(19200u, BaudOf(reader.library));
}

TEST(IdentitySwitch, EveryEndOfAReadPutsTheSpeedBack)
{
    const std::string config = Config("DevBaud", "19200");
    for (Call call : kCalls)
    {
        IdentityReader reader(config);
        reader.WholeRead(ResidentCard());
        reader.Switch().Reset("000011").Back();
        reader.Switch().Reset().Find().Select("000081").Back().Plug();
        ASSERT_EQ(0, CALL(reader.library, BO_Open)(3, 19200, 0));
        EXPECT_EQ(0, Make(call, reader.library).result);
        EXPECT_EQ(19200u, BaudOf(reader.library));
        EXPECT_EQ(-3000, Make(call, reader.library).result);
        EXPECT_EQ(19200u, BaudOf(reader.library));
        EXPECT_EQ(-3001, Make(call, reader.library).result);
        // One call alone leaves the line at 9600 after a failed selection.
        EXPECT_EQ(call == Call::kFb ? 9600u : 19200u, BaudOf(reader.library));
    }
}

TEST(IdentitySwitch, TheModeIsSwitchedAsIdChangeSays)
{
    for (const char *value : {"2", "0"})
    {
        IdentityReader reader(Config("IdChange", value));
        reader.Reset().PlugAndOpen();
        EXPECT_EQ(0, CALL(reader.library, BO_IdReset)());
    }
}
