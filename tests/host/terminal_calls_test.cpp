// The terminal-standard IC calls: what each passes on, writes back and logs.
#include <climits>
#include <gtest/gtest.h>

#include "host/terminal_call.h"

using namespace terminal_testing;

TEST(TerminalGetInfo, ReadsACardAndLogsEveryStep)
{
    Terminal terminal(Debug());
    OpenCard(&terminal.script);
    ReadNumber(&terminal.script);
    terminal.Plug();
    Call call(terminal);
    EXPECT_EQ(0, call.GetInfo());
    EXPECT_STREQ(kNumber, call.text.data());
    EXPECT_EQ('#', call.text[strlen(kNumber) + 1]);
    EXPECT_EQ(23, call.length);
    EXPECT_EQ(1, call.icType);
    terminal.Finish();
    const std::string log = terminal.BusinessLog();
    EXPECT_EQ(0u, log.find(terminal.EntryLines("IC_GetInfo") +
                           "Info:pnIcType = 1, pszAIDlist = A000000333010101, pszTaglist = A, "
                           "pnUsrInfoLen = 30000\r\n"))
        << log;
    const std::string exit = "Info:Exit IC_GetInfo, ret = 0, pnIcType = 1, pnUsrInfoLen = 23, "
                             "pszUserInfo = " +
                             std::string(kNumber) + "\r\n";
    ASSERT_GE(log.size(), exit.size());
    EXPECT_EQ(exit, log.substr(log.size() - exit.size()));
}

TEST(TerminalGetInfo, TheRoomIsNotLookedAt)
{
    Terminal terminal;
    OpenCard(&terminal.script);
    ReadNumber(&terminal.script);
    terminal.Plug();
    Call call(terminal);
    call.length = 0;
    EXPECT_EQ(0, call.GetInfo());
    EXPECT_STREQ(kNumber, call.text.data());
    EXPECT_EQ(23, call.length);
}

TEST(TerminalGetInfo, AFailureIsTranslatedAndItsTextIsEmpty)
{
    Terminal terminal(Debug());
    terminal.script.PowerOn("3B00").Apdu(kSelectPse, "6A82").PowerOff();
    terminal.Plug();
    Call call(terminal);
    EXPECT_EQ(-26, call.GetInfo());
    EXPECT_EQ('\0', call.text[0]);
    EXPECT_EQ('#', call.text[1]);
    EXPECT_EQ(0, call.length);
    EXPECT_EQ(1, call.icType);
    EXPECT_EQ(0u, VARIABLE(terminal.library, context).isOpen) << "closed after a failure too";
    const std::string log = terminal.BusinessLog();
    EXPECT_NE(std::string::npos,
              log.find("Info:Exit IC_GetInfo, ret = -4100, pnIcType = 1, pnUsrInfoLen = 0, "
                       "pszUserInfo = \r\n"))
        << "the result before its translation: " << log;
}

TEST(TerminalGetInfo, TheListOfTagsIsCheckedByTheBusinessCall)
{
    Terminal terminal;
    terminal.Plug();
    Call call(terminal);
    call.tagList = "abc";
    EXPECT_EQ(-1, call.GetInfo());
    EXPECT_EQ(0, call.length) << "the reader had been opened";
}

TEST(TerminalGetInfo, CardTypesCountFromOne)
{
    Terminal contactless;
    contactless.script.contactless = true;
    OpenCard(&contactless.script);
    ReadNumber(&contactless.script);
    contactless.Plug();
    Call call(contactless);
    call.icType = 2;
    EXPECT_EQ(0, call.GetInfo());
    EXPECT_EQ(2, call.icType);

    for (int32_t type : {3, 0, -5, INT_MIN}) // automatic: the type that answers comes back
    {
        Terminal automatic;
        OpenCard(&automatic.script);
        ReadNumber(&automatic.script);
        automatic.Plug();
        Call other(automatic);
        other.icType = type;
        EXPECT_EQ(0, other.GetInfo());
        EXPECT_EQ(1, other.icType);
    }
}

