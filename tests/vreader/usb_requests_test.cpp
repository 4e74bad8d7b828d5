// The virtual reader on USB, spoken to in USB/IP messages: descriptors, reports, faults, hostile
// hosts.
#include "vreader/usb_client.h"

#include <list>
#include <thread>

using namespace vreader_test;
using testing::HasSubstr;

namespace
{

const UsbBytes kDeviceDescriptor = {
    0x12, 0x01, 0x10, 0x01, 0x00, 0x00, 0x00, 0x40, 0xC3, 0x1B, 0x51, 0x01, // 1bc3:0151
    0x00, 0x01, 0x01, 0x02, 0x03, 0x01,
};

UsbBytes GetDescriptor(uint8_t type, uint8_t index, uint8_t length, uint8_t language = 0)
{
    return {0x80,   0x06, index, type, language, static_cast<uint8_t>(language != 0 ? 4 : 0),
            length, 0x00};
}

// The information command "81 00" in its frame, and the answer "00 READER 7".
const UsbBytes kAsk = Padded({0x02, 0x0B, '6', '0', '0', '2', '8', '1', '0', '0', 'E', '3', 0x03});
const UsbBytes kAnswer =
    Padded({0x02, 0x19, '6', '0', '0', '9', '0', '0', '5', '2', '4', '5', '4', '1',
            '4',  '4',  '4', '5', '5', '2', '2', '0', '3', '7', '7', 'B', 0x03});

struct UsbReaderTest : testing::Test, UsbTestBench
{
};

// Configured, as a host leaves it after plugging in.
struct ConfiguredUsbReader : UsbReaderTest
{
    ConfiguredUsbReader()
    {
        client.Configure();
    }

    void SubmitRead(uint8_t sequence, uint16_t length = 64) const
    {
        client.Send(UsbClient::Submit(sequence, 1, 1, length));
    }

    void Write(const UsbBytes &report, const UsbBytes &status = kOk, uint8_t sequence = 0x20) const
    {
        client.Send(UsbClient::Submit(sequence, 0, 2, static_cast<uint16_t>(report.size()),
                                      UsbBytes(8), report));
        client.Expect(UsbClient::Reply(sequence, status,
                                       static_cast<uint8_t>(status == kOk ? report.size() : 0)));
    }
};

} // namespace

// ---- Descriptors ----

TEST_F(UsbReaderTest, IsTheCardReaderByItsDeviceDescriptor)
{
    EXPECT_EQ(client.Get(GetDescriptor(1, 0, 18)), kDeviceDescriptor);
    EXPECT_EQ(client.Get(GetDescriptor(1, 0, 8)),
              UsbBytes(kDeviceDescriptor.begin(), kDeviceDescriptor.begin() + 8));
    EXPECT_EQ(client.Get(GetDescriptor(1, 0, 255)), kDeviceDescriptor);
}

TEST_F(UsbReaderTest, HasOneHidInterfaceWithTwoInterruptEndpoints)
{
    const UsbBytes configuration = {
        0x09, 0x02, 0x29, 0x00, 0x01, 0x01, 0x00, 0x80, 0x32, // 41 bytes
        0x09, 0x04, 0x00, 0x00, 0x02, 0x03, 0x00, 0x00, 0x00, // HID, two endpoints
        0x09, 0x21, 0x11, 0x01, 0x00, 0x01, 0x22, 0x22, 0x00, // report descriptor of 34 bytes
        0x07, 0x05, 0x81, 0x03, 0x40, 0x00, 0x01,             // interrupt IN, 64 bytes, 1 ms
        0x07, 0x05, 0x02, 0x03, 0x40, 0x00, 0x01,             // interrupt OUT
    };
    EXPECT_EQ(client.Get(GetDescriptor(2, 0, 255)), configuration);
    const UsbBytes report = {
        0x06, 0x00, 0xFF, 0x09, 0x01, 0xA1, 0x01,                                     //
        0x09, 0x02, 0x15, 0x00, 0x26, 0xFF, 0x00, 0x75, 0x08, 0x95, 0x40, 0x81, 0x02, //
        0x09, 0x03, 0x15, 0x00, 0x26, 0xFF, 0x00, 0x75, 0x08, 0x95, 0x40, 0x91, 0x02, 0xC0,
    };
    EXPECT_EQ(client.Get({0x81, 0x06, 0x00, 0x22, 0x00, 0x00, 0xFF, 0x00}), report);
}

