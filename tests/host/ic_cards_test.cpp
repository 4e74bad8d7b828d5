// Power on with its wait, power off, APDUs as text, card detection.
#include <chrono>
#include <cstring>
#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>
#include <vector>

#include "host/scripted_reader.h"
#include "vreader/virtual_reader.h"

using testing_support::Config;
using testing_support::HostLibrary;
using testing_support::ScriptedReader;
using testing_support::ShippedConfig;

namespace
{

struct Powered
{
    int result;
    std::string atr;
    int32_t atrLength;
    int32_t cardType;
    double seconds;
};

Powered PowerOn(const HostLibrary &library, int mode, int timeoutSeconds, int atrSize = 512)
{
    char atr[600];
    memset(atr, '#', sizeof atr);
    Powered powered{0, "", -7, -7, 0};
    const auto start = std::chrono::steady_clock::now();
    powered.result = CALL(library, BO_IcPowerOn)(mode, atrSize, atr, &powered.atrLength,
                                                 &powered.cardType, timeoutSeconds);
    powered.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    powered.atr = std::string(atr, strcspn(atr, "#"));
    return powered;
}

struct Response
{
    int result;
    std::string text;
    int32_t length;
};

Response Apdu(const HostLibrary &library, int mode, const std::string &apdu, int length)
{
    std::vector<char> text(2049, '#');
    Response response{0, "", -7};
    response.result =
        CALL(library, BO_IcAPDU)(mode, apdu.c_str(), length, 0, text.data(), &response.length);
    EXPECT_EQ('#', text[2048]);
    response.text = std::string(text.data(), strcspn(text.data(), "#"));
    return response;
}

Response Apdu(const HostLibrary &library, int mode, const std::string &apdu)
{
    return Apdu(library, mode, apdu, static_cast<int>(apdu.size()));
}

} // namespace

TEST(PowerOn, AContactCardGivesItsAtrAndType0)
{
    ScriptedReader reader;
    reader.script.PowerOn("3B6D000000960755DD8648410100000001");
    reader.PlugAndOpen();
    const Powered powered = PowerOn(reader.library, 0, 1);
    EXPECT_EQ(0, powered.result);
    EXPECT_EQ("3B6D000000960755DD8648410100000001", powered.atr);
    EXPECT_EQ(34, powered.atrLength);
    EXPECT_EQ(0, powered.cardType);
    EXPECT_EQ(0, VARIABLE(reader.library, g_IcType));
}

TEST(PowerOn, AContactlessCardGivesType1)
{
    for (const char *framing : {"0", "1"})
    {
        ScriptedReader reader(Config("Iccmd", framing));
        reader.script.contactless = true;
        reader.script.PowerOn("3B8180018080");
        reader.PlugAndOpen();
        const Powered powered = PowerOn(reader.library, 1, 1);
        EXPECT_EQ(0, powered.result);
        EXPECT_EQ("3B8180018080", powered.atr);
        EXPECT_EQ(1, powered.cardType);
        EXPECT_EQ(1, VARIABLE(reader.library, g_IcType));
    }
}

TEST(PowerOn, AutomaticTriesContactFirstAndThenContactless)
{
    for (int mode : {2, -1})
    {
        ScriptedReader reader;
        reader.script.PowerOnFails("A2");
        reader.script.contactless = true;
        reader.script.PowerOn("3B00");
        reader.script.contactless = false;
        reader.script.PowerOn("3B11");
        reader.PlugAndOpen();
        EXPECT_EQ(1, PowerOn(reader.library, mode, 1).cardType);
        const Powered contact = PowerOn(reader.library, mode, 1);
        EXPECT_EQ(0, contact.cardType);
        EXPECT_EQ("3B11", contact.atr);
        EXPECT_EQ(0, VARIABLE(reader.library, g_IcType));
    }
}

TEST(PowerOn, ARealFailureOfTheContactSlotDoesNotEndTheAutomaticAttempt)
{
    ScriptedReader reader;
    reader.script.PowerOnFails("551122"); // an undocumented status
    reader.script.contactless = true;
    reader.script.PowerOn("3B00");
    reader.PlugAndOpen();
    EXPECT_EQ(0, PowerOn(reader.library, 2, 1).result);
}

