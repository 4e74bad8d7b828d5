// Descriptions of cards with keys, and cards that are taken out and put in again.
#include "cards_online_support.h"

#include "vreader/bench.h"
#include "vreader/profile.h"
#include "vreader/running_reader.h"

using namespace cards_test;

TEST(OnlineDescription, MistakesAreToldWithTheirPlace)
{
    const auto errorWith = [](const char *key, const nlohmann::json &value)
    {
        nlohmann::json description = DescriptionOf("online-1");
        description["applications"][0]["online"][key] = value;
        return ErrorOf(description.dump());
    };
    const std::string place = "applications[0].online";
    EXPECT_EQ(errorWith("masterKey", "0123"),
              place + ".masterKey: stands beside \"masterKeys\"; one of them is enough");
    EXPECT_EQ(errorWith("masterKeys", {{"mac", "11112222333344445555666677778888"}}),
              place + ".masterKeys: the key \"cryptogram\" is missing");
    EXPECT_EQ(errorWith("masterKeys", {{"cryptogram", "0123"}}),
              place + ".masterKeys.cryptogram: expected a key of 32 hexadecimal digits, found "
                      "\"0123\"");
    EXPECT_EQ(errorWith("pin", "12a4"),
              place + ".pin: expected a PIN of 4 to 12 digits, found \"12a4\"");
    EXPECT_EQ(errorWith("declines", "always"),
              place + ".declines: expected \"never\", \"first\" or \"second\", found \"always\"");
    EXPECT_EQ(errorWith("cryptogramData", "x"),
              place + ".cryptogramData: expected \"standard\" or \"list\", found \"x\"");
    EXPECT_EQ(errorWith("atc", 65536), place + ".atc: expected a number from 0 to 65535, found "
                                               "65536");
    EXPECT_EQ(errorWith("format", 3), place + ".format: expected a number from 1 to 2, found 3");
}

TEST(OnlineDescription, NeedsACardNumberAndTheDataOfTheCryptogram)
{
    const auto errorOf = [](const std::string &records)
    {
        return ErrorOf(
            R"({"kind": "pboc", "applications": [{"aid": "A000000333010101", "records": )" +
            records + R"(, "online": {}}]})");
    };
    EXPECT_EQ(errorOf(R"({"1": [{"8C": "dol:9F02 6"}]})").substr(0, 48),
              "applications[0].online: the records need a PAN (");
    EXPECT_EQ(errorOf(R"({"1": [{"5A": "62000000000000AB"}]})").substr(0, 48),
              "applications[0].online: the records need a PAN (");
    EXPECT_EQ(errorOf(R"({"1": [{"5A": "6200000000000005",
                         "8C": "dol:9F02 6, 9F03 6, 9F1A 2, 95 5, 5F2A 2, 9A 3, 9C 1"}]})"),
              "applications[0].online: neither the PDOL nor CDOL1 (8C) asks for 9F37, which the "
              "cryptogram is over");
}

TEST(OnlineDescription, OneMasterKeyMayServeForAll)
{
    nlohmann::json description = DescriptionOf("online-1");
    nlohmann::json *online = &description["applications"][0]["online"];
    online->erase("masterKeys");
    (*online)["masterKey"] = "0123456789ABCDEFFEDCBA9876543210";
    const auto card = Asked(CardOf(description.dump()));
    EXPECT_EQ(Send(card, kPutBalance), "6988") << "the MAC key is another one now";
    online->erase("masterKey");
    Asked(CardOf(description.dump()));
}

TEST(KeptCards, CardTakenAwayAndPutBackRemembers)
{
    vreader_test::Bench bench(OnlineProfile().dump());
    vreader::Reader &reader = bench.reader->reader;
    const std::shared_ptr<vreader::Card> card = reader.contact[0].card;
    card->powerOn();
    Started(card);
    EXPECT_EQ(bench.Control("remove contact"), "ok");
    EXPECT_EQ(bench.Control("insert contact online-2"), "ok");
    EXPECT_NE(reader.contact[0].card, card);
    EXPECT_EQ(bench.Control("swap contact online-1"), "ok");
    EXPECT_EQ(reader.contact[0].card, card);
    EXPECT_EQ(bench.Control("swap contact online-1"), "ok") << "for itself";
    EXPECT_EQ(reader.contact[0].card, card);
    Send(card, kSelect);
    EXPECT_EQ(Send(card, "80CA9F36"), "9F3602002B9000");
}

TEST(KeptCards, NameOfACardThatLiesElsewhereStandsForAnotherOne)
{
    vreader_test::Bench bench(OnlineProfile().dump());
    vreader::Reader &reader = bench.reader->reader;
    const std::shared_ptr<vreader::Card> card = reader.contact[0].card;
    EXPECT_EQ(bench.Control("insert contact 1 online-1"), "ok");
    EXPECT_NE(reader.contact[1].card, card);
    EXPECT_EQ(bench.Control("remove contact 1"), "ok");
    EXPECT_EQ(bench.Control("remove contact 0"), "ok");
    EXPECT_EQ(bench.Control("insert contact 1 online-1"), "ok");
    EXPECT_EQ(reader.contact[1].card, card);
}

TEST(KeptCards, DescriptionIsANewCardEveryTime)
{
    vreader_test::Bench bench(OnlineProfile().dump());
    vreader::Reader &reader = bench.reader->reader;
    const std::string insert = "swap contact " + DescriptionOf("online-1").dump();
    EXPECT_EQ(bench.Control(insert), "ok");
    const std::shared_ptr<vreader::Card> card = reader.contact[0].card;
    EXPECT_EQ(bench.Control(insert), "ok");
    EXPECT_NE(reader.contact[0].card, card);
}
