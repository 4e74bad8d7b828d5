// Late answers over USB: what is dropped, and which device owes one.
#include <algorithm>
#include <string>

#include "support/scratch.h"
#include "usb/usb_bench.h"
#include "vantor/link.h"
#include "vantor/support.h"
#include "vantor/transport.h"

namespace
{

// Answers to the device information command: status 00 and "first", "second".
const std::string kFirst = "600600666972737400\x03";
const std::string kSecond = "6007007365636F6E6400\x03";

struct LateOverUsb : UsbBench
{
    testing_support::Scratch settings;
    DEVCONTEXT host{};
    int reader = usb_standin::Plug(usb_standin::ReaderModel(), 1, 2);

    void SetUp() override
    {
        testing_support::WriteFile(settings.path + "/config.ini", "[devcfg]\ndevtype=0\n");
        GSetConfigFilePath((settings.path + "/config.ini").c_str());
        DC_SetInterfaceType(&host, "hid");
        DC_AddUsbParams(&host, 0x1BC3, 0x0151);
        ASSERT_EQ(COMM_Open(&host), 0);
    }
    void TearDown() override
    {
        usb_standin::OnOutReport(reader, nullptr);
        COMM_Close(&host);
    }

    void Say(const std::string &answer) const
    {
        usb_standin::Bytes report(64);
        std::copy(answer.begin(), answer.end(), report.begin() + 2);
        usb_standin::SendReport(reader, report);
    }
    // The library's queue has it.
    void Arrives(const std::string &answer) const
    {
        const size_t submitted = usb_standin::InTransfers(reader).size();
        Say(answer);
        ASSERT_TRUE(usb_standin::WaitForSubmissions(reader, submitted + 1));
    }
    // The payload behind the status, or the code.
    std::string Ask(uint32_t timeoutMs = 20000)
    {
        const unsigned char command[] = {0x81, 0x00};
        unsigned char answer[256] = {};
        const int result =
            KrelIc_SendCmd(&host, command, sizeof command, answer, sizeof answer, timeoutMs);
        return result > 0 ? std::string(answer + 1, answer + result) : std::to_string(result);
    }
    std::string AskAnsweredWith(const std::string &answer)
    {
        usb_standin::OnOutReport(reader,
                                 [this, answer](const usb_standin::Bytes &) { Say(answer); });
        const std::string given = Ask();
        usb_standin::OnOutReport(reader, nullptr);
        return given;
    }
};

TEST_F(LateOverUsb, AReportThatWaitsBeforeAnOrdinaryExchangeIsItsAnswer)
{
    Arrives(kFirst);
    EXPECT_EQ(Ask(), "first");
    Arrives(kSecond); // also behind an exchange that was answered
    EXPECT_EQ(Ask(), "second");
}

TEST_F(LateOverUsb, ReportsThatComeAfterATimeOutAreDroppedBeforeTheNextCommand)
{
    EXPECT_EQ(Ask(10), "-74");
    Arrives(kFirst);
    Arrives(kFirst); // an answer may take several reports
    EXPECT_EQ(AskAnsweredWith(kSecond), "second");
    Arrives(kFirst);
    EXPECT_EQ(Ask(), "first");
}

TEST_F(LateOverUsb, TheDeviceStillOwesItsAnswerWhenItIsClosedAndOpenedAgain)
{
    EXPECT_EQ(Ask(10), "-74");
    COMM_Close(&host);
    ASSERT_EQ(COMM_Open(&host), 0);
    Arrives(kFirst);
    EXPECT_EQ(AskAnsweredWith(kSecond), "second");
}

TEST_F(LateOverUsb, ADeviceThatWasPluggedInAgainOwesNothing)
{
    EXPECT_EQ(Ask(10), "-74");
    COMM_Close(&host);
    usb_standin::Unplug(reader);
    reader = usb_standin::Plug(usb_standin::ReaderModel(), 1, 3);
    ASSERT_EQ(COMM_Open(&host), 0);
    Arrives(kFirst);
    EXPECT_EQ(Ask(), "first");
}

} // namespace
