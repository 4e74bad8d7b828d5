// The connection calls: open, test, close, baud, mode, reset, serial number, beep.
#include <cstring>
#include <gtest/gtest.h>

#include "host/scripted_reader.h"

using testing_support::Config;
using testing_support::HostLibrary;
using testing_support::ScriptedReader;
using testing_support::ShippedConfig;

namespace
{

struct Info
{
    unsigned char bytes[256];
    uint32_t length = 77;
    Info()
    {
        memset(bytes, 0xEE, sizeof bytes);
    }
    std::string Text() const
    {
        return {reinterpret_cast<const char *>(bytes), length};
    }
};

const char kAskInfo[] = "8100";
const char kInfo[] = "00564D2D31"; // success, "VM-1"

std::string Hex(const std::string &text)
{
    return testing_support::ToHex(text);
}

} // namespace

TEST(InitConnect, OpensReadsTheInformationAndCloses)
{
    ScriptedReader reader;
    reader.script.Exchange(kAskInfo, kInfo);
    reader.Plug();
    Info info;
    EXPECT_EQ(0, CALL(reader.library, BO_InitConnect)(3, 9600, 0, 0, 0, info.bytes, &info.length));
    EXPECT_EQ("VM-1", info.Text());
    EXPECT_EQ(0xEE, info.bytes[4]);
    EXPECT_EQ(0u, VARIABLE(reader.library, context).isOpen);
    EXPECT_EQ(0u, VARIABLE(reader.library, context).refCnt);
}

TEST(InitConnect, SkipsTheInformationWhenTold)
{
    ScriptedReader reader;
    reader.Plug();
    EXPECT_EQ(0, CALL(reader.library, BO_InitConnect)(3, 9600, 0, 1, 0, nullptr, nullptr));
    EXPECT_EQ(0u, VARIABLE(reader.library, context).isOpen);
}

TEST(InitConnect, SelectsAndDeselectsThePassThroughPort)
{
    ScriptedReader reader;
    reader.script.rows.push_back({ESC "%1", ""});
    reader.script.rows.push_back({ESC "%A", ""});
    reader.Plug();
    EXPECT_EQ(0, CALL(reader.library, BO_InitConnect)(3, 9600, '1', 1, 0, nullptr, nullptr));
}

TEST(InitConnect, ASilentReaderGives1001AndIsClosed)
{
    ScriptedReader reader;
    reader.script.rows.push_back({"60028100E3" ETX, ""});
    reader.Plug();
    Info info;
    EXPECT_EQ(-1001,
              CALL(reader.library, BO_InitConnect)(3, 9600, 0, 0, 0, info.bytes, &info.length));
    EXPECT_EQ(0u, VARIABLE(reader.library, context).isOpen);
    EXPECT_EQ("Error:GetDevInfo Error!\r\nError:iErrorCode = -1001\r\n", reader.BusinessLog());
}

TEST(InitConnect, ARefusalGives1001)
{
    ScriptedReader reader;
    reader.script.Exchange(kAskInfo, "A2").Exchange(kAskInfo, "55");
    reader.Plug();
    Info info;
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(-1001,
                  CALL(reader.library, BO_InitConnect)(3, 9600, 0, 0, 0, info.bytes, &info.length));
}

TEST(InitConnect, OnAnOpenDeviceItTestsAndClosesThatOne)
{
    ScriptedReader reader;
    reader.script.Exchange(kAskInfo, kInfo);
    reader.PlugAndOpen();
    Info info;
    // Port and speed are not looked at: the device is open.
    EXPECT_EQ(0, CALL(reader.library, BO_InitConnect)(9, 9600, 0, 0, 0, info.bytes, &info.length));
    EXPECT_EQ("VM-1", info.Text());
    EXPECT_EQ(0u, VARIABLE(reader.library, context).isOpen);
}

