// The purse, files with identifiers, and the social-security card. MACs were computed outside this
// project with `openssl enc -des-ede -nopad`, as purse.h and elementary_files.h say.
#include "cards_support.h"

#include <fstream>

using cards_test::CardOf;
using cards_test::ErrorOf;
using cards_test::Send;

namespace
{

const char kSelect[] = "00A4040009A00000000386980701";
const char kVerify[] = "0020000003123456";
// Key 01, amount 01010101, terminal 112233445566.
const std::string kTerms = "0101010101112233445566";
const char kRead15[] = "00B0950000";

nlohmann::json DescriptionOf(const char *profile, const char *name)
{
    std::ifstream file(std::string(cards_test::kProfiles) + "/" + profile + ".json");
    return nlohmann::json::parse(file).at("cards").at(name);
}

std::shared_ptr<vreader::Card> PurseCard()
{
    const auto card = CardOf(DescriptionOf("purse", "purse").dump());
    EXPECT_EQ(Send(card, kSelect).substr(0, 2), "6F");
    return card;
}

std::shared_ptr<vreader::Card> OpenPurse()
{
    const auto card = PurseCard();
    EXPECT_EQ(Send(card, kVerify), "9000");
    return card;
}

std::shared_ptr<vreader::Card> SocialSecurityCard(const char *name = "social-security")
{
    const auto card = CardOf(DescriptionOf("social-security", name).dump());
    EXPECT_EQ(Send(card, "00A404000F7378312E73682EE7A4BEE4BC9AE4BF"),
              "6F1A84137378312E73682EE7A4BEE4BC9AE4BF9DE99A9CA5038801059000");
    return card;
}

} // namespace

TEST(Purse, IsLoadedWithTheIssuersMac)
{
    const auto card = OpenPurse();
    EXPECT_EQ(Send(card, "805C000204"), "017D78409000");
    EXPECT_EQ(Send(card, "805000020B" + kTerms), "017D78400009010091929394D38AA52B9000");
    EXPECT_EQ(Send(card, "805400000B2025030209153044A3AF46"), "F2C3E26E9000");
    EXPECT_EQ(Send(card, "805C000204"), "027E79419000");
    EXPECT_EQ(Send(card, "00B201C400"), "0009000000010101010211223344556620250302091530"
                                        "9000");
    EXPECT_EQ(Send(card, "00B202C400"), "6A83");
    EXPECT_EQ(Send(card, "805000020B" + kTerms).substr(0, 12), "027E7941000A");
}

TEST(Purse, LoadGoesByTheInstructionOfTheStandardToo)
{
    const auto card = OpenPurse();
    Send(card, "805000020B" + kTerms);
    EXPECT_EQ(Send(card, "805200000B2025030209153044A3AF46"), "F2C3E26E9000");
}

TEST(Purse, PaysWithTheTerminalsMac)
{
    const auto card = PurseCard();
    EXPECT_EQ(Send(card, "805001020B" + kTerms), "017D784000210000000100919293949000");
    EXPECT_EQ(Send(card, "805401000F0101010220250302091530738A496C08"), "11E29C64F8D7FCCF9000");
    EXPECT_EQ(Send(card, "805C000204"), "007C773F9000");
    EXPECT_EQ(Send(card, "00B201C400"), "0021000000010101010611223344556620250302091530"
                                        "9000");
    EXPECT_EQ(Send(card, "805001020B0100000001112233445566").substr(0, 12), "007C773F0022");
    EXPECT_EQ(Send(card, "805001020B" + kTerms), "9401");
}

TEST(Purse, NewestRecordIsTheFirst)
{
    const auto card = OpenPurse();
    Send(card, "805000020B" + kTerms);
    EXPECT_EQ(Send(card, "805400000B2025030209153044A3AF46"), "F2C3E26E9000");
    Send(card, "805001020B" + kTerms);
    EXPECT_EQ(Send(card, "805401000F0101010220250302091530738A496C08"), "11E29C64F8D7FCCF9000");
    EXPECT_EQ(Send(card, "00B201C400").substr(0, 20), "00210000000101010106");
    EXPECT_EQ(Send(card, "00B202C400").substr(0, 20), "00090000000101010102");
    EXPECT_EQ(Send(card, "00B203C400"), "6A83");
}

