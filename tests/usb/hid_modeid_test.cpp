// The reader's own report framing, and the adapter that sends whole messages through it.
#include "usb/usb_bench.h"
#include "vantor/transport.h"

using usb_standin::Bytes;
using usb_standin::OutTransfers;
using usb_standin::SendReport;

namespace
{

using HidModeId = OpenReader;
using HidAdapter = UsbBench;

constexpr int kSoonMs = 5000;

// 64 bytes that begin like this; the rest is zero.
Bytes Padded(Bytes report)
{
    report.resize(64);
    return report;
}

TEST_F(HidModeId, ReportLengthsAre65ForAnOpenDeviceAnd0ForNone)
{
    EXPECT_EQ(hid_get_input_report_length(device), 65);
    EXPECT_EQ(hid_get_output_report_length(device), 65);
    EXPECT_EQ(hid_get_input_report_length(nullptr), 0);
    EXPECT_EQ(hid_get_output_report_length(nullptr), 0);
}

TEST_F(HidModeId, AWriteIsOneReportOfModeIdLengthPayloadAndZeroes)
{
    const unsigned char payload[] = {0x1B, 0x53};
    EXPECT_EQ(hid_write_modeid(device, payload, 2, 0x01), 2);
    const std::vector<usb_standin::OutTransfer> out = OutTransfers(reader);
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out[0].data, Padded({0x01, 0x02, 0x1B, 0x53}));
}

TEST_F(HidModeId, AWriteOfMoreThan62BytesTakesTheFirst62)
{
    Bytes payload;
    for (int i = 0; i < 100; ++i)
        payload.push_back(static_cast<uint8_t>(i));
    EXPECT_EQ(hid_write_modeid(device, payload.data(), 63, 0x02), 62);
    EXPECT_EQ(hid_write_modeid(device, payload.data(), 62, 0x02), 62);
    Bytes expected = {0x02, 0x3E};
    for (int i = 0; i < 62; ++i)
        expected.push_back(static_cast<uint8_t>(i));
    ASSERT_EQ(OutTransfers(reader).size(), 2u);
    EXPECT_EQ(OutTransfers(reader)[0].data, expected);
    EXPECT_EQ(OutTransfers(reader)[1].data, expected);
}

TEST_F(HidModeId, AWriteOfNoBytesSendsAnEmptyReport)
{
    EXPECT_EQ(hid_write_modeid(device, nullptr, 0, 0xFF), 0);
    ASSERT_EQ(OutTransfers(reader).size(), 1u);
    EXPECT_EQ(OutTransfers(reader)[0].data, Padded({0xFF, 0x00}));
}

TEST_F(HidModeId, AWriteWithBadArgumentsSendsNothing)
{
    const unsigned char payload[] = {0x01};
    EXPECT_EQ(hid_write_modeid(nullptr, payload, 1, 0x02), -1);
    EXPECT_EQ(hid_write_modeid(device, payload, -1, 0x02), -1);
    EXPECT_EQ(hid_write_modeid(device, payload, -2147483647 - 1, 0x02), -1);
    EXPECT_EQ(hid_write_modeid(device, nullptr, 1, 0x02), -1);
    EXPECT_EQ(OutTransfers(reader).size(), 0u);
}

TEST_F(HidModeId, AWriteThatFailsStillReportsItsPayload)
{
    const Bytes payload(70, 0x31);
    usb_standin::Fail(usb_standin::Call::Interrupt, LIBUSB_ERROR_TIMEOUT);
    EXPECT_EQ(hid_write_modeid(device, payload.data(), 70, 0x02), 62);
    usb_standin::Unplug(reader);
    EXPECT_EQ(hid_write_modeid(device, payload.data(), 70, 0x02), 62);
    EXPECT_EQ(OutTransfers(reader).size(), 0u);
}

TEST_F(HidModeId, AReadGives62BytesBehindTheHeaderPaddingIncluded)
{
    SendReport(reader, Padded({0x02, 0x03, 0x31, 0x32, 0x33}));
    Bytes data(64, 0xEE);
    EXPECT_EQ(hid_read_modeid(device, data.data(), 64, kSoonMs), 62);
    Bytes expected = {0x31, 0x32, 0x33};
    expected.resize(62, 0x00);
    expected.resize(64, 0xEE);
    EXPECT_EQ(data, expected);
}

TEST_F(HidModeId, TheHeadersLengthByteIsNotLookedAt)
{
    SendReport(reader, {0xFF, 0x00, 0x31, 0x32});
    SendReport(reader, {0x00, 0xFF, 0x33, 0x34});
    unsigned char data[62] = {};
    EXPECT_EQ(hid_read_modeid(device, data, 62, kSoonMs), 2);
    EXPECT_EQ(data[0], 0x31);
    EXPECT_EQ(data[1], 0x32);
    EXPECT_EQ(hid_read_modeid(device, data, 62, kSoonMs), 2);
    EXPECT_EQ(data[0], 0x33);
    EXPECT_EQ(data[1], 0x34);
}

