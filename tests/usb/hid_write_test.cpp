// Output and feature reports, string descriptors, failure texts.
#include "usb/usb_bench.h"

using usb_standin::Bytes;
using usb_standin::Call;
using usb_standin::ControlTransfers;
using usb_standin::Fail;
using usb_standin::OutTransfers;
using usb_standin::ReaderModel;
using usb_standin::StringDescriptor;

namespace
{

using HidWrite = OpenReader;
using HidTexts = OpenReader;

usb_standin::DeviceModel ModelWithoutOutEndpoint()
{
    usb_standin::DeviceModel model = ReaderModel();
    model.configurationDescriptor = {
        0x09, 0x02, 0x22, 0x00, 0x01, 0x01, 0x00, 0x80, 0x32, //
        0x09, 0x04, 0x03, 0x00, 0x01, 0x03, 0x00, 0x00, 0x00, // interface 3, one endpoint
        0x09, 0x21, 0x11, 0x01, 0x00, 0x01, 0x22, 0x22, 0x00, //
        0x07, 0x05, 0x81, 0x03, 0x40, 0x00, 0x01,             //
    };
    model.kernelDrivers = {3};
    model.features[0] = {0xA1, 0xA2, 0xA3};
    model.features[5] = {0x05, 0xB1, 0xB2};
    return model;
}

struct HidControlWrite : OpenReader
{
    HidControlWrite() : OpenReader(ModelWithoutOutEndpoint())
    {
    }
};

TEST_F(HidWrite, ReportNumberZeroIsLeftOutAndCounted)
{
    Bytes report(65, 0x5A);
    report[0] = 0x00;
    EXPECT_EQ(hid_write(device, report.data(), report.size()), 65);
    const std::vector<usb_standin::OutTransfer> out = OutTransfers(reader);
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out[0].endpoint, 0x02);
    EXPECT_EQ(out[0].data, Bytes(64, 0x5A));
    EXPECT_EQ(out[0].timeoutMs, 1000u);
    EXPECT_EQ(ControlTransfers(reader).size(), 0u);
}

TEST_F(HidWrite, AnotherReportNumberIsSent)
{
    const Bytes report = {0x07, 0x01, 0x02};
    EXPECT_EQ(hid_write(device, report.data(), report.size()), 3);
    ASSERT_EQ(OutTransfers(reader).size(), 1u);
    EXPECT_EQ(OutTransfers(reader)[0].data, report);
}

TEST_F(HidWrite, NothingToSendAndTooMuchToSendAreRefused)
{
    const Bytes report(65537, 0x00);
    EXPECT_EQ(hid_write(device, nullptr, 65), -1);
    EXPECT_EQ(hid_write(device, report.data(), 0), -1);
    EXPECT_EQ(hid_write(device, report.data(), 1), -1);
    EXPECT_EQ(hid_write(device, report.data(), 65537), -1);
    EXPECT_STREQ(hid_error(device), L"the report is empty or too long");
    EXPECT_EQ(OutTransfers(reader).size(), 0u);
    EXPECT_EQ(hid_write(device, report.data(), 65536), 65536);
    EXPECT_EQ(OutTransfers(reader)[0].data.size(), 65535u);
}

TEST_F(HidWrite, AReportThatIsNotTakenInTimeFails)
{
    const unsigned char report[65] = {};
    Fail(Call::Interrupt, LIBUSB_ERROR_TIMEOUT);
    EXPECT_EQ(hid_write(device, report, sizeof report), -1);
    EXPECT_STREQ(hid_error(device), L"the device did not take the report in time");
    EXPECT_EQ(hid_write(device, report, sizeof report), 65);
}

TEST_F(HidWrite, AStalledOutEndpointIsClearedSoThatTheNextReportGoesOut)
{
    const unsigned char report[65] = {};
    Fail(Call::Interrupt, LIBUSB_ERROR_PIPE);
    EXPECT_EQ(hid_write(device, report, sizeof report), -1);
    EXPECT_EQ(hid_write(device, report, sizeof report), 65);
    EXPECT_EQ(usb_standin::Journal().back(), "clear halt 02");
}

TEST_F(HidWrite, ADeviceThatIsGoneTakesNoReport)
{
    usb_standin::Unplug(reader);
    const unsigned char report[65] = {};
    EXPECT_EQ(hid_write(device, report, sizeof report), -1);
    EXPECT_STREQ(hid_error(device), L"the device is gone");
}