TEST(PowerOn, ANegativeTimeoutIsRefusedWithoutSending)
{
    ScriptedReader reader;
    reader.PlugAndOpen();
    EXPECT_EQ(-1007, PowerOn(reader.library, 0, -1).result);
    reader.Finish();
    EXPECT_EQ("Error:Timeout Error!\r\n", reader.BusinessLog());
}

TEST(PowerOn, WaitsUntilACardComes)
{
    ScriptedReader reader;
    reader.script.PowerOnFails("FB").PowerOn("3B00"); // -4005, then a card
    reader.PlugAndOpen();
    const Powered powered = PowerOn(reader.library, 0, 10);
    EXPECT_EQ(0, powered.result);
    EXPECT_GE(powered.seconds, 0.9);
}

TEST(PowerOn, AnotherFailureEndsTheWaitAtOnce)
{
    ScriptedReader reader;
    reader.script.PowerOnFails("551122");
    reader.PlugAndOpen();
    const Powered powered = PowerOn(reader.library, 0, 30);
    EXPECT_EQ(3, powered.result) << "the reader's reply length, as it stands";
    EXPECT_EQ("Error:iErrorCode = 3\r\n", reader.BusinessLog());
}

TEST(PowerOn, AFailureOfAWaitWithoutLimitBecomes4001)
{
    ScriptedReader reader;
    reader.script.PowerOnFails("551122");
    reader.PlugAndOpen();
    EXPECT_EQ(-4001, PowerOn(reader.library, 0, 0).result);
    EXPECT_EQ("Error:Timeout!\r\nError:iErrorCode = -4001\r\n", reader.BusinessLog());
}

TEST(PowerOn, WithoutADeviceOrAFramingItFailsAtOnce)
{
    HostLibrary closed;
    EXPECT_EQ(-1003, PowerOn(closed, 0, 30).result);
    ScriptedReader reader(Config("Iccmd", "2"));
    reader.PlugAndOpen();
    EXPECT_EQ(-1008, PowerOn(reader.library, 0, 30).result);
    EXPECT_EQ(-4001, PowerOn(reader.library, 0, 0).result);
}

TEST(PowerOn, TheAtrIsCutToTheRoomForIt)
{
    ScriptedReader reader;
    for (int i = 0; i < 4; i++)
        reader.script.PowerOn("3B112233");
    reader.PlugAndOpen();
    EXPECT_EQ("3B11", PowerOn(reader.library, 0, 1, 5).atr);
    EXPECT_EQ("3B112233", PowerOn(reader.library, 0, 1, 8).atr);
    const Powered none = PowerOn(reader.library, 0, 1, 0);
    EXPECT_EQ(0, none.result);
    EXPECT_EQ("", none.atr);
    EXPECT_EQ(-22, none.atrLength);
    EXPECT_EQ(-22, PowerOn(reader.library, 0, 1, -1).atrLength);
}

TEST(PowerOn, NeedsItsOutputs)
{
    ScriptedReader reader;
    reader.script.PowerOn("3B00");
    reader.PlugAndOpen();
    char atr[8];
    int32_t length = 0;
    int32_t type = 0;
    EXPECT_EQ(-1007, CALL(reader.library, BO_IcPowerOn)(0, 8, atr, nullptr, &type, 1));
    EXPECT_EQ(-1007, CALL(reader.library, BO_IcPowerOn)(0, 8, atr, &length, nullptr, 1));
    EXPECT_EQ(0, CALL(reader.library, BO_IcPowerOn)(0, 8, nullptr, &length, &type, 1));
    EXPECT_EQ(-22, length);
}

namespace
{

// A virtual reader without cards on serial port 3.
struct EmptyReader
{
    HostLibrary library;
    vreader::RunningReader *reader;