TEST_F(HidModeId, AReportOfThreeBytesIsOneByteOfPayloadAndAShorterOneFails)
{
    SendReport(reader, {0x02, 0x01, 0x55});
    SendReport(reader, {0x02, 0x00});
    SendReport(reader, {0x02});
    unsigned char data[62] = {};
    EXPECT_EQ(hid_read_modeid(device, data, 62, kSoonMs), 1);
    EXPECT_EQ(data[0], 0x55);
    EXPECT_EQ(hid_read_modeid(device, data, 62, kSoonMs), -1);
    EXPECT_EQ(hid_read_modeid(device, data, 62, kSoonMs), -1);
    EXPECT_EQ(hid_read_modeid(device, data, 62, 0), 0); // each took its report
}

TEST_F(HidModeId, AReadIsCutAtItsCapacity)
{
    SendReport(reader, ReportOf(0x66));
    SendReport(reader, ReportOf(0x77));
    Bytes data(6, 0xEE);
    EXPECT_EQ(hid_read_modeid(device, data.data(), 4, kSoonMs), 4);
    EXPECT_EQ(data, (Bytes{0x66, 0x66, 0x66, 0x66, 0xEE, 0xEE}));
    EXPECT_EQ(hid_read_modeid(device, data.data(), 0, kSoonMs), 0);
    EXPECT_EQ(hid_read_modeid(device, data.data(), 6, 0), 0); // both reports are used up
}

TEST_F(HidModeId, AReadWithBadArgumentsTakesNothing)
{
    Queue({0x02, 0x01, 0x55});
    unsigned char data[62] = {};
    EXPECT_EQ(hid_read_modeid(nullptr, data, 62, 10), -1);
    EXPECT_EQ(hid_read_modeid(device, nullptr, 62, 10), -1);
    EXPECT_EQ(hid_read_modeid(device, data, -1, 10), -1);
    EXPECT_EQ(hid_read_modeid(device, data, 62, 0), 1);
}

TEST_F(HidModeId, WithNothingArrivingAReadOfTenMillisecondsGivesZeroAfterTen)
{
    const Stopwatch stopwatch;
    unsigned char data[62];
    EXPECT_EQ(hid_read_modeid(device, data, 62, 10), 0);
    EXPECT_GE(stopwatch.Milliseconds(), 9.0);
    EXPECT_LT(stopwatch.Milliseconds(), 2000.0);
}

TEST_F(HidModeId, AReadOfADeviceThatIsGoneGivesMinusOne)
{
    usb_standin::Unplug(reader);
    unsigned char data[62];
    EXPECT_EQ(hid_read_modeid(device, data, 62, -1), -1);
}

TEST_F(HidModeId, AReportOfAnEndpointBeyond64BytesIsCutToTheReportLength)
{
    usb_standin::DeviceModel model = usb_standin::ReaderModel();
    model.configurationDescriptor[31] = 0x80; // 128-byte packets
    const int wide = usb_standin::Plug(model, 1, 3);
    hid_device *wideDevice = hid_open_path("0001:0003:00");
    ASSERT_NE(wideDevice, nullptr);
    SendReport(wide, ReportOf(0x10, 128));
    unsigned char data[128];
    EXPECT_EQ(hid_read_modeid(wideDevice, data, 128, kSoonMs), 63);
    hid_close(wideDevice);
}

// ---- Through the adapter ----

int EndsWithQuestionMark(const unsigned char *bytes, uint32_t count)
{
    for (uint32_t i = 0; i < count; ++i)
        if (bytes[i] == '?')
            return 1;
    return 0;
}

struct OpenContext
{
    DEVCONTEXT deviceContext;
    int opened;

    OpenContext()
    {
        DC_Init(&deviceContext);
        DC_SetInterfaceType(&deviceContext, "hid");
        DC_AddUsbParams(&deviceContext, 0x1BC3, 0x0150); // not plugged in: the next pair is tried
        DC_AddUsbParams(&deviceContext, 0x1BC3, 0x0151);
        DC_SetModeId(&deviceContext, 0x02);
        opened = COMM_Open(&deviceContext);
    }

    ~OpenContext()
    {
        COMM_Close(&deviceContext);
    }
};

