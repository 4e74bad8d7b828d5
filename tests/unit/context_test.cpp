// The device context: its accessors, its shared words and the release of the open device.
#include <cstring>
#include <gtest/gtest.h>

#include "vantor/transport.h"

namespace
{

DEVCONTEXT Zeroed()
{
    DEVCONTEXT record;
    DC_Init(&record);
    return record;
}

// A transport that counts its closes and remembers the handle it was given.
int g_closes;
void *g_closed;

int CountingClose(void *device)
{
    ++g_closes;
    g_closed = device;
    return -99;
}

const COMM_OPS kCounting = {nullptr, nullptr, nullptr, CountingClose};
const COMM_OPS kWithoutClose = {nullptr, nullptr, nullptr, nullptr};

DEVCONTEXT OpenContext(uint32_t users)
{
    g_closes = 0;
    g_closed = nullptr;
    DEVCONTEXT record = Zeroed();
    record.ops = &kCounting;
    record.device = &g_closes;
    record.isOpen = 1;
    record.refCnt = users;
    return record;
}

} // namespace

TEST(Context, TheGlobalContextStartsZeroed)
{
    const DEVCONTEXT zero = {};
    EXPECT_EQ(std::memcmp(&context, &zero, sizeof(zero)), 0);
}

TEST(Context, InitFillsTheWholeRecordWithZeroBytes)
{
    unsigned char bytes[sizeof(DEVCONTEXT)];
    std::memset(bytes, 0xA5, sizeof(bytes));
    DEVCONTEXT record;
    std::memcpy(&record, bytes, sizeof(record));
    DC_Init(&record);
    std::memcpy(bytes, &record, sizeof(record));
    for (const unsigned char byte : bytes)
        EXPECT_EQ(byte, 0);
}

TEST(Context, TheRecordIsLaidOutAsHostsKnowIt)
{
    DEVCONTEXT record = Zeroed();
    record.isOpen = 0x11111111;
    record.refCnt = 0x22222222;
    std::memcpy(record.interfaceType, "com", 4);
    record.parameters.com.comBaud = 0x33333333;
    record.parameters.com.comPort = 0x44444444;
    record.outputBufSize = 0x55;
    record.inputBufSize = 0x66;
    unsigned char bytes[96];
    static_assert(sizeof(record) == sizeof(bytes));
    std::memcpy(bytes, &record, sizeof(bytes));
    EXPECT_EQ(bytes[8], 0x11);
    EXPECT_EQ(bytes[12], 0x22);
    EXPECT_EQ(bytes[16], 'c');
    EXPECT_EQ(bytes[32], 0x33);
    EXPECT_EQ(bytes[36], 0x44);
    EXPECT_EQ(bytes[72], 0x55);
    EXPECT_EQ(bytes[80], 0x66);
}

TEST(Context, InterfaceTypeIsCopiedAndReplaced)
{
    DEVCONTEXT record = Zeroed();
    DC_SetInterfaceType(&record, "longer-text");
    DC_SetInterfaceType(&record, "hid");
    EXPECT_EQ(DC_GetInterfaceType(&record), record.interfaceType);
    EXPECT_STREQ(DC_GetInterfaceType(&record), "hid");
    for (size_t index = 3; index < 16; ++index)
        EXPECT_EQ(record.interfaceType[index], '\0');
}

TEST(Context, InterfaceTypeOfSixteenCharactersIsNotTerminated)
{
    DEVCONTEXT record = Zeroed();
    record.parameters.com.comBaud = 0x58585858;
    DC_SetInterfaceType(&record, "0123456789abcdef");
    EXPECT_EQ(std::memcmp(record.interfaceType, "0123456789abcdef", 16), 0);
    EXPECT_EQ(record.parameters.com.comBaud, 0x58585858u);
}