    explicit EmptyReader(const std::string &configIni = ShippedConfig()) : library(configIni)
    {
        std::string error;
        reader = vreader::StartReader({}, &error);
        if (reader == nullptr)
            throw std::runtime_error(error);
        EXPECT_EQ("ok", vreader::Control(reader, "remove contact"));
        vreader::Control(reader, "remove contactless"); // the profile may have none
        CPP_CALL(library, GSetComName, "_Z11GSetComNameiPKc")
        (3, vreader::TerminalName(reader).c_str());
        EXPECT_EQ(0, CALL(library, BO_Open)(3, 9600, 0));
    }
    ~EmptyReader()
    {
        CALL(library, BO_Close)();
        vreader::StopReader(reader);
    }

    // Waits without limit for a card, until `end` is called from this thread.
    template <typename End>
    Powered WaitAndEnd(End end)
    {
        VARIABLE(library, g_IsCancelWait) = 1; // a cancel from before counts for nothing
        Powered powered{};
        std::thread waiting([&] { powered = PowerOn(library, 0, 0); });
        EXPECT_EQ("ok", vreader::Control(reader, "wait 2"));
        end();
        waiting.join();
        return powered;
    }
};

} // namespace

TEST(PowerOnWait, ATimedOneEndsWithTheLastResultOfTheCard)
{
    EmptyReader empty(Config("Iccmd", "1"));
    const Powered powered = PowerOn(empty.library, 1, 3);
    EXPECT_EQ(-4005, powered.result);
    EXPECT_GE(powered.seconds, 2.0) << "three seconds by a clock of whole seconds";
    EXPECT_EQ(0, powered.atrLength);
    EXPECT_EQ(-7, powered.cardType) << "written on success only";
    EXPECT_EQ("Error:iErrorCode = -4005\r\n", testing_support::LogMessages(empty.library.Log()));
}

TEST(PowerOnWait, EndsWhenACardIsInserted)
{
    EmptyReader empty;
    const Powered powered = empty.WaitAndEnd(
        [&]
        {
            EXPECT_EQ("ok", vreader::Control(empty.reader,
                                             "insert contact {\"kind\": \"transcript\", \"atr\": "
                                             "\"3B6D000000960755\", \"exchanges\": []}"));
        });
    EXPECT_EQ(0, powered.result);
    EXPECT_EQ("3B6D000000960755", powered.atr);
}

TEST(PowerOnWait, IsEndedByCancelWait)
{
    EmptyReader empty;
    const Powered powered = empty.WaitAndEnd([&] { CALL(empty.library, BO_CancelWait)(); });
    EXPECT_EQ(-1006, powered.result);
    EXPECT_EQ(-7, powered.atrLength);
    EXPECT_EQ("Error:Cancel!\r\nError:iErrorCode = -1006\r\n",
              testing_support::LogMessages(empty.library.Log()));
}

TEST(PowerOnWait, IsEndedByReset)
{
    EmptyReader empty;
    EXPECT_EQ(-1006, empty.WaitAndEnd([&] { CALL(empty.library, BO_Reset)(); }).result);
}

TEST(PowerOnWait, IsEndedByDisConnectAndClose)
{
    EmptyReader first;
    EXPECT_EQ(-1006, first.WaitAndEnd([&] { CALL(first.library, BO_DisConnect)(); }).result);
    EmptyReader second;
    EXPECT_EQ(-1006, second.WaitAndEnd([&] { CALL(second.library, BO_Close)(); }).result);
}

TEST(PowerOff, GoesToTheKindThatIsNamed)
{
    ScriptedReader reader;
    reader.script.PowerOff();
    reader.script.contactless = true;
    reader.script.PowerOff();
    reader.PlugAndOpen();
    EXPECT_EQ(0, CALL(reader.library, BO_IcPowerOff)(0));
    EXPECT_EQ(0, CALL(reader.library, BO_IcPowerOff)(1));
}