TEST(UsbReaderIdentity, IdsTextsAndTheOutEndpointAreSettable)
{
    vreader::UsbOptions usb;
    usb.vendorId = 0x1234;
    usb.productId = 0xABCD;
    usb.manufacturer = "\xE5\x8D\xA1"; // one character of three bytes
    usb.product = "";
    usb.serialNumber = "\xF0\x9F\x92\xB3"; // one that needs two units
    usb.outEndpoint = false;
    UsbTestBench bench(usb);
    const UsbBytes device = bench.client.Get(GetDescriptor(1, 0, 18));
    EXPECT_EQ(UsbBytes(device.begin() + 8, device.end()),
              (UsbBytes{0x34, 0x12, 0xCD, 0xAB, 0x00, 0x01, 0x01, 0x00, 0x03, 0x01}));
    EXPECT_EQ(bench.client.Get(GetDescriptor(3, 0, 255)), (UsbBytes{0x04, 0x03, 0x09, 0x04}));
    EXPECT_EQ(bench.client.Get(GetDescriptor(3, 1, 255, 9)), (UsbBytes{0x04, 0x03, 0x61, 0x53}));
    EXPECT_EQ(bench.client.Get(GetDescriptor(3, 3, 255, 9)),
              (UsbBytes{0x06, 0x03, 0x3D, 0xD8, 0xB3, 0xDC}));
    EXPECT_EQ(bench.client.Get(GetDescriptor(3, 2, 255, 9)), UsbBytes{0xE0});
    EXPECT_EQ(bench.client.Get(GetDescriptor(3, 4, 255, 9)), UsbBytes{0xE0});
    EXPECT_EQ(bench.client.Get(GetDescriptor(3, 1, 255, 7)), UsbBytes{0xE0}); // another language
    const UsbBytes configuration = bench.client.Get(GetDescriptor(2, 0, 255));
    ASSERT_EQ(configuration.size(), 34u);
    EXPECT_EQ(configuration[2], 34);
    EXPECT_EQ(configuration[13], 1);
}

TEST(UsbReaderIdentity, TextsThatFitNoDescriptorAreRefused)
{
    vreader::UsbOptions usb;
    usb.connect = [](std::string *) { return -1; };
    std::string error;
    usb.product = std::string(127, 'x');
    EXPECT_EQ(vreader::StartUsbReader({}, usb, &error), nullptr);
    EXPECT_EQ(error, "the USB product must be UTF-8 of at most 126 UTF-16 units");
    usb.product = "\xFF";
    EXPECT_EQ(vreader::StartUsbReader({}, usb, &error), nullptr);
    EXPECT_EQ(error, "the USB product must be UTF-8 of at most 126 UTF-16 units");
}

TEST(UsbReaderIdentity, OneWayOfPluggingInIsGiven)
{
    std::string error;
    EXPECT_EQ(vreader::StartUsbReader({}, {}, &error), nullptr);
    vreader::UsbOptions both;
    both.attach = true;
    both.listen = "0";
    EXPECT_EQ(vreader::StartUsbReader({}, both, &error), nullptr);
    EXPECT_EQ(error, "a USB reader is attached, listens, or is given a connection: one of the "
                     "three");
}

// ---- Control requests ----

TEST_F(UsbReaderTest, ServesTheStandardRequests)
{
    EXPECT_EQ(client.Get({0x80, 0x08, 0, 0, 0, 0, 1, 0}), UsbBytes{0});      // configuration
    EXPECT_EQ(client.Get({0x80, 0x00, 0, 0, 0, 0, 2, 0}), (UsbBytes{0, 0})); // status
    client.Configure();
    EXPECT_EQ(client.Get({0x80, 0x08, 0, 0, 0, 0, 1, 0}), UsbBytes{1});
    EXPECT_EQ(client.Get({0x81, 0x0A, 0, 0, 0, 0, 1, 0}), UsbBytes{0}); // interface setting
    client.Set({0x01, 0x0B, 0, 0, 0, 0, 0, 0});
    client.Set({0x21, 0x0A, 0, 0, 0, 0, 0, 0});             // SET_IDLE
    client.Set({0x00, 0x09, 2, 0, 0, 0, 0, 0}, {}, kStall); // there is no configuration 2
    client.Set({0x01, 0x0B, 1, 0, 0, 0, 0, 0}, {}, kStall);
    EXPECT_EQ(client.Get(GetDescriptor(6, 0, 10)), UsbBytes{0xE0}); // no other speed
    EXPECT_EQ(client.Get({0xC0, 0x33, 0, 0, 0, 0, 2, 0}), UsbBytes{0xE0});
}

