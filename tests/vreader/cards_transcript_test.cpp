// The card that repeats a recording.
#include "cards_support.h"

using cards_test::CardOf;
using cards_test::ErrorOf;
using cards_test::Send;

namespace
{

// A directory and an application that share SFI 1, as nearly all recordings do.
const char kTwoFiles[] = R"({"kind": "transcript", "exchanges": [
    {"cmd": "00A404000531504159 53 00", "rsp": "6F009000"},
    {"cmd": "00B2010C00", "rsp": "01019000"},
    {"cmd": "00B2020C00", "rsp": "01029000"},
    {"cmd": "00B2030C00", "rsp": "6A83"},
    {"cmd": "00A4040005A000000333", "rsp": "6F019000"},
    {"cmd": "80CA9F36", "rsp": "9F36020001 9000"},
    {"cmd": "00B2010C00", "rsp": "02019000"},
    {"cmd": "80CA9F3600", "rsp": "9F36020002 9000"},
    {"cmd": "00B2020C00", "rsp": "02029000"},
    {"cmd": "00B2030C00", "rsp": "02039000"}]})";

} // namespace

TEST(TranscriptCard, RecordedCommandGetsTheRecordedAnswer)
{
    const auto card = CardOf(kTwoFiles);
    EXPECT_EQ(card->kind, "transcript");
    EXPECT_EQ(Send(card, "00A40400053150415953 00"), "6F009000");
    EXPECT_EQ(card->remark(), "");
    EXPECT_EQ(Send(card, "00B2020C00"), "01029000");
}

TEST(TranscriptCard, LeMayBeMissingInTheCommand)
{
    const auto card = CardOf(kTwoFiles);
    EXPECT_EQ(Send(card, "00A40400053150415953"), "6F009000");
    EXPECT_EQ(Send(card, "00B2010C"), "01019000");
}

TEST(TranscriptCard, LeMayBeMissingInTheRecording)
{
    const auto card = CardOf(kTwoFiles);
    EXPECT_EQ(Send(card, "00A4040005A00000033300"), "6F019000");
    EXPECT_EQ(Send(card, "00A4040005A00000033310"), "6F019000");
}

TEST(TranscriptCard, DifferentLeBytesAreDifferentCommands)
{
    const auto card = CardOf(kTwoFiles);
    EXPECT_EQ(Send(card, "00A40400053150415953"), "6F009000");
    EXPECT_EQ(Send(card, "00B2010C10"), "6A82");
    EXPECT_EQ(card->remark(), "not in the recording");
}

TEST(TranscriptCard, UnrecordedCommandGets6A82AndARemark)
{
    const auto card = CardOf(kTwoFiles);
    EXPECT_EQ(Send(card, "00A4040005A000000004"), "6A82");
    EXPECT_EQ(card->remark(), "not in the recording");
    EXPECT_EQ(Send(card, "00A40400053150415953"), "6F009000");
    EXPECT_EQ(card->remark(), "");
    for (const char *command : {"", "00", "00A404", "00A40400", "00A4040010A0"})
        EXPECT_EQ(Send(card, command), "6A82") << command;
}

TEST(TranscriptCard, RepeatedCommandAnswersInRecordedOrderAndTheLastRepeats)
{
    const auto card = CardOf(R"({"kind": "transcript", "exchanges": [
        {"cmd": "0084000004", "rsp": "AAAAAAAA9000"}, {"cmd": "0084000004", "rsp": "BBBBBBBB9000"},
        {"cmd": "0084000004", "rsp": "CCCCCCCC9000"}]})");
    EXPECT_EQ(Send(card, "0084000004"), "AAAAAAAA9000");
    EXPECT_EQ(Send(card, "0084000004"), "BBBBBBBB9000");
    EXPECT_EQ(Send(card, "0084000004"), "CCCCCCCC9000");
    EXPECT_EQ(Send(card, "0084000004"), "CCCCCCCC9000");
}

