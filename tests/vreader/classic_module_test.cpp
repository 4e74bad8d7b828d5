// The reader's commands for Mifare Classic cards, in both framings.
#include "vreader/memory_module_support.h"

using namespace vreader_test;

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