TEST_F(UsbReaderTest, KeepsTheFeatureReport)
{
    client.Configure();
    UsbBytes feature(64);
    feature[0] = 0xA5;
    EXPECT_EQ(client.Get({0xA1, 0x01, 0x00, 0x03, 0, 0, 64, 0}), UsbBytes(64));
    client.Set({0x21, 0x09, 0x00, 0x03, 0, 0, 1, 0}, {0xA5});
    EXPECT_EQ(client.Get({0xA1, 0x01, 0x00, 0x03, 0, 0, 64, 0}), feature);
    client.Set({0x21, 0x09, 0x00, 0x03, 0, 0, 65, 0}, UsbBytes(65), kStall);
}

TEST_F(UsbReaderTest, ARequestWhoseDirectionsDisagreeIsStalled)
{
    client.Send(UsbClient::Submit(1, 0, 0, 8, GetDescriptor(1, 0, 8), UsbBytes(8)));
    client.Expect(UsbClient::Reply(1, kStall, 0));
    client.Send(UsbClient::Submit(2, 1, 0, 8, {0x21, 0x09, 0, 2, 0, 0, 8, 0}));
    client.Expect(UsbClient::Reply(2, kStall, 0));
}

TEST_F(UsbReaderTest, ReportsBeforeTheConfigurationAreStalled)
{
    client.Send(UsbClient::Submit(1, 1, 1, 64));
    client.Expect(UsbClient::Reply(1, kStall, 0));
    client.Send(UsbClient::Submit(2, 0, 2, 64, UsbBytes(8), kAsk));
    client.Expect(UsbClient::Reply(2, kStall, 0));
}

// ---- Reports ----

TEST_F(ConfiguredUsbReader, AnswersACommandInAReportWithItsModeIdAndLength)
{
    SubmitRead(9);
    Write(kAsk);
    client.Expect(UsbClient::Reply(9, kOk, 64, kAnswer));
    EXPECT_EQ(Control("usb reports"), "ok 020B");
    EXPECT_EQ(Control("wait 1"), "ok");
}

TEST_F(ConfiguredUsbReader, AnAnswerWaitsForTheHostToRead)
{
    Write(kAsk);
    EXPECT_EQ(Control("wait 1"), "ok");
    EXPECT_TRUE(client.IsSilent());
    SubmitRead(10);
    client.Expect(UsbClient::Reply(10, kOk, 64, kAnswer));
    SubmitRead(11);
    EXPECT_TRUE(client.IsSilent());
}

TEST_F(ConfiguredUsbReader, ModeIdZeroIsAnsweredWithModeIdZero)
{
    UsbBytes ask = kAsk;
    UsbBytes answer = kAnswer;
    ask[0] = answer[0] = 0;
    SubmitRead(9);
    Write(ask);
    client.Expect(UsbClient::Reply(9, kOk, 64, answer));
}

TEST_F(ConfiguredUsbReader, ACommandMayComeInSeveralReports)
{
    SubmitRead(9);
    Write(Padded({0x02, 0x04, '6', '0', '0', '2'}));
    Write(Padded({0x02, 0x07, '8', '1', '0', '0', 'E', '3', 0x03}));
    client.Expect(UsbClient::Reply(9, kOk, 64, kAnswer));
    EXPECT_EQ(Control("usb reports"), "ok 0204 0207");
}

TEST_F(ConfiguredUsbReader, ALongAnswerComesInReportsOf62Bytes)
{
    Control("fault flood 63");
    SubmitRead(9);
    SubmitRead(10);
    Write(kAsk);
    UsbBytes first(64, 0xAA);
    first[0] = 0x02;
    first[1] = 62;
    client.Expect(UsbClient::Reply(9, kOk, 64, first));
    client.Expect(UsbClient::Reply(10, kOk, 64, Padded({0x02, 0x01, 0xAA})));
}

