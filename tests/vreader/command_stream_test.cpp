// Commands found in whatever the host sends.
#include "vreader/bench.h"
#include "vreader/wire/command_stream.h"

using namespace vreader;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

Bytes BytesOf(const std::string &text)
{
    return Bytes(text.begin(), text.end());
}

// "krel 8100", "union ...", "esc ...", "garbage N", "wrong check": one word pair an item.
std::vector<std::string> Items(CommandStream *stream, const std::string &wire)
{
    const Bytes bytes = BytesOf(wire);
    Feed(stream, bytes.data(), bytes.size());
    std::vector<std::string> items;
    WireItem item;
    while (NextItem(stream, &item))
    {
        if (item.kind == WireKind::garbage)
        {
            items.push_back("garbage " + std::to_string(item.bytes.size()));
            continue;
        }
        std::string text = item.framing == Framing::krel         ? "krel "
                           : item.framing == Framing::unionFrame ? "union "
                           : item.framing == Framing::identity   ? "id "
                                                                 : "esc ";
        char hex[3];
        for (const uint8_t byte : item.bytes)
        {
            snprintf(hex, sizeof hex, "%02X", byte);
            text += hex;
        }
        const char *kind = item.kind == WireKind::wrongCheck    ? "wrong check "
                           : item.kind == WireKind::wrongLength ? "wrong length "
                                                                : "";
        items.push_back(kind + text);
    }
    return items;
}

std::vector<std::string> Items(const std::string &wire)
{
    CommandStream stream;
    return Items(&stream, wire);
}

} // namespace

TEST(KrelCommand, CheckCoversStartLengthAndCommand)
{
    EXPECT_THAT(Items("60028100E3\003"), ElementsAre("krel 8100"));
    EXPECT_THAT(Items("6002810081\003"), ElementsAre("wrong check krel 8100"));
}

TEST(KrelCommand, OfNoBytesAndOf255Bytes)
{
    EXPECT_THAT(Items("600060\003"), ElementsAre("krel "));
    std::string wire = "60FF";
    std::string command;
    for (int i = 0; i < 255; ++i)
        command += "A5";
    EXPECT_THAT(Items(wire + command + "3A\003"), ElementsAre("krel " + command));
}

TEST(KrelCommand, InLowerCaseIsGarbage)
{
    EXPECT_THAT(Items("60028100e3\003"), ElementsAre("garbage 11"));
}

TEST(KrelCommand, WithTheEndByteElsewhereIsGarbage)
{
    EXPECT_THAT(Items("600281E3\003"), ElementsAre("garbage 9"));
    EXPECT_THAT(Items("6002810000E3\003"), ElementsAre("garbage 13"));
}

TEST(UnionCommand, CheckCoversTheCommandOnly)
{
    EXPECT_THAT(Items("\002"
                      "000331110020"
                      "\003"),
                ElementsAre("union 311100"));
    EXPECT_THAT(Items("\002"
                      "000331110023"
                      "\003"),
                ElementsAre("wrong check union 311100"));
}

TEST(UnionCommand, NibblesAboveNineTravelAsColonToQuestionMark)
{
    EXPECT_THAT(Items("\0020006?800::;;5544?8\003"), ElementsAre("union F800AABB5544"));
    EXPECT_THAT(Items("\002"
                      "0001FFFF\003"),
                ElementsAre("garbage 10"))
        << "no letters";
}

TEST(UnionCommand, WithTheEndByteElsewhereIsGarbage)
{
    EXPECT_THAT(Items("\002"
                      "00033111\003"),
                ElementsAre("garbage 10"));
}

TEST(Escape, SequencesOfEachLength)
{
    EXPECT_THAT(Items("\033S\033%1\033%Y\033%A\033$B0\033$I4\033$S0"),
                ElementsAre("esc 1B53", "esc 1B2531", "esc 1B2559", "esc 1B2541", "esc 1B244230",
                            "esc 1B244934", "esc 1B245330"));
}

TEST(Escape, BrokenSequencesAreGarbage)
{
    EXPECT_THAT(Items("\033%0"), ElementsAre("garbage 3"));
    EXPECT_THAT(Items("\033%Z"), ElementsAre("garbage 3"));
    EXPECT_THAT(Items("\033$C"), ElementsAre("garbage 3"));
    EXPECT_THAT(Items("\033$B1"), ElementsAre("garbage 4"));
    EXPECT_THAT(Items("\033\033S"), ElementsAre("garbage 1", "esc 1B53"));
    EXPECT_THAT(Items("\033\002"
                      "000331110020"
                      "\003"),
                ElementsAre("garbage 1", "union 311100"));
}