TEST(TranscriptCard, PowerOnStartsTheRecordingAgain)
{
    const auto card = CardOf(R"({"kind": "transcript", "exchanges": [
        {"cmd": "0084000004", "rsp": "AAAA9000"}, {"cmd": "0084000004", "rsp": "BBBB9000"}]})");
    EXPECT_EQ(Send(card, "0084000004"), "AAAA9000");
    card->powerOn();
    EXPECT_EQ(Send(card, "0084000004"), "AAAA9000");
    EXPECT_EQ(Send(card, "0084000004"), "BBBB9000");
    card->powerOff();
    card->powerOn();
    EXPECT_EQ(Send(card, "0084000004"), "AAAA9000");
}

TEST(TranscriptCard, RecordsBelongToTheSelectTheyWereRecordedUnder)
{
    const auto card = CardOf(kTwoFiles);
    // Not one directory record is read, and still the application's own records answer.
    EXPECT_EQ(Send(card, "00A4040005A000000333"), "6F019000");
    EXPECT_EQ(Send(card, "00B2010C00"), "02019000");
    EXPECT_EQ(Send(card, "00B2020C00"), "02029000");
    EXPECT_EQ(Send(card, "00B2030C00"), "02039000");
    EXPECT_EQ(Send(card, "00B2010C00"), "02019000");
    EXPECT_EQ(Send(card, "00A40400053150415953"), "6F009000");
    EXPECT_EQ(Send(card, "00B2030C00"), "6A83");
}

TEST(TranscriptCard, ExchangeOfAnotherSelectionAnswersWithARemark)
{
    const auto card = CardOf(kTwoFiles);
    EXPECT_EQ(Send(card, "00B2020C00"), "01029000");
    EXPECT_EQ(card->remark(), "recorded under another selection");
    EXPECT_EQ(Send(card, "00A40400053150415953"), "6F009000");
    EXPECT_EQ(Send(card, "80CA9F36"), "9F360200019000");
    EXPECT_EQ(card->remark(), "recorded under another selection");
}

TEST(TranscriptCard, RefusedSelectKeepsTheSelection)
{
    const auto card = CardOf(kTwoFiles);
    EXPECT_EQ(Send(card, "00A4040005A000000333"), "6F019000");
    EXPECT_EQ(Send(card, "00A4040005A000000004"), "6A82");
    EXPECT_EQ(Send(card, "00B2010C00"), "02019000");
    EXPECT_EQ(card->remark(), "");
}

TEST(TranscriptCard, GetResponseAndWrongLengthChainsFollowTheRecording)
{
    const auto card = CardOf(
        R"({"kind": "transcript", "file": "transcripts/70-pboc-contact-t0-simulated.json"})");
    EXPECT_EQ(cards_test::Hex(card->answerToReset), "3B6D000000960755DD8648410100000001");
    EXPECT_EQ(Send(card, "00A404000E315041592E5359532E4444463031"), "6120");
    EXPECT_EQ(Send(card, "00C0000020"),
              "6F1E840E315041592E5359532E4444463031A50C8801015F2D027A689F1101019000");
    EXPECT_EQ(Send(card, "00B2010C00"), "6C2A");
    EXPECT_EQ(Send(card, "00B2010C2A"),
              "702861264F08A000000333010101500A50424F432044454249548701019F120AD5D0D0D0D2BBBFA8"
              "CDA89000");
    EXPECT_EQ(Send(card, "00B2020C00"), "6A83");
    EXPECT_EQ(Send(card, "00A4040008A000000333010101"), "614C");
    EXPECT_EQ(Send(card, "00C000004C").substr(0, 8), "6F4A8408");
}