TEST_F(ConfiguredUsbReader, ReportsOfAnotherShapeArePassedOver)
{
    UsbBytes tooLong = kAsk;
    tooLong[1] = 63;
    Write(tooLong);
    Write(UsbBytes(kAsk.begin(), kAsk.begin() + 13));
    Write({});
    SubmitRead(9);
    EXPECT_TRUE(client.IsSilent());
    EXPECT_THAT(Control("trace"), HasSubstr("an output report with payload length 63"));
    EXPECT_THAT(Control("trace"), HasSubstr("an output report with 13 bytes"));
    EXPECT_THAT(Control("trace"), HasSubstr("an output report with 0 bytes"));
    EXPECT_THAT(Control("usb info"), HasSubstr("\"out\":3"));
}

TEST(UsbReaderWithoutOutEndpoint, TakesReportsBySetReport)
{
    vreader::UsbOptions usb;
    usb.outEndpoint = false;
    UsbTestBench bench(usb);
    bench.client.Configure();
    bench.client.Send(UsbClient::Submit(9, 1, 1, 64));
    bench.client.Set({0x21, 0x09, 0x00, 0x02, 0, 0, 64, 0}, kAsk);
    bench.client.Expect(UsbClient::Reply(9, kOk, 64, kAnswer));
    bench.client.Send(UsbClient::Submit(10, 0, 2, 64, UsbBytes(8), kAsk));
    bench.client.Expect(UsbClient::Reply(10, kStall, 0));
}

TEST_F(ConfiguredUsbReader, AReadThatIsTakenBackGetsNoReportOfItsOwn)
{
    SubmitRead(9);
    client.Send(UsbClient::Unlink(10, 9));
    client.Expect(UsbClient::UnlinkReply(10, kTakenBack));
    client.Send(UsbClient::Unlink(11, 9)); // over already
    client.Expect(UsbClient::UnlinkReply(11, kOk));
    Write(kAsk);
    SubmitRead(12);
    client.Expect(UsbClient::Reply(12, kOk, 64, kAnswer));
}

TEST_F(ConfiguredUsbReader, EchoesReportsOnCommand)
{
    EXPECT_EQ(Control("usb echo on"), "ok");
    SubmitRead(9);
    Write({0x11, 0x22, 0x33});
    client.Expect(UsbClient::Reply(9, kOk, 3, {0x11, 0x22, 0x33}));
    EXPECT_EQ(Control("usb echo off"), "ok");
    Write(kAsk);
    SubmitRead(10);
    client.Expect(UsbClient::Reply(10, kOk, 64, kAnswer));
    EXPECT_EQ(Control("usb echo"), "error: expected usb echo on, or off");
}

// ---- Faults ----

TEST_F(ConfiguredUsbReader, SendsReportsOnCommand)
{
    SubmitRead(9);
    EXPECT_EQ(Control("usb report 0102030405"), "ok");
    client.Expect(UsbClient::Reply(9, kOk, 5, {1, 2, 3, 4, 5}));
    SubmitRead(10);
    EXPECT_EQ(Control("usb report -"), "ok");
    client.Expect(UsbClient::Reply(10, kOk, 0));
    EXPECT_EQ(Control("usb report 123"),
              "error: expected usb report HEX, or - for an empty report");
    EXPECT_EQ(Control("usb report"), "error: expected usb report HEX, or - for an empty report");
}

TEST_F(ConfiguredUsbReader, AReportThatDoesNotFitTheReadIsAnOverflow)
{
    SubmitRead(9, 4);
    Control("usb report 0102030405");
    client.Expect(UsbClient::Reply(9, kOverflow, 0));
    EXPECT_EQ(Control("usb in babble"), "ok");
    SubmitRead(10);
    Control("usb report 01");
    client.Expect(UsbClient::Reply(10, kOverflow, 0));
}

