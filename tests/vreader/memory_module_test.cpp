// The reader's commands for memory cards, in both framings, and what the control language adds.
#include "vreader/bench.h"

using namespace vreader_test;
using testing::HasSubstr;

namespace
{

std::string Unhex(const std::string &text)
{
    std::string bytes;
    std::string digits;
    for (const char character : text)
        if (character != ' ')
            digits += character;
    for (size_t i = 0; i + 1 < digits.size(); i += 2)
        bytes += static_cast<char>(std::stoul(digits.substr(i, 2), nullptr, 16));
    return bytes;
}

std::string Hex(const std::string &bytes)
{
    std::string text;
    char pair[3];
    for (const char byte : bytes)
    {
        snprintf(pair, sizeof pair, "%02X", static_cast<unsigned char>(byte));
        text += pair;
    }
    return text;
}

char Xor(const std::string &bytes)
{
    char check = 0;
    for (const char byte : bytes)
        check = static_cast<char>(check ^ byte);
    return check;
}

// The payload of the answer to a command, both as hexadecimal text.
std::string Krel(const Host &host, const std::string &command)
{
    std::string frame = "\x60";
    frame += static_cast<char>(Unhex(command).size());
    frame += Unhex(command);
    const std::string answer = host.Exchange(Hex(frame + Xor(frame)) + "\003");
    if (answer.size() < 7 || answer.substr(0, 2) != "60")
        return "no answer";
    return answer.substr(4, answer.size() - 7); // without 60, length, check and end
}

std::string Union(const Host &host, const std::string &command)
{
    const std::string bytes = Unhex(command);
    const std::string frame =
        std::string(1, '\0') + static_cast<char>(bytes.size()) + bytes + Xor(bytes);
    std::string wire = "\002";
    for (const char byte : frame)
    {
        wire += static_cast<char>(0x30 | (static_cast<unsigned char>(byte) >> 4));
        wire += static_cast<char>(0x30 | (byte & 0x0F));
    }
    const std::string answer = host.Exchange(wire + "\003");
    std::string payload;
    for (size_t i = 5; i + 3 < answer.size(); ++i) // without 02, length, check and end
        payload += "0123456789ABCDEF"[answer[i] & 0x0F];
    return payload;
}

const char kCards[] = R"({"cards": {
    "m1": {"kind": "mifare-classic", "uid": "5A1B2C3D",
           "sectors": {"2": {"keyA": "A1A2A3A4A5A6", "keyB": "B1B2B3B4B5B6",
                             "access": {"blocks": ["110", "100", "000"], "trailer": "011"}}},
           "blocks": {"4": "text:HELLO", "8": {"value": 1250}}},
    "m0": {"kind": "ultralight-c", "uid": "04112233445566", "random": ["51E764602678DF2B"],
           "pages": {"4": "00112233 44556677 8899AABB CCDDEEFF", "39": "text:LAST"}},
    "typed": {"kind": "ultralight-c", "type": "0205"},
    "processor": {"kind": "transcript", "atr": "3B00", "exchanges": []}},
    "contactless": ")";

std::string With(const std::string &card)
{
    return kCards + card + "\"}";
}

const char kDataSheetHalf[] = "AF 0A638559FC7737F9 F15D7862EBBE967A";

} // namespace

TEST(M1, PowerOnGivesTheIdentification)
{
    const Bench bench(With("m1"));
    const Host host(bench.Name());
    EXPECT_EQ(host.Exchange("60014120\003"), "6008000400085A1B2C3D34\003");
    EXPECT_EQ(host.Exchange("\002000432410000"
                            "73\003"),
              "\002000900000400085:1;2<3=5<\003");
    EXPECT_THAT(bench.Trace(), HasSubstr("M1 power on"));
    EXPECT_THAT(bench.Trace(), HasSubstr("7 bytes"));
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"powered\":true"));
}

TEST(M1, PowerOffEndsTheSession)
{
    const Bench bench(With("m1"));
    const Host host(bench.Name());
    Krel(host, "41");
    EXPECT_EQ(Krel(host, "4B"), "00");
    EXPECT_EQ(Krel(host, "43 04"), "A2");
    EXPECT_EQ(Krel(host, "4B"), "A2") << "nothing to end";
    Union(host, "32 41 00 00");
    EXPECT_EQ(Union(host, "32 25"), "0000");
    EXPECT_EQ(Union(host, "32 25"), "3004");
    EXPECT_EQ(Union(host, "32 43 04"), "3004");
    Union(host, "32 41 00 00");
    EXPECT_EQ(Union(host, "32 25 00 00"), "0000") << "the one of processor cards does it too";
    EXPECT_THAT(bench.Trace(), HasSubstr("M1 power off"));
    EXPECT_THAT(bench.Trace(), HasSubstr("IC power off contactless"));
}

