// The adapter layer's checks and look-ups, over a transport made of recording functions.
#include <cstring>
#include <ctime>
#include <gtest/gtest.h>

#include "vantor/transport.h"

namespace
{

struct Call
{
    int count;
    void *device;
    const unsigned char *bytes;
    uint32_t size;
    uint32_t timeoutMs;
    COMM_END_TEST endTest;
};

Call g_read;
Call g_write;
int g_device; // its address is the handle

int RecordRead(void *device, unsigned char *buffer, uint32_t capacity, uint32_t timeoutMs,
               COMM_END_TEST endTest)
{
    g_read = {g_read.count + 1, device, buffer, capacity, timeoutMs, endTest};
    return 17;
}

int RecordWrite(void *device, const unsigned char *bytes, uint32_t count, uint32_t timeoutMs)
{
    g_write = {g_write.count + 1, device, bytes, count, timeoutMs, nullptr};
    return -5;
}

int NeverEnds(const unsigned char *, uint32_t)
{
    return 0;
}

const COMM_OPS kRecording = {nullptr, RecordRead, RecordWrite, nullptr};
const COMM_OPS kNothing = {nullptr, nullptr, nullptr, nullptr};

DEVCONTEXT Typed(const char *type)
{
    DEVCONTEXT record;
    DC_Init(&record);
    DC_SetInterfaceType(&record, type);
    return record;
}

DEVCONTEXT Recording()
{
    g_read = {};
    g_write = {};
    DEVCONTEXT record = Typed("com");
    record.ops = &kRecording;
    record.device = &g_device;
    return record;
}

} // namespace

TEST(CommAdapter, HidAndComAreFoundByName)
{
    const COMM_OPS *hid = _COMM_FindAdapter("hid");
    ASSERT_NE(hid, nullptr);
    EXPECT_EQ(hid->open, &HID_open);
    EXPECT_EQ(hid->read, &HID_read);
    EXPECT_EQ(hid->write, &HID_write);
    EXPECT_EQ(hid->close, &HID_close);
    const COMM_OPS *com = _COMM_FindAdapter("com");
    ASSERT_NE(com, nullptr);
    EXPECT_EQ(com->open, &COM_open);
    EXPECT_EQ(com->read, &COM_read);
    EXPECT_EQ(com->write, &COM_write);
    EXPECT_EQ(com->close, &COM_close);
}

TEST(CommAdapter, TheEndMarkHasNoOperations)
{
    const COMM_OPS *end = _COMM_FindAdapter("END");
    ASSERT_NE(end, nullptr);
    EXPECT_EQ(end->open, nullptr);
    EXPECT_EQ(end->read, nullptr);
    EXPECT_EQ(end->write, nullptr);
    EXPECT_EQ(end->close, nullptr);
}

TEST(CommAdapter, NamesAreComparedExactly)
{
    for (const char *name : {"", "h", "hi", "hid ", "HID", "Com", "comm", "end", "usb"})
        EXPECT_EQ(_COMM_FindAdapter(name), nullptr) << name;
    EXPECT_EQ(_COMM_FindAdapter(nullptr), nullptr);
}

TEST(CommAdapter, ASixteenCharacterNameIsNotReadPast)
{
    // Exactly sixteen characters at the end of an allocation: an over-read is a sanitizer report.
    char *name = static_cast<char *>(std::malloc(16));
    std::memcpy(name, "hid0123456789abc", 16);
    EXPECT_EQ(_COMM_FindAdapter(name), nullptr);
    std::memset(name, 'c', 16);
    EXPECT_EQ(_COMM_FindAdapter(name), nullptr);
    std::free(name);
}

TEST(CommValidate, ComPassesWithoutFurtherChecks)
{
    DEVCONTEXT record = Typed("com");
    EXPECT_EQ(_COMM_ValidateParam(&record), 0);
    EXPECT_EQ(record.ops, _COMM_FindAdapter("com"));
}