TEST_F(ConfiguredUsbReader, InputReportsAreCutDroppedAndDelayed)
{
    SubmitRead(9);
    Control("usb in cut 2");
    Control("usb report 010203");
    client.Expect(UsbClient::Reply(9, kOk, 2, {1, 2}));
    Control("usb in drop after 1 count 2");
    Control("usb report 11");
    Control("usb report 12");
    Control("usb report 13");
    Control("usb report 14");
    SubmitRead(10);
    client.Expect(UsbClient::Reply(10, kOk, 1, {0x11}));
    SubmitRead(11);
    client.Expect(UsbClient::Reply(11, kOk, 1, {0x14}));
    Control("usb in delay 40");
    SubmitRead(12);
    const auto start = std::chrono::steady_clock::now();
    Control("usb report 15");
    Control("usb report 16"); // does not overtake it
    client.Expect(UsbClient::Reply(12, kOk, 1, {0x15}));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(40));
}

TEST_F(ConfiguredUsbReader, AStalledInputStaysHaltedUntilTheHostClearsItAndThenSendsItsReport)
{
    Control("usb in stall");
    Control("usb report 21");
    SubmitRead(9);
    client.Expect(UsbClient::Reply(9, kStall, 0));
    SubmitRead(10);
    client.Expect(UsbClient::Reply(10, kStall, 0));
    EXPECT_EQ(client.Get({0x82, 0x00, 0, 0, 0x81, 0, 2, 0}), (UsbBytes{1, 0}));
    client.Set({0x02, 0x01, 0, 0, 0x81, 0, 0, 0});
    EXPECT_EQ(client.Get({0x82, 0x00, 0, 0, 0x81, 0, 2, 0}), (UsbBytes{0, 0}));
    SubmitRead(11);
    client.Expect(UsbClient::Reply(11, kOk, 1, {0x21}));
}

TEST_F(ConfiguredUsbReader, AFailedInputIsFollowedByItsReport)
{
    Control("usb in error");
    Control("usb report 22");
    SubmitRead(9);
    client.Expect(UsbClient::Reply(9, kProtocol, 0));
    SubmitRead(10);
    client.Expect(UsbClient::Reply(10, kOk, 1, {0x22}));
}

TEST_F(ConfiguredUsbReader, OutputReportsAreStalledFailedLostAndHeld)
{
    Control("usb out stall");
    Write(kAsk, kStall);
    Write(kAsk, kStall); // halted
    client.Set({0x02, 0x01, 0, 0, 0x02, 0, 0, 0});
    Control("usb out error");
    Write(kAsk, kProtocol);
    Control("usb out drop");
    Write(kAsk);
    EXPECT_EQ(Control("usb reports"), "ok");

    Control("usb out hold");
    client.Send(UsbClient::Submit(0x30, 0, 2, 64, UsbBytes(8), kAsk));
    EXPECT_TRUE(client.IsSilent());
    EXPECT_THAT(Control("usb info"), HasSubstr("\"held\":1"));
    client.Send(UsbClient::Unlink(0x31, 0x30));
    client.Expect(UsbClient::UnlinkReply(0x31, kTakenBack));
    Write(kAsk);
    EXPECT_EQ(Control("usb reports"), "ok 020B");
}

TEST_F(ConfiguredUsbReader, AFaultPullsThePlugInTheMiddleOfAWriteOrInsteadOfAnAnswer)
{
    Control("usb out unplug");
    client.Send(UsbClient::Submit(1, 0, 2, 64, UsbBytes(8), kAsk));
    EXPECT_TRUE(client.IsClosed());
    AwaitRemark("line closed");
    ASSERT_EQ(Control("plug"), "ok");
    client.Configure();
    Control("usb in unplug");
    Write(kAsk);
    EXPECT_TRUE(client.IsClosed());
}

TEST_F(ConfiguredUsbReader, ClearTakesFaultsAndReportsBack)
{
    Control("usb in drop count 0");
    Control("usb out stall");
    Control("usb report 33");
    EXPECT_EQ(Control("usb clear"), "ok");
    Control("usb report 34");
    SubmitRead(9);
    client.Expect(UsbClient::Reply(9, kOk, 1, {0x34}));
    Write(kAsk);
}

