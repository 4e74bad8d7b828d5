// The reader's commands for Ultralight C cards.
#include "vreader/memory_module_support.h"

using namespace vreader_test;

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
