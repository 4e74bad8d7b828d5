// The link exchanges over USB, on a stand-in for the HID channel: this program defines the
// channel's functions itself, so that the linker takes none from the library.
#include "vantor/link.h"
#include "vantor/operations.h"

#include <algorithm>
#include <deque>
#include <gtest/gtest.h>
#include <vector>

#include "support/golden_line.h"
#include "support/scratch.h"
#include "vantor/hid.h"
#include "vantor/support.h"
#include "wire/room.h"

using testing_support::Scratch;
using wire_testing::Bytes;
using wire_testing::Room;

namespace
{

// What was written to the reader, and what it will answer.
struct Channel
{
    std::vector<std::string> written; // each: the mode id as a digit, a colon, the payload
    std::deque<std::string> answers;  // one a read
    std::vector<int> waits;           // milliseconds of each read
    bool failsWrites = false;
    int room = 100000; // bytes the reader still takes
    uint16_t vid = 0;
    uint16_t pid = 0;
};

Channel channel;
int handle; // its address stands for the open device

hid_device *TheDevice()
{
    return reinterpret_cast<hid_device *>(&handle);
}

} // namespace

int hid_init(void)
{
    return 0;
}

int hid_exit(void)
{
    return 0;
}

hid_device *hid_open(unsigned short vendorId, unsigned short productId, const wchar_t *)
{
    channel.vid = vendorId;
    channel.pid = productId;
    return TheDevice();
}

void hid_close(hid_device *)
{
}

int hid_get_input_report_length(hid_device *)
{
    return 65;
}

int hid_get_output_report_length(hid_device *)
{
    return 65;
}

int hid_write_modeid(hid_device *, const unsigned char *data, int length, unsigned char modeId)
{
    if (channel.failsWrites)
        return -1;
    const int count = std::min({length, 62, channel.room});
    channel.room -= count;
    if (count > 0)
        channel.written.push_back(
            std::to_string(modeId) + ":" +
            std::string(reinterpret_cast<const char *>(data), static_cast<size_t>(count)));
    return count;
}

int hid_read_modeid(hid_device *, unsigned char *buffer, int capacity, int milliseconds)
{
    channel.waits.push_back(milliseconds);
    if (channel.answers.empty())
        return 0;
    const std::string report = channel.answers.front();
    channel.answers.pop_front();
    const size_t count = std::min(report.size(), static_cast<size_t>(capacity));
    std::copy_n(report.begin(), count, buffer);
    return static_cast<int>(count);
}

namespace
{

struct UsbLink : testing::Test
{
    Scratch directory;
    DEVCONTEXT device{};

    UsbLink()
    {
        channel = Channel();
        Settings("");
        g_Bp = 0;
        DC_SetInterfaceType(&device, "hid");
        DC_AddUsbParams(&device, 0x1234, 0x5678);
    }
    void Settings(const std::string &settings) const
    {
        const std::string path = directory.path + "/config.ini";
        testing_support::WriteFile(path, "[devcfg]\n" + settings);
        GSetConfigFilePath(path.c_str());
    }
    void Expect(const std::vector<std::string> &written) const
    {
        EXPECT_EQ(channel.written, written);
    }
};

const std::string kPadding(40, '\0');

} // namespace

TEST_F(UsbLink, IcCommandsTravelInModeTwo)
{
    Room room;
    channel.answers = {"6003009000F3" ETX + kPadding};
    ASSERT_EQ(KrelIc_SendCmd(&device, Bytes("\x81"), 1, room.Data(), 256, 100), 3);
    EXPECT_EQ(room.Hex(4), "00 90 00 EE ");
    channel.answers = {STX "0002000000" ETX + kPadding};
    ASSERT_EQ(Union_SendCmd(&device, Bytes("1"), 1, room.Data(), 256, 100), 2);
    Expect({"2:600181E0" ETX, "2:" STX "00013131" ETX});
}

TEST_F(UsbLink, AnotherDeviceTypeKnowsNoModes)
{
    Room room;
    Settings("devtype=1\n");
    channel.answers = {"600060" ETX, STX "000000" ETX, "OK", "rp"};
    EXPECT_EQ(KrelIc_SendCmd(&device, Bytes("\x81"), 1, room.Data(), 256, 100), 0);
    EXPECT_EQ(Union_SendCmd(&device, Bytes("1"), 1, room.Data(), 256, 100), 0);
    EXPECT_EQ(RAWL_SendCmd(&device, Bytes("a"), 1, room.Data(), 256, 2, 100), 2);
    EXPECT_EQ(RAWC_SendCmd(&device, Bytes("b"), 1, room.Data(), 256, "rp/q", 100), 2);
    Expect({"0:600181E0" ETX, "0:" STX "00013131" ETX, "0:a", "0:b"});
}