TEST(PowerOff, AutomaticAfterAContactCardFallsBackToContactless)
{
    ScriptedReader reader;
    reader.script.PowerOff().PowerOffFails("A2");
    reader.script.contactless = true;
    reader.script.PowerOff();
    reader.PlugAndOpen();
    EXPECT_EQ(0, CALL(reader.library, BO_IcPowerOff)(2));
    EXPECT_EQ(0, CALL(reader.library, BO_IcPowerOff)(2));
}

TEST(PowerOff, AutomaticAfterAContactlessCardIsContactlessAlone)
{
    ScriptedReader reader;
    reader.script.contactless = true;
    reader.script.PowerOffFails("A2");
    reader.PlugAndOpen();
    VARIABLE(reader.library, g_IcType) = 1;
    EXPECT_EQ(-4002, CALL(reader.library, BO_IcPowerOff)(2));
    EXPECT_EQ("Error:IcPowerOff Error!\r\nError:iErrorCode = -4002\r\n", reader.BusinessLog());
    EXPECT_EQ(1, VARIABLE(reader.library, g_IcType)) << "power-off does not reset the kind";
}

TEST(Apdu, GivesTheResponseAsText)
{
    ScriptedReader reader;
    reader.script.Apdu("00A4040000", "6F028400 9000");
    reader.PlugAndOpen();
    const Response response = Apdu(reader.library, 0, "00A4040000");
    EXPECT_EQ(0, response.result);
    EXPECT_EQ("6F0284009000", response.text);
    EXPECT_EQ(12, response.length);
}

TEST(Apdu, DoesNotFollowStatusBytes)
{
    ScriptedReader reader;
    reader.script.Apdu("00A4040000", "611C");
    reader.PlugAndOpen();
    EXPECT_EQ("611C", Apdu(reader.library, 0, "00A4040000").text);
}

TEST(Apdu, UsesTheCharactersThatAreCounted)
{
    ScriptedReader reader;
    reader.script.Apdu("00A40400", "6700");
    reader.PlugAndOpen();
    EXPECT_EQ("6700", Apdu(reader.library, 0, "00A4040000", 8).text);
}

TEST(Apdu, BadTextsAreRefusedWithoutSending)
{
    ScriptedReader reader;
    reader.PlugAndOpen();
    struct Row
    {
        std::string text;
        int length;
    };
    const Row rows[] = {
        {"00a4040000", 10},   // lower case
        {"00A404000", 9},     // odd
        {"00A4040000ZZ", 10}, // the whole text is examined
        {"00A4040000", 12},   // longer than the text
        {"", 0},
        {"", 2},
        {"00A4", 0},
        {"00A4", -2},
        {std::string(1025, '0'), 1025},
        {std::string(1026, '0'), 1026},
    };
    for (const Row &row : rows)
    {
        const Response response = Apdu(reader.library, 0, row.text, row.length);
        EXPECT_EQ(-1007, response.result) << row.text << " " << row.length;
        EXPECT_EQ(-7, response.length);
    }
    int32_t length = 0;
    char text[8];
    EXPECT_EQ(-1007, CALL(reader.library, BO_IcAPDU)(0, nullptr, 8, 0, text, &length));
    EXPECT_EQ(-1007, CALL(reader.library, BO_IcAPDU)(0, "00A4", 4, 0, nullptr, &length));
    EXPECT_EQ(-1007, CALL(reader.library, BO_IcAPDU)(0, "00A4", 4, 0, text, nullptr));
    reader.Finish();
    std::string expected;
    for (int i = 0; i < 11; i++)
        expected += "Error:ApduData Error!\r\n";
    EXPECT_EQ(expected, reader.BusinessLog());
}

TEST(Apdu, TheLongestHas512Bytes)
{
    ScriptedReader reader(Config("Iccmd", "1"));
    const std::string longest(1024, '4');
    reader.script.Apdu(longest, "9000");
    reader.PlugAndOpen();
    EXPECT_EQ("9000", Apdu(reader.library, 0, longest).text);
}