TEST(M1, PowerOnBeginsAnew)
{
    const Bench bench(With("m1"));
    const Host host(bench.Name());
    Krel(host, "41");
    EXPECT_EQ(Krel(host, "42 01 60 FFFFFFFFFFFF"), "00");
    EXPECT_EQ(Krel(host, "43 04"), "0048454C4C4F0000000000000000000000");
    Krel(host, "41");
    EXPECT_EQ(Krel(host, "43 04"), "A2");
    EXPECT_THAT(bench.Trace(), HasSubstr("A2 refused (sector 1 is not authenticated)"));
}

TEST(M1, VerifyTakesSixBytesOrTwelveCharacters)
{
    const Bench bench(With("m1"));
    const Host host(bench.Name());
    for (const char *key : {"A1A2A3A4A5A6", "413141324133413441354136", "613161326133613461356136"})
    {
        Krel(host, "41");
        EXPECT_EQ(Krel(host, "42 02 60" + std::string(key)), "00");
        EXPECT_EQ(Krel(host, "45 08"), "00E2040000");
        EXPECT_EQ(Union(host, "32 42 02 00" + std::string(key)), "0000");
        EXPECT_EQ(Union(host, "32 45 08"), "0000E2040000");
    }
    EXPECT_THAT(bench.Trace(), HasSubstr("M1 verify sector 2, key A"));
}

TEST(M1, VerifyKnowsTheKeyTypesOfItsFraming)
{
    const Bench bench(With("m1"));
    const Host host(bench.Name());
    Krel(host, "41");
    EXPECT_EQ(Krel(host, "42 02 61 B1B2B3B4B5B6"), "00");
    EXPECT_EQ(Union(host, "32 42 02 01 B1B2B3B4B5B6"), "0000");
    EXPECT_EQ(Krel(host, "42 02 01 B1B2B3B4B5B6"), "A2");
    EXPECT_EQ(Krel(host, "42 02 62 B1B2B3B4B5B6"), "A2");
    EXPECT_EQ(Union(host, "32 42 02 61 B1B2B3B4B5B6"), "3001");
    EXPECT_EQ(Union(host, "32 42 02 02 B1B2B3B4B5B6"), "3001");
    EXPECT_THAT(bench.Trace(), HasSubstr("M1 verify sector 2, key B"));
    EXPECT_THAT(bench.Trace(), HasSubstr("3001 refused (no such key type)"));
}

TEST(M1, AWrongKeyIsARefusalAndHaltsTheCard)
{
    const Bench bench(With("m1"));
    const Host host(bench.Name());
    Krel(host, "41");
    EXPECT_EQ(Krel(host, "42 02 60 FFFFFFFFFFFF"), "A2");
    EXPECT_THAT(bench.Trace(), HasSubstr("A2 refused (wrong key A for sector 2)"));
    EXPECT_EQ(Krel(host, "42 02 60 A1A2A3A4A5A6"), "A2");
    EXPECT_EQ(Krel(host, "43 08"), "A2");
    EXPECT_EQ(Union(host, "32 43 08"), "3007");
    EXPECT_THAT(bench.Trace(), HasSubstr("3007 card does not answer (the card is halted until"));
    Union(host, "32 41 00 00");
    EXPECT_EQ(Union(host, "32 42 02 00 FFFFFFFFFFFF"), "3001");
}

TEST(M1, KeysOfOtherLengthsAreRefusedWithoutAskingTheCard)
{
    const Bench bench(With("m1"));
    const Host host(bench.Name());
    Krel(host, "41");
    for (const char *key : {"", "A0A1", "A1A2A3A4A5", "A1A2A3A4A5A6A7", "A1A2A3A4A5A6A1A2A3A4A5A6"})
        EXPECT_EQ(Krel(host, "42 02 60" + std::string(key)), "A2") << key;
    EXPECT_THAT(bench.Trace(), HasSubstr("A2 refused (a key of 2 bytes)"));
    EXPECT_EQ(Krel(host, "42 02 60 A1A2A3A4A5A6"), "00") << "the card is as awake as before";
    EXPECT_EQ(Krel(host, "42 02"), "A1");
    EXPECT_EQ(Krel(host, "42"), "A1");
    EXPECT_EQ(Union(host, "32 42 02"), "1009");
}