TEST_F(UsbLink, RawCommandsTravelInModeOneOnAnOpenDeviceToo)
{
    Room room;
    channel.answers = {"600060" ETX, "OK", "rp", "600060" ETX};
    ASSERT_EQ(COMM_Open(&device), 0);
    EXPECT_EQ(KrelIc_SendCmd(&device, Bytes("\x81"), 1, room.Data(), 256, 100), 0);
    EXPECT_EQ(RAWL_SendCmd(&device, Bytes("a"), 1, room.Data(), 256, 2, 100), 2);
    EXPECT_EQ(RAWC_SendCmd(&device, Bytes("b"), 1, room.Data(), 256, "rp/q", 100), 2);
    EXPECT_EQ(KrelIc_SendCmd(&device, Bytes("\x81"), 1, room.Data(), 256, 100), 0);
    Expect({"2:600181E0" ETX, "1:a", "1:b", "2:600181E0" ETX});
    COMM_Close(&device);
}

TEST_F(UsbLink, LongCommandsGoOutInChunksAndAnswersComeInReports)
{
    Room room;
    const std::string apdu(40, '\0');
    channel.answers = {"6041" + std::string(58, '0'), std::string(62, '0'),
                       "000000000000000021" ETX + kPadding};
    uint32_t length = 0;
    ASSERT_EQ(IC_RFAPDU(&device, Bytes(apdu), 40, room.Data(), &length, 100), 0);
    EXPECT_EQ(length, 64U);
    Expect({"2:6029D3" + std::string(56, '0'), "2:" + std::string(24, '0') + "9A" ETX});
}

TEST_F(UsbLink, WithoutACompleteWriteNothingIsRead)
{
    Room room;
    channel.failsWrites = true;
    channel.answers = {"6003009000F3" ETX};
    EXPECT_EQ(KrelIc_SendCmd(&device, Bytes("\x81"), 1, room.Data(), 256, 100), -74);
    EXPECT_EQ(Union_SendCmd(&device, Bytes("\x81"), 1, room.Data(), 256, 100), -74);
    EXPECT_EQ(RAWL_SendCmd(&device, Bytes("a"), 1, room.Data(), 256, 2, 100), -1);
    EXPECT_EQ(RAWC_SendCmd(&device, Bytes("a"), 1, room.Data(), 256, "rp/q", 100), -1);
    EXPECT_EQ(Vantor_Reset(&device, 100), -1);
    EXPECT_EQ(channel.waits, std::vector<int>{});
    EXPECT_EQ(room.Hex(1), "EE ");
    EXPECT_EQ(device.refCnt, 0U);
}

TEST_F(UsbLink, WithoutACompleteWriteNoAnswerIsLogged)
{
    Room room;
    const std::string log = directory.path + "/wire.log";
    channel.failsWrites = true;
    GSetLogFilePath(log.c_str());
    GSetLogLevel(2);
    EXPECT_EQ(KrelIc_SendCmd(&device, Bytes("\x81"), 1, room.Data(), 256, 100), -74);
    EXPECT_EQ(RAWL_SendCmd(&device, Bytes("a"), 1, room.Data(), 256, 2, 100), -1);
    GSetLogLevel(0);
    const std::string lines = testing_support::ReadFile(log);
    EXPECT_NE(lines.find("):Send szPackage: 363030313831453003\r\n"), std::string::npos);
    EXPECT_NE(lines.find("):Send Cmd: a\r\n"), std::string::npos);
    EXPECT_EQ(lines.find("Read Pack"), std::string::npos);
}

TEST_F(UsbLink, WriteThatStopsHalfWayIsNotReadAfter)
{
    Room room;
    channel.answers = {"6003009000F3" ETX};
    channel.room = 5;
    EXPECT_EQ(KrelIc_SendCmd(&device, Bytes("\x81"), 1, room.Data(), 256, 20), -74);
    channel.room = 5;
    EXPECT_EQ(Union_SendCmd(&device, Bytes("1"), 1, room.Data(), 256, 20), -74);
    channel.room = 2;
    EXPECT_EQ(RAWL_SendCmd(&device, Bytes("abc"), 3, room.Data(), 256, 2, 20), 2);
    EXPECT_EQ(room.Hex(1), "EE ");
    channel.room = 2; // here the written count stands for the answer's
    EXPECT_EQ(RAWC_SendCmd(&device, Bytes("abc"), 3, room.Data(), 256, "rp/q", 20), 2);
    EXPECT_EQ(room.Hex(3), "00 00 EE ");
    EXPECT_EQ(channel.waits, std::vector<int>{});
}