TEST(Context, InterfaceTypeLongerThanItsFieldIsCut)
{
    DEVCONTEXT record = Zeroed();
    record.parameters.com.comBaud = 9600;
    DC_SetInterfaceType(&record, "0123456789abcdefGHI");
    EXPECT_EQ(std::memcmp(record.interfaceType, "0123456789abcdef", 16), 0);
    EXPECT_EQ(record.parameters.com.comBaud, 9600u);
}

TEST(Context, InterfaceTypeMayBeSetToItself)
{
    DEVCONTEXT record = Zeroed();
    DC_SetInterfaceType(&record, "com");
    DC_SetInterfaceType(&record, DC_GetInterfaceType(&record));
    EXPECT_STREQ(DC_GetInterfaceType(&record), "com");
    DC_SetInterfaceType(&record, record.interfaceType + 1);
    EXPECT_EQ(std::memcmp(record.interfaceType, "om\0\0", 4), 0);
}

TEST(Context, ComParametersTakeThePortFirst)
{
    DEVCONTEXT record = Zeroed();
    DC_SetCOMParams(&record, 255, 115200);
    EXPECT_EQ(DC_GetCOMPort(&record), 255u);
    EXPECT_EQ(DC_GetCOMBaud(&record), 115200u);
    EXPECT_EQ(record.parameters.com.comPort, 255u);
    EXPECT_EQ(record.parameters.com.comBaud, 115200u);
}

TEST(Context, ComPortAndUsbListSizeAreTheSameWord)
{
    DEVCONTEXT record = Zeroed();
    DC_SetCOMParams(&record, 7, 9600);
    EXPECT_EQ(DC_GetUsbListSize(&record), 7);
    DC_Init(&record);
    DC_AddUsbParams(&record, 7107, 337);
    EXPECT_EQ(DC_GetCOMPort(&record), 1u);
}

TEST(Context, TheNinthUsbPairIsIgnored)
{
    DEVCONTEXT record = Zeroed();
    record.outputBufSize = 0x77;
    for (uint16_t pair = 0; pair < 9; ++pair)
    {
        DC_AddUsbParams(&record, static_cast<uint16_t>(0x1000 + pair),
                        static_cast<uint16_t>(0x2000 + pair));
        EXPECT_EQ(DC_GetUsbListSize(&record), pair < 8 ? pair + 1 : 8);
    }
    for (int32_t pair = 0; pair < 8; ++pair)
    {
        EXPECT_EQ(DC_GetUsbVid(&record, pair), 0x1000 + pair);
        EXPECT_EQ(DC_GetUsbPid(&record, pair), 0x2000 + pair);
    }
    EXPECT_EQ(record.outputBufSize, 0x77);
}

TEST(Context, UsbIdsOutsideTheListAreZero)
{
    DEVCONTEXT record = Zeroed();
    DC_AddUsbParams(&record, 7107, 337);
    record.parameters.usb.usbVid[1] = 0xBAD1;
    record.parameters.usb.usbPid[1] = 0xBAD2;
    EXPECT_EQ(DC_GetUsbVid(&record, 0), 7107);
    EXPECT_EQ(DC_GetUsbPid(&record, 0), 337);
    EXPECT_EQ(DC_GetUsbVid(&record, 1), 0);
    EXPECT_EQ(DC_GetUsbPid(&record, 1), 0);
    EXPECT_EQ(DC_GetUsbVid(&record, -1), 0);
    EXPECT_EQ(DC_GetUsbPid(&record, -1), 0);
}

TEST(Context, APortNumberReadAsListSizeNeverIndexesPastTheList)
{
    DEVCONTEXT record = Zeroed();
    std::memset(&record.parameters, 0xEE, sizeof(record.parameters));
    record.outputBufSize = 0x7777;
    DC_SetCOMParams(&record, 255, 9600);
    EXPECT_EQ(DC_GetUsbVid(&record, 7), 0xEEEE);
    EXPECT_EQ(DC_GetUsbVid(&record, 8), 0);
    EXPECT_EQ(DC_GetUsbPid(&record, 8), 0);
    DC_AddUsbParams(&record, 1, 2);
    DC_SetCOMParams(&record, 0xFFFFFFFE, 9600); // reads as minus two
    DC_AddUsbParams(&record, 1, 2);
    EXPECT_EQ(DC_GetUsbListSize(&record), -2);
    EXPECT_EQ(DC_GetCOMBaud(&record), 9600u);
    EXPECT_EQ(record.outputBufSize, 0x7777);
}