TEST(M1, SectorsAreCountedFrom0)
{
    const Bench bench(R"({"cards": {"c": {"kind": "mifare-classic", "size": "4K",
        "sectors": {"39": {"keyA": "393939393939"}}, "blocks": {"1": "0102", "254": "0304"}}},
        "contactless": "c"})");
    const Host host(bench.Name());
    Krel(host, "41");
    EXPECT_EQ(Krel(host, "42 00 60 FFFFFFFFFFFF"), "00");
    EXPECT_EQ(Krel(host, "43 01"), "0001020000000000000000000000000000");
    EXPECT_EQ(Krel(host, "42 27 60 393939393939"), "00");
    EXPECT_EQ(Krel(host, "43 FE"), "0003040000000000000000000000000000");
    EXPECT_EQ(Krel(host, "42 28 60 FFFFFFFFFFFF"), "A2");
    EXPECT_THAT(bench.Trace(), HasSubstr("A2 refused (no such sector)"));
}

TEST(M1, SectorsMayBeCountedFrom1)
{
    const Bench bench(R"({"reader": {"firstSector": 1},
        "cards": {"c": {"kind": "mifare-classic", "blocks": {"1": "0102", "4": "0304"}}},
        "contactless": "c"})");
    const Host host(bench.Name());
    Krel(host, "41");
    EXPECT_EQ(Krel(host, "42 01 60 FFFFFFFFFFFF"), "00");
    EXPECT_EQ(Krel(host, "43 01"), "0001020000000000000000000000000000");
    EXPECT_EQ(Krel(host, "42 02 60 FFFFFFFFFFFF"), "00");
    EXPECT_EQ(Krel(host, "43 04"), "0003040000000000000000000000000000");
    EXPECT_EQ(Krel(host, "42 00 60 FFFFFFFFFFFF"), "A2");
    EXPECT_EQ(Krel(host, "42 11 60 FFFFFFFFFFFF"), "A2") << "a 1K card has no 17th sector";
}

TEST(M1, ReadsAndWritesBlocksInBothFramings)
{
    const Bench bench(With("m1"));
    const Host host(bench.Name());
    Krel(host, "41");
    Krel(host, "42 01 60 FFFFFFFFFFFF");
    EXPECT_EQ(Krel(host, "44 05 00112233445566778899AABBCCDDEEFF"), "00");
    EXPECT_EQ(Krel(host, "43 05"), "0000112233445566778899AABBCCDDEEFF");
    EXPECT_EQ(Union(host, "32 44 06 FFEEDDCCBBAA99887766554433221100"), "0000");
    EXPECT_EQ(Union(host, "32 43 06"), "0000FFEEDDCCBBAA99887766554433221100");
    EXPECT_THAT(bench.Trace(), HasSubstr("M1 write block 5 "));
    EXPECT_THAT(bench.Trace(), HasSubstr("16 bytes"));
    EXPECT_EQ(Krel(host, "43 08"), "A2");
}

TEST(M1, ValueCommandsWorkOnValueBlocks)
{
    const Bench bench(With("m1"));
    const Host host(bench.Name());
    Krel(host, "41");
    Krel(host, "42 02 61 B1B2B3B4B5B6");
    EXPECT_EQ(Krel(host, "47 08 02010000"), "00");
    EXPECT_EQ(Krel(host, "45 08"), "00E4050000") << "1250 + 258";
    EXPECT_EQ(Union(host, "32 47 08 01000000"), "0000");
    EXPECT_EQ(Union(host, "32 48 08 E5050000"), "0000");
    EXPECT_EQ(Krel(host, "45 08"), "0000000000");
    EXPECT_EQ(Union(host, "32 46 08 39300000"), "0000");
    EXPECT_EQ(Krel(host, "43 08"), "0039300000C6CFFFFF3930000008F708F7") << "12345, address 8";
    EXPECT_EQ(Krel(host, "46 08 01000000"), "00");
    EXPECT_EQ(Krel(host, "48 08 02000000"), "00");
    EXPECT_EQ(Krel(host, "45 08"), "00FFFFFFFF");
}

TEST(M1, OnlyAValueBlockHasAValue)
{
    const Bench bench(With("m1"));
    const Host host(bench.Name());
    Krel(host, "41");
    Krel(host, "42 01 60 FFFFFFFFFFFF");
    EXPECT_EQ(Krel(host, "45 04"), "A2");
    EXPECT_THAT(bench.Trace(), HasSubstr("A2 refused (the block holds no value)"));
    EXPECT_EQ(Krel(host, "43 04"), "0048454C4C4F0000000000000000000000")
        << "that was the reader's refusal, not the card's";
    EXPECT_EQ(Union(host, "32 47 04 01000000"), "3001");
    EXPECT_THAT(bench.Trace(), HasSubstr("3001 refused (block 4 holds no value)"));
}