TEST_F(UsbReaderTest, WrongControlWordsAreRefused)
{
    EXPECT_EQ(Control("usb"), "error: unknown command \"usb \"");
    EXPECT_EQ(Control("usb dance"), "error: unknown command \"usb dance\"");
    EXPECT_EQ(Control("usb info now"), "error: nothing may follow usb info");
    EXPECT_EQ(Control("usb in hold"), "error: no fault \"hold\" of input reports; there are cut, "
                                      "babble, drop, stall, error, delay, unplug");
    EXPECT_EQ(Control("usb out cut 1"), "error: no fault \"cut\" of output reports; there are "
                                        "drop, stall, error, hold, unplug");
    EXPECT_EQ(Control("usb in cut"), "error: cut needs a number from 0 to 63");
    EXPECT_EQ(Control("usb in cut 64"), "error: cut needs a number from 0 to 63");
    EXPECT_EQ(Control("usb in drop twice"),
              "error: expected \"count N\" or \"after N\" behind drop");
    vreader::RunningReader *other = vreader::StartReader({}, &error);
    EXPECT_EQ(vreader::Control(other, "usb info"), "error: this reader is on no USB");
    vreader::StopReader(other);
}

// ---- Plugging ----

TEST_F(ConfiguredUsbReader, UnplugClosesTheConnectionAndPlugMakesANewOne)
{
    Control("usb report 44"); // what was not fetched is lost with the power
    EXPECT_EQ(Control("unplug"), "ok");
    EXPECT_TRUE(client.IsClosed());
    EXPECT_THAT(Control("usb info"), HasSubstr("\"plugged\":false"));
    EXPECT_EQ(Control("plug"), "ok");
    client.Configure();
    SubmitRead(9);
    EXPECT_TRUE(client.IsSilent());
    Write(kAsk);
    client.Expect(UsbClient::Reply(9, kOk, 64, kAnswer));
}

TEST_F(ConfiguredUsbReader, AHostThatGoesIsRemarkedAndLeavesTheReaderPluggable)
{
    client.Close();
    AwaitRemark("the host has let go");
    EXPECT_EQ(Control("unplug"), "ok");
    EXPECT_EQ(Control("plug"), "ok");
    EXPECT_EQ(client.Get(GetDescriptor(1, 0, 18)), kDeviceDescriptor);
}

TEST(UsbReaderPlug, FailsWithTheTextOfWhoConnects)
{
    vreader::UsbOptions usb;
    usb.connect = [](std::string *error)
    {
        *error = "no cable";
        return -1;
    };
    std::string error;
    EXPECT_EQ(vreader::StartUsbReader({}, usb, &error), nullptr);
    EXPECT_EQ(error, "no cable");
}

// ---- Hosts that are no kernel ----

struct HostileMessage
{
    const char *name;
    size_t offset; // of the byte that is changed
    uint8_t value;
    const char *remark;
};

void PrintTo(const HostileMessage &message, std::ostream *out)
{
    *out << message.name;
}

struct HostileUsbHost : ConfiguredUsbReader, testing::WithParamInterface<HostileMessage>
{
};

TEST_P(HostileUsbHost, IsLeft)
{
    UsbBytes message = UsbClient::Submit(9, 1, 1, 64);
    message[GetParam().offset] = GetParam().value;
    client.Send(message);
    EXPECT_TRUE(client.IsClosed());
    AwaitRemark(GetParam().remark);
    Control("unplug");
    EXPECT_EQ(Control("plug"), "ok");
    EXPECT_EQ(client.Get(GetDescriptor(1, 0, 18)), kDeviceDescriptor);
}

INSTANTIATE_TEST_SUITE_P(
    , HostileUsbHost,
    testing::Values(HostileMessage{"Command", 3, 9, "USB: command 9 is no request"},
                    HostileMessage{"NegativeCommand", 0, 0xFF, "USB: command 4278190081 is no"},
                    HostileMessage{"Direction", 15, 2, "USB: direction 2 is no request"},
                    HostileMessage{"Endpoint", 19, 16, "USB: endpoint 16 is no request"},
                    HostileMessage{"Length", 25, 2, "USB: a transfer of 131136 bytes is no"},
                    HostileMessage{"NegativeLength", 24, 0x80, "USB: a transfer of 2147483712"},
                    HostileMessage{"Isochronous", 35, 1, "USB: an isochronous transfer is no"}),
    [](const testing::TestParamInfo<HostileMessage> &message) { return message.param.name; });

TEST_F(ConfiguredUsbReader, AHostWithTooManyOpenReadsIsLeft)
{
    for (int i = 0; i < 1024; ++i)
        SubmitRead(static_cast<uint8_t>(i));
    EXPECT_TRUE(client.IsSilent());
    SubmitRead(0);
    EXPECT_TRUE(client.IsClosed());
}