TEST_F(HidControlWrite, WithoutAnOutEndpointTheReportIsASetReportRequest)
{
    Bytes report(65, 0x5A);
    report[0] = 0x00;
    EXPECT_EQ(hid_write(device, report.data(), report.size()), 65);
    const Bytes numbered = {0x07, 0x01, 0x02};
    EXPECT_EQ(hid_write(device, numbered.data(), numbered.size()), 3);

    const std::vector<usb_standin::ControlTransfer> control = ControlTransfers(reader);
    ASSERT_EQ(control.size(), 2u);
    EXPECT_EQ(control[0].setup, (Bytes{0x21, 0x09, 0x00, 0x02, 0x03, 0x00, 0x40, 0x00}));
    EXPECT_EQ(control[0].data, Bytes(64, 0x5A));
    EXPECT_EQ(control[0].timeoutMs, 1000u);
    EXPECT_EQ(control[1].setup, (Bytes{0x21, 0x09, 0x07, 0x02, 0x03, 0x00, 0x03, 0x00}));
    EXPECT_EQ(control[1].data, numbered);
    EXPECT_EQ(OutTransfers(reader).size(), 0u);
}

TEST_F(HidControlWrite, AFailedSetReportFailsTheWrite)
{
    const unsigned char report[65] = {};
    Fail(Call::Control, LIBUSB_ERROR_PIPE);
    EXPECT_EQ(hid_write(device, report, sizeof report), -1);
    EXPECT_STREQ(hid_error(device), L"the device refused the request");
}

TEST_F(HidControlWrite, AFeatureReportIsSentByTheSameRules)
{
    const Bytes unnumbered = {0x00, 0x11, 0x22};
    EXPECT_EQ(hid_send_feature_report(device, unnumbered.data(), unnumbered.size()), 3);
    const Bytes numbered = {0x05, 0x33};
    EXPECT_EQ(hid_send_feature_report(device, numbered.data(), numbered.size()), 2);
    const std::vector<usb_standin::ControlTransfer> control = ControlTransfers(reader);
    ASSERT_EQ(control.size(), 2u);
    EXPECT_EQ(control[0].setup, (Bytes{0x21, 0x09, 0x00, 0x03, 0x03, 0x00, 0x02, 0x00}));
    EXPECT_EQ(control[0].data, (Bytes{0x11, 0x22}));
    EXPECT_EQ(control[0].timeoutMs, 1000u);
    EXPECT_EQ(control[1].setup, (Bytes{0x21, 0x09, 0x05, 0x03, 0x03, 0x00, 0x02, 0x00}));
    EXPECT_EQ(control[1].data, numbered);
    EXPECT_EQ(hid_send_feature_report(device, nullptr, 2), -1);
    EXPECT_EQ(hid_send_feature_report(device, unnumbered.data(), 1), -1);
    EXPECT_EQ(hid_send_feature_report(device, unnumbered.data(), 0), -1);
}

TEST_F(HidControlWrite, AFeatureReportIsReadWithItsNumberInFront)
{
    Bytes unnumbered(8, 0xEE);
    unnumbered[0] = 0x00;
    EXPECT_EQ(hid_get_feature_report(device, unnumbered.data(), unnumbered.size()), 4);
    EXPECT_EQ(unnumbered, (Bytes{0x00, 0xA1, 0xA2, 0xA3, 0xEE, 0xEE, 0xEE, 0xEE}));
    Bytes numbered(8, 0xEE);
    numbered[0] = 0x05;
    EXPECT_EQ(hid_get_feature_report(device, numbered.data(), numbered.size()), 3);
    EXPECT_EQ(numbered, (Bytes{0x05, 0xB1, 0xB2, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}));

    const std::vector<usb_standin::ControlTransfer> control = ControlTransfers(reader);
    ASSERT_EQ(control.size(), 2u);
    EXPECT_EQ(control[0].setup, (Bytes{0xA1, 0x01, 0x00, 0x03, 0x03, 0x00, 0x07, 0x00}));
    EXPECT_EQ(control[1].setup, (Bytes{0xA1, 0x01, 0x05, 0x03, 0x03, 0x00, 0x08, 0x00}));
}

