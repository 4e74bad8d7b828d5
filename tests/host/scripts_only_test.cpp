// BO_ICExeScript: issuer authentication and scripts without a cryptogram.
#include <gtest/gtest.h>

#include "host/completion_card.h"

using namespace testing_support;

namespace
{

const char kText[] = "P012000000001234";

} // namespace

TEST(ScriptsOnly, AuthenticatesAndRunsTheScripts)
{
    struct Row
    {
        const char *scripts, *status;
        int code;
        const char *log;
    };
    for (const Row &row :
         {Row{"720786058424000000", "9000", 0, ""},
          Row{"710786058424000000", "6A80", -4109, "Error:PBOC_ExeScript Error!\r\n"},
          Row{"7200", nullptr, -4109, "Error:PBOC_ExeScript Error!\r\n"},
          Row{"", nullptr, -4109, "Error:GetTag 71/72 Error!\r\n"}})
    {
        ScriptedReader reader;
        Authenticate(&reader.script, kDecline);
        if (row.status != nullptr)
            reader.script.Apdu("8424000000", row.status);
        reader.script.PowerOff();
        reader.PlugAndOpen();
        const std::string issuer = std::string(kDecline) + row.scripts;
        EXPECT_EQ(row.code, CALL(reader.library, BO_ICExeScript)(0, "S006not a field",
                                                                 issuer.c_str(), nullptr));
        EXPECT_EQ("3035", HexOf(VARIABLE(reader.library, g_szTxData) + 2, 2));
        reader.Finish();
        EXPECT_EQ(row.log, reader.BusinessLog());
    }
}

TEST(ScriptsOnly, WrongTextsAndAuthenticationPowerTheCardOff)
{
    struct Row
    {
        std::string text, issuer;
        int code;
        std::string log;
    };
    for (const Row &row :
         {Row{"", kApproval, -1007, "Info:szTxdata Error!\r\n"},
          Row{std::string(1025, '0'), kApproval, -1007, "Info:szTxdata Error!\r\n"},
          Row{kText, std::string(1025, '0'), -1007, "Info:szTxdata Error!\r\n"},
          Row{kText, "Z", -1007, "Info:szHexData[0] = 5A\r\nInfo:szTxdata Error!\r\n"},
          Row{kText, "7200", -4109, "Error:GetTag 91 Error!\r\n"},
          Row{kText, "", -4109, "Error:GetTag 91 Error!\r\n"}})
    {
        ScriptedReader reader(Config("loglevel", "2"));
        reader.script.PowerOff();
        reader.PlugAndOpen();
        EXPECT_EQ(row.code, CALL(reader.library, BO_ICExeScript)(0, row.text.c_str(),
                                                                 row.issuer.c_str(), nullptr));
        reader.Finish();
        EXPECT_EQ(row.log, reader.BusinessLog());
    }
    ScriptedReader reader;
    reader.script.contactless = true;
    reader.script.Apdu("008200000A11223344556677883030", "6300").PowerOff();
    reader.PlugAndOpen();
    EXPECT_EQ(-4109, CALL(reader.library, BO_ICExeScript)(1, kText, kApproval, nullptr));
    reader.Finish();
    EXPECT_EQ("Error:PBOC_ExternalAuth Error!\r\n", reader.BusinessLog());
}

TEST(ScriptsOnly, AMissingTextPowersTheCardOff)
{
    ScriptedReader reader;
    reader.script.PowerOff().PowerOff();
    reader.PlugAndOpen();
    EXPECT_EQ(-1007, CALL(reader.library, BO_ICExeScript)(0, nullptr, kApproval, nullptr));
    EXPECT_EQ(-1007, CALL(reader.library, BO_ICExeScript)(0, kText, nullptr, nullptr));
}