TEST(M1, AccessBitsAreEnforced)
{
    const Bench bench(With("m1"));
    const Host host(bench.Name());
    Krel(host, "41");
    Krel(host, "42 02 60 A1A2A3A4A5A6");
    EXPECT_EQ(Krel(host, "48 08 01000000"), "00") << "key A takes";
    EXPECT_EQ(Krel(host, "47 08 01000000"), "A2") << "and does not load";
    EXPECT_THAT(bench.Trace(), HasSubstr("(the access bits do not allow it with key A)"));
}

TEST(M1, CommandsOfWrongLengthAreNotCarriedOut)
{
    const Bench bench(With("m1"));
    const Host host(bench.Name());
    Krel(host, "41");
    Krel(host, "42 01 60 FFFFFFFFFFFF");
    for (const char *command :
         {"41 00", "4B 00", "43", "43 04 00", "44 04", "44 04 00112233445566778899AABBCCDDEE",
          "44 04 00112233445566778899AABBCCDDEEFF00", "45", "46 04 000000", "47 04", "48 04 00"})
        EXPECT_EQ(Krel(host, command), "A1") << command;
    for (const char *command : {"32 41", "32 41 00", "32 41 00 01", "32 25 00", "32 43", "32 44 04",
                                "32 46 04 000000", "32 47 04", "32 48 04 00 00 00 00 00"})
        EXPECT_EQ(Union(host, command), "1009") << command;
    EXPECT_EQ(Krel(host, "43 04"), "0048454C4C4F0000000000000000000000");
}

TEST(M1, ItsUnionPowerOffLetterIsNoKrelCommand)
{
    const Bench bench(With("m1"));
    const Host host(bench.Name());
    EXPECT_EQ(Krel(host, "25"), "A1");
    EXPECT_EQ(Union(host, "32 4B"), "1009");
}

TEST(MemoryCard, CommandsOfEveryLengthAreAnswered)
{
    for (const std::string card : {"m1", "m0"})
    {
        const Bench bench(With(card));
        const Host host(bench.Name());
        for (const char letter : std::string("KBCDEFGHUWTVXAQ"))
            for (size_t length = 0; length < 24; ++length)
            {
                const std::string command = letter + std::string(length, '\4');
                Krel(host, card == "m1" ? "41" : "51");
                EXPECT_GE(Krel(host, Hex(command)).size(), 2u) << Hex(command);
                EXPECT_GE(Union(host, "32" + Hex(command)).size(), 4u) << Hex(command);
            }
    }
}

TEST(MemoryCard, MissingOneHasTheNoCardStatuses)
{
    const Bench bench(R"({"cards": {}})");
    const Host host(bench.Name());
    for (const char *command : {"41", "4B", "42 01 60 FFFFFFFFFFFF", "43 04", "45 04", "51", "55",
                                "57 04 01", "54 04 01020304", "56 02 1A 00", "58"})
        EXPECT_EQ(Krel(host, command), "FB") << command;
    EXPECT_EQ(Union(host, "32 41 00 00"), "3005");
    EXPECT_EQ(Union(host, "32 25"), "3006");
    EXPECT_EQ(Union(host, "32 43 04"), "3006");
}

TEST(MemoryCard, UnpoweredOneHasTheNotPoweredStatuses)
{
    const Bench bench(With("m1"));
    const Host host(bench.Name());
    EXPECT_EQ(Krel(host, "43 04"), "A2");
    EXPECT_EQ(Union(host, "32 42 01 00 FFFFFFFFFFFF"), "3004");
    EXPECT_THAT(bench.Trace(), HasSubstr("A2 card not powered"));
    bench.Control("swap contactless m0");
    for (const char *command : {"57 04 01", "54 04 01020304", "56 02 1A 00", "55"})
        EXPECT_EQ(Krel(host, command), "A2") << command;
}

TEST(MemoryCard, OfTheOtherClassIsNotPoweredOn)
{
    const Bench bench(With("m1"));
    const Host host(bench.Name());
    EXPECT_EQ(Krel(host, "51"), "A2");
    EXPECT_THAT(bench.Trace(), HasSubstr("A2 card does not answer (a card of another kind)"));
    Krel(host, "41");
    EXPECT_EQ(Krel(host, "57 04 01"), "A2") << "M0 commands are not for an M1 card";
    EXPECT_EQ(Krel(host, "43 00"), "A2");
    bench.Control("swap contactless m0");
    EXPECT_EQ(Krel(host, "41"), "A2");
    EXPECT_EQ(Union(host, "32 41 00 00"), "3008");
    EXPECT_EQ(Krel(host, "51").substr(0, 2), "00");
    EXPECT_EQ(Krel(host, "43 04"), "A2");
}