TEST(Context, ModeIdIsStoredOnAHidContext)
{
    DEVCONTEXT record = Zeroed();
    DC_SetInterfaceType(&record, "hid");
    DC_SetModeId(&record, 2);
    EXPECT_EQ(DC_GetModeId(&record), 2);
    EXPECT_EQ(record.parameters.com.comBaud & 0xFF, 2u);
}

TEST(Context, ModeIdLeavesTheBaudRateOfASerialContextAlone)
{
    DEVCONTEXT record = Zeroed();
    DC_SetInterfaceType(&record, "com");
    DC_SetCOMParams(&record, 1, 115200); // 0x0001C200
    DC_SetModeId(&record, 2);
    EXPECT_EQ(DC_GetCOMBaud(&record), 115200u);
    DC_SetCOMParams(&record, 1, 57601); // 0xE101: the first byte is what the mode id reads
    EXPECT_EQ(DC_GetModeId(&record), 0x01);
}

TEST(Context, ModeIdIsNotStoredUnderATypeThatOnlyBeginsWithHid)
{
    DEVCONTEXT record = Zeroed();
    for (const char *type : {"hid0123456789abc", "hidden", "HID", "hi", ""})
    {
        DC_SetInterfaceType(&record, type);
        DC_SetModeId(&record, 2);
        EXPECT_EQ(DC_GetModeId(&record), 0) << type;
    }
}

TEST(Context, SizesDeviceAndOperationsAreStoredAsGiven)
{
    DEVCONTEXT record = Zeroed();
    DC_SetOutputBufSize(&record, -1);
    DC_SetInputBufSize(&record, 0x123456789A);
    DC_SetDevice(&record, &g_closed);
    DC_SetInterfaceOps(&record, &kCounting);
    EXPECT_EQ(DC_GetOutputBufSize(&record), -1);
    EXPECT_EQ(DC_GetInputBufSize(&record), 0x123456789A);
    EXPECT_EQ(DC_GetDevice(&record), &g_closed);
    EXPECT_EQ(DC_GetInterfaceOps(&record), &kCounting);
}

TEST(Context, OpenStatusIsToggled)
{
    DEVCONTEXT record = Zeroed();
    EXPECT_EQ(DC_IsOpen(&record), 0u);
    DC_SwitchOpenStatus(&record);
    EXPECT_EQ(DC_IsOpen(&record), 1u);
    DC_SwitchOpenStatus(&record);
    EXPECT_EQ(DC_IsOpen(&record), 0u);
    record.isOpen = 5; // its logical negation is 0
    DC_SwitchOpenStatus(&record);
    EXPECT_EQ(DC_IsOpen(&record), 0u);
}

TEST(Context, AReferenceIsAdded)
{
    DEVCONTEXT record = Zeroed();
    DC_AddDeviceRef(&record);
    DC_AddDeviceRef(&record);
    EXPECT_EQ(record.refCnt, 2u);
}

TEST(ContextRelease, WithoutUsersNothingHappens)
{
    DEVCONTEXT record = OpenContext(0);
    EXPECT_EQ(DC_ReleaseDeviceRef(&record), 0);
    EXPECT_EQ(g_closes, 0);
    EXPECT_EQ(record.refCnt, 0u);
    EXPECT_EQ(record.isOpen, 1u);
}

