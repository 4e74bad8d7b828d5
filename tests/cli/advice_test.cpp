#include "advice.h"

#include <gtest/gtest.h>

using tool::Advice;
using tool::FindAdvice;

static const tool::Surroundings kKrel = {"/dev/pts/3", 0};
static const tool::Surroundings kUnion = {"/dev/pts/3", 1};

// The codes that have a text in the library, and those that the log and the script calls add.
static const int kPublicCodes[] = {
    0,     -1000, -1001, -1002, -1003, -1004, -1005, -1006, -1007, -1008, -1009, -1010,
    -1011, -1012, -1013, -1014, -2000, -2001, -2002, -2003, -2004, -2005, -2006, -2007,
    -2100, -2101, -2102, -2103, -2104, -2105, -2106, -2107, -2108, -2109, -2110, -2111,
    -3000, -3001, -3002, -3003, -3004, -4000, -4001, -4002, -4003, -4004, -4005, -4006,
    -4100, -4101, -4102, -4103, -4104, -4105, -4106, -4107, -4108, -4109, -4110, -4111,
    -4112, -4113, -4114, -4115, -4116, -4117, -5010, -5011, -5012, -5013, -5014, -5015,
    -1,    -2,    -16,   -19,   -22,   -62,   -74,   -99,   -125};

TEST(Advice, EveryCodeHasAMeaning)
{
    for (const int code : kPublicCodes)
        EXPECT_NE(FindAdvice("", code, kKrel).meaning, "a code without a meaning of its own")
            << code;
}

TEST(Advice, EveryFailureButACancelSaysWhatToTry)
{
    for (const int code : kPublicCodes)
        EXPECT_EQ(FindAdvice("", code, kKrel).advice.empty(),
                  code == 0 || code == -1006 || code == -125)
            << code;
}

TEST(Advice, LeavesNoPlaceUnfilled)
{
    for (const int code : kPublicCodes)
        for (const char *call : {"", "BO_CardDetect", "BO_Beep", "BO_ICGetCircllog"})
        {
            const Advice advice = FindAdvice(call, code, kKrel);
            EXPECT_EQ((advice.meaning + advice.advice).find('{'), std::string::npos) << code;
        }
}

TEST(Advice, ASilentReaderNamesThePortAndTheOtherCommandSet)
{
    for (const int code : {-1001, -1004, -1013, -62, -74})
    {
        const std::string krel = FindAdvice("BO_GetDevInfo", code, kKrel).advice;
        EXPECT_NE(krel.find("/dev/pts/3"), std::string::npos) << code;
        EXPECT_NE(krel.find("vantor config set Iccmd 1"), std::string::npos) << code;
        const std::string unions = FindAdvice("BO_GetDevInfo", code, kUnion).advice;
        EXPECT_NE(unions.find("vantor config set Iccmd 0"), std::string::npos) << code;
    }
}

TEST(Advice, UnionOnlyCommandsSayHowToChooseUnion)
{
    for (const char *call : {"BO_CardDetect", "BO_Beep"})
    {
        const Advice advice = FindAdvice(call, -1008, kKrel);
        EXPECT_NE(advice.meaning.find("only in the Union command set (Iccmd is 0)"),
                  std::string::npos);
        EXPECT_NE(advice.advice.find("vantor config set Iccmd 1"), std::string::npos);
    }
    EXPECT_EQ(FindAdvice("BO_GetDevInfo", -1008, kKrel).meaning,
              "the reader does not support this (Iccmd is 0)");
}

TEST(Advice, TheLoadLogsCodeHasItsOwnMeaning)
{
    EXPECT_EQ(FindAdvice("BO_ICGetCircllog", -4103, kKrel).meaning,
              "the card has no load log (its application names none, tag DF4D)");
    EXPECT_EQ(FindAdvice("BO_ICGetInfo", -4103, kKrel).meaning,
              "the card asks for data that the terminal does not have (PDOL)");
}

TEST(Advice, APositiveResultIsAReadersUnknownStatus)
{
    EXPECT_EQ(FindAdvice("BO_IcPowerOn", 3, kKrel).meaning,
              "the reader answered with a status that has no code of its own");
}

TEST(Advice, AnUnknownCodeSaysSo)
{
    EXPECT_EQ(FindAdvice("", -1015, kKrel).meaning, "a code without a meaning of its own");
}

// ---- The terminal interface ----

static const int kTerminalCodes[] = {0,   -1,  -2,  -3,  -9,  -10, -11, -12, -13, -14, -15,
                                     -16, -23, -25, -26, -27, -28, -29, -30, -31, -32, -99};

TEST(TerminalAdvice, EveryCodeHasAMeaningAndAdvice)
{
    for (const int code : kTerminalCodes)
    {
        const Advice advice = tool::FindTerminalAdvice(code, kKrel);
        EXPECT_NE(advice.meaning, "a code that this interface does not give") << code;
        EXPECT_EQ(advice.advice.empty(), code == 0 || code == -23) << code;
        EXPECT_EQ((advice.meaning + advice.advice).find('{'), std::string::npos) << code;
    }
    EXPECT_EQ(tool::FindTerminalAdvice(-4, kKrel).meaning,
              "a code that this interface does not give");
}

TEST(TerminalAdvice, IsForItsOwnCallsOnly)
{
    for (const char *call : {"IC_GetInfo", "IC_GenARQC", "IC_CtlScriptData", "IC_GetTranDeta"})
        EXPECT_TRUE(tool::IsTerminalCall(call));
    for (const char *call : {"", "BO_ICGetInfo", "BO_IcPowerOn", "EPED_Load", "IC"})
        EXPECT_FALSE(tool::IsTerminalCall(call));
}

TEST(Advice, TheSecondHalfOfATransactionIsExplained)
{
    EXPECT_EQ(FindAdvice("BO_ICExeScript_TC", -4115, kKrel).meaning,
              "declined: the issuer declined and the card gave its AAC");
    EXPECT_EQ(FindAdvice("BO_ICExeScript_TC", -4114, kKrel).meaning,
              "declined: the card gave an AAC though the issuer approved");
}

TEST(Advice, TheSameCodeOfOtherCallsIsAnotherMatter)
{
    EXPECT_EQ(FindAdvice("BO_SSCReadInfo", -4100, kKrel).meaning,
              "the card has no social security application, or not all of its files");
    EXPECT_EQ(FindAdvice("EPED_Verify", -99, kKrel).meaning, "the card refused the PIN");
    EXPECT_EQ(FindAdvice("PBOC_SelectAID", 100, kKrel).meaning,
              "the card's purse application is invalidated");
    EXPECT_EQ(FindAdvice("BO_ICExeScript", -4109, kKrel).meaning,
              "the card did not accept the issuer's authentication or a script, or there was no "
              "script");
    EXPECT_EQ(FindAdvice("EPED_Load", -99, kKrel).meaning, "the card refused the load");
}