TEST(MemoryCard, AndProcessorCardAreToldApart)
{
    const Bench bench(With("processor"));
    const Host host(bench.Name());
    EXPECT_EQ(Union(host, "32 41 00 00"), "3008");
    EXPECT_EQ(Krel(host, "51"), "A2");
    EXPECT_EQ(Krel(host, "D1"), "003B00");
    EXPECT_EQ(Krel(host, "43 04"), "A2");
    EXPECT_EQ(Krel(host, "58"), "0000") << "a type of no memory card";
    bench.Control("swap contactless m1");
    EXPECT_EQ(Union(host, "32 24 00 00"), "3008");
    EXPECT_EQ(Krel(host, "41").substr(0, 2), "00");
    EXPECT_EQ(Union(host, "32 26 FF 00A4040000"), "3004") << "no APDU reaches it";
    EXPECT_EQ(Krel(host, "D3 00A4040000"), "A2");
    EXPECT_EQ(Union(host, "32 21 FF"), "00000012");
}

TEST(MemoryCard, ResetEndsItsPower)
{
    const Bench bench(With("m1"));
    const Host host(bench.Name());
    Krel(host, "41");
    Krel(host, "42 01 60 FFFFFFFFFFFF");
    EXPECT_EQ(Union(host, "F800AABB5544"), "0000");
    EXPECT_EQ(Union(host, "32 43 04"), "3004");
}

TEST(M0, PowerOnAndPowerOff)
{
    const Bench bench(With("m0"));
    const Host host(bench.Name());
    EXPECT_EQ(host.Exchange("60015130\003"), "600B0044000004112233445566"
                                             "5C\003");
    EXPECT_EQ(Krel(host, "55"), "00");
    EXPECT_EQ(Krel(host, "55"), "A2");
    EXPECT_EQ(Krel(host, "57 04 01"), "A2");
}

TEST(M0, HasNoUnionCommands)
{
    const Bench bench(With("m0"));
    const Host host(bench.Name());
    for (const char *command : {"32 51", "32 51 00 00", "32 55", "32 57 04 01", "32 54 04 01020304",
                                "32 56 02 1A 00", "32 58"})
        EXPECT_EQ(Union(host, command), "1009") << command;
}

TEST(M0, ReadsSoManyPages)
{
    const Bench bench(With("m0"));
    const Host host(bench.Name());
    Krel(host, "51");
    EXPECT_EQ(Krel(host, "57 04 01"), "0000112233");
    EXPECT_EQ(Krel(host, "57 04 04"), "0000112233445566778899AABBCCDDEEFF");
    EXPECT_EQ(Krel(host, "57 04 00"), "0000112233445566778899AABBCCDDEEFF") << "as the card reads";
    EXPECT_EQ(Krel(host, "57 07 05"), "00CCDDEEFF00000000000000000000000000000000");
    EXPECT_EQ(Krel(host, "57 00 2C").size(), 2u + 8 * 44) << "all that can be read";
    EXPECT_EQ(Krel(host, "57 27 01"), "004C415354");
    EXPECT_THAT(bench.Trace(), HasSubstr("M0 read page 27"));
    EXPECT_EQ(Krel(host, "57 2C 01"), "A2");
    EXPECT_THAT(bench.Trace(), HasSubstr("A2 refused (page 2C cannot be read)"));
}

TEST(M0, ReadBeyondThePageNumbersIsRefused)
{
    const Bench bench(With("m0"));
    const Host host(bench.Name());
    for (const char *command : {"57 FF 01", "57 28 FF", "57 00 FF"})
    {
        Krel(host, "51");
        EXPECT_EQ(Krel(host, command), "A2") << command;
    }
}

TEST(M0, WritesTheFirstFourBytes)
{
    const Bench bench(With("m0"));
    const Host host(bench.Name());
    Krel(host, "51");
    EXPECT_EQ(Krel(host, "54 04 A1A2A3A4"), "00");
    EXPECT_EQ(Krel(host, "54 05 B1B2B3B4 00000000000000000000000000"), "00") << "17 bytes";
    EXPECT_EQ(Krel(host, "57 04 03"), "00A1A2A3A4B1B2B3B48899AABB");
    EXPECT_THAT(bench.Trace(), HasSubstr("(only the first four bytes count)"));
    EXPECT_THAT(bench.Trace(), HasSubstr("M0 write page 05"));
    EXPECT_EQ(Krel(host, "54 04 A1A2A3"), "A1");
    EXPECT_EQ(Krel(host, "54"), "A1");
    EXPECT_EQ(Krel(host, "54 00 A1A2A3A4"), "A2");
}