TEST_F(HidAdapter, AMessageOf150BytesGoesOutAsThreeReportsOf62And62And26)
{
    const int reader = usb_standin::Plug(usb_standin::ReaderModel(), 1, 2);
    OpenContext open;
    ASSERT_EQ(open.opened, 0);
    Bytes message;
    for (int i = 0; i < 150; ++i)
        message.push_back(static_cast<uint8_t>(i));
    EXPECT_EQ(COMM_Write(&open.deviceContext, message.data(), 150, 1000), 150);

    const std::vector<usb_standin::OutTransfer> out = OutTransfers(reader);
    ASSERT_EQ(out.size(), 3u);
    const Bytes first = {0x02, 0x3E, 0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13,
                         14,   15,   16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29,
                         30,   31,   32, 33, 34, 35, 36, 37, 38, 39, 40, 41, 42, 43, 44, 45,
                         46,   47,   48, 49, 50, 51, 52, 53, 54, 55, 56, 57, 58, 59, 60, 61};
    const Bytes second = {0x02, 0x3E, 62,  63,  64,  65,  66,  67,  68,  69,  70,  71,  72,
                          73,   74,   75,  76,  77,  78,  79,  80,  81,  82,  83,  84,  85,
                          86,   87,   88,  89,  90,  91,  92,  93,  94,  95,  96,  97,  98,
                          99,   100,  101, 102, 103, 104, 105, 106, 107, 108, 109, 110, 111,
                          112,  113,  114, 115, 116, 117, 118, 119, 120, 121, 122, 123};
    const Bytes third = {0x02, 0x1A, 124, 125, 126, 127, 128, 129, 130, 131, 132, 133, 134,
                         135,  136,  137, 138, 139, 140, 141, 142, 143, 144, 145, 146, 147,
                         148,  149,  0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,
                         0,    0,    0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,
                         0,    0,    0,   0,   0,   0,   0,   0,   0,   0,   0,   0};
    EXPECT_EQ(out[0].data, first);
    EXPECT_EQ(out[1].data, second);
    EXPECT_EQ(out[2].data, third);
}

TEST_F(HidAdapter, PayloadSizesAre62BothWays)
{
    usb_standin::Plug(usb_standin::ReaderModel(), 1, 2);
    OpenContext open;
    EXPECT_EQ(DC_GetOutputBufSize(&open.deviceContext), 62);
    EXPECT_EQ(DC_GetInputBufSize(&open.deviceContext), 62);
}

TEST_F(HidAdapter, AnAnswerOfTwoReportsIsGatheredUntilItsEnd)
{
    const int reader = usb_standin::Plug(usb_standin::ReaderModel(), 1, 2);
    OpenContext open;
    SendReport(reader, Padded({0x02, 0x3E, 'a'}));
    SendReport(reader, Padded({0x02, 0x02, 'b', '?'}));
    Bytes data(200);
    EXPECT_EQ(COMM_Read(&open.deviceContext, data.data(), 200, 5000, EndsWithQuestionMark), 124);
    EXPECT_EQ(data[0], 'a');
    EXPECT_EQ(data[62], 'b');
    EXPECT_EQ(data[63], '?');
}

TEST_F(HidAdapter, AWriteToAReaderThatWasUnpluggedGoesThroughAndTheReadFailsAtOnce)
{
    const int reader = usb_standin::Plug(usb_standin::ReaderModel(), 1, 2);
    OpenContext open;
    usb_standin::Unplug(reader);
    const Bytes message(150, 0x31);
    EXPECT_EQ(COMM_Write(&open.deviceContext, message.data(), 150, 1000), 150);
    const Stopwatch stopwatch;
    Bytes data(200);
    EXPECT_EQ(COMM_Read(&open.deviceContext, data.data(), 200, 60000, EndsWithQuestionMark), -1);
    EXPECT_LT(stopwatch.Milliseconds(), 5000.0);
}

TEST_F(HidAdapter, AContextThatWasZeroedWithoutACloseDoesNotStandInTheWay)
{
    const int reader = usb_standin::Plug(usb_standin::ReaderModel(), 1, 2);
    OpenContext open;
    ASSERT_EQ(open.opened, 0);
    hid_device *abandoned = static_cast<hid_device *>(DC_GetDevice(&open.deviceContext));
    DC_Init(&open.deviceContext);

    OpenContext again;
    ASSERT_EQ(again.opened, 0);
    SendReport(reader, Padded({0x02, 0x01, '?'}));
    Bytes data(62);
    EXPECT_EQ(COMM_Read(&again.deviceContext, data.data(), 62, 5000, EndsWithQuestionMark), 62);
    hid_close(abandoned);
}

TEST_F(HidAdapter, InitAndExitAreTheChannels)
{
    usb_standin::Fail(usb_standin::Call::Init, LIBUSB_ERROR_OTHER);
    EXPECT_EQ(COMM_Init(), -1);
    EXPECT_EQ(COMM_Init(), 0);
    EXPECT_EQ(COMM_Exit(), 0);
}

} // namespace