TEST(Purse, WrongMacChangesNothing)
{
    const auto card = OpenPurse();
    Send(card, "805000020B" + kTerms);
    EXPECT_EQ(Send(card, "805400000B2025030209153044A3AF47"), "9302");
    EXPECT_EQ(Send(card, "805400000B2025030209153044A3AF46"), "6901") << "begin again";
    EXPECT_EQ(Send(card, "805C000204"), "017D78409000");
    EXPECT_EQ(Send(card, "00B201C400"), "6A83");
    Send(card, "805001020B" + kTerms);
    EXPECT_EQ(Send(card, "805401000F0101010220250302091530738A496D08"), "9302");
    EXPECT_EQ(Send(card, "805C000204"), "017D78409000");
}

TEST(Purse, SecondCommandMustFollowTheFirst)
{
    const auto card = OpenPurse();
    EXPECT_EQ(Send(card, "805400000B2025030209153044A3AF46"), "6901");
    EXPECT_EQ(Send(card, "805401000F0101010220250302091530738A496C08"), "6901");
    Send(card, "805000020B" + kTerms);
    Send(card, "805C000204");
    EXPECT_EQ(Send(card, "805400000B2025030209153044A3AF46"), "6901");
    Send(card, "805000020B" + kTerms);
    EXPECT_EQ(Send(card, "805401000F0101010220250302091530738A496C08"), "6901") << "a load began";
    Send(card, "805000020B" + kTerms);
    EXPECT_EQ(Send(card, "805400000A2025030209153044A3AF"), "6700");
    EXPECT_EQ(Send(card, "805400000B2025030209153044A3AF46"), "6901");
}

TEST(Purse, LoadAndDepositNeedThePin)
{
    const auto card = PurseCard();
    EXPECT_EQ(Send(card, "805000020B" + kTerms), "6982");
    EXPECT_EQ(Send(card, "805000010B" + kTerms), "6982");
    EXPECT_EQ(Send(card, "805001010B" + kTerms), "6982");
    EXPECT_EQ(Send(card, "805C000104"), "6982");
    EXPECT_EQ(Send(card, "805C000204"), "017D78409000");
    EXPECT_EQ(Send(card, kVerify), "9000");
    EXPECT_EQ(Send(card, "805C000104"), "02FAF0809000");
    EXPECT_EQ(Send(card, "805000010B" + kTerms), "02FAF08000110100"
                                                 "91929394A9903C5C9000");
    Send(card, kSelect);
    EXPECT_EQ(Send(card, "805C000104"), "6982") << "the PIN holds for one selection";
}

TEST(Purse, PinHasThreeTries)
{
    const auto card = PurseCard();
    EXPECT_EQ(Send(card, "0020000003999999"), "63C2");
    EXPECT_EQ(Send(card, "00200000021234"), "63C1");
    EXPECT_EQ(Send(card, kVerify), "9000");
    EXPECT_EQ(Send(card, "0020000003999999"), "63C2");
    EXPECT_EQ(Send(card, "805C000104"), "6982") << "a wrong PIN takes the right back";
    Send(card, "0020000003999999");
    EXPECT_EQ(Send(card, "0020000003999999"), "63C0");
    EXPECT_EQ(Send(card, kVerify), "6983");
    EXPECT_EQ(Send(card, "002000000112"), "6700");
    EXPECT_EQ(Send(card, "0020008003123456"), "6A86");
}

TEST(Purse, RefusesWhatItDoesNotHave)
{
    const auto card = OpenPurse();
    EXPECT_EQ(Send(card, "805001020B01FFFFFFFF112233445566"), "9401");
    EXPECT_EQ(Send(card, "805000020B01FFFFFFFF112233445566"), "6985") << "beyond four bytes";
    EXPECT_EQ(Send(card, "805001020B0201010101112233445566"), "9403");
    EXPECT_EQ(Send(card, "805001030B" + kTerms), "6A86");
    EXPECT_EQ(Send(card, "805002020B" + kTerms), "6A86");
    EXPECT_EQ(Send(card, "805001020A01010101011122334455"), "6700");
    EXPECT_EQ(Send(card, "805C000304"), "6A86");
    EXPECT_EQ(Send(card, "805C000205"), "6700");
    EXPECT_EQ(Send(card, "805402000F0101010220250302091530738A496C08"), "6A86");
}

