// Status words injected in front of a card.
#include "cards_support.h"

using cards_test::CardOf;
using cards_test::ErrorOf;
using cards_test::Send;
using cards_test::Unhex;

namespace
{

std::shared_ptr<vreader::Card> CardWith(const std::string &inject)
{
    return CardOf(R"({"kind": "pboc", "getData": {"9F79": "01", "9F77": "02"}, "inject": )" +
                  inject + "}");
}

} // namespace

TEST(CardInjection, StatusWordFromTheDescriptionIsAnsweredSoManyTimes)
{
    const auto card = CardWith(R"([{"cmd": "80CA9F79", "sw": "6A81", "count": 2}])");
    EXPECT_EQ(Send(card, "80CA9F77"), "9F7701029000");
    EXPECT_EQ(card->remark(), "");
    EXPECT_EQ(Send(card, "80CA9F79"), "6A81");
    EXPECT_EQ(card->remark(), "injected status word");
    EXPECT_EQ(Send(card, "80CA9F7900"), "6A81");
    EXPECT_EQ(Send(card, "80CA9F79"), "9F7901019000");
    EXPECT_EQ(card->remark(), "");
}

TEST(CardInjection, WithoutCountItIsAnsweredForEver)
{
    const auto card = CardWith(R"([{"cmd": "80CA", "sw": "6283"}])");
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(Send(card, i % 2 == 0 ? "80CA9F79" : "80CA9F77"), "6283");
    EXPECT_EQ(Send(card, "00A4040005A000000004"), "6A82");
}

TEST(CardInjection, WithoutCommandItIsAnsweredToAll)
{
    const auto card = CardWith(R"([{"sw": "6F00", "count": 1}])");
    EXPECT_EQ(Send(card, ""), "6F00");
    EXPECT_EQ(Send(card, ""), "6700");
}

TEST(CardInjection, CountedOnesGoBeforeEndlessOnesInTheirOrder)
{
    const auto card =
        CardWith(R"([{"cmd": "80", "sw": "6985"}, {"cmd": "80CA", "sw": "6A81", "count": 1},
                                   {"cmd": "80CA", "sw": "6A82", "count": 1}])");
    EXPECT_EQ(Send(card, "80CA9F79"), "6A81");
    EXPECT_EQ(Send(card, "80CA9F79"), "6A82");
    EXPECT_EQ(Send(card, "80CA9F79"), "6985");
    EXPECT_EQ(Send(card, "80CA9F79"), "6985");
}

TEST(CardInjection, WorksAtRunTimeAndTheLatestEndlessOneHolds)
{
    const auto card = CardWith("[]");
    card->injectStatus(Unhex("80CA9F79"), 0x6A88, 1);
    EXPECT_EQ(Send(card, "80CA9F79"), "6A88");
    EXPECT_EQ(Send(card, "80CA9F79"), "9F7901019000");
    card->injectStatus(Unhex("80CA"), 0x6985, 0);
    card->injectStatus(Unhex("80CA9F79"), 0x6982, 0);
    EXPECT_EQ(Send(card, "80CA9F79"), "6982");
    EXPECT_EQ(Send(card, "80CA9F77"), "6985");
    card->injectStatus(Unhex("80CA"), 0x6D00, 0);
    EXPECT_EQ(Send(card, "80CA9F77"), "6D00");
}

TEST(CardInjection, StatusWord0ForgetsWhatWasInjected)
{
    const auto card =
        CardWith(R"([{"cmd": "80CA9F79", "sw": "6A81"}, {"cmd": "80CA9F77", "sw": "6A81"},
                                   {"cmd": "00", "sw": "6A81"}])");
    card->injectStatus(Unhex("80CA9F79"), 0, 0);
    EXPECT_EQ(Send(card, "80CA9F79"), "9F7901019000");
    EXPECT_EQ(Send(card, "80CA9F77"), "6A81");
    card->injectStatus({}, 0, 0);
    EXPECT_EQ(Send(card, "80CA9F77"), "9F7701029000");
    EXPECT_EQ(Send(card, "00A4040005A000000004"), "6A82");
}

TEST(CardInjection, OutlivesPowerOn)
{
    const auto card = CardWith(R"([{"cmd": "80CA9F79", "sw": "6A81", "count": 2}])");
    EXPECT_EQ(Send(card, "80CA9F79"), "6A81");
    card->powerOff();
    card->powerOn();
    EXPECT_EQ(Send(card, "80CA9F79"), "6A81");
    EXPECT_EQ(Send(card, "80CA9F79"), "9F7901019000");
}

TEST(CardInjection, CardDoesNotSeeAnInjectedCommand)
{
    const auto card = CardOf(R"({"kind": "transcript", "exchanges": [
        {"cmd": "0084000004", "rsp": "AA9000"}, {"cmd": "0084000004", "rsp": "BB9000"}],
        "inject": [{"cmd": "0084", "sw": "6985", "count": 1}]})");
    EXPECT_EQ(Send(card, "0084000004"), "6985");
    EXPECT_EQ(Send(card, "0084000004"), "AA9000");
}

TEST(CardInjection, MistakesAreNamed)
{
    const std::string card = R"({"kind": "pboc", "inject": )";
    EXPECT_EQ(ErrorOf(card + R"({}})"),
              "inject: expected a list of {\"cmd\", \"sw\", \"count\"}, found an object");
    EXPECT_EQ(ErrorOf(card + R"([{"cmd": "00"}]})"), "inject[0]: the key \"sw\" is missing");
    EXPECT_EQ(ErrorOf(card + R"([{"sw": "9000"}, {"sw": "90"}]})"),
              "inject[1].sw: expected a status word of four hexadecimal digits, found \"90\"");
    EXPECT_EQ(ErrorOf(card + R"([{"sw": "9000", "count": -1}]})"),
              "inject[0].count: expected a number from 0 to 1000000, found -1");
    EXPECT_EQ(ErrorOf(card + R"([{"sw": "9000", "cmd": "0"}]})"),
              "inject[0].cmd: expected hexadecimal digits in pairs, found \"0\"");
    EXPECT_EQ(ErrorOf(card + R"([{"sw": "9000", "times": 1}]})"),
              "inject[0].times: unknown key; known here are cmd, sw, count");
}