TEST(ContextRelease, WithOtherUsersGivesHowManyAreLeft)
{
    DEVCONTEXT record = OpenContext(3);
    EXPECT_EQ(DC_ReleaseDeviceRef(&record), 2);
    EXPECT_EQ(DC_ReleaseDeviceRef(&record), 1);
    EXPECT_EQ(g_closes, 0);
    EXPECT_EQ(record.isOpen, 1u);
}

TEST(ContextRelease, TheLastUserClosesAndTheStaleHandleStays)
{
    DEVCONTEXT record = OpenContext(1);
    EXPECT_EQ(DC_ReleaseDeviceRef(&record), 0);
    EXPECT_EQ(g_closes, 1);
    EXPECT_EQ(g_closed, &g_closes);
    EXPECT_EQ(record.refCnt, 0u);
    EXPECT_EQ(record.isOpen, 0u);
    EXPECT_EQ(record.device, &g_closes);
    EXPECT_EQ(record.ops, &kCounting);
}

TEST(ContextRelease, AStaleHandleIsNeverClosed)
{
    DEVCONTEXT record = OpenContext(1);
    record.isOpen = 0;
    EXPECT_EQ(DC_ReleaseDeviceRef(&record), 0);
    EXPECT_EQ(g_closes, 0);
    EXPECT_EQ(record.refCnt, 0u);
    EXPECT_EQ(record.isOpen, 0u);
}

TEST(ContextRelease, WithoutACloseOperationTheContextStaysOpen)
{
    DEVCONTEXT record = OpenContext(1);
    record.ops = nullptr;
    EXPECT_EQ(DC_ReleaseDeviceRef(&record), 0);
    EXPECT_EQ(record.isOpen, 1u);
    EXPECT_EQ(record.refCnt, 0u);
    record.ops = &kWithoutClose;
    record.refCnt = 1;
    EXPECT_EQ(DC_ReleaseDeviceRef(&record), 0);
    EXPECT_EQ(record.isOpen, 1u);
    EXPECT_EQ(record.refCnt, 0u);
}

TEST(Context, ANullContextIsTolerated)
{
    DC_Init(nullptr);
    DC_SetInterfaceType(nullptr, "hid");
    DC_SetInterfaceOps(nullptr, &kCounting);
    DC_SetCOMParams(nullptr, 1, 9600);
    DC_AddUsbParams(nullptr, 1, 2);
    DC_SetDevice(nullptr, nullptr);
    DC_AddDeviceRef(nullptr);
    DC_SwitchOpenStatus(nullptr);
    DC_SetOutputBufSize(nullptr, 1);
    DC_SetInputBufSize(nullptr, 1);
    DC_SetModeId(nullptr, 1);
    EXPECT_EQ(DC_GetInterfaceType(nullptr), nullptr);
    EXPECT_EQ(DC_GetInterfaceOps(nullptr), nullptr);
    EXPECT_EQ(DC_GetCOMPort(nullptr), 0u);
    EXPECT_EQ(DC_GetCOMBaud(nullptr), 0u);
    EXPECT_EQ(DC_GetUsbListSize(nullptr), 0);
    EXPECT_EQ(DC_GetUsbVid(nullptr, 0), 0);
    EXPECT_EQ(DC_GetUsbPid(nullptr, 0), 0);
    EXPECT_EQ(DC_GetDevice(nullptr), nullptr);
    EXPECT_EQ(DC_ReleaseDeviceRef(nullptr), 0);
    EXPECT_EQ(DC_IsOpen(nullptr), 0u);
    EXPECT_EQ(DC_GetOutputBufSize(nullptr), 0);
    EXPECT_EQ(DC_GetInputBufSize(nullptr), 0);
    EXPECT_EQ(DC_GetModeId(nullptr), 0);
}

TEST(Context, ANullInterfaceTypeChangesNothing)
{
    DEVCONTEXT record = Zeroed();
    DC_SetInterfaceType(&record, "com");
    DC_SetInterfaceType(&record, nullptr);
    EXPECT_STREQ(record.interfaceType, "com");
}
