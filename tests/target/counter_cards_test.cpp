// Magnetic, identity and memory cards over USB, through the public calls, in both settings of
// "devtype".
#include <gmock/gmock.h>
#include <thread>

#include "host/counter_calls.h"
#include "target/usb_setting.h"

using target::ConfigFor;
using target::kSettings;
using target::ModeIds;
using target::Reports;
using target::Setting;
using target::SettingName;
using target::SharedReader;
using target::UsbReader;
using testing_support::CounterCalls;
using testing_support::IdentityCall;
using testing_support::IdentityResult;
using testing_support::StripeResult;

namespace
{

const char kResident[] = "张示例|男|汉|19900517|北京市朝阳区样例街99号院1号楼2单元303室|"
                         "110105199005170011|北京市公安局朝阳分局|20200229|20400229|N||||";
const char kTrack2[] = "6200000000000005=30121010000000000000";
const char kTrack3[] =
    "996200000000000005=1561560000000000000003000000000000000000000=000000000000=000000000000="
    "00000000";

struct CounterCards : testing::TestWithParam<Setting>
{
    UsbReader &reader = SharedReader();
    CounterCalls host;

    CounterCards() : host(ConfigFor(GetParam()))
    {
        reader.Refresh();
        EXPECT_EQ(CALL(host.library, BO_Open)(0, 9600, 0), 0);
        reader.Control("usb clear");
    }
    ~CounterCards() override
    {
        CALL(host.library, BO_Close)();
        EXPECT_EQ(reader.Driver(), "usbhid");
    }

    void Order(const std::string &line) const
    {
        EXPECT_EQ(reader.Control(line), "ok") << line;
    }
    bool HasModeIds() const
    {
        return GetParam().devtype[0] == '0';
    }

    // ---- Memory cards ----

    std::string PowerOnClassic() const
    {
        char text[64] = "";
        int32_t length = 0;
        EXPECT_EQ(CALL(host.library, BO_M1Powerup)(sizeof text, text, &length, 1), 0);
        return {text, static_cast<size_t>(length)};
    }
    std::string ReadBlock(int block) const
    {
        char text[64] = "";
        const int result = CALL(host.library, BO_M1ReadBlock)(block, 33, text);
        return result == 0 ? text : std::to_string(result);
    }
};

} // namespace

TEST_P(CounterCards, AResidentCardIsRead)
{
    const IdentityResult read = host.Read(IdentityCall::kPlain);
    EXPECT_EQ(read.result, 0);
    EXPECT_EQ(read.utf8, kResident);
    EXPECT_EQ(ModeIds(reader),
              HasModeIds() ? (std::set<std::string>{"01", "02"}) : std::set<std::string>{"00"});
}

TEST_P(CounterCards, AnIdentityCardPutDownDuringTheWaitIsRead)
{
    Order("remove identity");
    const std::string before = reader.Control("exchanges").substr(3);
    std::thread hand(
        [&]
        {
            // The mode, the reset, a search that found nothing.
            reader.Control("wait " + std::to_string(std::stoi(before) + 3));
            Order("insert identity resident");
        });
    const IdentityResult read = host.Read(IdentityCall::kVariant, nullptr, 60);
    hand.join();
    EXPECT_EQ(read.result, 0);
    EXPECT_THAT(read.utf8, testing::StartsWith("张示例|"));
}

TEST_P(CounterCards, AWaitForAnIdentityCardIsCancelled)
{
    Order("remove identity");
    const std::string before = reader.Control("exchanges").substr(3);
    std::thread second(
        [&]
        {
            reader.Control("wait " + std::to_string(std::stoi(before) + 3));
            CALL(host.library, BO_CancelWait)();
        });
    EXPECT_THAT(host.Read(IdentityCall::kPlain, nullptr, 0).result,
                testing::AnyOf(-1006, -3001)); // the search may just have been answered
    second.join();
    Order("insert identity resident");
    EXPECT_EQ(host.Read(IdentityCall::kPlain).result, 0);
}

// Mode and back, reset, find, select, read: a report each out, and none besides.
TEST_P(CounterCards, AnIdentityRecordTakesAsManyReportsAsItsBytesNeed)
{
    EXPECT_EQ(host.Read(IdentityCall::kPlain).result, 0);
    EXPECT_EQ(reader.Count("out"), 6);
    EXPECT_EQ(reader.Count("in"), 5 + 38); // of 2321 bytes, fingerprint included, at 62 a report

    reader.Control("usb clear");
    Order("card identity status 3010 000021 1"); // a module that does not give fingerprints
    EXPECT_EQ(host.Read(IdentityCall::kPlain).result, 0);
    EXPECT_EQ(reader.Count("out"), 6 + 1);
    EXPECT_EQ(reader.Count("in"), 5 + 1 + 21); // of 1295 bytes
}