TEST(M0, PassesCardCommandsThrough)
{
    const Bench bench(With("m0"));
    const Host host(bench.Name());
    Krel(host, "51");
    EXPECT_EQ(Krel(host, "56 02 1A 00"), "00AF577293FD2F34CA51");
    EXPECT_EQ(Krel(host, "56 11" + std::string(kDataSheetHalf)), "00003B884FA07C137CE1");
    EXPECT_EQ(Krel(host, "56 06 A2 04 01020304"), "000A");
    EXPECT_EQ(Krel(host, "56 02 30 04").substr(0, 10), "0001020304");
    EXPECT_THAT(bench.Trace(), HasSubstr("M0 card command 1A00"));
    EXPECT_EQ(Krel(host, "56"), "A1");
    EXPECT_EQ(Krel(host, "56 03 1A 00"), "A1") << "its length byte lies";
    EXPECT_EQ(Krel(host, "56 01 1A 00"), "A1");
    EXPECT_EQ(Krel(host, "56 00"), "A2") << "no command at all";
    EXPECT_EQ(Krel(host, "56 02 1A 00"), "A2") << "halted";
}

TEST(M0, AWrongHalfOfTheAuthenticationIsRefused)
{
    const Bench bench(With("m0"));
    const Host host(bench.Name());
    Krel(host, "51");
    Krel(host, "56 02 1A 00");
    EXPECT_EQ(Krel(host, "56 11 AF 0A638559FC7737F9 F15D7862EBBE967B"), "A2");
    EXPECT_THAT(bench.Trace(), HasSubstr("A2 refused (the host does not know the key)"));
}

TEST(M0, TellsTheTypeOfTheCard)
{
    const Bench bench(With("m0"));
    const Host host(bench.Name());
    EXPECT_EQ(Krel(host, "58"), "0003") << "without power";
    bench.Control("swap contactless m1");
    EXPECT_EQ(Krel(host, "58"), "0001");
    bench.Control("swap contactless typed");
    EXPECT_EQ(Krel(host, "58"), "0205");
    EXPECT_THAT(bench.Trace(), HasSubstr("M0 card type"));
    EXPECT_EQ(Krel(host, "58 00"), "A1");
}

TEST(RemoveAfter, TakesTheCardAwayInTheMiddleOfAKeyDownload)
{
    const Bench bench(With("m0"));
    const Host host(bench.Name());
    Krel(host, "51");
    EXPECT_EQ(bench.Control("remove contactless after 2"), "ok");
    EXPECT_EQ(Krel(host, "54 2D 03020100 00000000000000000000000000"), "00");
    EXPECT_EQ(Krel(host, "54 2C 07060504 00000000000000000000000000"), "00");
    EXPECT_THAT(bench.Control("memory"), HasSubstr("\"key\":\"0001020304050607214E4143554F5946\""));
    EXPECT_EQ(Krel(host, "54 2F 0B0A0908 00000000000000000000000000"), "FB");
    EXPECT_THAT(bench.Trace(), HasSubstr("card \"m0\" taken out, contactless"));
    EXPECT_THAT(bench.Trace(), HasSubstr("FB card was taken out"));
    EXPECT_EQ(Krel(host, "55"), "FB");
    EXPECT_EQ(bench.Control("memory"), "error: contactless is empty");
    EXPECT_EQ(bench.Control("insert contactless m0"), "ok");
    EXPECT_EQ(Krel(host, "51").substr(0, 2), "00") << "the next card stays";
    EXPECT_EQ(Krel(host, "57 04 01"), "0000112233");
    EXPECT_EQ(Krel(host, "57 04 01"), "0000112233");
}

TEST(RemoveAfter, CountsTheCommandsOfItsPlaceOnly)
{
    const Bench bench;
    const Host host(bench.Name());
    host.Exchange("6002E10182\003");
    EXPECT_EQ(bench.Control("remove contact after 1"), "ok");
    EXPECT_EQ(Krel(host, "D1").substr(0, 2), "00");
    EXPECT_EQ(Krel(host, "81 00").substr(0, 2), "00");
    EXPECT_EQ(Krel(host, "E3 01 00B2010C00"), "0070039F1F009000");
    EXPECT_EQ(Krel(host, "E3 01 00B2010C00"), "FB");
    EXPECT_THAT(bench.Trace(), HasSubstr("card \"plain\" taken out, contact slot 0"));
    EXPECT_EQ(Krel(host, "D3 00B2011400"), "0077009000") << "the other card is still there";
}

