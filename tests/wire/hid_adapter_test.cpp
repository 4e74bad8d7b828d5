// The HID adapter over a stand-in for the HID channel: this program defines the channel's functions
// itself, so that the linker takes none from the library.
#include <chrono>
#include <deque>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <vector>

#include "vantor/hid.h"
#include "vantor/transport.h"

namespace
{

using Bytes = std::vector<uint8_t>;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

struct Step
{
    int result; // what the step gives
    Bytes bytes;
};

struct ReadCall
{
    unsigned char *buffer;
    int capacity;
    int timeoutMs;
};

struct WriteCall
{
    Bytes bytes; // all that was offered
    unsigned char modeId;
};

// The stand-in: what it was asked and what it answers.
struct Channel
{
    std::vector<std::pair<int, int>> opened; // every pair that was tried
    std::pair<int, int> present;             // the pair that opens
    bool sawSerialNumber;
    int closes;
    hid_device *closed;
    int inputReport = 65;
    int outputReport = 65;
    std::vector<ReadCall> reads;
    std::deque<Step> steps; // when it is empty a step gives 0 after its time-out
    std::vector<WriteCall> writes;
    std::deque<int> writeResults; // when it is empty a write takes up to 62 bytes
    int inits;
    int exits;
};

Channel g_channel;
char g_device;
std::vector<uint32_t> g_asked;
uint32_t g_endAt;
bool g_cancelWhenAsked;

hid_device *Device()
{
    return reinterpret_cast<hid_device *>(&g_device);
}

int EndAt(const unsigned char *, uint32_t count)
{
    g_asked.push_back(count);
    if (g_cancelWhenAsked)
        COMM_cancle();
    return count >= g_endAt;
}

struct HidAdapter : testing::Test
{
    DEVCONTEXT record;
    Bytes buffer = Bytes(256, 0xEE);

    void SetUp() override
    {
        g_channel = Channel();
        g_channel.present = {7107, 337};
        g_asked.clear();
        g_endAt = 0xFFFFFFFF;
        g_cancelWhenAsked = false;
        DC_Init(&record);
        DC_SetInterfaceType(&record, "hid");
    }

    void Open()
    {
        DC_AddUsbParams(&record, 7107, 337);
        ASSERT_EQ(COMM_Open(&record), 0);
    }
};

} // namespace

int hid_init(void)
{
    ++g_channel.inits;
    return 41;
}

int hid_exit(void)
{
    ++g_channel.exits;
    return 42;
}

hid_device *hid_open(unsigned short vid, unsigned short pid, const wchar_t *serialNumber)
{
    g_channel.opened.push_back({vid, pid});
    g_channel.sawSerialNumber |= serialNumber != nullptr;
    return g_channel.present == std::make_pair<int, int>(vid, pid) ? Device() : nullptr;
}

void hid_close(hid_device *device)
{
    ++g_channel.closes;
    g_channel.closed = device;
}

int hid_get_input_report_length(hid_device *)
{
    return g_channel.inputReport;
}

int hid_get_output_report_length(hid_device *)
{
    return g_channel.outputReport;
}

int hid_read_modeid(hid_device *, unsigned char *bytes, int capacity, int timeoutMs)
{
    g_channel.reads.push_back({bytes, capacity, timeoutMs});
    if (g_channel.steps.empty())
    {
        const auto end = steady_clock::now() + milliseconds(timeoutMs);
        while (steady_clock::now() < end)
            ;
        return 0;
    }
    const Step step = g_channel.steps.front();
    g_channel.steps.pop_front();
    std::copy(step.bytes.begin(), step.bytes.end(), bytes);
    return step.result;
}

int hid_write_modeid(hid_device *, const unsigned char *bytes, int length, unsigned char modeId)
{
    g_channel.writes.push_back({Bytes(bytes, bytes + length), modeId});
    if (g_channel.writeResults.empty())
        return length < 62 ? length : 62;
    const int result = g_channel.writeResults.front();
    g_channel.writeResults.pop_front();
    return result;
}

TEST_F(HidAdapter, InitAndExitAreTheChannels)
{
    EXPECT_EQ(COMM_Init(), 41);
    EXPECT_EQ(COMM_Exit(), 42);
    EXPECT_EQ(g_channel.inits, 1);
    EXPECT_EQ(g_channel.exits, 1);
}

TEST_F(HidAdapter, TheFirstPairThatOpensWins)
{
    DC_AddUsbParams(&record, 1, 2);
    DC_AddUsbParams(&record, 7107, 336);
    DC_AddUsbParams(&record, 7107, 337);
    DC_AddUsbParams(&record, 7107, 338);
    DC_SetModeId(&record, 2);
    g_mode_id = 0;
    EXPECT_EQ(COMM_Open(&record), 0);
    const std::vector<std::pair<int, int>> tried = {{1, 2}, {7107, 336}, {7107, 337}};
    EXPECT_EQ(g_channel.opened, tried);
    EXPECT_FALSE(g_channel.sawSerialNumber);
    EXPECT_EQ(record.device, &g_device);
    EXPECT_EQ(record.isOpen, 1u);
    EXPECT_EQ(record.refCnt, 1u);
    EXPECT_EQ(g_mode_id, 2);
}