TEST(Purse, ZerosOfACutTextAreAnAmountOfNothing)
{
    const auto card = OpenPurse();
    EXPECT_EQ(Send(card, "805000020B0100000000000000000000").substr(0, 24),
              "017D78400009010091929394");
}

TEST(Purse, CounterHasAnEnd)
{
    nlohmann::json description = DescriptionOf("purse", "purse");
    description["applications"][0]["purse"]["purse"]["offlineCounter"] = 65535;
    const auto card = CardOf(description.dump());
    Send(card, kSelect);
    EXPECT_EQ(Send(card, "805001020B" + kTerms), "9402");
}

TEST(Purse, DepositMayGoBelowZeroUpToItsOverdraft)
{
    nlohmann::json description = DescriptionOf("purse", "purse");
    nlohmann::json *purse = &description["applications"][0]["purse"];
    (*purse)["purse"]["balance"] = "168430.00";
    (*purse)["purse"]["overdraft"] = "10.00";
    const auto card = CardOf(description.dump());
    Send(card, kSelect);
    EXPECT_EQ(Send(card, "805001020B" + kTerms).substr(0, 18), "010100F800210003E8");
    EXPECT_EQ(Send(card, "805401000F0101010220250302091530738A496C08"), "11E29C64F8D7FCCF9000");
    // 168,430.09 were spent: nine hundredths more than there were.
    EXPECT_EQ(Send(card, "805001020B0100000001112233445566").substr(0, 18), "0000000000220003DF");
    EXPECT_EQ(Send(card, "805001020B01000003E0112233445566"), "9401");
}

TEST(Purse, DescriptionIsChecked)
{
    const auto errorWith = [](const char *key, const nlohmann::json &value)
    {
        nlohmann::json description = DescriptionOf("purse", "purse");
        description["applications"][0]["purse"][key] = value;
        return ErrorOf(description.dump());
    };
    const std::string place = "applications[0].purse";
    EXPECT_EQ(errorWith("keys", {{"load", "31323334353637384142434445464748"}}),
              place + ".keys: the key \"purchase\" is missing");
    EXPECT_EQ(errorWith("pin", "12"),
              place + ".pin: expected a PIN of 4 to 12 digits, an even number of them, found "
                      "\"12\"");
    EXPECT_EQ(errorWith("deposit", {{"balance", "42949672.96"}}),
              place + ".deposit.balance: does not fit the card's field");
    EXPECT_EQ(errorWith("deposit", {{"overdraft", "167772.16"}}),
              place + ".deposit.overdraft: does not fit the card's field");
}

TEST(ElementaryFiles, BinaryIsReadBySfi)
{
    const auto card = PurseCard();
    EXPECT_EQ(Send(card, kRead15), "015600000000000103010100620000555500001112012025010120331231"
                                   "00009000");
    EXPECT_EQ(Send(card, "00B0951E02"), "00009000");
    EXPECT_EQ(Send(card, "00B0951E03"), "6C02");
    EXPECT_EQ(Send(card, "00B0952000"), "6B00");
    EXPECT_EQ(Send(card, "00B09C0000"), "6A82");
    EXPECT_EQ(Send(card, "00B0000000"), "6986");
    EXPECT_EQ(Send(card, "00A4000002EF15"), "6F048302EF159000");
    EXPECT_EQ(Send(card, "00B0001C04"), "123100009000");
    EXPECT_EQ(Send(card, "00B2010400"), "6981") << "the current file has no records";
}