TEST_P(CounterCards, ASwipeDuringTheWaitIsRead)
{
    std::thread hand(
        [&]
        {
            EXPECT_EQ(reader.Control("wait swipe"), "ok");
            Order("swipe all-tracks");
        });
    const StripeResult read = host.Swipe(23, 60);
    hand.join();
    EXPECT_EQ(read.result, 0);
    EXPECT_EQ(read.two, kTrack2);
    EXPECT_EQ(read.three, kTrack3);
}

TEST_P(CounterCards, AWaitForASwipeIsCancelled)
{
    Order("swipe clear");
    std::thread second(
        [&]
        {
            EXPECT_EQ(reader.Control("wait swipe"), "ok");
            CALL(host.library, BO_Cancel)();
        });
    EXPECT_EQ(host.Swipe(23, 60).result, -1006);
    second.join();
    Order("swipe next all-tracks");
    EXPECT_EQ(host.Swipe(2).two, kTrack2);
}

TEST_P(CounterCards, TracksAreWritten)
{
    Order("swipe clear");
    Order("swipe next all-tracks");
    EXPECT_EQ(host.Write("6212345678901234=2512", "010000=0"), 0);
    EXPECT_THAT(reader.Control("tracks all-tracks"),
                testing::HasSubstr(R"("2":"6212345678901234=2512","3":"010000=0")"));
    Order("swipe next all-tracks");
    EXPECT_EQ(host.Write(kTrack2, kTrack3), 0);
}

TEST_P(CounterCards, AClassicCardIsReadAndWritten)
{
    Order(R"(swap contactless {"kind": "mifare-classic"})");
    // Its identification has the reader's status in front in the other command set.
    const std::string status = GetParam().iccmd[0] == '0' ? "" : "0000";
    EXPECT_THAT(PowerOnClassic(), testing::StartsWith(status + "0400"));
    EXPECT_EQ(CALL(host.library, BO_M1Verify)(1, 0, "FFFFFFFFFFFF"), 0);
    EXPECT_EQ(CALL(host.library, BO_M1WriteBlock)(4, "00112233445566778899AABBCCDDEEFF"), 0);
    EXPECT_EQ(ReadBlock(4), "00112233445566778899AABBCCDDEEFF");
    EXPECT_EQ(CALL(host.library, BO_M1Write)(5, "E8030000"), 0);
    EXPECT_EQ(CALL(host.library, BO_M1IncreaseValue)(5, 1), 0);
    EXPECT_EQ(ReadBlock(5), "E903000016FCFFFFE903000005FA05FA"); // 1001 at address 5
    EXPECT_EQ(ReadBlock(8), "-5004") << "another sector";
    EXPECT_EQ(ModeIds(reader), std::set<std::string>{GetParam().icModeId});
    Order("remove contactless");
}

TEST_P(CounterCards, AnUltralightCardIsAuthenticatedAndWritten)
{
    Order(R"(swap contactless {"kind": "ultralight-c"})");
    char text[64] = "";
    int32_t length = 0;
    const int result = CPP_CALL(host.library, BO_M0PowerOn,
                                "_Z12BO_M0PowerOniPcPii")(sizeof text, text, &length, 1);
    if (GetParam().iccmd[0] == '1')
    {
        EXPECT_EQ(result, -1008); // this command set has none of it
        return;
    }
    EXPECT_EQ(result, 0);
    EXPECT_EQ(CPP_CALL(host.library, BO_M0VerifyKey,
                       "_Z14BO_M0VerifyKeyiPKc")(32, "49454D4B41455242214E4143554F5946"),
              0);
    EXPECT_EQ(CPP_CALL(host.library, BO_M0Write, "_Z10BO_M0WriteiPKc")(4, "CAFE0123"), 0);
    EXPECT_EQ(CPP_CALL(host.library, BO_M0Read, "_Z9BO_M0ReadiiiPc")(4, 1, sizeof text, text), 0);
    EXPECT_THAT(text, testing::StartsWith("CAFE0123"));
    EXPECT_EQ(CPP_CALL(host.library, BO_M0PowerOff, "_Z13BO_M0PowerOffv")(), 0);
    Order("remove contactless");
}

INSTANTIATE_TEST_SUITE_P(, CounterCards, testing::ValuesIn(kSettings), SettingName);
