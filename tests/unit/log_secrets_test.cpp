// The search that goes over every log of every test.
#include <gtest/gtest.h>

#include "support/log_secrets.h"
#include "support/scratch.h"
#include "vantor/support.h"

using testing_support::LineWithSecret;
using testing_support::LineWithSecretBelow;
using testing_support::Scratch;
using testing_support::WriteFile;

static std::string ErrorLine(const std::string &message)
{
    return "Error(2026-01-31 12:00:00):" + message + "\r\n";
}

TEST(LogSecrets, NumbersTracksKeysAndPinsAreFound)
{
    for (const char *secret :
         {"no = 6222020200112233", "6222020200112233=2512", "pin 123456", "11010519491231002X",
          "key A0A1A2A3A4A5", "(49454D4B41455242)", "FFFFFFFFFFF1"})
        EXPECT_NE(LineWithSecret("Info(2026-01-31 12:00:00):Enter\r\n" + ErrorLine(secret)), "")
            << secret;
}

TEST(LogSecrets, ASecretInTheSecondLineOfAMessageIsFound)
{
    EXPECT_NE(LineWithSecret(ErrorLine("bad:\r\n6222020200112233")), "");
}

TEST(LogSecrets, MessagesAndCodesAreNoSecrets)
{
    for (const char *message : {"iErrorCode = -4115", "IcApdu Error!", "M0_Interaction 1A00 Fail",
                                "defaced effaced", "BO_M1ReadBlock, szOutData = 00112233445566"})
        EXPECT_EQ(LineWithSecret(ErrorLine(message)), "") << message;
}

TEST(LogSecrets, InformationLinesAreNotLookedAt)
{
    EXPECT_EQ(LineWithSecret("Info(2026-01-31 12:00:00):Send szPackage: 6222020200112233\r\n"), "");
}

TEST(LogSecrets, AllLogsBelowADirectoryAreSearched)
{
    Scratch directory;
    GSetLogFilePath((directory.path + "/deep.log").c_str());
    GSetLogLevel(1);
    EXPECT_EQ(LineWithSecretBelow(directory.path), "");
    GLogE("card %s\r\n", "6222020200112233");
    EXPECT_NE(LineWithSecretBelow(directory.path).find("6222020200112233"), std::string::npos);
    GSetLogLevel(0);
    WriteFile(directory.path + "/deep.log", ""); // or this very test would fail by it
}