TEST_F(HidControlWrite, AFeatureReportIsCutAtTheBuffersEndAndBadArgumentsAreRefused)
{
    Bytes data(8, 0xEE);
    data[0] = 0x00;
    EXPECT_EQ(hid_get_feature_report(device, data.data(), 3), 3);
    EXPECT_EQ(data, (Bytes{0x00, 0xA1, 0xA2, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}));
    EXPECT_EQ(hid_get_feature_report(device, data.data(), 1), -1);
    EXPECT_EQ(hid_get_feature_report(device, data.data(), 0), -1);
    EXPECT_EQ(hid_get_feature_report(device, nullptr, 8), -1);
    data[0] = 0x06; // a report that the device does not have
    EXPECT_EQ(hid_get_feature_report(device, data.data(), data.size()), -1);
}

// ---- String descriptors ----

TEST_F(HidTexts, ComeFromTheDescriptorsInTheFirstLanguage)
{
    wchar_t text[32];
    EXPECT_EQ(hid_get_manufacturer_string(device, text, 32), 0);
    EXPECT_STREQ(text, L"Reader Works");
    EXPECT_EQ(hid_get_product_string(device, text, 32), 0);
    EXPECT_STREQ(text, L"Card Reader");
    EXPECT_EQ(hid_get_serial_number_string(device, text, 32), 0);
    EXPECT_STREQ(text, L"00012345");
    EXPECT_EQ(hid_get_indexed_string(device, 2, text, 32), 0);
    EXPECT_STREQ(text, L"Card Reader");
    const std::vector<usb_standin::ControlTransfer> control = ControlTransfers(reader);
    EXPECT_EQ(control[0].setup, (Bytes{0x80, 0x06, 0x00, 0x03, 0x00, 0x00, 0xFF, 0x00}));
    EXPECT_EQ(control[1].setup, (Bytes{0x80, 0x06, 0x01, 0x03, 0x09, 0x04, 0xFF, 0x00}));
    EXPECT_EQ(control[1].timeoutMs, 1000u);
}

TEST_F(HidTexts, AreCutToTheRoomAndAlwaysTerminated)
{
    wchar_t text[8] = L"xxxxxxx";
    EXPECT_EQ(hid_get_product_string(device, text, 5), 0);
    EXPECT_STREQ(text, L"Card");
    EXPECT_EQ(text[5], L'x');
    EXPECT_EQ(hid_get_product_string(device, text, 1), 0);
    EXPECT_STREQ(text, L"");
    text[0] = L'x';
    EXPECT_EQ(hid_get_product_string(device, text, 0), -1);
    EXPECT_EQ(text[0], L'x');
    EXPECT_EQ(hid_get_product_string(device, nullptr, 8), -1);
}

TEST_F(HidTexts, ThatAreAbsentAreEmptyAndFail)
{
    for (const int index : {9, 0, -1, 256, 257})
    {
        wchar_t text[8] = L"before";
        EXPECT_EQ(hid_get_indexed_string(device, index, text, 8), -1) << index;
        EXPECT_STREQ(text, L"") << index;
    }
    EXPECT_STREQ(hid_error(device), L"the device has no such text");
}

struct TextCase
{
    const char *name;
    Bytes languages; // empty: the device stalls
    Bytes descriptor;
    uint16_t language; // that is asked for
    int result;
    const wchar_t *text;
};

void PrintTo(const TextCase &text, std::ostream *out)
{
    *out << text.name;
}

struct HidTextDecoding : UsbBench, testing::WithParamInterface<TextCase>
{
};

TEST_P(HidTextDecoding, GivesTheText)
{
    usb_standin::DeviceModel model = ReaderModel();
    model.strings.erase(0);
    if (!GetParam().languages.empty())
        model.strings[0] = GetParam().languages;
    model.strings[3] = GetParam().descriptor;
    const int reader = usb_standin::Plug(model, 1, 2);
    hid_device *device = hid_open(0x1BC3, 0x0151, nullptr);
    wchar_t text[256] = L"before";
    EXPECT_EQ(hid_get_serial_number_string(device, text, 256), GetParam().result);
    EXPECT_STREQ(text, GetParam().text);
    const Bytes setup = ControlTransfers(reader).back().setup;
    EXPECT_EQ(setup[4] | setup[5] << 8, GetParam().language);
    hid_close(device);
}

const Bytes kEnglish = {0x04, 0x03, 0x09, 0x04};