TEST(TerminalGetInfo, AFailureKeepsTheCardType)
{
    for (int32_t type : {1, 3, 0, -5, INT_MIN})
    {
        Terminal terminal;
        terminal.script.PowerOn("3B00").Apdu(kSelectPse, "6A82").PowerOff();
        terminal.Plug();
        Call call(terminal);
        call.icType = type;
        EXPECT_EQ(-26, call.GetInfo());
        EXPECT_EQ(type, call.icType);
    }
}

TEST(TerminalGetInfo, AnEmptyListTakesTheApplicationOfTheDirectory)
{
    Terminal terminal;
    OpenCardOfTheDirectory(&terminal.script);
    ReadNumber(&terminal.script);
    terminal.Plug();
    Call call(terminal);
    call.aidList = "";
    EXPECT_EQ(0, call.GetInfo());
    EXPECT_STREQ(kNumber, call.text.data());
}

TEST(TerminalGetInfo, AListIsCutAt63Characters)
{
    std::string bytes;
    for (int i = 0; i < 31; i++)
        bytes += "A1";
    for (const std::string &tail : {std::string("B"), std::string(1, 'B') + std::string(2000, 'C')})
    {
        Terminal terminal;
        terminal.script.PowerOn("3B00").Apdu(kSelectPse, kPse).Apdu("00A404001F" + bytes, "6A82");
        terminal.script.PowerOff();
        terminal.Plug();
        Call call(terminal);
        const std::string list = bytes + tail;
        call.aidList = list.c_str();
        EXPECT_EQ(-27, call.GetInfo()) << "31 whole bytes of the list are selected";
    }
}

TEST(TerminalGenArqc, GivesTheCryptogramAndTheList)
{
    Terminal terminal(Debug());
    OpenCard(&terminal.script);
    GiveCryptogram(&terminal.script);
    terminal.Plug();
    Call call(terminal);
    EXPECT_EQ(0, call.GenArqc());
    EXPECT_STREQ(kArqc, call.text.data());
    EXPECT_STREQ("8A02", call.second.data());
    EXPECT_EQ(static_cast<int>(strlen(kArqc)), call.length);
    EXPECT_EQ(1, call.icType);
    terminal.Finish();
    const std::string log = terminal.BusinessLog();
    EXPECT_EQ(0u, log.find(terminal.EntryLines("IC_GenARQC") +
                           "Info:pnIcType = 1, pszAIDlist = A000000333010101, pszTxData = "
                           "K00811223344P012000000001234, pnARQCLen = 30000\r\n"))
        << log;
    const std::string exit = "Info:Exit IC_GenARQC, ret = 0, pnIcType = 1, pnARQCLen = " +
                             std::to_string(strlen(kArqc)) + ", pszARQC = " + kArqc +
                             ", pszIcc_appdata = 8A02\r\n";
    ASSERT_GE(log.size(), exit.size());
    EXPECT_EQ(exit, log.substr(log.size() - exit.size()));
}

TEST(TerminalGenArqc, TheRoomBoundsTheText)
{
    Terminal terminal;
    OpenCard(&terminal.script);
    GiveCryptogram(&terminal.script);
    terminal.Plug();
    Call call(terminal);
    call.length = 11;
    EXPECT_EQ(0, call.GenArqc());
    EXPECT_STREQ("9F26081122", call.text.data());
    EXPECT_EQ(10, call.length);
    EXPECT_EQ('#', call.text[11]);
}

TEST(TerminalGenArqc, AMissingListIsAnEmptyOne)
{
    Terminal terminal(Debug());
    OpenCardOfTheDirectory(&terminal.script);
    GiveCryptogram(&terminal.script);
    terminal.Plug();
    Call call(terminal);
    call.aidList = nullptr;
    EXPECT_EQ(0, call.GenArqc());
    EXPECT_STREQ(kArqc, call.text.data());
    EXPECT_NE(std::string::npos,
              terminal.BusinessLog().find("Info:pnIcType = 1, pszAIDlist = (null), pszTxData"));
}

