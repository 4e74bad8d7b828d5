// Whole online transactions over USB by all three families of calls; the virtual issuer verifies
// the card's cryptograms.
#include "host/online_host.h"
#include "target/usb_setting.h"

using target::ConfigFor;
using target::kSettings;
using target::Reports;
using target::Setting;
using target::SettingName;
using target::UsbReader;
using testing_support::Family;
using testing_support::FirstHalf;
using testing_support::kApproved;
using testing_support::kDeclined;
using testing_support::ObjectValue;
using testing_support::OnlineHost;
using testing_support::SecondHalf;

namespace
{

UsbReader &OnlineReader()
{
    static UsbReader reader({"--profile", "online"});
    return reader;
}

struct OnlineOverUsb : testing::TestWithParam<Setting>
{
    UsbReader &reader = OnlineReader();

    OnlineOverUsb()
    {
        reader.Refresh();
    }

    // Approved, then declined, on the same card.
    void RunOn(OnlineHost *host, const std::string &card, const std::string &pan) const
    {
        host->contactless = card == "online-contactless";
        host->pan = pan;
        ASSERT_EQ(
            reader.Control((host->contactless ? "swap contactless " : "swap contact ") + card),
            "ok");
        host->Open();
        const FirstHalf approved = host->Request(host->Text(kApproved));
        ASSERT_EQ(approved.result, 0);
        const vreader::IssuerAnswer yes = host->Judge(approved.arqc);
        EXPECT_TRUE(yes.verified) << yes.error;
        ASSERT_EQ(yes.responseCode, "00");
        const SecondHalf tc = host->Complete(approved, host->Text(kApproved), yes.hex);
        EXPECT_EQ(tc.result, 0);
        EXPECT_EQ(tc.scriptResult, "DF31051000000000");
        const FirstHalf declined = host->Request(host->Text(kDeclined));
        ASSERT_EQ(declined.result, 0);
        const vreader::IssuerAnswer no = host->Judge(declined.arqc);
        EXPECT_TRUE(no.verified) << no.error;
        EXPECT_EQ(no.responseCode, "05");
        const SecondHalf aac = host->Complete(declined, host->Text(kDeclined), no.hex);
        EXPECT_EQ(aac.result, host->Code(-4115, -31));
        EXPECT_EQ(aac.scriptResult, "DF31051000000000");
        CALL(host->library, BO_Close)();
    }
};

} // namespace

TEST_P(OnlineOverUsb, OrdinaryCalls)
{
    OnlineHost host(Family::ordinary, ConfigFor(GetParam()), 0, "USB");
    RunOn(&host, "online-1", "6200001234567890128");
    RunOn(&host, "online-contactless", "6200005555000011112");
}

// A report a millisecond is what the bus carries: none is sent that the bytes do not need.
TEST_P(OnlineOverUsb, ARequestTakesAsManyReportsAsItsBytesNeed)
{
    OnlineHost host(Family::ordinary, ConfigFor(GetParam()), 0, "USB");
    ASSERT_EQ(reader.Control("swap contact online-1"), "ok");
    host.Open();
    reader.Control("usb clear");
    const int before = std::stoi(reader.Control("exchanges").substr(3));
    ASSERT_EQ(host.Request(host.Text(kApproved)).result, 0);
    const int exchanges = std::stoi(reader.Control("exchanges").substr(3)) - before;
    const std::vector<std::string> reports = Reports(reader);
    int messages = 0;
    for (const std::string &report : reports) // "020B"; 62 bytes are followed by more
        messages += report.substr(2) != "3E" ? 1 : 0;
    EXPECT_EQ(messages, exchanges);
    std::cout << exchanges << " exchanges, " << reports.size() << " reports out, "
              << reader.Count("in") << " in\n";
}

TEST_P(OnlineOverUsb, VariantCalls)
{
    OnlineHost host(Family::variant, ConfigFor(GetParam()), 0, "USB");
    RunOn(&host, "online-2", "6200009876543212");
}

TEST_P(OnlineOverUsb, TerminalCalls)
{
    OnlineHost host(Family::terminal, ConfigFor(GetParam()), 0, "USB");
    RunOn(&host, "online-1", "6200001234567890128");
}

INSTANTIATE_TEST_SUITE_P(, OnlineOverUsb, testing::ValuesIn(kSettings), SettingName);
