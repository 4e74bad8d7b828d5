// The built program against the virtual reader: electronic purse and social security card.
#include <filesystem>
#include <nlohmann/json.hpp>

#include "tool_directory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace fs = std::filesystem;
using nlohmann::json;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

namespace
{

const char kCards[] =
    R"({"cards": {"purse": {"kind": "reference", "file": "purse.json", "card": "purse"},)"
    R"("social": {"kind": "reference", "file": "social-security.json",)"
    R"( "card": "social-security"},)"
    R"("five": {"kind": "reference", "file": "social-security.json", "card": "five-records"},)"
    R"("gap": {"kind": "reference", "file": "social-security.json", "card": "missing-element"},)"
    R"("gbk": {"kind": "reference", "file": "social-security.json", "card": "gbk-name"}},)"
    R"("contact": "purse", "contactless": "social"})";

struct Desk
{
    ToolDirectory tool;
    TestReader reader{kCards};

    Desk()
    {
        fs::copy_file(VANTOR_BIN_DIR "/vantor-issuer", tool.scratch.path + "/bin/vantor-issuer");
    }
    bool IsPowered() const
    {
        const json info = json::parse(reader.Control("info").substr(3));
        return info.at("contact").at("0").at("powered") || info.at("contactless").at("powered");
    }
    ChildResult Run(std::vector<std::string> words) const
    {
        words.insert(words.begin(), {"--port", reader.Port()});
        return tool.Run(words);
    }
};

json Parsed(const ChildResult &result)
{
    const json document = json::parse(result.out, nullptr, false);
    EXPECT_FALSE(document.is_discarded()) << result.out << result.err;
    return document;
}

} // namespace

TEST(ToolPurseBalance, ShowsBothAccounts)
{
    const Desk desk;
    const ChildResult without = desk.Run({"purse", "balance"});
    EXPECT_EQ(without.status, 0) << without.err;
    EXPECT_EQ(without.out, "purse    250000.00 yuan\ndeposit  -\n"); // the deposit wants the PIN
    const json with = Parsed(desk.Run({"--json", "purse", "balance", "--pin", "123456"}));
    EXPECT_EQ(with.at("result"),
              json({{"interface", "contact"}, {"purse", "250000.00"}, {"deposit", "500000.00"}}));
}