TEST(CommValidate, HidNeedsAnIdPairButItsOperationsAreStoredFirst)
{
    DEVCONTEXT record = Typed("hid");
    EXPECT_EQ(_COMM_ValidateParam(&record), -19);
    EXPECT_EQ(record.ops, _COMM_FindAdapter("hid"));
    DC_AddUsbParams(&record, 7107, 337);
    EXPECT_EQ(_COMM_ValidateParam(&record), 0);
}

TEST(CommValidate, TheEndMarkIsRejected)
{
    DEVCONTEXT record = Typed("END");
    EXPECT_EQ(_COMM_ValidateParam(&record), -19);
    EXPECT_EQ(record.ops, _COMM_FindAdapter("END"));
}

TEST(CommValidate, AnUnknownTypeLeavesTheOperationsAlone)
{
    DEVCONTEXT record = Typed("hid0123456789abc");
    record.parameters.usb.usbCount = 1;
    record.ops = &kRecording;
    EXPECT_EQ(_COMM_ValidateParam(&record), -19);
    EXPECT_EQ(record.ops, &kRecording);
    EXPECT_EQ(_COMM_ValidateParam(nullptr), -19);
}

TEST(CommOpen, NoContextUnknownTypeAndEmptyHidListAreNoDevice)
{
    EXPECT_EQ(COMM_Open(nullptr), -19);
    for (const char *type : {"", "usb", "END", "hid"})
    {
        DEVCONTEXT record = Typed(type);
        EXPECT_EQ(COMM_Open(&record), -19) << type;
        EXPECT_EQ(record.isOpen, 0u);
        EXPECT_EQ(record.refCnt, 0u);
    }
}

TEST(CommOpen, AnOpenContextOnlyGetsOneUserMore)
{
    DEVCONTEXT record = Typed("com");
    DC_SetCOMParams(&record, 200, 9600); // a port that cannot be opened
    record.isOpen = 1;
    record.refCnt = 1;
    record.device = &g_device;
    g_mode_id = 9;
    EXPECT_EQ(COMM_Open(&record), 0);
    EXPECT_EQ(record.refCnt, 2u);
    EXPECT_EQ(record.isOpen, 1u);
    EXPECT_EQ(record.device, &g_device);
    EXPECT_EQ(g_mode_id, 9); // the baud rate's first byte is no mode id
}

TEST(CommOpen, AChangedModeIdOfAnOpenHidContextTakesEffect)
{
    DEVCONTEXT record = Typed("hid");
    DC_AddUsbParams(&record, 7107, 337);
    record.isOpen = 1;
    record.refCnt = 1;
    DC_SetModeId(&record, 2);
    g_mode_id = 0;
    EXPECT_EQ(COMM_Open(&record), 0);
    EXPECT_EQ(g_mode_id, 2);
    EXPECT_EQ(record.refCnt, 2u);
}

TEST(CommOpen, PortsWithoutATableEntryCannotBeOpened)
{
    for (const uint32_t port : {16u, 255u, 0x80000001u, 0xFFFFFFFFu})
    {
        DEVCONTEXT record = Typed("com");
        DC_SetCOMParams(&record, port, 9600);
        EXPECT_EQ(reinterpret_cast<intptr_t>(COM_open(&record)), -2) << port;
        EXPECT_EQ(COMM_Open(&record), -2) << port;
        EXPECT_EQ(record.isOpen, 0u);
        EXPECT_EQ(record.refCnt, 0u);
        EXPECT_EQ(record.outputBufSize, 0);
        EXPECT_EQ(COMM_Close(&record), 0);
    }
}

TEST(CommRead, NullBufferIsRefusedBeforeAnythingElse)
{
    DEVCONTEXT record = Typed("");
    EXPECT_EQ(COMM_Read(&record, nullptr, 10, 10, nullptr), -22);
    EXPECT_EQ(COMM_Read(nullptr, nullptr, 10, 10, nullptr), -22);
}

TEST(CommRead, NullContextIsRefused)
{
    unsigned char buffer[4];
    EXPECT_EQ(COMM_Read(nullptr, buffer, sizeof(buffer), 10, nullptr), -22);
}