TEST_F(ConfiguredUsbReader, AHostThatReadsNoRepliesIsNotListenedToForEver)
{
    // 400,000 replies would be 19 MB; the reader stops reading long before, and so the host blocks.
    const UsbBytes request = UsbClient::Submit(1, 1, 0, 18, GetDescriptor(1, 0, 18));
    int sent = 0;
    while (sent < 400000 &&
           send(client.descriptor, request.data(), request.size(), MSG_NOSIGNAL | MSG_DONTWAIT) > 0)
        ++sent;
    EXPECT_LT(sent, 400000);
    EXPECT_EQ(Control("unplug"), "ok");
}

TEST_F(ConfiguredUsbReader, MessagesMayComeInAnyPieces)
{
    UsbBytes both = UsbClient::Submit(9, 1, 1, 64);
    both = Joined(both, UsbClient::Submit(0x20, 0, 2, 64, UsbBytes(8), kAsk));
    for (const uint8_t byte : both)
        client.Send({byte});
    client.Expect(UsbClient::Reply(0x20, kOk, 64));
    client.Expect(UsbClient::Reply(9, kOk, 64, kAnswer));
}

TEST_F(ConfiguredUsbReader, EndpointsThatDoNotExistAreStalled)
{
    for (const uint8_t endpoint : UsbBytes{2, 3, 15})
    {
        client.Send(UsbClient::Submit(1, 1, endpoint, 64));
        client.Expect(UsbClient::Reply(1, kStall, 0));
    }
    client.Send(UsbClient::Submit(2, 0, 1, 1, UsbBytes(8), {0x55}));
    client.Expect(UsbClient::Reply(2, kStall, 0));
}

// ---- TCP ----

namespace
{

struct ListeningUsbReader : testing::Test
{
    UsbTestBench bench{Listening()};

    static vreader::UsbOptions Listening()
    {
        vreader::UsbOptions usb;
        usb.listen = "0";
        return usb;
    }

    int Dial() const
    {
        const std::string address = vreader::UsbAddress(bench.reader);
        EXPECT_EQ(address.substr(0, 10), "127.0.0.1:");
        sockaddr_in target = {};
        target.sin_family = AF_INET;
        target.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        target.sin_port = htons(static_cast<uint16_t>(std::stoi(address.substr(10))));
        const int end = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(connect(end, reinterpret_cast<sockaddr *>(&target), sizeof target), 0);
        return end;
    }

    static UsbBytes Import(const std::string &busId)
    {
        UsbBytes request = {0x01, 0x11, 0x80, 0x03, 0, 0, 0, 0};
        request.insert(request.end(), busId.begin(), busId.end());
        request.resize(40);
        return request;
    }

    static UsbBytes Device()
    {
        const std::string path = "/sys/devices/virtual/vantor-reader/1-1";
        UsbBytes device(path.begin(), path.end());
        device.resize(256);
        device = Joined(device, {'1', '-', '1'});
        device.resize(288);
        return Joined(device, {0,    0,    0,    1,    0,    0,
                               0,    2,    0,    0,    0,    2,    // bus, address, full speed
                               0x1B, 0xC3, 0x01, 0x51, 0x01, 0x00, // ids, release
                               0,    0,    0,    0,    1,    1});
    }
};

} // namespace

TEST_F(ListeningUsbReader, ListsItsDevice)
{
    const UsbClient client(Dial());
    client.Send({0x01, 0x11, 0x80, 0x05, 0, 0, 0, 0});
    client.Expect(
        Joined(Joined({0x01, 0x11, 0x00, 0x05, 0, 0, 0, 0, 0, 0, 0, 1}, Device()), {3, 0, 0, 0}));
    EXPECT_TRUE(client.IsClosed());
}