TEST_F(HidAdapter, PayloadSizesAreTheReportLengthsMinusThree)
{
    g_channel.inputReport = 65;
    g_channel.outputReport = 33;
    Open();
    EXPECT_EQ(record.inputBufSize, 62);
    EXPECT_EQ(record.outputBufSize, 30);
}

TEST_F(HidAdapter, WhenNoPairOpensTheOpenFails)
{
    DC_AddUsbParams(&record, 1, 2);
    g_mode_id = 9;
    EXPECT_EQ(reinterpret_cast<intptr_t>(HID_open(&record)), -19);
    EXPECT_EQ(COMM_Open(&record), -2);
    EXPECT_EQ(record.isOpen, 0u);
    EXPECT_EQ(record.refCnt, 0u);
    EXPECT_EQ(record.outputBufSize, 0);
    EXPECT_EQ(g_mode_id, 9);
    EXPECT_EQ(COMM_Close(&record), 0);
    EXPECT_EQ(g_channel.closes, 0);
}

TEST_F(HidAdapter, AnEmptyListIsNoDevice)
{
    EXPECT_EQ(COMM_Open(&record), -19);
    EXPECT_TRUE(g_channel.opened.empty());
}

TEST_F(HidAdapter, APortNumberReadAsListSizeTriesEightPairs)
{
    DC_SetCOMParams(&record, 255, 9600);
    EXPECT_EQ(COMM_Open(&record), -2);
    EXPECT_EQ(g_channel.opened.size(), 8u);
    g_channel.opened.clear();
    DC_SetCOMParams(&record, 0xFFFFFFFF, 9600); // reads as minus one
    EXPECT_EQ(COMM_Open(&record), -2);
    EXPECT_TRUE(g_channel.opened.empty());
}

TEST_F(HidAdapter, AnOpenDeviceIsSharedAndClosedByTheLastUser)
{
    Open();
    EXPECT_EQ(COMM_Open(&record), 0);
    EXPECT_EQ(g_channel.opened.size(), 1u);
    EXPECT_EQ(COMM_Close(&record), 1);
    EXPECT_EQ(g_channel.closes, 0);
    EXPECT_EQ(COMM_Close(&record), 0);
    EXPECT_EQ(g_channel.closes, 1);
    EXPECT_EQ(g_channel.closed, Device());
    EXPECT_EQ(COMM_Close(&record), 0);
    EXPECT_EQ(g_channel.closes, 1);
}

TEST_F(HidAdapter, AMessageOf150BytesGoesOutIn62And62And26)
{
    Open();
    g_mode_id = 2;
    Bytes message(150);
    for (size_t index = 0; index < message.size(); ++index)
        message[index] = static_cast<uint8_t>(index);
    EXPECT_EQ(COMM_Write(&record, message.data(), 150, 1000), 150);
    ASSERT_EQ(g_channel.writes.size(), 3u);
    EXPECT_EQ(g_channel.writes[0].bytes, message);
    EXPECT_EQ(g_channel.writes[1].bytes, Bytes(message.begin() + 62, message.end()));
    EXPECT_EQ(g_channel.writes[2].bytes, Bytes(message.begin() + 124, message.end()));
    for (const WriteCall &write : g_channel.writes)
        EXPECT_EQ(write.modeId, 2);
}

TEST_F(HidAdapter, AFailedWriteStepFailsTheWrite)
{
    Open();
    g_channel.writeResults = {62, -7};
    EXPECT_EQ(COMM_Write(&record, buffer.data(), 150, 1000), -1);
    EXPECT_EQ(g_channel.writes.size(), 2u);
}

TEST_F(HidAdapter, AWriteThatMovesNothingTimesOut)
{
    Open();
    EXPECT_EQ(COMM_Write(&record, buffer.data(), 0, 1000), -62);
    EXPECT_TRUE(g_channel.writes.empty());
    g_channel.writeResults = std::deque<int>(1000000, 0);
    EXPECT_EQ(COMM_Write(&record, buffer.data(), 10, 2), -62);
}

TEST_F(HidAdapter, AWriteEndsAtItsTimeOutWithWhatWentOut)
{
    Open();
    g_channel.writeResults = std::deque<int>(1000000, 0);
    g_channel.writeResults[0] = 62;
    EXPECT_EQ(COMM_Write(&record, buffer.data(), 150, 2), 62);
}

TEST_F(HidAdapter, AWriteTimeOutOfZeroIsNoLimit)
{
    Open();
    EXPECT_EQ(COMM_Write(&record, buffer.data(), 150, 0), 150);
}

