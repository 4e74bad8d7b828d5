// What the reader's commands for memory cards of both classes have in common, and what the control
// language adds.
#include "vreader/memory_module_support.h"

using namespace vreader_test;

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
