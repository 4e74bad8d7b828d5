// The terminal-standard call for identity cards.
#include <atomic>
#include <filesystem>
#include <gtest/gtest.h>
#include <thread>

#include "host/identity_reader.h"
#include "standins/photo/photo_room.h"

using testing_support::Config;
using testing_support::FromHex;
using testing_support::HostLibrary;
using testing_support::IdentityReader;
using testing_support::PhotoRoom;

namespace
{

std::string Debug()
{
    return Config("loglevel", "2");
}

// The arguments of the identity call.
struct IdentityCall
{
    std::string port = "nowhere";
    const char *extendPort = nullptr;
    int baudRate = 9600;
    int timeout = 5;
    const char *photos[4] = {};
    std::vector<char> info = std::vector<char>(4096, '#');

    int Make(const HostLibrary &library)
    {
        return CALL(library, ID_GetInfo)(port.c_str(), extendPort, baudRate, timeout, photos[0],
                                         photos[1], photos[2], photos[3], info.data());
    }
    int MakeOn(IdentityReader *reader)
    {
        reader->Plug();
        port = reader->line->path.substr(strlen("/dev/"));
        const int result = Make(reader->library);
        reader->Finish();
        EXPECT_EQ(0u, VARIABLE(reader->library, context).isOpen);
        return result;
    }
    std::string Entry() const
    {
        return "Info:Enter ID_GetInfo \r\nInfo:pszPort = " + port +
               ", nBaudRate = " + std::to_string(baudRate) +
               ", nTimeout = " + std::to_string(timeout) + "\r\n";
    }
};

const std::string kForeignText = "SMITH, JOHN|\xC5\xAE|\xBC\xD3\xC4\xC3\xB4\xF3/CAN|19810101||"
                                 "CAN110081010110|1100|20150101|20250101|2|||"
                                 "\xCA\xB7\xC3\xDC\xCB\xB9";

} // namespace

// At 19200 the reader is switched to the configured 9600 and back; the extension lies around it.
TEST(TerminalIdentity, RateAndExtensionAreThoseOfTheOpen)
{
    const testing_support::GoldenExchange select = {ESC "%1", ""};
    const testing_support::GoldenExchange there = {"6002BB00D9" ETX, "60010061" ETX};
    const testing_support::GoldenExchange back = {"6002BB01D8" ETX, "60010061" ETX};
    const testing_support::GoldenExchange deselect = {ESC "%A", ""};
    IdentityReader reader;
    reader.script.rows = {select, there};
    reader.WholeRead(testing_support::ForeignCard());
    reader.script.rows.push_back(back);
    reader.script.rows.push_back(deselect);
    IdentityCall identity;
    identity.baudRate = 19200;
    identity.extendPort = "1";
    EXPECT_EQ(0, identity.MakeOn(&reader));
}

TEST(TerminalIdentity, ReadsACardAndLogsEveryStep)
{
    PhotoRoom room;
    room.Decoder();
    IdentityReader reader(Debug());
    reader.WholeRead(testing_support::ForeignCard());
    IdentityCall call;
    call.photos[0] = "head.bmp";
    call.photos[1] = "face.bmp";
    call.photos[2] = "back.bmp";
    call.photos[3] = "card.bmp";
    EXPECT_EQ(0, call.MakeOn(&reader));
    EXPECT_EQ(kForeignText, call.info.data());
    EXPECT_EQ('#', call.info[kForeignText.size() + 1]);
    EXPECT_EQ(38862u, std::filesystem::file_size("head.bmp"));
    for (const char *path : {"face.bmp", "back.bmp", "card.bmp"})
        EXPECT_FALSE(std::filesystem::exists(path)) << path;
    EXPECT_EQ(call.Entry() +
                  "Info:szPhotoHead = head.bmp\r\nInfo:szPhotoFace = face.bmp\r\n"
                  "Info:szPhotoBack = back.bmp\r\nInfo:szPhotoCard = card.bmp\r\n"
                  "Info:BO_ReadIdInfo_Pic_YC szIdInfo = " +
                  kForeignText +
                  "\r\nInfo:Exit ID_GetInfo, ret = 0, szIdentityInfo = " + kForeignText + "\r\n",
              reader.BusinessLog());
}

TEST(TerminalIdentity, EachPhotoPathMayBeMissing)
{
    const char *const names[] = {"szPhotoHead", "szPhotoFace", "szPhotoBack", "szPhotoCard"};
    for (int i = 0; i < 4; i++)
    {
        HostLibrary library(Debug());
        IdentityCall call;
        call.photos[i] = "x.bmp";
        EXPECT_EQ(-3, call.Make(library));
        const std::string log = testing_support::LogMessages(library.Log());
        for (int k = 0; k < 4; k++)
            EXPECT_EQ(i == k, log.find(std::string(names[k]) + " = x.bmp\r\n") != std::string::npos)
                << i << k;
        EXPECT_EQ(log.find("szPhoto"), log.rfind("szPhoto"));
    }
}

