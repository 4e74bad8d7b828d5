// The public calls over USB, as a host application makes them, in both settings of "devtype" and
// with both command sets.
#include <gmock/gmock.h>
#include <thread>

#include "target/usb_setting.h"

using target::ConfigFor;
using target::kSettings;
using target::ModeIds;
using target::Reports;
using target::Setting;
using target::SettingName;
using target::SharedReader;
using target::UsbReader;
using testing_support::HostLibrary;

namespace
{

struct IcCards : testing::TestWithParam<Setting>
{
    UsbReader &reader = SharedReader();
    HostLibrary library;

    IcCards() : library(ConfigFor(GetParam()))
    {
        reader.Refresh();
        EXPECT_EQ(CALL(library, BO_Open)(0, 9600, 0), 0);
        reader.Control("usb clear");
    }
    ~IcCards() override
    {
        CALL(library, BO_Close)();
        EXPECT_EQ(reader.Driver(), "usbhid");
    }

    std::string PowerOn(int mode, int seconds = 5) const
    {
        char atr[512] = "";
        int32_t length = 0;
        int32_t type = -1;
        const int result =
            CALL(library, BO_IcPowerOn)(mode, sizeof atr, atr, &length, &type, seconds);
        return result == 0
                   ? std::string(atr, static_cast<size_t>(length)) + " " + std::to_string(type)
                   : std::to_string(result);
    }

    std::string Apdu(int mode, const std::string &command) const
    {
        static char response[2100];
        int32_t length = 0;
        const int result = CALL(library, BO_IcAPDU)(
            mode, command.c_str(), static_cast<int>(command.size()), 0, response, &length);
        return result == 0 ? std::string(response, static_cast<size_t>(length))
                           : std::to_string(result);
    }
};

} // namespace

TEST_P(IcCards, DeviceCalls)
{
    unsigned char info[256];
    uint32_t length = 0;
    EXPECT_EQ(CALL(library, BO_GetDevInfo)(0, info, &length), 0);
    EXPECT_EQ(std::string(info, info + length), "Virtual reader V1.0");
    EXPECT_EQ(ModeIds(reader), std::set<std::string>{GetParam().icModeId});
    EXPECT_EQ(Reports(reader).size(), 1u);

    const std::string serial = "USB-4711";
    EXPECT_EQ(CALL(library, BO_SetDevSn)(reinterpret_cast<const unsigned char *>(serial.data()),
                                         static_cast<int>(serial.size())),
              0);
    char text[64] = "";
    uint32_t textLength = sizeof text;
    EXPECT_EQ(CALL(library, BO_GetDevSn)(text, &textLength), 0);
    EXPECT_EQ(std::string(text, strnlen(text, textLength)), serial);

    EXPECT_EQ(CALL(library, BO_Beep)(10, 1, 1), GetParam().iccmd[0] == '1' ? 0 : -1008);
    EXPECT_EQ(ModeIds(reader), std::set<std::string>{GetParam().icModeId});
}

TEST_P(IcCards, EscapeSequencesGoUnderTheModeIdOfTheRawLink)
{
    EXPECT_EQ(CALL(library, BO_ChangeMode)(1), 0);
    EXPECT_EQ(ModeIds(reader), std::set<std::string>{GetParam().rawModeId});
    EXPECT_THAT(reader.Control("info"), testing::HasSubstr("\"mode\":\"I\""));
    reader.Control("usb clear");
    EXPECT_EQ(CALL(library, BO_SetBpPort)('3'), 0);
    EXPECT_EQ(CALL(library, BO_Reset)(), 0);
    EXPECT_EQ(ModeIds(reader), std::set<std::string>{GetParam().rawModeId});
    unsigned char info[256];
    uint32_t length = 0;
    EXPECT_EQ(CALL(library, BO_GetDevInfo)(0, info, &length), 0); // and back again
    EXPECT_EQ(ModeIds(reader), (std::set<std::string>{GetParam().rawModeId, GetParam().icModeId}));
}

TEST_P(IcCards, ContactCard)
{
    int32_t cards = -1;
    // The Krel set has no such command.
    EXPECT_EQ(CALL(library, BO_CardDetect)(&cards), GetParam().iccmd[0] == '1' ? 0 : -1008);
    EXPECT_EQ(PowerOn(0), "3B68000056414E544F523031 0");
    EXPECT_EQ(Apdu(0, "00A404000E315041592E5359532E4444463031").substr(0, 2), "6F");
    EXPECT_EQ(CALL(library, BO_IcPowerOff)(0), 0);
    EXPECT_EQ(ModeIds(reader), std::set<std::string>{GetParam().icModeId});
}

TEST_P(IcCards, ContactlessCard)
{
    EXPECT_THAT(PowerOn(1), testing::EndsWith(" 1"));
    EXPECT_EQ(Apdu(1, "00A404000E325041592E5359532E4444463031").substr(0, 2), "6F");
    EXPECT_EQ(CALL(library, BO_IcPowerOff)(1), 0);
}

TEST_P(IcCards, CardInformationAndLogs)
{
    char info[5000];
    EXPECT_EQ(CALL(library, BO_ICGetInfo)(0, "AEJ", 0, info, 5), 0);
    EXPECT_THAT(info, testing::StartsWith("A0166210948000000011E"));
    static char detail[28000];
    EXPECT_EQ(CALL(library, BO_ICGetDetail)(0, 0, detail, 5), 0);
    EXPECT_EQ(std::string(detail).size(), 5u + 3 * 106);
    EXPECT_THAT(detail, testing::StartsWith("03106P012"));
    EXPECT_EQ(ModeIds(reader), std::set<std::string>{GetParam().icModeId});
}

TEST_P(IcCards, AWaitForACardIsEndedByAnotherThread)
{
    reader.Control("remove contact");
    std::thread canceller(
        [this]
        {
            reader.Control("wait 1"); // the first attempt has been answered
            CALL(library, BO_CancelWait)();
        });
    EXPECT_EQ(PowerOn(0, 60), "-1006");
    canceller.join();
    std::thread inserter([this] { EXPECT_EQ(reader.Control("insert contact test-card"), "ok"); });
    EXPECT_EQ(PowerOn(0, 60), "3B68000056414E544F523031 0");
    inserter.join();
}

TEST_P(IcCards, AnswersThatAreLateLongOrMissing)
{
    reader.Control("fault delay 400");
    unsigned char info[256];
    uint32_t length = 0;
    EXPECT_EQ(CALL(library, BO_GetDevInfo)(0, info, &length), 0);
    reader.Control("usb in error");
    EXPECT_EQ(CALL(library, BO_GetDevInfo)(0, info, &length), 0);
    reader.Control("fault silence");
    EXPECT_EQ(CALL(library, BO_GetDevInfo)(0, info, &length), -1013);
    EXPECT_EQ(CALL(library, BO_GetDevInfo)(0, info, &length), 0);
    PowerOn(0);
    reader.Control("usb clear");
    // More than one report each way: a long command.
    const std::string command = "00A40400" + std::string("64") + std::string(200, '0');
    EXPECT_NE(Apdu(0, command), "");
    EXPECT_GE(Reports(reader).size(), 3u);
}

INSTANTIATE_TEST_SUITE_P(, IcCards, testing::ValuesIn(kSettings), SettingName);