TEST(ToolPurseBalance, AWrongPinIsRefused)
{
    const Desk desk;
    const ChildResult result = desk.Run({"purse", "balance", "--pin", "111111"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("EPED_Verify failed with -99"));
    EXPECT_THAT(result.err, HasSubstr("the card refused the PIN"));
}

TEST(ToolPurseBalance, ACardWithoutAPurseSaysSo)
{
    const Desk desk;
    const ChildResult result = desk.Run({"purse", "balance", "--contactless"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("PBOC_SelectAID failed with -99"));
    EXPECT_THAT(result.err, HasSubstr("the card has no such purse application"));
    EXPECT_EQ(desk.Run({"purse", "balance", "--aid", "A000000001020304"}).status, 1);
}

// Amounts and dates are full of zero bytes, which the library's own calls cannot carry; without any
// they carry the whole order.
TEST(ToolPurseLoad, PutsMoneyInWhateverTheBytes)
{
    const Desk desk;
    const ChildResult small = desk.Run({"purse", "load", "--amount", "50.00", "--pin", "123456"});
    EXPECT_EQ(small.status, 0) << small.err;
    EXPECT_THAT(small.out, HasSubstr("issuer: MAC1         "));
    EXPECT_THAT(small.out, ContainsRegex("purse 250000.00 -> 250050.00 yuan, TAC [0-9A-F]{8}\n$"));
    // 01010101: the smallest amount without a zero byte.
    const ChildResult large =
        desk.Run({"purse", "load", "--amount", "168430.09", "--pin", "123456", "--terminal",
                  "112233445566", "--date", "2026-11-21", "--time", "11:11:11"});
    EXPECT_EQ(large.status, 0) << large.err;
    EXPECT_THAT(large.out, HasSubstr("purse 250050.00 -> 418480.09 yuan"));
    EXPECT_THAT(desk.Run({"purse", "balance"}).out, HasSubstr("purse    418480.09 yuan\n"));
    EXPECT_THAT(desk.Run({"purse", "log"}).out,
                testing::StartsWith("1  2026-11-21  11:11:11  load purse              168430.09  "
                                    "terminal 112233445566  counter "));
}

TEST(ToolPurseLoad, WithoutThePinIsRefused)
{
    const Desk desk;
    const ChildResult result = desk.Run({"purse", "load", "--amount", "50.00"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("EPED_InitForLoad failed with -99"));
    EXPECT_THAT(result.err, HasSubstr("the card refused to prepare a load"));
}

TEST(ToolPurseLoad, WithAnotherIssuersKeyIsNoLoad)
{
    const Desk desk;
    const ChildResult result = desk.Run({"purse", "load", "--amount", "50.00", "--pin", "123456",
                                         "--", "--key", "00112233445566778899AABBCCDDEEFF"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("the issuer gives no answer: vantor-issuer: MAC1 of the card "
                                      "does not verify"));
    EXPECT_THAT(desk.Run({"purse", "balance"}).out, HasSubstr("purse    250000.00 yuan\n"));
    EXPECT_EQ(desk.Run({"purse", "log"}).out, "no records\n");
}

TEST(ToolPursePurchase, TakesMoneyOut)
{
    const Desk desk;
    const ChildResult purse = desk.Run({"purse", "purchase", "--amount", "12.34", "--number", "7"});
    EXPECT_EQ(purse.status, 0) << purse.err;
    EXPECT_THAT(
        purse.out,
        ContainsRegex("purse 250000.00 -> 249987.66 yuan, TAC [0-9A-F]{8}, MAC2 [0-9A-F]{8}\n$"));
    const json deposit =
        Parsed(desk.Run({"--json", "purse", "purchase", "--deposit", "--amount", "200000.01",
                         "--pin", "123456", "--terminal", "112233445566", "--number", "16843009",
                         "--date", "2026-11-21", "--time", "11:11:11"}));
    EXPECT_EQ(deposit.at("ok"), true) << deposit;
    EXPECT_EQ(deposit.at("result").at("account"), "deposit");
    EXPECT_EQ(deposit.at("result").at("before"), "500000.00");
    EXPECT_EQ(deposit.at("result").at("after"), "299999.99");
    EXPECT_EQ(deposit.at("result").at("tac").get<std::string>().size(), 8u);
    EXPECT_EQ(deposit.at("result").at("mac2").get<std::string>().size(), 8u);
    const json log = Parsed(desk.Run({"--json", "purse", "log"}));
    EXPECT_EQ(log.at("result").at("records").size(), 2u);
    EXPECT_EQ(log.at("result").at("records").at(0).at("type").at("name"), "purchase from deposit");
    EXPECT_EQ(log.at("result").at("records").at(1).at("amount"), "12.34");
}

TEST(ToolPursePurchase, MoreThanThereIsOrWithAnotherKeyIsRefused)
{
    const Desk desk;
    EXPECT_THAT(desk.Run({"purse", "purchase", "--amount", "250000.01"}).err,
                HasSubstr("EPED_InitForPurchase failed with -99"));
    EXPECT_THAT(desk.Run({"purse", "purchase", "--amount", "1", "--key-index", "9"}).status, 1);
    const ChildResult key = desk.Run(
        {"purse", "purchase", "--amount", "1", "--", "--key", "00112233445566778899AABBCCDDEEFF"});
    EXPECT_THAT(key.err, HasSubstr("EPED_Purchase failed with -99"));
    EXPECT_THAT(key.err, HasSubstr("vantor-issuer --help"));
    const ChildResult nonsense =
        desk.Run({"purse", "purchase", "--amount", "1", "--issuer", "printf", "--", "AB"});
    EXPECT_EQ(nonsense.status, 1);
    EXPECT_THAT(desk.Run({"purse", "balance"}).out, HasSubstr("purse    250000.00 yuan\n"));
}

TEST(ToolPurseRead, ShowsAFileFromAnyPlace)
{
    const Desk desk;
    const json whole = Parsed(desk.Run({"--json", "purse", "read", "21"}));
    EXPECT_EQ(whole.at("ok"), true);
    const std::string contents = whole.at("result").at("contents");
    ASSERT_GT(contents.size(), 40u);
    EXPECT_EQ(whole.at("result").at("file"), 21);
    const json part = Parsed(desk.Run({"--json", "purse", "read", "21", "--offset", "10"}));
    EXPECT_EQ(part.at("result").at("contents"), contents.substr(20));
    EXPECT_THAT(desk.Run({"purse", "read", "21"}).out,
                testing::StartsWith("file 21, " + std::to_string(contents.size() / 2) +
                                    " bytes from 0 on\n" + contents.substr(0, 2) + " "));
    const ChildResult none = desk.Run({"purse", "read", "30"});
    EXPECT_EQ(none.status, 1);
    EXPECT_THAT(none.err, HasSubstr("EPED_ReadBinary failed with -99"));
}

TEST(ToolPurse, WrongUseIsFoundBeforeAnythingIsOpened)
{
    const Desk desk;
    for (const std::vector<std::string> &words : std::vector<std::vector<std::string>>{
             {"purse"},
             {"purse", "load"},
             {"purse", "load", "--amount", "x"},
             {"purse", "load", "--amount", "42949672.96"},
             {"purse", "load", "--amount", "1", "--pin", "12345"},
             {"purse", "load", "--amount", "1", "--pin", "abcd"},
             {"purse", "load", "--amount", "1", "--terminal", "1122"},
             {"purse", "load", "--amount", "1", "--date", "2025-02-29"},
             {"purse", "load", "--amount", "1", "--key-index", "256"},
             {"purse", "load", "--amount", "1", "--number", "3"},
             {"purse", "balance", "--aid", "A0"},
             {"purse", "balance", "--pin", "123"},
             {"purse", "balance", "--interface", "terminal"},
             {"purse", "read"},
             {"purse", "read", "31"},
             {"purse", "read", "0"},
             {"purse", "read", "21", "--offset", "256"},
             {"ssc", "--interface", "terminal"},
             {"ssc", "--contactless", "--auto"}})
        EXPECT_EQ(desk.Run(words).status, 2) << testing::PrintToString(words);
    EXPECT_EQ(desk.reader.Control("exchanges"), "ok 0");
}

// ---- Social security ----

TEST(ToolSsc, ReadsTheCard)
{
    const Desk desk;
    const ChildResult result = desk.Run({"ssc", "--contactless"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "01  Card identifier           310000D156000005000000AB12CD34EF\n"
                          "02  Card type                 01\n"
                          "03  Version                   1.00\n"
                          "04  Issuer                    910000023100003100000000\n"
                          "05  Issued                    2025-03-01\n"
                          "06  Expires                   2035-02-28\n"
                          "07  Card number               A12345678\n"
                          "08  Social security number    11010519491231002X\n"
                          "09  Name                      ZHANG SAN\n"
                          "0A  Sex                       1 (male)\n"
                          "0B  Nation                    01\n"
                          "0C  Birthplace                110105\n"
                          "0D  Birth date                1949-12-31\n");
    // The call leaves the card powered, the tool does not.
    EXPECT_FALSE(desk.IsPowered());
    const ChildResult masked = desk.Run({"--mask", "ssc", "--contactless"});
    EXPECT_THAT(masked.out, HasSubstr("110105********002X"));
    EXPECT_THAT(masked.out, Not(HasSubstr("11010519491231002X")));
}

TEST(ToolSsc, ShowsGbkNamesAndGaps)
{
    const Desk desk;
    desk.reader.Control("swap contact gbk");
    const json name = Parsed(desk.Run({"--json", "ssc"})).at("result").at("fields").at("name");
    EXPECT_FALSE(name.at("value").is_null());
    EXPECT_THAT(name.at("value").get<std::string>(), Not(HasSubstr("hex")));
    EXPECT_GE(static_cast<unsigned char>(name.at("value").get<std::string>()[0]), 0x80);
    desk.reader.Control("swap contact gap");
    const ChildResult gap = desk.Run({"ssc"});
    EXPECT_EQ(gap.status, 0) << gap.err;
    EXPECT_THAT(gap.out, ContainsRegex("  -\n"));
}

TEST(ToolSsc, ACardThatIsNoneIsExplained)
{
    const Desk desk;
    const ChildResult other = desk.Run({"ssc"});
    EXPECT_EQ(other.status, 1);
    EXPECT_THAT(other.err, HasSubstr("BO_SSCReadInfo failed with -4100"));
    EXPECT_THAT(other.err, HasSubstr("the card has no social security application"));
    desk.reader.Control("swap contact five");
    const ChildResult five = desk.Run({"ssc"});
    EXPECT_EQ(five.status, 1);
    EXPECT_EQ(five.out, "");
    EXPECT_THAT(five.err, HasSubstr("BO_SSCReadInfo failed with -99"));
    EXPECT_THAT(five.err, HasSubstr("could not be read"));
}
