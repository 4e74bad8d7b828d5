// Cards that lie, never end or fall silent.
#include "cards_support.h"

using cards_test::CardOf;
using cards_test::ErrorOf;
using cards_test::Send;

namespace
{

const char kSelectApplication[] = "00A4040008A000000333010101";

std::shared_ptr<vreader::Card> Hostile(const std::string &behaviour, const std::string &more = "")
{
    return CardOf(R"({"kind": "hostile", "behaviour": ")" + behaviour + "\"" + more + "}");
}

} // namespace

TEST(HostileCard, Endless61NeverStopsOfferingMore)
{
    const auto card = Hostile("endless-61");
    EXPECT_EQ(card->kind, "hostile");
    EXPECT_EQ(card->label, "hostile card: endless-61");
    EXPECT_EQ(Send(card, kSelectApplication), "6110");
    EXPECT_EQ(card->remark(), "hostile: endless-61");
    for (int i = 0; i < 1000; ++i)
        EXPECT_EQ(Send(card, "00C0000010"), "5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A6110");
}

TEST(HostileCard, Endless62AndEndless6CNeverChange)
{
    const auto warning = Hostile("endless-62");
    const auto length = Hostile("endless-6c");
    for (int i = 0; i < 1000; ++i)
    {
        EXPECT_EQ(Send(warning, i == 0 ? kSelectApplication : "00C0000000"), "6200");
        EXPECT_EQ(Send(length, "00B2010C10"), "6C10");
    }
}

TEST(HostileCard, EndlessDirectoryHasEveryRecordAndSelectsAsUsual)
{
    const auto card = Hostile("endless-directory");
    EXPECT_EQ(Send(card, "00A404000E315041592E5359532E4444463031"),
              "6F15840E315041592E5359532E4444463031A5038801019000");
    EXPECT_EQ(card->remark(), "");
    EXPECT_EQ(Send(card, "00B2010C00"), "700C610A4F08A0000003330101019000");
    EXPECT_EQ(Send(card, "00B2FF0C00"), "700C610A4F08A0000003330101FF9000");
    EXPECT_EQ(Send(card, "00B2001C00"), "700C610A4F08A0000003330101009000");
    EXPECT_EQ(card->remark(), "hostile: endless-directory");
    EXPECT_EQ(Send(card, kSelectApplication).substr(0, 2), "6F");
    EXPECT_EQ(Send(card, "00B2"), "6700");
}

TEST(HostileCard, EndlessLocatorNamesAllRecordsAndHasThem)
{
    const auto card = Hostile("endless-locator");
    Send(card, kSelectApplication);
    const std::string options = Send(card, "80A80000028300");
    EXPECT_EQ(options.substr(0, 26), "8081FE7C000801FF001001FF00");
    EXPECT_EQ(options.size(), 2u * (3 + 254 + 2));
    const std::string record = Send(card, "00B2C8F400");
    EXPECT_EQ(record.substr(0, 16), "7081F79F4681F3C8");
    EXPECT_EQ(record.size(), 2u * (250 + 2));
}

TEST(HostileCard, DeepTlvNestsToTheLastByte)
{
    const std::string answer = Send(Hostile("deep-tlv"), kSelectApplication);
    EXPECT_EQ(answer.size(), 2u * (248 + 2));
    EXPECT_EQ(answer.substr(0, 12), "707F707F707F");
    EXPECT_EQ(answer.substr(answer.size() - 16), "7004700270009000");
}

TEST(HostileCard, LyingLengthsClaimMoreThanThereIs)
{
    const auto card = Hostile("lying-lengths");
    EXPECT_EQ(Send(card, kSelectApplication), "6F7F8408A000000333010101A57F88FF019000");
    EXPECT_EQ(Send(card, "00B2010C00"), "7082FFFF617F4F82FFFFA09000");
    EXPECT_EQ(Send(card, "80A80000028300"), "777F82027C009482FFFF089000");
    EXPECT_EQ(Send(card, "80CA9F79"), "9F79FF009000");
}