TEST(InitConnect, ADeviceThatCannotBeOpenedGivesItsCode)
{
    HostLibrary library;
    CPP_CALL(library, GSetComName, "_Z11GSetComNameiPKc")(3, "/dev/no-such-terminal");
    Info info;
    EXPECT_EQ(-1000, CALL(library, BO_InitConnect)(3, 9600, 0, 0, 0, info.bytes, &info.length));
    EXPECT_EQ(-1007, CALL(library, BO_InitConnect)(256, 9600, 0, 0, 0, info.bytes, &info.length));
    EXPECT_EQ(-1007, CALL(library, BO_InitConnect)(-1, 9600, 0, 0, 0, info.bytes, &info.length));
    EXPECT_EQ(-1007, CALL(library, BO_InitConnect)(3, 230400, 0, 0, 0, info.bytes, &info.length));
    EXPECT_EQ("Error:OpenDevice Error!\r\nError:iErrorCode = -2\r\n"
              "Error:OpenDevice Error!\r\nError:iErrorCode = -22\r\n"
              "Error:OpenDevice Error!\r\nError:iErrorCode = -22\r\n"
              "Error:OpenDevice Error!\r\nError:iErrorCode = -22\r\n",
              testing_support::LogMessages(library.Log()));
}

TEST(InitConnect, NeedsRoomForTheInformation)
{
    HostLibrary library;
    Info info;
    EXPECT_EQ(-1007, CALL(library, BO_InitConnect)(3, 9600, 0, 0, 0, nullptr, &info.length));
    EXPECT_EQ(-1007, CALL(library, BO_InitConnect)(3, 9600, 0, 0, 0, info.bytes, nullptr));
    EXPECT_EQ(-1007, CALL(library, BO_InitConnect_PID)(1, 2, 0, nullptr, &info.length));
    EXPECT_EQ(-1007, CALL(library, BO_GetDevInfo)(0, nullptr, &info.length));
}

// The line speeds as they stand in the configuration of a terminal that was set up for 115200.
TEST(Open, MovesReaderAndLineToTheConfiguredSpeed)
{
    ScriptedReader reader(Config("DevBaud", "115200", Config("loglevel", "2")));
    // At 9600: BB 04. At 115200: BB 00 on the way back.
    reader.script.rows.push_back({"6002BB04DD" ETX, "60010061" ETX});
    reader.script.rows.push_back({"60028100E3" ETX, "6002004F2D" ETX});
    reader.script.rows.push_back({"6002BB00D9" ETX, "60010061" ETX});
    reader.Plug();
    EXPECT_EQ(0, CALL(reader.library, BO_Open)(3, 9600, 0));
    const DEVCONTEXT &device = VARIABLE(reader.library, context);
    EXPECT_EQ(115200u, device.parameters.com.comBaud);
    EXPECT_EQ(3u, device.parameters.com.comPort);
    EXPECT_EQ(1u, device.isOpen);
    EXPECT_EQ(1u, device.refCnt);
    EXPECT_EQ(9600, VARIABLE(reader.library, g_DevBaud));
    Info info;
    EXPECT_EQ(0, CALL(reader.library, BO_GetDevInfo)(0, info.bytes, &info.length));
    EXPECT_EQ("O", info.Text());
    EXPECT_EQ(0, CALL(reader.library, BO_Close)());
    reader.Finish();
    const std::string log = reader.Log();
    EXPECT_NE(std::string::npos, log.find("Info:iBaud = 115200, iDevBaud = 9600\r\n"
                                          "Info:context.refCnt = 1\r\n"));
    EXPECT_EQ(std::string::npos, log.find("Error:"));
}

TEST(Open, MovesDownAsWell)
{
    ScriptedReader reader;
    reader.script.rows.push_back({"6002BB00D9" ETX, "60010061" ETX});
    reader.script.rows.push_back({"6002BB04DD" ETX, "60010061" ETX});
    reader.Plug();
    EXPECT_EQ(0, CALL(reader.library, BO_Open)(3, 115200, 0));
    EXPECT_EQ(9600u, VARIABLE(reader.library, context).parameters.com.comBaud);
    EXPECT_EQ(115200, VARIABLE(reader.library, g_DevBaud));
    EXPECT_EQ(0, CALL(reader.library, BO_Close)());
}