TEST(RemoveAfter, MayBeNoneAndIsForgottenWithTheCard)
{
    const Bench bench(With("m1"));
    const Host host(bench.Name());
    EXPECT_EQ(bench.Control("remove contactless after 0"), "ok");
    EXPECT_EQ(Krel(host, "41"), "FB");
    EXPECT_EQ(bench.Control("insert contactless m1"), "ok");
    EXPECT_EQ(bench.Control("remove contactless after 1"), "ok");
    EXPECT_EQ(bench.Control("swap contactless m1"), "ok");
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(Krel(host, "41").substr(0, 2), "00");
    EXPECT_EQ(bench.Control("remove contactless after"),
              "error: expected after N, a number of commands");
    EXPECT_EQ(bench.Control("remove contactless after x"),
              "error: expected after N, a number of commands");
    EXPECT_EQ(bench.Control("remove contactless after 1 2"),
              "error: nothing but after N may follow the place");
    EXPECT_EQ(bench.Control("remove contactless soon"),
              "error: nothing but after N may follow the place");
    EXPECT_EQ(bench.Control("remove contact after 1"), "error: contact slot 0 is empty");
}

TEST(MemoryControl, ShowsAllThatTheCardHolds)
{
    const Bench bench(With("m1"));
    const Host host(bench.Name());
    EXPECT_THAT(bench.Control("memory"), HasSubstr("\"kind\":\"mifare-classic\""));
    EXPECT_THAT(bench.Control("memory"), HasSubstr("\"authenticated\":null"));
    EXPECT_THAT(bench.Control("memory"), HasSubstr("\"A1A2A3A4A5A66C378969B1B2B3B4B5B6\""));
    Krel(host, "41");
    Krel(host, "42 02 60 A1A2A3A4A5A6");
    EXPECT_THAT(bench.Control("memory"), HasSubstr("\"authenticated\":2"));
    EXPECT_EQ(bench.Control("memory now"), "error: nothing may follow memory");
    EXPECT_EQ(bench.Control("card contactless status 43 6A82"),
              "error: this card takes no status words");
    bench.Control("swap contactless processor");
    EXPECT_EQ(bench.Control("memory"), "error: this is no memory card");
}

TEST(Profile, FirstSectorIs0Or1)
{
    std::string error;
    vreader::ReaderOptions options;
    options.profileText = R"({"reader": {"firstSector": 2}})";
    EXPECT_EQ(vreader::StartReader(options, &error), nullptr);
    EXPECT_EQ(error, "reader.firstSector: expected a number from 0 to 1, found 2");
}

namespace
{

std::string
HostileProfile(const std::string &behaviour, const std::string &card,
               const std::string &commands = R"(["read", "read-value", "exchange", "type"])")
{
    return R"({"cards": {"h": {"kind": "hostile-memory", "behaviour": ")" + behaviour +
           R"(", "commands": )" + commands + R"(, "card": )" + card + R"(}}, "contactless": "h"})";
}

const char kClassicBeneath[] = R"({"kind": "mifare-classic", "blocks": {"4": "text:HELLO"}})";
const char kUltralightBeneath[] =
    R"({"kind": "ultralight-c", "random": ["51E764602678DF2B"], "pages": {"4": "01020304"}})";

std::string Repeated(const std::string &text, size_t count)
{
    std::string all;
    for (size_t i = 0; i < count; ++i)
        all += text;
    return all;
}

} // namespace

TEST(HostileMemory, AnswersAreTooShort)
{
    const struct
    {
        const char *behaviour;
        const char *krel;
        const char *united;
    } rows[] = {
        {"no-payload", "", ""},
        {"one-byte", "00", "00"},
        {"status-only", "00", "0000"},
        {"short", "0048454C4C4F00000000000000000000", "000048454C4C4F00000000000000000000"},
    };
    for (const auto &row : rows)
    {
        const Bench bench(HostileProfile(row.behaviour, kClassicBeneath));
        const Host host(bench.Name());
        EXPECT_EQ(Krel(host, "41"), "000400085A1B2C3D") << "not a spoiled command";
        EXPECT_EQ(Krel(host, "42 01 60 FFFFFFFFFFFF"), "00");
        EXPECT_EQ(Krel(host, "43 04"), row.krel);
        EXPECT_EQ(Union(host, "32 43 04"), row.united);
        EXPECT_THAT(bench.Trace(),
                    HasSubstr("(hostile memory card: " + std::string(row.behaviour) + ")"));
    }
}

