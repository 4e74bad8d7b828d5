// Identity cards and magnetic cards over USB: the whole library as a host loads it, libusb being
// the stand-in.
#include <gmock/gmock.h>
#include <thread>

#include "support/host_library.h"
#include "usb/library/usb_reader.h"
#include "usb/usb_bench.h"

using testing_support::HostLibrary;

namespace
{

using UsbCounter = UsbBench;

// Bytes that the reader has sent since the last look.
size_t SentBytes(const UsbReader &reader)
{
    return (vreader::Control(reader.reader, "sent clear").size() - 3) / 2;
}

// A reader whose record comes in 21 reports: the one with the fingerprint has 38, which a bus does
// not deliver all at once. The host keeps 30 that it has not looked at.
struct ReaderWithoutFingerprints
{
    testing_support::Scratch directory;
    std::string profile = directory.path + "/reader.json";

    ReaderWithoutFingerprints()
    {
        testing_support::WriteFile(profile, R"({
            "reader": {"fingerprintCommand": false},
            "identityCards": {"card": {"kind": "foreign", "englishName": "SMITH, JOHN",
                "sex": "male", "number": "USA110195001011", "nationality": "USA",
                "birth": "1950-01-01", "validFrom": "2017-06-16", "validTo": "2027-06-15",
                "version": "01", "authority": "1500", "chineseName": "史"}},
            "identity": "card"})");
    }
};

TEST_F(UsbCounter, ReadsAnIdentityCard)
{
    const ReaderWithoutFingerprints without;
    UsbReader reader(without.profile);
    ASSERT_NE(reader.reader, nullptr) << reader.error;
    HostLibrary library;
    ASSERT_EQ(CALL(library, BO_Open)(0, 9600, 0), 0);
    char info[1024] = {};
    uint32_t length = 0;
    EXPECT_EQ(
        CALL(library, BO_ReadIdInfo)(nullptr, 0, info, &length, nullptr, 0, nullptr, nullptr, 5),
        0);
    EXPECT_STREQ(info, "SMITH, JOHN|\xC4\xD0|\xC3\xC0\xB9\xFA/USA|19500101||USA110195001011|1500|"
                       "20170616|20270615|I|\xCA\xB7|01||");
    // Mode, reset, find, select, two reads, mode: a report each, with the identity module's mode
    // id.
    const std::vector<usb_standin::OutTransfer> out = usb_standin::OutTransfers(reader.device);
    ASSERT_EQ(out.size(), 7u);
    usb_standin::Bytes reset = {0x02, 0x0A, 0xAA, 0xAA, 0xAA, 0x96,
                                0x69, 0x00, 0x03, 0x11, 0xFF, 0xED};
    reset.resize(64);
    EXPECT_EQ(out[1].data, reset);
    for (size_t i = 1; i < 6; i++)
        EXPECT_EQ(out[i].data[0], 0x02) << i;
    EXPECT_EQ(CALL(library, BO_Close)(), 0);
}

// One report asks, and 7 + 7 + 256 + 1024 + 1 bytes come in reports of 62: 22 together, which is
// what the bus needs with one report a millisecond. Not one more.
TEST_F(UsbCounter, ARecordTakesTwentyTwoReports)
{
    UsbReader reader("identity-cards");
    HostLibrary library;
    ASSERT_EQ(CALL(library, BO_Open)(0, 9600, 0), 0);
    DEVCONTEXT &device = VARIABLE(library, context);
    CALL(library, BO_ChangeMode)(2);
    ASSERT_EQ(CALL(library, ID_FindCard)(&device, 1000), 0);
    ASSERT_EQ(CALL(library, ID_SelectCard)(&device, 1000), 0);
    SentBytes(reader);
    const size_t before = usb_standin::OutTransfers(reader.device).size();
    static unsigned char raw[4096];
    int32_t length = 0;
    ASSERT_EQ(CALL(library, ID_ReadCard)(&device, raw, &length, 3000), 0);
    const size_t asked = usb_standin::OutTransfers(reader.device).size() - before;
    const size_t sent = SentBytes(reader);
    EXPECT_EQ(sent, 1295u);
    EXPECT_EQ(asked + (sent + 61) / 62, 22u);
    CALL(library, BO_ChangeMode)(0);
    EXPECT_EQ(CALL(library, BO_Close)(), 0);
}

TEST_F(UsbCounter, ReadsAndWritesAMagneticCard)
{
    UsbReader reader("magnetic-cards");
    HostLibrary library;
    ASSERT_EQ(CALL(library, BO_Open)(0, 9600, 0), 0);
    char track2[256] = {};
    char track3[256] = {};
    uint32_t length2 = 0;
    uint32_t length3 = 0;
    std::thread hand(
        [&]
        {
            vreader::Control(reader.reader, "wait swipe");
            vreader::Control(reader.reader, "swipe all-tracks");
        });
    EXPECT_EQ(CALL(library, BO_ReadMagCard)(0, 23, 0, nullptr, nullptr, sizeof track2, track2,
                                            &length2, sizeof track3, track3, &length3, 30),
              0);
    hand.join();
    EXPECT_STREQ(track2, "6200000000000005=30121010000000000000");
    EXPECT_EQ(length3, 97u);
    vreader::Control(reader.reader, "swipe next empty");
    EXPECT_EQ(CALL(library, BO_WriteMagCard)(0, 0, 0, "6=1", 0, "01=2", 0, 5), 0);
    EXPECT_EQ(vreader::Control(reader.reader, "tracks empty"),
              R"(ok {"1":null,"2":"6=1","3":"01=2"})");
    vreader::Control(reader.reader, "swipe next refuses-track-3");
    EXPECT_EQ(CALL(library, BO_WriteMagCard)(0, 0, 0, "6=1", 0, "01=2", 0, 5), -2103);
    EXPECT_EQ(CALL(library, BO_Close)(), 0);
}

} // namespace