TEST(TerminalGenArqc, AFailureLeavesEmptyTexts)
{
    Terminal terminal(Debug());
    terminal.Plug();
    Call call(terminal);
    call.icType = 2;
    call.txData = "";
    EXPECT_EQ(-1, call.GenArqc());
    EXPECT_EQ('\0', call.text[0]);
    EXPECT_EQ('\0', call.second[0]);
    EXPECT_EQ('#', call.second[1]);
    EXPECT_EQ(0, call.length);
    EXPECT_EQ(2, call.icType);
    EXPECT_NE(std::string::npos,
              terminal.BusinessLog().find("Info:Exit IC_GenARQC, ret = -1007, pnIcType = 2, "
                                          "pnARQCLen = 0, pszARQC = , pszIcc_appdata = \r\n"));
}

// The reader is closed between the two calls, and the card stays powered.
TEST(TerminalCtlScriptData, CompletesWhatTheFirstCallBegan)
{
    Terminal terminal(Debug());
    OpenCard(&terminal.script);
    GiveCryptogram(&terminal.script);
    terminal.script.Apdu("008200000A11223344556677883030", "9000")
        .Apdu("80AE4000023030", "800B40000288776655443322119000")
        .Apdu("8416000004A1A2A3A4", "9000")
        .PowerOff();
    terminal.Plug();
    Call first(terminal);
    EXPECT_EQ(0, first.GenArqc());
    EXPECT_EQ(0u, VARIABLE(terminal.library, context).isOpen);
    Call call(terminal);
    call.appData = first.second.data();
    call.arpc = "910A1122334455667788303072129F18041122334486098416000004A1A2A3A4";
    EXPECT_EQ(0, call.CtlScriptData());
    EXPECT_STREQ("4000028877665544332211", call.text.data());
    EXPECT_EQ(22, call.length);
    EXPECT_STREQ("DF31052011223344", call.second.data());
    EXPECT_EQ(1, call.icType);
    terminal.Finish();
    const std::string log = terminal.BusinessLog();
    const size_t entry = log.find(
        terminal.EntryLines("IC_CtlScriptData") +
        "Info:pnIcType = 1, pszTxData = K00811223344P012000000001234, pszARPC = "
        "910A1122334455667788303072129F18041122334486098416000004A1A2A3A4, pnTCLen = 30000, "
        "pszIcc_appdata = 8A02\r\n");
    ASSERT_NE(std::string::npos, entry) << log;
    EXPECT_NE(std::string::npos, log.find("Info:iAppDataLen = 2, szAppData = 8A02\r\n", entry));
    const std::string exit = "Info:Exit IC_CtlScriptData, ret = 0, pnIcType = 1, pnTCLen = 22, "
                             "pszTC = 4000028877665544332211, pszScriptResult = "
                             "DF31052011223344\r\n";
    EXPECT_EQ(exit, log.substr(log.size() - exit.size()));
}

TEST(TerminalCtlScriptData, TheCardTypeIsPassedOnAndNotWrittenBack)
{
    Terminal terminal;
    terminal.script.contactless = true;
    Complete(&terminal.script);
    terminal.Plug();
    Call call(terminal);
    call.icType = 2;
    EXPECT_EQ(0, call.CtlScriptData()) << "no script is a success";
    EXPECT_EQ(2, call.icType);
    EXPECT_STREQ("DF31051000000000", call.second.data());
}

TEST(TerminalCtlScriptData, TheRoomBoundsTheCryptogramText)
{
    Terminal terminal;
    Complete(&terminal.script);
    terminal.Plug();
    Call call(terminal);
    call.length = 5;
    EXPECT_EQ(0, call.CtlScriptData());
    EXPECT_STREQ("4000", call.text.data());
    EXPECT_EQ(4, call.length);
    EXPECT_EQ('#', call.text[5]);
}

TEST(TerminalCtlScriptData, ALongIdentifierStaysInsideTheRoomOfTheScriptResult)
{
    Terminal terminal;
    terminal.script.Apdu("008200000A11223344556677883030", "6300").PowerOff();
    terminal.Plug();
    Call call(terminal);
    std::string arpc = "910A112233445566778830309F188201EF"; // an identifier of 495 bytes
    while (arpc.size() < 1024)
        arpc += "A1";
    call.arpc = arpc.c_str();
    EXPECT_EQ(-30, call.CtlScriptData());
    EXPECT_LT(strlen(call.second.data()), 1024u);
    EXPECT_EQ('#', call.second[1024]);
}