TEST(Apdu, ALongResponseFitsThePromisedRoom)
{
    ScriptedReader reader(Config("Iccmd", "1"));
    std::string response;
    for (int i = 0; i < 1000; i++)
        response += "5A";
    reader.script.Apdu("00B0000000", response + "9000");
    reader.PlugAndOpen();
    const Response given = Apdu(reader.library, 0, "00B0000000");
    EXPECT_EQ(2004, given.length);
    EXPECT_EQ(response + "9000", given.text);
}

TEST(Apdu, AFailureWithoutAResponseStoresMinus22)
{
    ScriptedReader reader;
    reader.script.ApduFails("00A4040000", "A2").ApduFails("00A4040000", "FB");
    reader.script.rows.push_back({testing_support::KrelFrame("E30100A4040000"), ""});
    reader.PlugAndOpen();
    const Response response = Apdu(reader.library, 0, "00A4040000");
    EXPECT_EQ(-4006, response.result);
    EXPECT_EQ(-22, response.length);
    EXPECT_EQ("", response.text);
    EXPECT_EQ(-4005, Apdu(reader.library, 0, "00A4040000").result);
    EXPECT_EQ("Error:IcApdu Error!\r\nError:iErrorCode = -4006\r\n"
              "Error:IcApdu Error!\r\nError:iErrorCode = -4005\r\n",
              reader.BusinessLog());
    EXPECT_EQ(-1013, Apdu(reader.library, 0, "00A4040000").result) << "a silent reader";
}

TEST(Apdu, TheModeChoosesTheInterface)
{
    ScriptedReader reader;
    reader.script.contactless = true;
    reader.script.Apdu("0084000008", "9000");
    reader.PlugAndOpen();
    EXPECT_EQ(0, Apdu(reader.library, 1, "0084000008").result);
}

TEST(Apdu, AutomaticTakesTheKindLastPoweredAndThenTheOther)
{
    ScriptedReader reader;
    reader.script.ApduFails("0084000008", "A2");
    reader.script.contactless = true;
    reader.script.Apdu("0084000008", "9001").ApduFails("0084000008", "A2");
    reader.script.contactless = false;
    reader.script.Apdu("0084000008", "9002");
    reader.PlugAndOpen();
    EXPECT_EQ("9001", Apdu(reader.library, 2, "0084000008").text) << "contact first";
    VARIABLE(reader.library, g_IcType) = 1;
    EXPECT_EQ("9002", Apdu(reader.library, 2, "0084000008").text) << "contactless first";
}

TEST(Apdu, ANamedInterfaceHasNoSecondTry)
{
    ScriptedReader reader;
    reader.script.ApduFails("0084000008", "A2");
    reader.script.contactless = true;
    reader.script.ApduFails("0084000008", "A2");
    reader.PlugAndOpen();
    EXPECT_EQ(-4006, Apdu(reader.library, 0, "0084000008").result);
    EXPECT_EQ(-4006, Apdu(reader.library, 1, "0084000008").result);
}

TEST(CardDetect, GivesThePresenceAsTheReaderTellsIt)
{
    ScriptedReader reader(Config("Iccmd", "1"));
    reader.script.Exchange("3221FF", "00001112")
        .Exchange("3221FF", "00001200")
        .Exchange("3221FF", "00000012")
        .Exchange("3221FF", "00000000");
    reader.PlugAndOpen();
    for (int expected : {1, 2, 3, 0})
    {
        int32_t result = -7;
        EXPECT_EQ(0, CALL(reader.library, BO_CardDetect)(&result));
        EXPECT_EQ(expected, result);
    }
}

TEST(CardDetect, GivesItsCodesUnmapped)
{
    ScriptedReader krel;
    krel.PlugAndOpen();
    int32_t result = -7;
    EXPECT_EQ(-1008, CALL(krel.library, BO_CardDetect)(&result));
    EXPECT_EQ(-7, result);
    krel.Finish();
    EXPECT_EQ("Error:IC_CardDetect Error!\r\n", krel.BusinessLog());
    EXPECT_EQ(-22, CALL(krel.library, BO_CardDetect)(nullptr));

    HostLibrary closed(Config("Iccmd", "1"));
    EXPECT_EQ(-19, CALL(closed, BO_CardDetect)(&result));
}