TEST_F(UsbLink, ReaderThatTakesNothingEndsEachWriteWithItsTimeout)
{
    Room room;
    channel.room = 0;
    const auto expectToLast = [](uint64_t milliseconds, int result, const auto &call)
    {
        const uint64_t start = GetTickCount();
        EXPECT_EQ(call(), result);
        const uint64_t elapsed = GetTickCount() - start;
        EXPECT_GE(elapsed, milliseconds);
        EXPECT_LT(elapsed, 3000U);
    };
    const unsigned char command[] = {0x81};
    unsigned char *answer = room.Data();
    expectToLast(30, -74, [&] { return KrelIc_SendCmd(&device, command, 1, answer, 256, 30); });
    expectToLast(30, -74, [&] { return Union_SendCmd(&device, command, 1, answer, 256, 30); });
    expectToLast(30, -62, [&] { return RAWL_SendCmd(&device, command, 1, answer, 256, 2, 30); });
    expectToLast(30, -62,
                 [&] { return RAWC_SendCmd(&device, command, 1, answer, 256, "rp/q", 30); });
    expectToLast(30, -62, [&] { return Vantor_Reset(&device, 30); });
    expectToLast(100, 0, [&] { return Vantor_ChangeMode(&device, 0); });
    ASSERT_EQ(COMM_Open(&device), 0);
    expectToLast(100, 0, [&] { return Vantor_SetBpPort(&device, '1'); });
    expectToLast(100, 0, [&] { return Vantor_Close(&device); });
    Expect({});
}

TEST_F(UsbLink, FixedLengthAnswerIsOneReadOfTheWholeTimeout)
{
    Room room;
    EXPECT_EQ(RAWL_SendCmd(&device, Bytes("a"), 1, room.Data(), 256, 2, 700), -62);
    EXPECT_EQ(channel.waits, std::vector<int>{700});
}

TEST_F(UsbLink, OpenTakesTheDefaultReaderAndSelectsThePort)
{
    DC_Init(&device);
    ASSERT_EQ(Vantor_Open(&device, 0, 0, 0), 0);
    EXPECT_EQ(channel.vid, 7107);
    EXPECT_EQ(channel.pid, 337);
    Expect({});
    Vantor_Close(&device);
    Expect({});
    ASSERT_EQ(Vantor_Open(&device, 0, 999999, 'C'), 0); // the speed is a serial line's
    Vantor_Close(&device);
    Expect({"0:" ESC "%C", "0:" ESC "%A"});
}

TEST_F(UsbLink, OpenPidTakesTheGivenPair)
{
    DC_Init(&device);
    ASSERT_EQ(Vantor_Open_PID(&device, 0x0A0B, 0x0C0D), 0);
    EXPECT_EQ(channel.vid, 0x0A0B);
    EXPECT_EQ(channel.pid, 0x0C0D);
    EXPECT_EQ(device.refCnt, 1U);
    Vantor_Close(&device);
    Expect({});
}

TEST_F(UsbLink, ClosedContextIsNotWrittenTo)
{
    DC_Init(&device);
    ASSERT_EQ(Vantor_Open(&device, 0, 0, 0), 0);
    Vantor_Close(&device); // leaves its stale handle behind
    EXPECT_EQ(Vantor_SetBpPort(&device, '1'), 0);
    EXPECT_EQ(g_Bp, 1);
    EXPECT_EQ(Vantor_Close(&device), 0);
    Expect({});
}

TEST_F(UsbLink, IdentityModeDefaultsTo115200)
{
    EXPECT_EQ(Vantor_ChangeMode(&device, 2), 0);
    Settings("IdBaud=9600\nIcBaud=115200\n");
    EXPECT_EQ(Vantor_ChangeMode(&device, 2), 0);
    Settings("");
    EXPECT_EQ(Vantor_ChangeMode(&device, 0), 0); // the other modes do not
    Expect({"1:" ESC "$S4", "1:" ESC "$S0", "1:" ESC "$B0"});
    EXPECT_EQ(channel.waits, (std::vector<int>{100, 100, 100}));
}

TEST_F(UsbLink, ResetAwaitsNothing)
{
    EXPECT_EQ(Vantor_Reset(&device, 100), 0);
    Expect({"1:" ESC "S"});
    EXPECT_EQ(channel.waits, std::vector<int>{});
}
