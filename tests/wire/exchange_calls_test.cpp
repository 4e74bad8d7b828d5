// The system calls of a whole exchange: what it costs is decided here, not in the bytes.
#include <gtest/gtest.h>
#include <sys/syscall.h>

#include "support/pty_line.h"
#include "support/scratch.h"
#include "support/system_calls.h"
#include "vantor/operations.h"
#include "vantor/support.h"

using testing_support::PtyLine;
using testing_support::Scratch;
using testing_support::SystemCallsOf;

namespace
{

// A settings file and a pseudo-terminal that is open as port 1.
struct ExchangeCalls : testing::Test
{
    PtyLine line;
    Scratch directory;
    DEVCONTEXT record;

    void SetUp() override
    {
        const std::string config = directory.path + "/config.ini";
        testing_support::WriteFile(
            config,
            testing_support::ReadFile(std::string(VANTOR_SOURCE_DIR) + "/config/config.ini"));
        GSetConfigFilePath(config.c_str());
        GSetComName(1, line.name.c_str());
        DC_Init(&record);
        DC_SetInterfaceType(&record, "com");
        DC_SetCOMParams(&record, 1, 9600);
        ASSERT_EQ(COMM_Open(&record), 0);
    }

    void TearDown() override
    {
        COMM_Close(&record);
    }
};

bool IsSelect(long call)
{
#ifdef SYS_select
    if (call == SYS_select)
        return true;
#endif
    return call == SYS_pselect6;
}

} // namespace

TEST_F(ExchangeCalls, AnApduWhoseAnswerIsWaitingTakesSixSystemCalls)
{
    const std::string answer = "6003009000F3\x03"; // status 00, then 90 00
    line.Write({answer.begin(), answer.end()});
    DEVCONTEXT *const open = &record;
    const std::vector<long> calls = SystemCallsOf(
        [open]
        {
            const unsigned char apdu[] = {0x00, 0xB2, 0x01, 0x0C, 0x00}; // READ RECORD 1 of SFI 1
            unsigned char response[4096];
            uint32_t length = 0;
            const int result = IC_APDU(open, apdu, sizeof(apdu), response, &length, 1000);
            if (result != 0 || length != 2)
                abort(); // seen as work that did not come to its end
        });
    ASSERT_EQ(calls.size(), 6u);
    EXPECT_EQ(calls[0], SYS_openat); // the settings are read anew at every command
    EXPECT_EQ(calls[1], SYS_read);
    EXPECT_EQ(calls[2], SYS_close);
    EXPECT_EQ(calls[3], SYS_write);
    EXPECT_TRUE(IsSelect(calls[4])) << calls[4];
    EXPECT_EQ(calls[5], SYS_read);
}