TEST(Open, SendsNothingWhenTheSpeedsAgree)
{
    ScriptedReader reader(Config("loglevel", "2"));
    reader.PlugAndOpen();
    EXPECT_EQ(0, CALL(reader.library, BO_Close)());
    reader.Finish();
    EXPECT_NE(std::string::npos, reader.Log().find("Info:iBaud = 9600, iDevBaud = 9600\r\n"));
    EXPECT_EQ(std::string::npos, reader.Log().find("context.refCnt"));
}

TEST(Open, WithoutAConfiguredSpeedItMovesTo9600)
{
    ScriptedReader reader("[devcfg]\nIccmd=0\n[log]\nloglevel=1\n");
    reader.script.rows.push_back({"6002BB00D9" ETX, "60010061" ETX});
    reader.script.rows.push_back({"6002BB01D8" ETX, "60010061" ETX});
    reader.Plug();
    EXPECT_EQ(0, CALL(reader.library, BO_Open)(3, 19200, 0));
    EXPECT_EQ(9600u, VARIABLE(reader.library, context).parameters.com.comBaud);
    EXPECT_EQ(0, CALL(reader.library, BO_Close)());
}

TEST(Open, AReaderThatRefusesTheSpeedDoesNotStopTheOpen)
{
    ScriptedReader reader(Config("DevBaud", "57600"));
    reader.script.rows.push_back({"6002BB03DA" ETX, "6001A2C3" ETX});
    reader.script.rows.push_back({"6002BB00D9" ETX, "60010061" ETX});
    reader.Plug();
    EXPECT_EQ(0, CALL(reader.library, BO_Open)(3, 9600, 0));
    EXPECT_EQ(57600u, VARIABLE(reader.library, context).parameters.com.comBaud);
    EXPECT_EQ(0, CALL(reader.library, BO_Close)());
    EXPECT_EQ("Error:iErrorCode = -4002\r\n", reader.BusinessLog());
}

TEST(Open, ASecondOpenOnlyRepeatsTheBaudSteps)
{
    ScriptedReader reader(Config("DevBaud", "19200"));
    reader.script.rows.push_back({"6002BB01D8" ETX, "60010061" ETX});
    reader.Plug();
    EXPECT_EQ(0, CALL(reader.library, BO_Open)(3, 9600, 0));
    EXPECT_EQ(0, CALL(reader.library, BO_Open)(3, 9600, '1')) << "no pass-through port is selected";
    EXPECT_EQ(1u, VARIABLE(reader.library, context).refCnt);
    EXPECT_EQ(19200, VARIABLE(reader.library, g_DevBaud));
}

TEST(Open, AFailedOpenGoesOnQuietlyAndCloseIsSafe)
{
    HostLibrary library(Config("DevBaud", "115200"));
    CPP_CALL(library, GSetComName, "_Z11GSetComNameiPKc")(3, "/dev/no-such-terminal");
    EXPECT_EQ(-1000, CALL(library, BO_Open)(3, 9600, 0));
    EXPECT_EQ(115200u, VARIABLE(library, context).parameters.com.comBaud);
    EXPECT_EQ(0, CALL(library, BO_Close)());
    EXPECT_EQ(0, CALL(library, BO_Close)());
    EXPECT_EQ(0u, VARIABLE(library, context).isOpen);
    EXPECT_EQ("", std::string(VARIABLE(library, context).interfaceType));
}

TEST(Open, RefusesPortsAndSpeedsOutOfRange)
{
    HostLibrary library;
    EXPECT_EQ(-1007, CALL(library, BO_Open)(256, 9600, 0));
    EXPECT_EQ(-1007, CALL(library, BO_Open)(-1, 9600, 0));
    EXPECT_EQ(-1007, CALL(library, BO_Open)(1, 115201, 0));
}

TEST(Open, AnyFailureIsLoggedUnderItsName)
{
    HostLibrary library;
    EXPECT_EQ(-1007, CALL(library, BO_Open)(256, 9600, 0));
    EXPECT_EQ("Error:OpenDevice Error!\r\nError:iErrorCode = -22\r\n",
              testing_support::LogMessages(library.Log()));
}