TEST(TranscriptCard, ChainBelongsToTheCommandThatStartedIt)
{
    const auto card = CardOf(R"({"kind": "transcript", "exchanges": [
        {"cmd": "00B2010C00", "rsp": "6104"}, {"cmd": "00C0000004", "rsp": "AAAAAAAA9000"},
        {"cmd": "00B2020C00", "rsp": "6104"}, {"cmd": "00C0000004", "rsp": "BBBBBBBB9000"}]})");
    EXPECT_EQ(Send(card, "00B2020C00"), "6104");
    EXPECT_EQ(Send(card, "00C0000004"), "BBBBBBBB9000");
    EXPECT_EQ(Send(card, "00B2010C00"), "6104");
    EXPECT_EQ(Send(card, "00C0000004"), "AAAAAAAA9000");
    EXPECT_EQ(Send(card, "00B2010C00"), "6104");
    EXPECT_EQ(Send(card, "00C0000004"), "AAAAAAAA9000");
}

TEST(TranscriptCard, CaseOfASyntheticRecordingIsChosenByName)
{
    const auto card = CardOf(R"({"kind": "transcript",
        "file": "transcripts/90-openemv-synthetic.json",
        "case": "build_candidate_list/test_pse_blocked"})");
    EXPECT_EQ(Send(card, "00A404000E315041592E5359532E4444463031"), "6283");
    EXPECT_EQ(Send(card, "00C0000000"), "6C1A");
    EXPECT_EQ(Send(card, "00C000001A"),
              "6F20840E315041592E5359532E4444463031A50E8801015F2D046E6C656E9F1101019000");
}

TEST(TranscriptCard, AddedExchangeGoesBeforeTheRecordedOneAndSaysSo)
{
    const auto card = CardOf(R"({"kind": "transcript",
        "exchanges": [{"cmd": "80CA9F79", "rsp": "9F790101 9000"}],
        "add": [{"cmd": "80CA9F7900", "rsp": "9F790102 9000", "note": "more money"}]})");
    EXPECT_EQ(Send(card, "80CA9F79"), "9F7901029000");
    EXPECT_EQ(card->remark(), "added by the profile: more money");
}

TEST(TranscriptCard, AddedExchangeMayHoldAfterOneSelectOnly)
{
    const std::string text = kTwoFiles;
    const auto card = CardOf(text.substr(0, text.size() - 1) + R"(, "add": [
        {"cmd": "00B2020C00", "rsp": "6A83", "after": "00A404000531504159 53", "note": "cut"},
        {"cmd": "00B2030C00", "rsp": "6985", "after": "", "note": "nothing selected"}]})");
    EXPECT_EQ(Send(card, "00B2030C00"), "6985");
    EXPECT_EQ(card->remark(), "added by the profile: nothing selected");
    EXPECT_EQ(Send(card, "00A40400053150415953"), "6F009000");
    EXPECT_EQ(Send(card, "00B2010C00"), "01019000");
    EXPECT_EQ(Send(card, "00B2020C00"), "6A83");
    EXPECT_EQ(card->remark(), "added by the profile: cut");
    EXPECT_EQ(Send(card, "00B2030C00"), "6A83");
    EXPECT_EQ(card->remark(), "");
    EXPECT_EQ(Send(card, "00A4040005A000000333"), "6F019000");
    EXPECT_EQ(Send(card, "00B2020C00"), "02029000");
    EXPECT_EQ(card->remark(), "");
}

TEST(TranscriptCard, AddedExchangeMayAnswerAllCommandsThatBeginSo)
{
    const auto card = CardOf(R"({"kind": "transcript", "exchanges": [],
        "add": [{"cmd": "80A80000", "prefix": true, "rsp": "8006 7C0008010100 9000", "note": "n"},
                {"cmd": "80CA9F79", "rsp": "6A88", "note": "n"}]})");
    EXPECT_EQ(Send(card, "80A800000483020000"), "80067C00080101009000");
    EXPECT_EQ(Send(card, "80A80000"), "80067C00080101009000");
    EXPECT_EQ(Send(card, "80A801"), "6A82");
    EXPECT_EQ(Send(card, "80CA9F790102"), "6A82");
}