INSTANTIATE_TEST_SUITE_P(
    , HidTextDecoding,
    testing::Values(
        TextCase{"FirstOfSeveralLanguages",
                 {0x06, 0x03, 0x04, 0x08, 0x09, 0x04},
                 StringDescriptor(u"1"),
                 0x0804,
                 0,
                 L"1"},
        TextCase{"EnglishWhenLanguagesStall", {}, StringDescriptor(u"1"), 0x0409, 0, L"1"},
        TextCase{
            "EnglishWhenNoLanguageIsListed", {0x02, 0x03}, StringDescriptor(u"1"), 0x0409, 0, L"1"},
        TextCase{"EnglishWhenTheLanguagesAreNoStringDescriptor",
                 {0x04, 0x01, 0x04, 0x08},
                 StringDescriptor(u"1"),
                 0x0409,
                 0,
                 L"1"},
        TextCase{"Chinese", kEnglish, StringDescriptor(u"\u8BFB\u5361\u5668"), 0x0409, 0,
                 L"\u8BFB\u5361\u5668"},
        TextCase{"SurrogatesAreCombined",
                 kEnglish,
                 {0x08, 0x03, 0x41, 0x00, 0x3D, 0xD8, 0x00, 0xDE},
                 0x0409,
                 0,
                 L"A\U0001F600"},
        TextCase{"HighestCharacter",
                 kEnglish,
                 {0x06, 0x03, 0xFF, 0xDB, 0xFF, 0xDF},
                 0x0409,
                 0,
                 L"\U0010FFFF"},
        TextCase{"HighSurrogateAtTheEnd",
                 kEnglish,
                 {0x06, 0x03, 0x41, 0x00, 0x3D, 0xD8},
                 0x0409,
                 0,
                 L"A\xFFFD"},
        TextCase{"HighSurrogateBeforeALetter",
                 kEnglish,
                 {0x06, 0x03, 0x3D, 0xD8, 0x41, 0x00},
                 0x0409,
                 0,
                 L"\xFFFD\x0041"},
        TextCase{"LowSurrogateAlone",
                 kEnglish,
                 {0x06, 0x03, 0x00, 0xDE, 0x41, 0x00},
                 0x0409,
                 0,
                 L"\xFFFD\x0041"},
        TextCase{"Empty", kEnglish, {0x02, 0x03}, 0x0409, 0, L""},
        TextCase{
            "HalfACharacterAtTheEnd", kEnglish, {0x05, 0x03, 0x41, 0x00, 0x42}, 0x0409, 0, L"A"},
        TextCase{"LengthBeyondWhatCame", kEnglish, {0x20, 0x03, 0x41, 0x00}, 0x0409, 0, L"A"},
        TextCase{"MoreThanTheLengthSays",
                 kEnglish,
                 {0x04, 0x03, 0x41, 0x00, 0x42, 0x00},
                 0x0409,
                 0,
                 L"A"},
        TextCase{"AnotherDescriptorType", kEnglish, {0x04, 0x02, 0x41, 0x00}, 0x0409, -1, L""},
        TextCase{"NoHeader", kEnglish, {0x04}, 0x0409, -1, L""},
        TextCase{"LengthBelowTheHeader", kEnglish, {0x00, 0x03, 0x41, 0x00}, 0x0409, -1, L""},
        TextCase{"Longest", kEnglish, StringDescriptor(std::u16string(126, u'z')), 0x0409, 0,
                 // 126 characters, the most that a length byte of 254 can say
                 L"zzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzz"
                 L"zzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzz"}),
    [](const testing::TestParamInfo<TextCase> &text) { return text.param.name; });

// ---- Failure texts ----

TEST_F(HidWrite, NoTextBeforeTheFirstFailureAndTheLastFailuresTextAfterIt)
{
    const unsigned char report[65] = {};
    EXPECT_EQ(hid_error(device), nullptr);
    EXPECT_EQ(hid_write(device, report, sizeof report), 65);
    EXPECT_EQ(hid_error(device), nullptr);
    Fail(Call::Interrupt, LIBUSB_ERROR_IO);
    hid_write(device, report, sizeof report);
    EXPECT_STREQ(hid_error(device), L"the transfer failed on the bus");
    EXPECT_EQ(hid_write(device, report, sizeof report), 65);
    EXPECT_STREQ(hid_error(device), L"the transfer failed on the bus");
    Fail(Call::Interrupt, -1234);
    hid_write(device, report, sizeof report);
    EXPECT_STREQ(hid_error(device), L"the USB system reported an unknown failure");
}

} // namespace