TEST(Usb, AnAbsentReaderCannotBeOpened)
{
    HostLibrary library;
    EXPECT_EQ(-1000, CALL(library, BO_Open_PID)(0x1BC3, 0x7E57));
    EXPECT_EQ(0x1BC3, VARIABLE(library, context).parameters.usb.usbVid[0]);
    EXPECT_EQ(0x7E57, VARIABLE(library, context).parameters.usb.usbPid[0]);
    EXPECT_EQ("Error:OpenDevice Error!\r\nError:iErrorCode = -2\r\n",
              testing_support::LogMessages(library.Log()));
    Info info;
    EXPECT_EQ(-1000,
              CALL(library, BO_InitConnect_PID)(0x1BC3, 0x7E57, 0, info.bytes, &info.length));
}

TEST(Usb, BaudStepsDoNothing)
{
    HostLibrary library(Config("DevBaud", "115200"));
    EXPECT_EQ(-1000, CALL(library, BO_Open)(0, 9600, 0)) << "no reader is plugged in";
    EXPECT_STREQ("hid", VARIABLE(library, context).interfaceType);
    EXPECT_EQ(0x1BC3, VARIABLE(library, context).parameters.usb.usbVid[0]);
    EXPECT_EQ(0x0151, VARIABLE(library, context).parameters.usb.usbPid[0]);
    EXPECT_EQ(9600, VARIABLE(library, g_DevBaud));
    EXPECT_EQ(0, CALL(library, BO_SetDevBaud)(19200));
    int64_t old = 4711;
    EXPECT_EQ(0, CALL(library, BO_ChangeBaud)(19200, &old));
    EXPECT_EQ(4711, old);
    EXPECT_EQ(1, VARIABLE(library, context).parameters.usb.usbCount) << "the ids are untouched";
}

TEST(Close, ClearsTheContextAndAllowsAFreshOpen)
{
    ScriptedReader reader;
    reader.PlugAndOpen();
    VARIABLE(reader.library, context).refCnt = 5; // users that never let go
    EXPECT_EQ(0, CALL(reader.library, BO_Close)());
    const DEVCONTEXT zero{};
    EXPECT_EQ(0, memcmp(&zero, &VARIABLE(reader.library, context), sizeof zero));
    EXPECT_EQ(1, VARIABLE(reader.library, g_IsCancelWait));
    EXPECT_EQ(0, CALL(reader.library, BO_Open)(3, 9600, 0));
    EXPECT_EQ(0, CALL(reader.library, BO_Close)());
}

TEST(Close, DeselectsThePassThroughPort)
{
    ScriptedReader reader;
    reader.script.rows.push_back({ESC "%9", ""});
    reader.script.rows.push_back({ESC "%A", ""});
    reader.Plug();
    EXPECT_EQ(0, CALL(reader.library, BO_Open)(3, 9600, '9'));
    EXPECT_EQ(0, CALL(reader.library, BO_Close)());
    EXPECT_EQ(0, CALL(reader.library, BO_Close)());
}

TEST(DisConnect, ForgetsTheDeviceWithoutAWord)
{
    ScriptedReader reader(Config("DevBaud", "115200"));
    reader.script.rows.push_back({"6002BB04DD" ETX, "60010061" ETX});
    reader.Plug();
    EXPECT_EQ(0, CALL(reader.library, BO_Open)(3, 9600, 0));
    EXPECT_EQ(0, CALL(reader.library, BO_DisConnect)());
    const DEVCONTEXT zero{};
    EXPECT_EQ(0, memcmp(&zero, &VARIABLE(reader.library, context), sizeof zero));
    EXPECT_EQ(1, VARIABLE(reader.library, g_IsCancelWait));
}

TEST(GetDevInfo, SkippedItSendsNothing)
{
    ScriptedReader reader;
    reader.PlugAndOpen();
    EXPECT_EQ(0, CALL(reader.library, BO_GetDevInfo)(1, nullptr, nullptr));
    EXPECT_EQ(0, CALL(reader.library, BO_GetDevInfo)(-1, nullptr, nullptr));
}

TEST(GetDevInfo, AFailureIsLoggedAsThatOfTheOpen)
{
    ScriptedReader reader;
    reader.script.Exchange(kAskInfo, "A2");
    reader.PlugAndOpen();
    Info info;
    EXPECT_EQ(-4000, CALL(reader.library, BO_GetDevInfo)(0, info.bytes, &info.length));
    EXPECT_EQ("Error:OpenDevice Error!\r\nError:iErrorCode = -4000\r\n", reader.BusinessLog());
}