TEST(TranscriptCard, AddedSelectMovesTheSelection)
{
    const std::string text = kTwoFiles;
    const auto card = CardOf(text.substr(0, text.size() - 1) + R"(, "add": [
        {"cmd": "00A4040005A000000333", "rsp": "6F029000", "note": "another FCI"}]})");
    EXPECT_EQ(Send(card, "00A4040005A000000333"), "6F029000");
    EXPECT_EQ(Send(card, "00B2010C00"), "02019000");
    EXPECT_EQ(card->remark(), "");
}

TEST(TranscriptCard, ShortAndEmptyRecordedAnswersStayAsTheyAre)
{
    const auto card = CardOf(R"({"kind": "transcript", "exchanges": [
        {"cmd": "0084000001", "rsp": "00"}, {"cmd": "0084000002", "rsp": ""}]})");
    EXPECT_EQ(Send(card, "0084000001"), "00");
    EXPECT_EQ(Send(card, "0084000002"), "");
}

TEST(TranscriptCard, LabelAndAnswerToResetComeFromTheDescriptionFirst)
{
    const auto recorded =
        CardOf(R"({"kind": "transcript", "file": "transcripts/84-upi-ec-log-getdata.json"})");
    EXPECT_EQ(recorded->label,
              "UnionPay card: log format, one log record, electronic cash balance");
    EXPECT_EQ(cards_test::Hex(recorded->answerToReset), "3B68000056414E544F523031");
    const auto named = CardOf(R"({"kind": "transcript", "label": "mine", "atr": "3B00",
        "file": "transcripts/70-pboc-contact-t0-simulated.json"})");
    EXPECT_EQ(named->label, "mine");
    EXPECT_EQ(cards_test::Hex(named->answerToReset), "3B00");
}

TEST(TranscriptCard, MistakesInTheDescriptionAreNamed)
{
    EXPECT_EQ(ErrorOf(R"({"kind": "transcript"})"),
              "the description: the key \"file\" or \"exchanges\" is missing");
    EXPECT_EQ(ErrorOf(R"({"kind": "transcript", "file": "transcripts/none.json"})"),
              "file: cannot read \"transcripts/none.json\"");
    EXPECT_EQ(ErrorOf(R"({"kind": "transcript", "file": 7})"), "file: expected a text, found 7");
    EXPECT_EQ(ErrorOf(R"({"kind": "transcript", "exchanges": {}})"),
              "exchanges: expected a list of {\"cmd\", \"rsp\"}, found an object");
    EXPECT_EQ(ErrorOf(R"({"kind": "transcript", "exchanges": [7]})"),
              "exchanges[0]: expected an object with \"cmd\" and \"rsp\", found 7");
    EXPECT_EQ(ErrorOf(R"({"kind": "transcript", "exchanges": [{"cmd": "00", "rsp": "9G"}]})"),
              "exchanges[0].rsp: expected hexadecimal digits in pairs, found \"9G\"");
    EXPECT_EQ(ErrorOf(R"({"kind": "transcript", "exchanges": [{"cmd": "00"}]})"),
              "exchanges[0]: the key \"rsp\" is missing");
    EXPECT_EQ(ErrorOf(R"({"kind": "transcript", "exchanges": [], "case": "x"})"),
              "case: the recording has no cases");
    EXPECT_EQ(ErrorOf(R"({"kind": "transcript", "exchanges": [],
                          "add": [{"cmd": "00", "rsp": ""}]})"),
              "add[0]: the key \"note\" is missing (why this answer is added)");
    EXPECT_EQ(ErrorOf(R"({"kind": "transcript", "exchange": []})"),
              "exchange: unknown key; known here are kind, label, atr, inject, file, case, "
              "exchanges, add");
    const std::string unknownCase = ErrorOf(R"({"kind": "transcript", "case": "x",
        "file": "transcripts/90-openemv-synthetic.json"})");
    EXPECT_EQ(unknownCase.find("case: expected one of the recording's cases (build_candidate_list/"
                               "test_pse_card_blocked, "),
              0u);
    EXPECT_EQ(ErrorOf(R"({"kind": "transcript", "file": "transcripts/90-openemv-synthetic.json"})")
                  .find("the description: the key \"case\" is missing; the recording has build_"),
              0u);
}