TEST(TerminalCtlScriptData, ALongListIsCutAt8192Bytes)
{
    Terminal terminal(Debug());
    terminal.script.Apdu("008200000A11223344556677883030", "6300").PowerOff();
    terminal.Plug();
    Call call(terminal);
    const std::string list(20000, 'A');
    call.appData = list.c_str();
    EXPECT_EQ(-30, call.CtlScriptData());
    EXPECT_NE(std::string::npos,
              terminal.BusinessLog().find("Info:iAppDataLen = 8192, szAppData = " + list + "\r\n"));
}

TEST(TerminalCtlScriptData, AFailureIsTranslatedAndLeavesWhatThereIs)
{
    Terminal terminal(Debug());
    terminal.script.Apdu("008200000A11223344556677883030", "6300").PowerOff();
    terminal.Plug();
    Call call(terminal);
    EXPECT_EQ(-30, call.CtlScriptData());
    EXPECT_EQ('\0', call.text[0]);
    EXPECT_EQ(0, call.length);
    EXPECT_STREQ("DF31051000000000", call.second.data());
    EXPECT_NE(std::string::npos,
              terminal.BusinessLog().find("Info:Exit IC_CtlScriptData, ret = -4109, pnIcType = 1, "
                                          "pnTCLen = 0, pszTC = , pszScriptResult = "
                                          "DF31051000000000\r\n"));
}

TEST(TerminalGetTranDeta, ReadsTheLog)
{
    Terminal terminal(Debug());
    OpenCard(&terminal.script, kLogFci);
    ReadLog(&terminal.script);
    terminal.Plug();
    Call call(terminal);
    EXPECT_EQ(0, call.GetTranDeta());
    EXPECT_STREQ(kDetail, call.text.data());
    EXPECT_EQ(111, call.length);
    EXPECT_EQ(1, call.icType);
    terminal.Finish();
    const std::string log = terminal.BusinessLog();
    EXPECT_EQ(0u, log.find(terminal.EntryLines("IC_GetTranDeta") +
                           "Info:pnIcType = 1, pszAIDlist = A000000333010101, pnTxDetailLen = "
                           "30000\r\n"))
        << log;
    const std::string exit = "Info:Exit IC_GetTranDeta, ret = 0, pnTxDetailLen = 111, TxDetail = " +
                             std::string(kDetail) + "\r\n";
    ASSERT_GE(log.size(), exit.size());
    EXPECT_EQ(exit, log.substr(log.size() - exit.size()));
}

TEST(TerminalGetTranDeta, AMissingListIsAnEmptyOne)
{
    Terminal terminal(Debug());
    terminal.script.contactless = true;
    OpenCardOfTheDirectory(&terminal.script, kLogFci);
    ReadLog(&terminal.script);
    terminal.Plug();
    Call call(terminal);
    call.aidList = nullptr;
    call.icType = 2;
    EXPECT_EQ(0, call.GetTranDeta());
    EXPECT_STREQ(kDetail, call.text.data());
    EXPECT_EQ(2, call.icType);
    EXPECT_NE(std::string::npos, terminal.BusinessLog().find("pszAIDlist = (null), "));
}

TEST(TerminalGetTranDeta, AFailureIsTranslatedAndItsTextIsEmpty)
{
    Terminal terminal(Debug());
    OpenCard(&terminal.script, "6F009000");
    terminal.script.PowerOff();
    terminal.Plug();
    Call call(terminal);
    EXPECT_EQ(-32, call.GetTranDeta());
    EXPECT_EQ('\0', call.text[0]);
    EXPECT_EQ(0, call.length);
    EXPECT_NE(std::string::npos,
              terminal.BusinessLog().find(
                  "Info:Exit IC_GetTranDeta, ret = -4117, pnTxDetailLen = 0, TxDetail = \r\n"));
}