TEST(GetDevInfo, OnAClosedContextGivesNoDevice)
{
    HostLibrary library;
    Info info;
    EXPECT_EQ(-1003, CALL(library, BO_GetDevInfo)(0, info.bytes, &info.length));
}

TEST(Cancel, RaisesTheFlagsThatTheyPromise)
{
    HostLibrary library;
    VARIABLE(library, g_IsCancelWait) = 0;
    EXPECT_EQ(0, CALL(library, BO_Cancel)());
    EXPECT_EQ(0, VARIABLE(library, g_IsCancelWait));
    EXPECT_EQ(1, VARIABLE(library, flag_cancle));
    EXPECT_EQ(0, CALL(library, BO_CancelWait)());
    EXPECT_EQ(1, VARIABLE(library, g_IsCancelWait));
    EXPECT_EQ("", library.Log());
}

TEST(Reset, SendsTheResetSequence)
{
    ScriptedReader reader;
    reader.script.rows.push_back({ESC "S", ""});
    reader.PlugAndOpen();
    VARIABLE(reader.library, g_IsCancelWait) = 0;
    EXPECT_EQ(0, CALL(reader.library, BO_Reset)());
    EXPECT_EQ(1, VARIABLE(reader.library, g_IsCancelWait));
}

TEST(Reset, AFailureIsLoggedAndMapped)
{
    HostLibrary library;
    EXPECT_EQ(-1003, CALL(library, BO_Reset)());
    EXPECT_EQ("Error:Reset Error!\r\nError:iErrorCode = -19\r\n",
              testing_support::LogMessages(library.Log()));
}

TEST(PassThroughPort, IsSelectedOnTheOpenLine)
{
    ScriptedReader reader;
    reader.script.rows.push_back({ESC "%1", ""});
    reader.script.rows.push_back({ESC "%Y", ""});
    reader.PlugAndOpen();
    for (unsigned char port : {'1', '0', 'Y', 'Z'})
        EXPECT_EQ(0, CALL(reader.library, BO_SetBpPort)(port));
    EXPECT_EQ(0, VARIABLE(reader.library, g_Bp));
}

TEST(ChangeMode, GoesThroughTheReaderWhenIdChangeIs1)
{
    ScriptedReader reader;
    reader.script.rows.push_back({ESC "$B0", "ok"});
    reader.script.rows.push_back({ESC "$I0", "ok"});
    reader.script.rows.push_back({ESC "$S0", "ok"});
    reader.PlugAndOpen();
    for (int mode : {0, 1, 2, 3})
        EXPECT_EQ(0, CALL(reader.library, BO_ChangeMode)(mode));
    EXPECT_EQ(0, CALL(reader.library, BO_ChangeMode)(-1));
}

TEST(ChangeMode, WithoutAConfiguredWayItGoesThroughTheReader)
{
    ScriptedReader reader("[devcfg]\nIccmd=0\n[log]\nloglevel=1\n");
    reader.script.rows.push_back({ESC "$B0", "ok"});
    reader.PlugAndOpen();
    EXPECT_EQ(0, CALL(reader.library, BO_ChangeMode)(0));
}

TEST(ChangeMode, TheModeIsPassedAsAByte)
{
    ScriptedReader reader;
    reader.script.rows.push_back({ESC "$I0", "ok"});
    reader.PlugAndOpen();
    EXPECT_EQ(0, CALL(reader.library, BO_ChangeMode)(0x101));
}

TEST(ChangeMode, SendsNothingForAnyOtherIdChange)
{
    for (const char *value : {"2", "0", "3"})
    {
        ScriptedReader reader(Config("IdChange", value));
        reader.PlugAndOpen();
        EXPECT_EQ(0, CALL(reader.library, BO_ChangeMode)(0));
    }
}