TEST(Resynchronising, FindsACommandBehindAnyNoise)
{
    EXPECT_THAT(Items("hello60028100E3\003"), ElementsAre("garbage 5", "krel 8100"));
    EXPECT_THAT(Items("6060028100E3\003"), ElementsAre("garbage 2", "krel 8100"))
        << "noise that looks like a start";
    EXPECT_THAT(Items("60028100E360028100E3\003"), ElementsAre("garbage 10", "krel 8100"))
        << "the end byte of the first one was lost";
    EXPECT_THAT(Items("600281\00360028100E3\003"), ElementsAre("garbage 7", "krel 8100"));
    EXPECT_THAT(Items("\002"
                      "000360028100E3\003"),
                ElementsAre("garbage 5", "krel 8100"))
        << "a Union command that was never finished";
    EXPECT_THAT(Items("\002"
                      "000311\002"
                      "000331110020"
                      "\003"),
                ElementsAre("garbage 7", "union 311100"));
    EXPECT_THAT(Items("6002\033S"), ElementsAre("garbage 4", "esc 1B53"));
    EXPECT_THAT(Items("\002"
                      "60016100\003"),
                ElementsAre("garbage 1", "krel 61"))
        << "a stray Union start in front of a Krel command";
}

TEST(Resynchronising, GoesOnBehindACommand)
{
    EXPECT_THAT(Items("60028100E3\003\003\00360028100E3\003"),
                ElementsAre("krel 8100", "garbage 2", "krel 8100"));
}

TEST(Stream, CommandsMayComeByteByByte)
{
    CommandStream stream;
    const std::string wire = "60028100E3\003\002"
                             "000331110020"
                             "\003\033$B4";
    std::vector<std::string> all;
    for (const char byte : wire)
        for (const std::string &item : Items(&stream, std::string(1, byte)))
            all.push_back(item);
    EXPECT_THAT(all, ElementsAre("krel 8100", "union 311100", "esc 1B244234"));
}

TEST(Stream, UnfinishedCommandWaitsAndCanBeForgotten)
{
    CommandStream stream;
    EXPECT_THAT(Items(&stream, "60028100"), IsEmpty());
    EXPECT_EQ(ForgetPending(&stream), BytesOf("60028100"));
    EXPECT_THAT(Items(&stream, "E3\003"), ElementsAre("garbage 3"));
}

TEST(Stream, ManyFalseStartsEndInTheCommandBehindThem)
{
    CommandStream stream;
    std::string wire;
    for (int i = 0; i < 1000; ++i)
        wire += "607"; // each claims to be a command of 76 hexadecimal bytes
    size_t garbage = 0;
    for (int i = 0; i < 100; ++i)
        for (const std::string &item : Items(&stream, wire))
            garbage += std::stoul(item.substr(8));
    EXPECT_THAT(Items(&stream, "60028100E3\003"),
                ElementsAre("garbage " + std::to_string(300000 - garbage), "krel 8100"));
}

TEST(IdentityCommand, CheckCoversLengthAndPayload)
{
    EXPECT_THAT(Items("\xAA\xAA\xAA\x96\x69" + std::string("\0\3\x11\xFF\xED", 5)),
                ElementsAre("id 11FF"));
    EXPECT_THAT(Items("\xAA\xAA\xAA\x96\x69" + std::string("\0\3\x11\xFF\xEE", 5)),
                ElementsAre("wrong check id 11FF"));
}

TEST(IdentityCommand, ALengthThatNoCommandHasIsToldAtOnce)
{
    const std::string beginning = "\xAA\xAA\xAA\x96\x69";
    EXPECT_THAT(Items(beginning + std::string("\0\0", 2)), ElementsAre("wrong length id "));
    EXPECT_THAT(Items(beginning + "\x03\xFA"), ElementsAre("wrong length id "));
    EXPECT_THAT(Items(beginning + "\x03\xF9"), IsEmpty()) << "1017: more is to come";
}

TEST(IdentityCommand, PreambleMayStandBehindMoreOfItsBytes)
{
    EXPECT_THAT(Items("\xAA\xAA\xAA\xAA\xAA\x96\x69" + std::string("\0\3\x11\xFF\xED", 5)),
                ElementsAre("garbage 2", "id 11FF"));
    EXPECT_THAT(Items("\xAA\xAA\xAA\x96\x68"), ElementsAre("garbage 5"));
    EXPECT_THAT(Items("\033\xAA\xAA\xAA\x96\x69" + std::string("\0\3\x11\xFF\xED", 5)),
                ElementsAre("garbage 1", "id 11FF"));
}

TEST(TrackCommand, ReadsEndInABracketAndWritesInTheirMark)
{
    EXPECT_THAT(Items("\033]\033A]\033T]\033D]\033E]\033B]\033F]\0330"),
                ElementsAre("esc 1B5D", "esc 1B415D", "esc 1B545D", "esc 1B445D", "esc 1B455D",
                            "esc 1B425D", "esc 1B465D", "esc 1B30"));
    EXPECT_THAT(Items("\033t1=2A3\x1D\033\\\033j"), ElementsAre("esc 1B74313D324133"));
    EXPECT_THAT(Items("\033B["), ElementsAre("garbage 3"));
    EXPECT_THAT(Items("\033t1\x1D\033\\\033k"), ElementsAre("garbage 4", "esc 1B5C", "esc 1B6B"));
    EXPECT_THAT(Items("\033t1\x1D\033\\\033"), IsEmpty()) << "unfinished";
}