TEST(TerminalIdentity, WithoutARateTheLineIsOpenedAt9600)
{
    IdentityReader reader(Debug());
    reader.WholeRead(testing_support::ForeignCard());
    IdentityCall call;
    call.baudRate = 0;
    EXPECT_EQ(0, call.MakeOn(&reader)) << "and the reader is told no other rate";
    EXPECT_EQ(kForeignText, call.info.data());
    EXPECT_EQ(9600, VARIABLE(reader.library, g_DevBaud));
    const std::string log = reader.BusinessLog();
    EXPECT_EQ(call.Entry(), log.substr(0, call.Entry().size())) << "logged as it came";
}

TEST(TerminalIdentity, TheReaderItselfIsSwitchedFromNowOn)
{
    IdentityReader reader(Config("IdChange", "2"));
    reader.WholeRead(testing_support::ForeignCard());
    IdentityCall call;
    EXPECT_EQ(0, call.MakeOn(&reader));
    EXPECT_NE(std::string::npos, reader.library.Config().find("\nIdChange=1\n"));

    HostLibrary closed(Config("IdChange", "0"));
    IdentityCall failing;
    failing.timeout = -1;
    EXPECT_EQ(-1, failing.Make(closed));
    EXPECT_NE(std::string::npos, closed.Config().find("\nIdChange=0\n"));
    failing.timeout = 1;
    EXPECT_EQ(-3, failing.Make(closed)) << "set before the open";
    EXPECT_NE(std::string::npos, closed.Config().find("\nIdChange=1\n"));
    EXPECT_EQ('#', failing.info[0]);
}

TEST(TerminalIdentity, AFailureIsTranslatedAndItsTextIsEmpty)
{
    IdentityReader reader(Debug());
    reader.Switch().Reset().Find().Select("000081").Back();
    IdentityCall call;
    EXPECT_EQ(-2, call.MakeOn(&reader));
    EXPECT_EQ('\0', call.info[0]);
    EXPECT_EQ('#', call.info[1]);
    EXPECT_EQ(call.Entry() + "Error:ID_SelectCard Error!\r\nError:iErrorCode = -3001\r\n"
                             "Info:Exit ID_GetInfo, ret = -3001, szIdentityInfo = \r\n",
              reader.BusinessLog());

    IdentityReader module;
    module.Switch().Reset("000011").Back();
    EXPECT_EQ(-11, IdentityCall().MakeOn(&module));
}

// A search that fails is the end only where there is no time limit.
TEST(TerminalIdentity, TheTimeLimitIsThatOfTheRead)
{
    const testing_support::GoldenExchange unanswered = {
        testing_support::IdentityFrame(FromHex("2001")), ""};
    IdentityReader unlimited(Debug());
    unlimited.Switch().Reset().script.rows.push_back(unanswered);
    unlimited.Back();
    IdentityCall call;
    call.timeout = 0;
    EXPECT_EQ(-2, call.MakeOn(&unlimited));
    EXPECT_NE(std::string::npos, unlimited.BusinessLog().find("Error:Timeout!\r\n"));

    IdentityReader limited;
    limited.Switch().Reset().script.rows.push_back(unanswered);
    limited.Select("000082").Back();
    EXPECT_EQ(-11, IdentityCall().MakeOn(&limited));
}

TEST(TerminalIdentity, ACancelEndsTheWait)
{
    IdentityReader reader;
    reader.Switch().Reset().Find("000080").Back();
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
    IdentityCall call;
    call.timeout = 0;
    EXPECT_EQ(-23, call.MakeOn(&reader));
    done = true;
    canceller.join();
}

TEST(TerminalIdentity, ThePhotosFailureIsTheResultAndTheTextIsThere)
{
    PhotoRoom room;
    IdentityReader reader;
    reader.WholeRead(testing_support::ForeignCard());
    IdentityCall call;
    call.photos[0] = "head.bmp";
    EXPECT_EQ(-11, call.MakeOn(&reader)) << "no ./libwlt.so";
    EXPECT_EQ(kForeignText, call.info.data());

    room.Decoder();
    IdentityReader converter;
    converter.WholeRead(testing_support::ForeignCard());
    call.photos[0] = "head.jpg";
    EXPECT_EQ(-12, call.MakeOn(&converter)) << "no ./libPicConvert.so";
    EXPECT_EQ(kForeignText, call.info.data());
}

TEST(TerminalIdentity, APhotoPathOf261CharactersIsRefused)
{
    IdentityReader reader;
    IdentityCall call;
    const std::string path(261, 'p');
    call.photos[0] = path.c_str();
    EXPECT_EQ(-1, call.MakeOn(&reader));
    EXPECT_EQ('\0', call.info[0]) << "the reader had been opened";
}