TEST(ChangeBaud, ReopensTheLineAndKeepsItsUsers)
{
    ScriptedReader reader(Config("loglevel", "2"));
    reader.script.Exchange(kAskInfo, kInfo);
    reader.PlugAndOpen();
    VARIABLE(reader.library, context).refCnt = 3;
    int64_t old = 0;
    EXPECT_EQ(0, CALL(reader.library, BO_ChangeBaud)(38400, &old));
    EXPECT_EQ(9600, old);
    EXPECT_EQ(38400u, VARIABLE(reader.library, context).parameters.com.comBaud);
    EXPECT_EQ(3u, VARIABLE(reader.library, context).refCnt);
    EXPECT_EQ(1u, VARIABLE(reader.library, context).isOpen);
    EXPECT_NE(std::string::npos, reader.Log().find("Info:iBaud = 38400, iDevBaud = 9600\r\n"
                                                   "Info:context.refCnt = 3\r\n"));
    Info info;
    EXPECT_EQ(0, CALL(reader.library, BO_GetDevInfo)(0, info.bytes, &info.length));
}

TEST(ChangeBaud, TheOldSpeedMayBeUnwanted)
{
    ScriptedReader reader;
    reader.PlugAndOpen();
    EXPECT_EQ(0, CALL(reader.library, BO_ChangeBaud)(38400, nullptr));
    EXPECT_EQ(38400u, VARIABLE(reader.library, context).parameters.com.comBaud);
}

TEST(ChangeBaud, ALineThatCannotBeReopenedGives1000)
{
    ScriptedReader reader;
    reader.PlugAndOpen();
    CPP_CALL(reader.library, GSetComName, "_Z11GSetComNameiPKc")(3, "/dev/no-such-terminal");
    int64_t old = 0;
    EXPECT_EQ(-1000, CALL(reader.library, BO_ChangeBaud)(38400, &old));
    EXPECT_EQ(0u, VARIABLE(reader.library, context).isOpen);
    EXPECT_EQ(0, CALL(reader.library, BO_Close)()) << "the stale handle is left alone";
}

TEST(ChangeBaud, OnAClosedContextOnlyTheParametersChange)
{
    ScriptedReader reader;
    reader.PlugAndOpen();
    CALL(reader.library, COMM_Close)(&VARIABLE(reader.library, context));
    int64_t old = 0;
    EXPECT_EQ(0, CALL(reader.library, BO_ChangeBaud)(38400, &old));
    EXPECT_EQ(9600, old);
    EXPECT_EQ(38400u, VARIABLE(reader.library, context).parameters.com.comBaud);
    EXPECT_EQ(0u, VARIABLE(reader.library, context).isOpen);
}

TEST(SetDevBaud, TellsTheReaderInEitherFraming)
{
    ScriptedReader krel;
    krel.script.rows.push_back({"6002BB02DB" ETX, "60010061" ETX});
    krel.script.rows.push_back({"6002BB04DD" ETX, "6001A2C3" ETX});
    krel.PlugAndOpen();
    EXPECT_EQ(0, CALL(krel.library, BO_SetDevBaud)(38400));
    EXPECT_EQ(-4002, CALL(krel.library, BO_SetDevBaud)(115200));
    EXPECT_EQ(0, CALL(krel.library, BO_SetDevBaud)(9600)) << "the line already has that speed";

    ScriptedReader united(Config("Iccmd", "1"));
    united.script.Exchange("30010003", "0000").Exchange("30010004", "1001");
    united.PlugAndOpen();
    EXPECT_EQ(0, CALL(united.library, BO_SetDevBaud)(57600));
    EXPECT_EQ(-4002, CALL(united.library, BO_SetDevBaud)(115200));
}

TEST(Beep, GoesToTheReaderInTheUnionFraming)
{
    ScriptedReader reader(Config("Iccmd", "1"));
    reader.script.Exchange("3113010203", "0000").Exchange("3113090000", "0001");
    reader.PlugAndOpen();
    EXPECT_EQ(0, CALL(reader.library, BO_Beep)(150, 2, 3));
    EXPECT_EQ(-99, CALL(reader.library, BO_Beep)(99, 0, 0));
}

TEST(Beep, NeedsTheUnionFraming)
{
    ScriptedReader reader;
    reader.PlugAndOpen();
    EXPECT_EQ(-1008, CALL(reader.library, BO_Beep)(100, 1, 1));
}