TEST(ElementaryFiles, SecuredFileIsWrittenWithAMacOverTheChallenge)
{
    const auto card = PurseCard();
    EXPECT_EQ(Send(card, "00D6950002AABB"), "6982");
    EXPECT_EQ(Send(card, "04D6950006AABB67F19673"), "6984") << "no challenge";
    EXPECT_EQ(Send(card, "0084000004"), "919293949000");
    EXPECT_EQ(Send(card, "04D6950006AABB67F19673"), "9000");
    EXPECT_EQ(Send(card, kRead15).substr(0, 8), "AABB0000");
    EXPECT_EQ(Send(card, "04D6950006AABB67F19673"), "6984") << "a challenge serves once";
    EXPECT_EQ(Send(card, "0084000008"), "91929394959697989000");
    EXPECT_EQ(Send(card, "04D6950006AABB7FE8A89D"), "9000");
    Send(card, "0084000004");
    EXPECT_EQ(Send(card, "04D6950006AABC67F19673"), "6988");
    EXPECT_EQ(Send(card, "04D6950006AABB67F19673"), "6984");
    Send(card, "0084000004");
    EXPECT_EQ(Send(card, "04D695000467F19673"), "6700");
}

TEST(ElementaryFiles, OpenFileIsWrittenAsItIs)
{
    const auto card = PurseCard();
    EXPECT_EQ(Send(card, "00D6960002AABB"), "9000");
    EXPECT_EQ(Send(card, "00B0960002"), "AABB9000");
    EXPECT_EQ(Send(card, "00D6962602AABB"), "6A84");
    EXPECT_EQ(Send(card, "00D696FF02AABB"), "6A84");
    EXPECT_EQ(Send(card, "00D6960000"), "6700");
}

TEST(ElementaryFiles, DescriptionIsChecked)
{
    const auto errorOf = [](const std::string &files)
    {
        return ErrorOf(R"({"kind": "pboc", "applications": [{"aid": "A000000333010101",
                           "elementaryFiles": )" +
                       files + "}]}");
    };
    const std::string place = "applications[0].elementaryFiles";
    EXPECT_EQ(errorOf("[]"),
              place + ": expected files as {\"IDENTIFIER\": {\"binary\" or \"records\"}}, found an "
                      "array");
    EXPECT_EQ(errorOf(R"({"3F00": {"binary": "00"}})"),
              place + ".3F00: is no file identifier such as \"EF05\"");
    EXPECT_EQ(errorOf(R"({"EF05": {}})"), place + ".EF05: needs either \"binary\" or \"records\"");
    EXPECT_EQ(errorOf(R"({"EF20": {"binary": "00"}})"),
              place + ".EF20: needs \"sfi\", since its identifier does not give one");
    EXPECT_EQ(errorOf(R"({"EF05": {"binary": "00", "secured": true}})"),
              place + ".EF05: is secured, but the application has no \"maintenanceKey\"");
    EXPECT_EQ(errorOf("{\"EF05\": {\"binary\": \"" + std::string(1022, '0') + "\"}}"),
              place + ".EF05: is longer than 510 bytes");
}

TEST(SocialSecurityCard, HasSevenRecordsInItsFirstFile)
{
    const auto card = SocialSecurityCard();
    EXPECT_EQ(Send(card, "00B2010400"), "6986") << "no file selected";
    EXPECT_EQ(Send(card, "00A4000002EF05"), "6F048302EF059000");
    EXPECT_EQ(Send(card, "00B2010400"), "0110310000D156000005000000AB12CD34EF9000");
    EXPECT_EQ(Send(card, "00B2020400"), "0201019000");
    EXPECT_EQ(Send(card, "00B2030400"), "0304312E30309000");
    EXPECT_EQ(Send(card, "00B2040400"), "040C9100000231000031000000009000");
    EXPECT_EQ(Send(card, "00B2050400"), "0504202503019000");
    EXPECT_EQ(Send(card, "00B2060400"), "0604203502289000");
    EXPECT_EQ(Send(card, "00B2070400"), "07094131323334353637389000");
    EXPECT_EQ(Send(card, "00B2080400"), "6A83");
    EXPECT_EQ(Send(card, "00B2022C00"), "0201019000") << "by SFI as well";
}