TEST(HostileMemory, AnswersAreTooLong)
{
    const std::string data = "48454C4C4F0000000000000000000000";
    {
        const Bench bench(HostileProfile("long", kClassicBeneath));
        const Host host(bench.Name());
        Krel(host, "41");
        Krel(host, "42 01 60 FFFFFFFFFFFF");
        EXPECT_EQ(Krel(host, "43 04"), "00" + data + Repeated("5A", 64));
        EXPECT_EQ(Union(host, "32 43 04"), "0000" + data + Repeated("5A", 64));
    }
    const Bench bench(HostileProfile("huge", kClassicBeneath));
    const Host host(bench.Name());
    Krel(host, "41");
    Krel(host, "42 01 60 FFFFFFFFFFFF");
    // The long form: FF for the length, FF for 334 in the place of the status.
    EXPECT_EQ(Krel(host, "43 04"), "FF" + data + Repeated("5A", 317));
    EXPECT_EQ(Union(host, "32 43 04"), "0000" + data + Repeated("5A", 982));
    Krel(host, "41");
    EXPECT_EQ(Krel(host, "43 04"), "A2" + Repeated("5A", 253)) << "the short form with a status";
}

TEST(HostileMemory, WrongProofComesFromACardWithoutTheKey)
{
    const Bench bench(HostileProfile("wrong-proof", kUltralightBeneath));
    const Host host(bench.Name());
    Krel(host, "51");
    EXPECT_EQ(Krel(host, "56 02 1A 00"), "00AF577293FD2F34CA51");
    EXPECT_EQ(Krel(host, "56 11" + std::string(kDataSheetHalf)), "00003B884FA07C137C1E");
    EXPECT_EQ(Krel(host, "57 04 01"), "0001020304");
}

TEST(HostileMemory, SpoilsTheChallengeAndTheTypeToo)
{
    {
        const Bench bench(HostileProfile("short", kUltralightBeneath));
        const Host host(bench.Name());
        Krel(host, "51");
        EXPECT_EQ(Krel(host, "56 02 1A 00"), "00AF577293FD2F34CA");
        EXPECT_EQ(Krel(host, "58"), "00");
    }
    const Bench bench(HostileProfile("status-only", kUltralightBeneath, R"(["power-on"])"));
    const Host host(bench.Name());
    EXPECT_EQ(Krel(host, "51"), "00");
    EXPECT_EQ(Krel(host, "57 04 01"), "0001020304");
}

TEST(MemoryProfiles, AnswerWithTheKeysTheyAreDescribedWith)
{
    const struct
    {
        const char *profile;
        const char *powerOn;
        std::vector<std::pair<const char *, const char *>> steps;
    } rows[] = {
        {"mifare-classic",
         "41",
         {{"42 0F 61 FFFFFFFFFFFF", "00"}, {"42 00 60 FFFFFFFFFFFF", "00"}}},
        {"mifare-classic-in-use",
         "41",
         {{"42 00 60 FFFFFFFFFFFF", "00"},
          {"43 01", "0043495459204341524400000000000000"},
          {"42 01 60 A1A2A3A4A5A6", "00"},
          {"43 04", "005A48414E472053414E00000000000000"},
          {"42 02 60 C1C2C3C4C5C6", "00"},
          {"45 08", "0006310000"},
          {"42 02 61 D1D2D3D4D5D6", "00"},
          {"47 08 64000000", "00"},
          {"45 08", "006A310000"},
          {"42 03 60 A0A100A3A4A5", "00"},
          {"42 04 60 F1F2F3F4F5F6", "00"},
          {"48 10 01000000", "00"},
          {"42 0F 60 FFFFFFFFFFFF", "A2"}}},
        {"mifare-classic-4k",
         "41",
         {{"42 1F 61 B1B2B3B4B5B6", "00"},
          {"47 7D 01000000", "00"},
          {"45 7D", "00F5010000"},
          {"42 20 60 C1C2C3C4C5C6", "00"},
          {"45 85", "00A0860100"},
          {"42 27 60 FFFFFFFFFFFF", "00"},
          {"43 FE", "004C41535420424C4F434B0000000000"
                    "00"}}},
        {"ultralight-c", "51", {{"54 04 01020304", "00"}, {"57 04 01", "0001020304"}}},
        {"ultralight-c-personalised",
         "51",
         {{"57 04 04", "00444159205449434B45542032303236"
                       "00"},
          {"57 10 01", "A2"}}},
    };
    for (const auto &row : rows)
    {
        vreader::ReaderOptions options;
        options.profile = row.profile;
        const Bench bench(options);
        const Host host(bench.Name());
        EXPECT_EQ(Krel(host, row.powerOn).substr(0, 2), "00");
        for (const auto &[command, answer] : row.steps)
            EXPECT_EQ(Krel(host, command), answer) << row.profile << ": " << command;
    }
}