TEST(SetSlot, StoresTheSlotForTheNextCommand)
{
    ScriptedReader reader;
    reader.script.Exchange("E203", "00");
    reader.PlugAndOpen();
    CALL(reader.library, BO_SetSlot)(2);
    EXPECT_EQ(2u, VARIABLE(reader.library, g_Slot));
    EXPECT_EQ(0, CALL(reader.library, BO_IcPowerOff)(0));
}

namespace
{

struct SerialNumber
{
    char text[40];
    uint32_t length = 77;
    SerialNumber()
    {
        memset(text, '#', sizeof text);
    }
};

} // namespace

TEST(GetDevSn, GivesBytes32To63OfTheRecord)
{
    ScriptedReader reader;
    std::string record;
    for (int i = 0; i < 32; i++)
        record += "FF";
    reader.script.Exchange("F1",
                           "00" + record + Hex("SN-20240307-0001") + std::string(32, '0') + "AAAA");
    reader.script.Exchange("F1", "00" + record + Hex("0123456789ABCDEF0123456789ABCDEF") + "AAAA");
    reader.PlugAndOpen();
    SerialNumber serial;
    EXPECT_EQ(0, CALL(reader.library, BO_GetDevSn)(serial.text, &serial.length));
    EXPECT_STREQ("SN-20240307-0001", serial.text);
    EXPECT_EQ(16u, serial.length);
    EXPECT_EQ('#', serial.text[33]);
    EXPECT_EQ(0, CALL(reader.library, BO_GetDevSn)(serial.text, &serial.length));
    EXPECT_STREQ("0123456789ABCDEF0123456789ABCDEF", serial.text);
    EXPECT_EQ(32u, serial.length);
    EXPECT_EQ('#', serial.text[33]);
}

TEST(GetDevSn, IsSentInTheKrelFramingWhateverIsConfigured)
{
    ScriptedReader reader(Config("Iccmd", "1"));
    reader.script.united = false;
    reader.script.Exchange("F1", "55");
    reader.PlugAndOpen();
    SerialNumber serial;
    EXPECT_EQ(-99, CALL(reader.library, BO_GetDevSn)(serial.text, &serial.length));
}

TEST(GetDevSn, ASilentReaderGivesAnEmptyTextAndTheInternalCode)
{
    ScriptedReader reader;
    reader.script.rows.push_back({"6001F190" ETX, ""});
    reader.PlugAndOpen();
    SerialNumber serial;
    EXPECT_EQ(-74, CALL(reader.library, BO_GetDevSn)(serial.text, &serial.length));
    EXPECT_STREQ("", serial.text);
    EXPECT_EQ(0u, serial.length);
}

TEST(GetDevSn, WithoutADeviceTheCodeIsNotMapped)
{
    HostLibrary library;
    SerialNumber serial;
    EXPECT_EQ(-19, CALL(library, BO_GetDevSn)(serial.text, &serial.length));
    EXPECT_EQ(0u, serial.length);
    EXPECT_EQ(-22, CALL(library, BO_GetDevSn)(nullptr, &serial.length));
    EXPECT_EQ(-22, CALL(library, BO_GetDevSn)(serial.text, nullptr));
}

TEST(SetDevSn, SendsA32ByteFieldAndTheCodeIsNotMapped)
{
    ScriptedReader reader;
    reader.script.Exchange("F2" + Hex("SN-7") + std::string(56, '0'), "00");
    reader.script.Exchange("F2" + Hex("0123456789ABCDEF0123456789ABCDEF"), "55");
    reader.PlugAndOpen();
    const auto bytes = [](const char *text)
    { return reinterpret_cast<const unsigned char *>(text); };
    EXPECT_EQ(0, CALL(reader.library, BO_SetDevSn)(bytes("SN-7"), 4));
    EXPECT_EQ(-99,
              CALL(reader.library, BO_SetDevSn)(bytes("0123456789ABCDEF0123456789ABCDEFxyz"), 35));
    EXPECT_EQ(-22, CALL(reader.library, BO_SetDevSn)(nullptr, 4));
    CALL(reader.library, BO_Close)();
    EXPECT_EQ(-19, CALL(reader.library, BO_SetDevSn)(bytes("SN-7"), 4));
}