TEST(SocialSecurityCard, HasSixRecordsInItsSecondFile)
{
    const auto card = SocialSecurityCard();
    EXPECT_EQ(Send(card, "00A4000002EF06"), "6F048302EF069000");
    EXPECT_EQ(Send(card, "00B2010400"), "08123131303130353139343931323331303032589000");
    EXPECT_EQ(Send(card, "00B2020400"), "09095A48414E472053414E9000");
    EXPECT_EQ(Send(card, "00B2030400"), "0A01319000");
    EXPECT_EQ(Send(card, "00B2040400"), "0B01019000");
    EXPECT_EQ(Send(card, "00B2050400"), "0C031101059000");
    EXPECT_EQ(Send(card, "00B2060400"), "0D04194912319000");
    EXPECT_EQ(Send(card, "00A4000002EF07"), "6A82");
    EXPECT_EQ(Send(card, "00A40000023F00"), "6A82");
    EXPECT_EQ(Send(card, "00A4000001EF"), "6700");
    EXPECT_EQ(Send(card, "00A4010002EF05"), "6A86");
}

TEST(SocialSecurityCard, DirectoryIsFoundByItsNameOnly)
{
    const auto card = CardOf(DescriptionOf("social-security", "social-security").dump());
    EXPECT_EQ(Send(card, "00A4000002EF05"), "6A82") << "nothing selected";
    EXPECT_EQ(Send(card, "00A404000F7378312E73682EE7A4BEE4BC9AE4BE"), "6A82");
    EXPECT_EQ(Send(card, "00A404000E315041592E5359532E4444463031"), "6A82");
}

TEST(SocialSecurityCard, RecordsMayBeMissingOrLackTheirElement)
{
    const auto five = SocialSecurityCard("five-records");
    Send(five, "00A4000002EF06");
    EXPECT_EQ(Send(five, "00B2050400"), "0C031101059000");
    EXPECT_EQ(Send(five, "00B2060400"), "6A83");
    const auto lacking = SocialSecurityCard("missing-element");
    Send(lacking, "00A4000002EF05");
    EXPECT_EQ(Send(lacking, "00B2030400"), "9000");
    EXPECT_EQ(Send(lacking, "00B2040400").substr(0, 4), "040C");
    const auto gbk = SocialSecurityCard("gbk-name");
    Send(gbk, "00A4000002EF06");
    EXPECT_EQ(Send(gbk, "00B2020400"), "0904D5C5C8FD9000");
}

TEST(SocialSecurityCard, RecordsMayBeReplaced)
{
    const auto card =
        CardOf(R"({"kind": "social-security", "name": "7378312E7368", "status": "6283",
        "records": {"EF05": {"3": "FF00", "9": {"99": "01"}}}})");
    EXPECT_EQ(Send(card, "00A40400067378312E7368"), "6F0D84067378312E7368A5038801056283");
    Send(card, "00A4000002EF05");
    EXPECT_EQ(Send(card, "00B2030400"), "FF009000");
    EXPECT_EQ(Send(card, "00B2090400"), "9901019000");
    EXPECT_EQ(Send(card, "00B2010400"), "9000");
}

TEST(SocialSecurityCard, DescriptionIsChecked)
{
    EXPECT_EQ(ErrorOf(R"({"kind": "social-security", "fields": {"colour": "red"}})"),
              "fields.colour: unknown key; known here are cardIdentifier, cardType, version, "
              "issuer, issued, expires, cardNumber, number, name, sex, nation, birthplace, "
              "birthDate");
    EXPECT_EQ(ErrorOf(R"({"kind": "social-security", "fields": {"birthDate": "31.12.1949"}})"),
              "fields.birthDate: expected a date such as \"2025-01-31\" or \"20250131\", found "
              "\"31.12.1949\"");
    EXPECT_EQ(ErrorOf(R"({"kind": "social-security", "fields": {"name": "hex:D"}})"),
              "fields.name: expected a text, or \"hex:\" and hexadecimal digits, found \"hex:D\"");
    EXPECT_EQ(ErrorOf(R"({"kind": "social-security", "records": {"EF07": {}}})"),
              "records.EF07: unknown key; known here are EF05, EF06");
    EXPECT_EQ(ErrorOf(R"({"kind": "social-security", "records": {"EF05": {"0": "00"}}})"),
              "records.EF05.0: is no record number (1 to 255)");
}