TEST_F(HidAdapter, ReportsAreGatheredInStepsOfTenMilliseconds)
{
    Open();
    g_channel.steps = {{62, Bytes(62, 0x31)}, {0, {}}, {3, {0x41, 0x42, 0x03}}};
    g_endAt = 65;
    EXPECT_EQ(COMM_Read(&record, buffer.data(), 256, 1000, EndAt), 65);
    EXPECT_EQ(g_asked, (std::vector<uint32_t>{62, 62, 65})); // once after each step
    ASSERT_EQ(g_channel.reads.size(), 3u);
    EXPECT_EQ(g_channel.reads[0].buffer, buffer.data());
    EXPECT_EQ(g_channel.reads[0].capacity, 256);
    EXPECT_EQ(g_channel.reads[1].buffer, buffer.data() + 62);
    EXPECT_EQ(g_channel.reads[1].capacity, 194);
    EXPECT_EQ(g_channel.reads[2].capacity, 194);
    for (const ReadCall &read : g_channel.reads)
        EXPECT_EQ(read.timeoutMs, 10);
    EXPECT_EQ(buffer[64], 0x03);
    EXPECT_EQ(buffer[65], 0xEE);
}

TEST_F(HidAdapter, WithoutAnEndTestOneStepHasTheWholeTimeOut)
{
    Open();
    g_channel.steps = {{5, Bytes(5, 1)}, {-1, {}}, {0, {}}, {0, {}}, {0, {}}};
    EXPECT_EQ(COMM_Read(&record, buffer.data(), 200, 1234, nullptr), 5);
    EXPECT_EQ(COMM_Read(&record, buffer.data(), 200, 1234, nullptr), -1);
    EXPECT_EQ(COMM_Read(&record, buffer.data(), 200, 1234, nullptr), -62);
    EXPECT_EQ(COMM_Read(&record, buffer.data(), 200, 0, nullptr), -62);
    EXPECT_EQ(COMM_Read(&record, buffer.data(), 0xFFFFFFFF, 0xFFFFFFFF, nullptr), -62);
    ASSERT_EQ(g_channel.reads.size(), 5u);
    EXPECT_EQ(g_channel.reads[0].capacity, 200);
    EXPECT_EQ(g_channel.reads[0].timeoutMs, 1234);
    EXPECT_EQ(g_channel.reads[3].timeoutMs, 2147483647); // never a negative number: no limit at all
    EXPECT_EQ(g_channel.reads[4].timeoutMs, 2147483647);
    EXPECT_EQ(g_channel.reads[4].capacity, 2147483647);
}

TEST_F(HidAdapter, AFailedStepFailsTheReadWhateverCameBefore)
{
    Open();
    g_channel.steps = {{62, Bytes(62, 0x31)}, {-1, {}}};
    EXPECT_EQ(COMM_Read(&record, buffer.data(), 256, 1000, EndAt), -1);
    EXPECT_EQ(g_channel.reads.size(), 2u);
}

TEST_F(HidAdapter, AStepResultBelowMinusOneStillReadsAsMinusOne)
{
    Open();
    g_channel.steps = {{-7, {}}};
    EXPECT_EQ(COMM_Read(&record, buffer.data(), 256, 1000, EndAt), -1);
}

TEST_F(HidAdapter, AReadTimesOutWithOrWithoutBytes)
{
    Open();
    EXPECT_EQ(COMM_Read(&record, buffer.data(), 256, 15, EndAt), -62);
    EXPECT_LE(g_channel.reads.size(), 2u); // two steps of ten milliseconds
    g_channel.steps = {{2, {1, 2}}};
    EXPECT_EQ(COMM_Read(&record, buffer.data(), 256, 15, EndAt), 2);
}

TEST_F(HidAdapter, ACancelledReadGivesMinus125)
{
    Open();
    g_channel.steps = {{2, {1, 2}}};
    g_cancelWhenAsked = true;
    EXPECT_EQ(COMM_Read(&record, buffer.data(), 256, 1000, EndAt), -125);
    EXPECT_EQ(g_channel.reads.size(), 1u);
    EXPECT_EQ(flag_cancle, 0);
}

TEST_F(HidAdapter, AFullBufferEndsTheRead)
{
    Open();
    g_channel.steps = {{62, Bytes(62, 1)}, {38, Bytes(38, 1)}, {62, Bytes(62, 1)}};
    EXPECT_EQ(COMM_Read(&record, buffer.data(), 100, 1000, EndAt), 100);
    EXPECT_EQ(g_channel.reads.size(), 2u);
    EXPECT_EQ(buffer[100], 0xEE);
}

TEST_F(HidAdapter, TheTimerSlackOfALateHidReadIsLeftAlone)
{
    Open();
    const int before = prctl(PR_GET_TIMERSLACK);
    static int during;
    const auto look = [](const unsigned char *, uint32_t) -> int
    {
        during = prctl(PR_GET_TIMERSLACK);
        return 0;
    };
    EXPECT_EQ(COMM_Read(&record, buffer.data(), 256, 25, look), -62);
    EXPECT_EQ(during, before);
}