TEST(CommRead, MissingOperationsDeviceOrReadGiveMinusTwo)
{
    unsigned char buffer[4];
    DEVCONTEXT record = Recording();
    record.ops = nullptr;
    EXPECT_EQ(COMM_Read(&record, buffer, sizeof(buffer), 10, nullptr), -2);
    record = Recording();
    record.device = nullptr;
    EXPECT_EQ(COMM_Read(&record, buffer, sizeof(buffer), 10, nullptr), -2);
    record = Recording();
    record.ops = &kNothing;
    EXPECT_EQ(COMM_Read(&record, buffer, sizeof(buffer), 10, nullptr), -2);
    EXPECT_EQ(g_read.count, 0);
}

TEST(CommRead, PassesEverythingOnAndReturnsTheAdaptersResult)
{
    unsigned char buffer[4];
    DEVCONTEXT record = Recording();
    EXPECT_EQ(record.isOpen, 0u); // the open flag is not looked at
    EXPECT_EQ(COMM_Read(&record, buffer, 4, 1234, NeverEnds), 17);
    EXPECT_EQ(g_read.count, 1);
    EXPECT_EQ(g_read.device, &g_device);
    EXPECT_EQ(g_read.bytes, buffer);
    EXPECT_EQ(g_read.size, 4u);
    EXPECT_EQ(g_read.timeoutMs, 1234u);
    EXPECT_EQ(g_read.endTest, &NeverEnds);
}

TEST(CommWrite, ChecksAsTheReadDoes)
{
    const unsigned char bytes[2] = {1, 2};
    DEVCONTEXT record = Recording();
    EXPECT_EQ(COMM_Write(&record, nullptr, 2, 10), -22);
    EXPECT_EQ(COMM_Write(nullptr, bytes, 2, 10), -22);
    record.ops = nullptr;
    EXPECT_EQ(COMM_Write(&record, nullptr, 2, 10), -22);
    EXPECT_EQ(COMM_Write(&record, bytes, 2, 10), -2);
    record.ops = &kNothing;
    EXPECT_EQ(COMM_Write(&record, bytes, 2, 10), -2);
    record.ops = &kRecording;
    record.device = nullptr;
    EXPECT_EQ(COMM_Write(&record, bytes, 2, 10), -2);
    EXPECT_EQ(g_write.count, 0);
}

TEST(CommWrite, PassesEverythingOnAndReturnsTheAdaptersResult)
{
    const unsigned char bytes[2] = {1, 2};
    DEVCONTEXT record = Recording();
    EXPECT_EQ(COMM_Write(&record, bytes, 2, 77), -5);
    EXPECT_EQ(g_write.count, 1);
    EXPECT_EQ(g_write.device, &g_device);
    EXPECT_EQ(g_write.bytes, bytes);
    EXPECT_EQ(g_write.size, 2u);
    EXPECT_EQ(g_write.timeoutMs, 77u);
}

TEST(CommClose, IsTheReleaseOfOneUser)
{
    DEVCONTEXT record = Recording();
    EXPECT_EQ(COMM_Close(&record), 0);
    record.refCnt = 3;
    EXPECT_EQ(COMM_Close(&record), 2);
    EXPECT_EQ(record.refCnt, 2u);
    EXPECT_EQ(COMM_Close(nullptr), 0);
}

TEST(CommCancel, SetsAndClearsTheFlag)
{
    COMM_cancle();
    EXPECT_EQ(flag_cancle, 1);
    COMM_notcancle();
    EXPECT_EQ(flag_cancle, 0);
    EXPECT_EQ(g_IsCancelWait, 0); // the other cancel path is independent
}

TEST(CommTick, CountsMillisecondsOfTheMonotonicClock)
{
    timespec before;
    timespec after;
    clock_gettime(CLOCK_MONOTONIC, &before);
    const uint64_t tick = GetTickCount();
    clock_gettime(CLOCK_MONOTONIC, &after);
    EXPECT_GE(tick, static_cast<uint64_t>(before.tv_sec) * 1000 +
                        static_cast<uint64_t>(before.tv_nsec) / 1000000);
    EXPECT_LE(tick, static_cast<uint64_t>(after.tv_sec) * 1000 +
                        static_cast<uint64_t>(after.tv_nsec) / 1000000);
}