TEST(HostileCard, OtherBehavioursAnswerTheirBytes)
{
    EXPECT_EQ(Send(Hostile("empty-response"), kSelectApplication), "");
    EXPECT_EQ(Send(Hostile("one-byte"), kSelectApplication), "90");
    EXPECT_EQ(Send(Hostile("cut-tlv"), kSelectApplication), "6F019F9000");
    EXPECT_EQ(Send(Hostile("cut-tlv"), "00B2010C00"), "70035A82019000");
    const std::string noise = Send(Hostile("not-tlv"), "80CA9F79");
    EXPECT_EQ(noise, std::string(500, 'F') + "9000");
    const std::string huge = Send(Hostile("huge"), "00B2010C00");
    EXPECT_EQ(huge.size(), 2u * 2000);
    EXPECT_EQ(huge.substr(0, 20), "708207CA5F208207C541");
    EXPECT_EQ(huge.substr(huge.size() - 6), "419000");
}

TEST(HostileCard, OnlyTheNamedCommandsAreSpoiled)
{
    const auto card = Hostile("endless-61", R"(, "commands": ["00B2", "80CA9F79"])");
    EXPECT_EQ(Send(card, kSelectApplication).substr(0, 2), "6F");
    EXPECT_EQ(Send(card, "00C0000010"), "6D00");
    EXPECT_EQ(Send(card, "00B2010C00"), "6110");
    EXPECT_EQ(Send(card, "00C0000010").substr(32), "6110");
    EXPECT_EQ(Send(card, "80CA9F79"), "6110");
    EXPECT_EQ(Send(card, "80CA9F77"), "6A88");
    EXPECT_EQ(Send(card, "00C0000010"), "6D00");
}

TEST(HostileCard, WrapsAnyWellBehavedCard)
{
    const auto card = Hostile("one-byte", R"(, "commands": ["00B2"],
        "card": {"kind": "transcript", "atr": "3B00",
                 "exchanges": [{"cmd": "00A4040001AA", "rsp": "6F009000"}],
                 "inject": [{"cmd": "80CA", "sw": "6A81"}]})");
    EXPECT_EQ(cards_test::Hex(card->answerToReset), "3B00");
    EXPECT_EQ(Send(card, "00A4040001AA"), "6F009000");
    EXPECT_EQ(Send(card, "00B2010C00"), "90");
    EXPECT_EQ(Send(card, "00840000"), "6A82");
    EXPECT_EQ(card->remark(), "not in the recording");
    EXPECT_EQ(Send(card, "80CA9F79"), "6A81");
    EXPECT_EQ(card->remark(), "injected status word");
}

TEST(HostileCard, PowerOnReachesTheWellBehavedCard)
{
    const auto card = Hostile("one-byte", R"(, "commands": ["80CA"])");
    Send(card, kSelectApplication);
    EXPECT_EQ(Send(card, "00B2010C00"), "70105A0862000000000000055F24033012319000");
    card->powerOn();
    EXPECT_EQ(Send(card, "00B2010C00"), "6985");
    Send(card, kSelectApplication);
    card->powerOff();
    EXPECT_EQ(Send(card, "00B2010C00"), "6985");
}

TEST(HostileCard, MistakesAreNamed)
{
    EXPECT_EQ(
        ErrorOf(R"({"kind": "hostile"})")
            .find("the description: the key \"behaviour\" is missing (endless-61, endless-62,"),
        0u);
    EXPECT_EQ(ErrorOf(R"({"kind": "hostile", "behaviour": "rude"})")
                  .find("behaviour: expected one of endless-61, "),
              0u);
    EXPECT_EQ(ErrorOf(R"({"kind": "hostile", "behaviour": "huge", "commands": "00"})"),
              "commands: expected a list of command beginnings in hexadecimal digits, found "
              "\"00\"");
    EXPECT_EQ(ErrorOf(R"({"kind": "hostile", "behaviour": "huge", "commands": ["0"]})"),
              "commands[0]: expected hexadecimal digits in pairs, found \"0\"");
    EXPECT_EQ(ErrorOf(R"({"kind": "hostile", "behaviour": "huge", "card": {"kind": "hostile"}})"),
              "card.kind: a hostile card wraps a well-behaved one (transcript or pboc)");
    EXPECT_EQ(
        ErrorOf(R"({"kind": "hostile", "behaviour": "huge", "card": {"kind": "pboc", "t0": 1}})"),
        "card.t0: expected true or false, found 1");
}