TEST_F(ListeningUsbReader, IsTakenOverByOneHostAtATime)
{
    UsbClient client(Dial());
    client.Send(Import("1-1"));
    client.Expect(Joined({0x01, 0x11, 0x00, 0x03, 0, 0, 0, 0}, Device()));
    client.Configure();
    client.Send(UsbClient::Submit(9, 1, 1, 64));
    client.Send(UsbClient::Submit(0x20, 0, 2, 64, UsbBytes(8), kAsk));
    client.Expect(UsbClient::Reply(0x20, kOk, 64));
    client.Expect(UsbClient::Reply(9, kOk, 64, kAnswer));
    {
        const UsbClient second(Dial());
        second.Send(Import("1-1"));
        second.Expect({0x01, 0x11, 0x00, 0x03, 0, 0, 0, 2});
        EXPECT_TRUE(second.IsClosed());
    }
    client.Close();
    bench.AwaitRemark("the host has let go");
    const UsbClient third(Dial());
    third.Send(Import("1-1"));
    third.Expect(Joined({0x01, 0x11, 0x00, 0x03, 0, 0, 0, 0}, Device()));
}

TEST_F(ListeningUsbReader, AnotherHostStartsAfreshAndFindsNothingOfTheOneBefore)
{
    UsbClient client(Dial());
    client.Send(Import("1-1"));
    client.Receive(320);
    client.Configure();
    // Half a command, and a report that is not fetched.
    client.Send(
        UsbClient::Submit(1, 0, 2, 64, UsbBytes(8), Padded({0x02, 0x04, '6', '0', '0', '2'})));
    client.Receive(48);
    bench.Control("usb report 55");
    client.Close();
    bench.AwaitRemark("the host has let go");

    const UsbClient next(Dial());
    next.Send(Import("1-1"));
    next.Receive(320);
    next.Configure();
    next.Send(UsbClient::Submit(9, 1, 1, 64));
    EXPECT_TRUE(next.IsSilent());
    next.Send(UsbClient::Submit(0x20, 0, 2, 64, UsbBytes(8), kAsk));
    next.Expect(UsbClient::Reply(0x20, kOk, 64));
    next.Expect(UsbClient::Reply(9, kOk, 64, kAnswer));
}

TEST_F(ListeningUsbReader, OtherBusIdsVersionsAndRequestsGetNothing)
{
    const UsbClient other(Dial());
    other.Send(Import("1-2"));
    other.Expect({0x01, 0x11, 0x00, 0x03, 0, 0, 0, 4});
    const UsbClient longer(Dial());
    longer.Send(Import(std::string("1-1\0x", 5)));
    longer.Expect({0x01, 0x11, 0x00, 0x03, 0, 0, 0, 4});
    const UsbClient version(Dial());
    version.Send({0x01, 0x10, 0x80, 0x05, 0, 0, 0, 0});
    EXPECT_TRUE(version.IsClosed());
    const UsbClient request(Dial());
    request.Send({0x01, 0x11, 0x80, 0x07, 0, 0, 0, 0});
    EXPECT_TRUE(request.IsClosed());
}

TEST_F(ListeningUsbReader, UnpluggedItIsNotThere)
{
    EXPECT_EQ(bench.Control("unplug"), "ok");
    const UsbClient list(Dial());
    list.Send({0x01, 0x11, 0x80, 0x05, 0, 0, 0, 0});
    list.Expect({0x01, 0x11, 0x00, 0x05, 0, 0, 0, 0, 0, 0, 0, 0});
    const UsbClient import(Dial());
    import.Send(Import("1-1"));
    import.Expect({0x01, 0x11, 0x00, 0x03, 0, 0, 0, 1});
    EXPECT_EQ(bench.Control("plug"), "ok");
    const UsbClient again(Dial());
    again.Send(Import("1-1"));
    again.Expect({0x01, 0x11, 0x00, 0x03, 0, 0, 0, 0});
}

TEST_F(ListeningUsbReader, SilentClientsDoNotKeepOthersOut)
{
    std::list<UsbClient> silent;
    for (int i = 0; i < 40; ++i)
        silent.emplace_back(Dial());
    const UsbClient client(Dial());
    client.Send(Import("1-1"));
    client.Expect({0x01, 0x11, 0x00, 0x03, 0, 0, 0, 0});
}

TEST(UsbListening, OnAnAddressThatIsNoneFails)
{
    vreader::UsbOptions usb;
    std::string error;
    for (const char *address : {"", "x", "1.2.3:4", "65536", "127.0.0.1:-1"})
    {
        usb.listen = address;
        EXPECT_EQ(vreader::StartUsbReader({}, usb, &error), nullptr) << address;
    }
    EXPECT_EQ(error, "\"127.0.0.1:-1\" is no address to listen on; expected [ADDRESS:]PORT");
}
