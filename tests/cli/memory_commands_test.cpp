// The built program against the virtual reader: Mifare Classic and Ultralight C cards.
#include <filesystem>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include <fcntl.h>
#include <stdlib.h>

#include "memory_text.h"
#include "support/host_library.h"
#include "tool_directory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;
using testing_support::ShippedConfig;
using testing_support::WithSetting;

namespace
{

const char kM1Cards[] = R"({"cards": {
 "city": {"kind": "mifare-classic", "uid": "3F7A10C2",
  "sectors": {
   "1": {"keyA": "A1A2A3A4A5A6", "keyB": "B1B2B3B4B5B6",
         "access": {"blocks": ["100", "100", "100"], "trailer": "011"}},
   "2": {"keyA": "C1C2C3C4C5C6", "keyB": "D1D2D3D4D5D6",
         "access": {"blocks": ["110", "110", "100"], "trailer": "011"}},
   "3": {"keyA": "A0A100A3A4A5", "keyB": "E1E2E3E4E5E6"},
   "15": {"access": "000000"}},
  "blocks": {"4": "text:ZHANG SAN", "5": "text:MEMBER 00017342",
             "8": {"value": 12550, "address": 9}}},
 "large": {"kind": "mifare-classic", "size": "4K",
  "sectors": {"32": {"keyA": "C1C2C3C4C5C6", "keyB": "D1D2D3D4D5D6",
                     "access": {"blocks": ["110", "110", "110"], "trailer": "011"}}},
  "blocks": {"133": {"value": 100000}}}},
 "contactless": "city"})";
const char kM0Cards[] = R"({"cards": {"day": {"kind": "ultralight-c", "uid": "04C6D7E8F90A80",)"
                        R"("key": "000102030405060708090A0B0C0D0E0F", "auth0": 18, "auth1": 0,)"
                        R"("pages": {"4": "text:DAY TICKET 2026", "18": "text:PASSENGER ZHANG"}}},)"
                        R"("contactless": "day"})";
const char kKey[] = "000102030405060708090A0B0C0D0E0F";
const char kNewKey[] = "00112233445566778899AABBCCDDEEFF";

struct Desk
{
    ToolDirectory tool;
    TestReader reader;

    explicit Desk(const char *cards, const std::string &config = "") : tool(config), reader(cards)
    {
    }
    ChildResult Run(std::vector<std::string> words) const
    {
        words.insert(words.begin(), {"--port", reader.Port()});
        return tool.Run(words);
    }
    json Memory() const
    {
        return json::parse(reader.Control("memory").substr(3));
    }
    std::string Block(size_t block) const
    {
        return Memory().at("blocks").at(block);
    }
};

json Parsed(const ChildResult &result)
{
    const json document = json::parse(result.out, nullptr, false);
    EXPECT_FALSE(document.is_discarded()) << result.out << result.err;
    return document;
}

// Standard input on a terminal, where somebody has typed `answer`.
ChildResult RunAnswering(const Desk &desk, const std::string &answer,
                         const std::vector<std::string> &words)
{
    const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    char name[64] = {};
    EXPECT_EQ(grantpt(master), 0);
    EXPECT_EQ(unlockpt(master), 0);
    EXPECT_EQ(ptsname_r(master, name, sizeof name), 0);
    const int slave = open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
    EXPECT_EQ(write(master, answer.data(), answer.size()), static_cast<ssize_t>(answer.size()));
    std::vector<std::string> command = {"/bin/sh", "-c",
                                        std::string("exec \"$0\" \"$@\" < ") + name};
    const std::vector<std::string> tool = desk.tool.Command({"--port", desk.reader.Port()});
    command.insert(command.end(), tool.begin(), tool.end());
    command.insert(command.end(), words.begin(), words.end());
    ChildResult result = RunChild(command);
    close(slave);
    close(master);
    return result;
}

const char kSoundTrailer[] = "A0A1A2A3A4A5FF078069B0B1B2B3B4B5";

} // namespace

// ---- Mifare Classic ----

TEST(ToolM1Read, ShowsBytesAndTextSideBySide)
{
    const Desk desk(kM1Cards);
    const ChildResult result =
        desk.Run({"m1", "read", "4", "--count", "2", "--key", "a1 a2 a3 a4 a5 a6"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out,
              "   4  5A 48 41 4E 47 20 53 41 4E 00 00 00 00 00 00 00  ZHANG SAN.......\n"
              "   5  4D 45 4D 42 45 52 20 30 30 30 31 37 33 34 32 00  MEMBER 00017342.\n");
    const json value = Parsed(desk.Run({"--json", "m1", "read", "8", "--key", "C1C2C3C4C5C6"}));
    EXPECT_EQ(
        value.at("result"),
        json({{"identification", "0400083F7A10C2"},
              {"key", "A"},
              {"blocks",
               {{{"block", 8}, {"data", "06310000F9CEFFFF0631000009F609F6"}, {"value", 12550}}}}}));
}

// The library's own calls cannot reach sector 0, nor block 0, nor carry a key with a zero byte.
TEST(ToolM1Read, ReachesBlockZeroAndKeysWithAZeroByte)
{
    const Desk desk(kM1Cards);
    EXPECT_EQ(desk.Run({"m1", "read", "0"}).out,
              "   0  3F 7A 10 C2 97 08 04 00 56 41 4E 54 4F 52 30 31  ?z......VANTOR01\n");
    EXPECT_EQ(desk.Run({"--mask", "m1", "read", "0"}).out,
              "   0  ** ** ** ** ** ** ** ** ** ** ** ** ** ** ** **  ****************\n");
    EXPECT_EQ(desk.Run({"m1", "read", "12", "--key", "A0A100A3A4A5"}).status, 0);
}

TEST(ToolM1Read, SpeaksTheUnionCommandSetToo)
{
    const Desk desk(kM1Cards, WithSetting(ShippedConfig(), "Iccmd", "1"));
    EXPECT_THAT(desk.Run({"m1", "read", "4", "--key", "A1A2A3A4A5A6"}).out, HasSubstr("ZHANG SAN"));
    desk.reader.Control("swap contactless large");
    EXPECT_EQ(Parsed(desk.Run({"--json", "m1", "dump"})).at("result").at("size"), "4K");
}

TEST(ToolM1Key, ARefusalIsSaidClearlyAndTheNextKeyIsTried)
{
    const Desk desk(kM1Cards);
    const ChildResult refused = desk.Run({"m1", "read", "4"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.out, "");
    EXPECT_THAT(refused.err, HasSubstr("M1_Verify failed with -5003"));
    EXPECT_THAT(refused.err, HasSubstr("the card refused key A of sector 1\n"));
    EXPECT_THAT(refused.err, HasSubstr("the refusal halted the card, it was powered up again"));
    const ChildResult second = desk.Run({"m1", "read", "4", "--key", "FFFFFFFFFFFF", "--key",
                                         "111111111111", "--key-b", "B1B2B3B4B5B6"});
    EXPECT_EQ(second.status, 0) << second.err;
    EXPECT_THAT(second.out, HasSubstr("ZHANG SAN"));
    EXPECT_THAT(desk.Run({"m1", "read", "4", "--key-b", "111111111111"}).err,
                HasSubstr("the card refused key B of sector 1\n"));
}

// power on, verify, power off, power on: gone at the third or fourth.
TEST(ToolM1Key, ACardThatWentAwayIsNoWrongKey)
{
    const Desk desk(kM1Cards);
    desk.reader.Control("remove contactless after 2");
    const ChildResult result = desk.Run({"m1", "read", "4"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("the card went away"));
    EXPECT_THAT(result.err, Not(HasSubstr("refused")));
    EXPECT_THAT(desk.Run({"--timeout", "1", "m1", "read", "4"}).err,
                HasSubstr("no memory card of this class came"));
}

TEST(ToolM1Write, WritesBytesOrText)
{
    const Desk desk(kM1Cards);
    EXPECT_EQ(desk.Run({"m1", "write", "20", "00112233445566778899aabbccddeeff"}).out,
              "block 20 written\n");
    EXPECT_EQ(desk.Block(20), "00112233445566778899AABBCCDDEEFF");
    EXPECT_EQ(desk.Run({"m1", "write", "20", "--text", "hello"}).status, 0);
    EXPECT_EQ(desk.Block(20), "68656C6C6F0000000000000000000000");
    const ChildResult refused =
        desk.Run({"m1", "write", "4", "--text", "x", "--key", "A1A2A3A4A5A6"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.err, HasSubstr("M1_WriteBlock failed with -5005"));
    EXPECT_THAT(refused.err, HasSubstr("the card did not take this block"));
}

TEST(ToolM1Write, ATrailerNeedsAYes)
{
    const Desk desk(kM1Cards);
    const std::string before = desk.Block(23);
    const ChildResult refused = desk.Run({"m1", "write", "23", kSoundTrailer});
    EXPECT_EQ(refused.status, 2);
    EXPECT_THAT(refused.err, HasSubstr("block 23 is the trailer of sector 5"));
    EXPECT_THAT(refused.err, HasSubstr("needs --yes"));
    const ChildResult no = RunAnswering(desk, "no\n", {"m1", "write", "23", kSoundTrailer});
    EXPECT_EQ(no.status, 1);
    EXPECT_THAT(no.err, HasSubstr("nothing was written"));
    EXPECT_EQ(desk.Block(23), before);
    const ChildResult yes = RunAnswering(desk, "yes\n", {"m1", "write", "23", kSoundTrailer});
    EXPECT_EQ(yes.status, 0) << yes.err;
    EXPECT_THAT(yes.err, HasSubstr("Type yes: "));
    EXPECT_EQ(desk.Block(23), kSoundTrailer);
    EXPECT_EQ(desk.Run({"m1", "write", "27", kSoundTrailer, "--yes"}).status, 0);
    EXPECT_EQ(desk.Block(27), kSoundTrailer);
}

TEST(ToolM1Write, AccessBitsThatWouldLockTheSectorAreRefused)
{
    const Desk desk(kM1Cards);
    const std::string before = desk.Block(23);
    const ChildResult result =
        desk.Run({"m1", "write", "23", "A0A1A2A3A4A5FF178069B0B1B2B3B4B5", "--yes"});
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.err, HasSubstr("contradict each other"));
    EXPECT_EQ(desk.Block(23), before);
}

TEST(ToolM1Value, IsReadWrittenAndCounted)
{
    const Desk desk(kM1Cards);
    EXPECT_EQ(desk.Run({"m1", "value", "8", "--key", "C1C2C3C4C5C6"}).out, "block 8  12550\n");
    EXPECT_EQ(desk.Run({"m1", "decrement", "8", "50", "--key", "C1C2C3C4C5C6"}).out,
              "block 8  12550 -> 12500\n");
    EXPECT_EQ(desk.Run({"m1", "increment", "8", "258", "--key-b", "D1D2D3D4D5D6"}).out,
              "block 8  12500 -> 12758\n");
    EXPECT_EQ(desk.Run({"m1", "value", "24", "--set", "-5"}).out, "block 24  -5\n");
    EXPECT_EQ(desk.Block(24).substr(0, 24), "FBFFFFFF04000000FBFFFFFF");
    const json counted = Parsed(desk.Run({"--json", "m1", "increment", "24", "7"}));
    EXPECT_EQ(counted.at("result").at("before"), -5);
    EXPECT_EQ(counted.at("result").at("value"), 2);
}

TEST(ToolM1Value, ARefusalIsSaidClearly)
{
    const Desk desk(kM1Cards);
    const ChildResult key = desk.Run({"m1", "increment", "8", "1", "--key", "C1C2C3C4C5C6"});
    EXPECT_EQ(key.status, 1);
    EXPECT_THAT(key.err, HasSubstr("M1_IncreaseValue failed with -5008"));
    EXPECT_THAT(key.err, HasSubstr("the card did not add"));
    EXPECT_THAT(desk.Run({"m1", "value", "20"}).err, HasSubstr("the card gives no value"));
    EXPECT_EQ(desk.Run({"m1", "value", "8", "--key", "C1C2C3C4C5C6"}).out, "block 8  12550\n");
}

TEST(ToolM1Dump, ShowsWhatTheKeysOpen)
{
    const Desk desk(kM1Cards);
    const ChildResult result =
        desk.Run({"m1", "dump", "--key", "FFFFFFFFFFFF", "--key-b", "B1B2B3B4B5B6"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, testing::StartsWith("Mifare Classic 1K, 0400083F7A10C2\n"
                                                "sector 0, key A\n   0  3F 7A 10 C2"));
    EXPECT_THAT(result.out, HasSubstr("sector 1, key B\n   4  5A 48 41 4E 47 20"));
    EXPECT_THAT(result.out, HasSubstr("sector 2: not readable, no key fits\n"
                                      "sector 3: not readable, no key fits\n"));
    EXPECT_THAT(result.out, testing::EndsWith("sector 15: not readable, no key fits\n"));
    EXPECT_THAT(result.out, HasSubstr("  23  00 00 00 00 00 00 FF 07 80 69 FF FF FF FF FF FF  "
                                      ".........i......  trailer\n"));
    EXPECT_THAT(desk.Run({"--mask", "m1", "dump"}).out,
                HasSubstr("Mifare Classic 1K, 040008********\n"));
    EXPECT_THAT(desk.Run({"--mask", "m1", "dump"}).out,
                HasSubstr("  23  00 00 00 00 00 00 FF 07 80 69 ** ** ** ** ** **  "
                          ".........i******  trailer\n"));
}

TEST(ToolM1Dump, TakesAKeyFile)
{
    const Desk desk(kM1Cards);
    const std::string path = desk.tool.scratch.path + "/keys";
    testing_support::WriteFile(path, "# the city card\n* A FFFFFFFFFFFF\n\n1 a a1a2a3a4a5a6 # A\n"
                                     "2 B D1D2D3D4D5D6\n");
    const json dump = Parsed(desk.Run({"--json", "m1", "dump", "--key-file", path}));
    const json &sectors = dump.at("result").at("sectors");
    ASSERT_EQ(sectors.size(), 16u);
    EXPECT_EQ(sectors.at(0).at("key"), "A");
    EXPECT_EQ(sectors.at(1).at("blocks").at(0).at("data"), "5A48414E472053414E00000000000000");
    EXPECT_EQ(sectors.at(2).at("key"), "B");
    EXPECT_EQ(sectors.at(2).at("blocks").at(0).at("value"), 12550);
    EXPECT_EQ(sectors.at(3).at("key"), nullptr);
    EXPECT_EQ(sectors.at(3).at("blocks").at(0), json({{"block", 12}, {"data", nullptr}}));
    testing_support::WriteFile(path, "* A FFFFFFFFFFFF\n40 A FFFFFFFFFFFF\n");
    const ChildResult wrong = desk.Run({"m1", "dump", "--key-file", path});
    EXPECT_EQ(wrong.status, 2);
    EXPECT_THAT(wrong.err, HasSubstr("line 2 of the key file"));
    EXPECT_EQ(desk.Run({"m1", "dump", "--key-file", "/nowhere"}).status, 2);
}

TEST(ToolM1Dump, BlocksThatOneKeyMayNotReadAreReadWithTheOther)
{
    const char cards[] =
        R"({"cards": {"c": {"kind": "mifare-classic", "sectors": {"1": {"keyB": "B1B2B3B4B5B6",)"
        R"("access": {"blocks": ["000", "011", "000"], "trailer": "011"}}},)"
        R"("blocks": {"5": "text:B ONLY", "6": "text:BEHIND"}}}, "contactless": "c"})";
    const Desk desk(cards);
    const std::string one = desk.Run({"m1", "dump"}).out;
    EXPECT_THAT(one, HasSubstr("   5  not readable\n   6  42 45 48 49 4E 44")); // after a halt
    const std::string both =
        desk.Run({"m1", "dump", "--key", "FFFFFFFFFFFF", "--key-b", "B1B2B3B4B5B6"}).out;
    EXPECT_THAT(both, HasSubstr("sector 1, key A B\n"));
    EXPECT_THAT(both, HasSubstr("   5  42 20 4F 4E 4C 59"));
}

TEST(ToolM1Dump, KnowsLargeCardsAndFailsWhenNothingOpens)
{
    const Desk desk(kM1Cards);
    EXPECT_EQ(desk.Run({"m1", "dump", "--key", "123456789ABC"}).status, 1);
    desk.reader.Control("swap contactless large");
    const json dump = Parsed(
        desk.Run({"--json", "m1", "dump", "--key", "FFFFFFFFFFFF", "--key-b", "D1D2D3D4D5D6"}));
    const json &sectors = dump.at("result").at("sectors");
    ASSERT_EQ(sectors.size(), 40u);
    EXPECT_EQ(sectors.at(32).at("blocks").size(), 16u);
    EXPECT_EQ(sectors.at(32).at("blocks").at(5).at("value"), 100000);
    EXPECT_EQ(sectors.at(39).at("blocks").at(15).at("block"), 255);
}

TEST(ToolM1FirstSector, MayBeOne)
{
    const std::string cards = R"({"reader": {"firstSector": 1}, )" + std::string(kM1Cards + 1);
    const Desk desk(cards.c_str());
    EXPECT_EQ(desk.Run({"m1", "read", "4", "--key", "A1A2A3A4A5A6"}).status, 1);
    EXPECT_EQ(desk.Run({"m1", "read", "4", "--key", "A1A2A3A4A5A6", "--first-sector", "1"}).status,
              0);
}

TEST(ToolM1Arguments, AreCheckedBeforeAnythingIsOpened)
{
    const ToolDirectory tool;
    const std::vector<std::vector<std::string>> wrong = {
        {"m1", "read", "256"},
        {"m1", "read", "-1"},
        {"m1", "read", "x"},
        {"m1", "read", "255", "--count", "2"},
        {"m1", "read", "4", "--key", "FFFFFFFFFF"},
        {"m1", "read", "4", "--key-b", "FFFFFFFFFFFG"},
        {"m1", "write", "4", "00"},
        {"m1", "write", "4"},
        {"m1", "write", "4", "--text", "seventeen letters"},
        {"m1", "write", "4", "00000000000000000000000000000000", "--text", "x"},
        {"m1", "value", "4", "--set", "2147483648"},
        {"m1", "value", "7", "--set", "1"},
        {"m1", "increment", "4", "0"},
        {"m1", "decrement", "4", "2147483648"},
        {"m1", "dump", "--size", "2K"},
        {"m0", "read", "30"},
        {"m0", "read", "2C"},
        {"m0", "read", "2B", "--count", "2"},
        {"m0", "read", "4", "--key", "00"},
        {"m0", "write", "4", "0011"},
        {"m0", "set-key", "0011", "--yes"},
    };
    for (const auto &words : wrong)
    {
        std::vector<std::string> all = {"--port", "/nowhere"};
        all.insert(all.end(), words.begin(), words.end());
        EXPECT_EQ(tool.Run(all).status, 2) << words.at(1) << " " << words.back();
    }
}

// ---- Ultralight C ----

TEST(ToolM0Read, ShowsPages)
{
    const Desk desk(kM0Cards);
    EXPECT_EQ(desk.Run({"m0", "read", "4", "--count", "4"}).out, "  04  44 41 59 20  DAY \n"
                                                                 "  05  54 49 43 4B  TICK\n"
                                                                 "  06  45 54 20 32  ET 2\n"
                                                                 "  07  30 32 36 00  026.\n");
    const ChildResult refused = desk.Run({"m0", "read", "12"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.err, HasSubstr("M0_ReadBlock failed with -5104"));
    EXPECT_THAT(refused.err, HasSubstr("does the card ask for its key (--key)"));
    EXPECT_EQ(desk.Run({"m0", "read", "0x12", "--key", kKey}).out, "  12  50 41 53 53  PASS\n");
}

TEST(ToolM0Auth, TellsARefusedKeyFromACardThatWentAway)
{
    const Desk desk(kM0Cards);
    EXPECT_EQ(desk.Run({"m0", "auth", "--key", kKey}).out, "the card holds this key\n");
    const ChildResult refused = desk.Run({"m0", "auth"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.err, HasSubstr("BO_M0VerifyKey failed with -5105"));
    EXPECT_THAT(refused.err, HasSubstr("the card refused the key\n"));
    EXPECT_THAT(refused.err, HasSubstr("it was powered up again"));
    desk.reader.Control("remove contactless after 2");
    EXPECT_THAT(desk.Run({"m0", "auth", "--key", kKey}).err, HasSubstr("the card went away"));
}

TEST(ToolM0Write, AsksBeforePagesThatCannotBeTakenBack)
{
    const Desk desk(kM0Cards);
    EXPECT_EQ(desk.Run({"m0", "write", "5", "--text", "abcd"}).out, "page 05 written\n");
    EXPECT_EQ(desk.Memory().at("pages").at(5), "61626364");
    const json before = desk.Memory();
    for (const char *page : {"2", "3", "28", "29", "2A", "2B", "2C", "2D", "2E", "2F"})
    {
        const ChildResult result = desk.Run({"m0", "write", page, "00000001", "--key", kKey});
        EXPECT_EQ(result.status, 2) << page;
        EXPECT_THAT(result.err, HasSubstr("needs --yes"));
    }
    EXPECT_EQ(desk.Memory().at("pages"), before.at("pages"));
    EXPECT_EQ(RunAnswering(desk, "yes\n", {"m0", "write", "2A", "30000000", "--key", kKey}).status,
              0);
    EXPECT_EQ(desk.Memory().at("pages").at(42), "30000000");
    EXPECT_EQ(desk.Run({"m0", "write", "3", "00000001", "--yes"}).status, 0);
    EXPECT_EQ(desk.Memory().at("pages").at(3), "00000001");
}

TEST(ToolM0SetKey, WritesAndProvesTheKey)
{
    const Desk desk(kM0Cards);
    EXPECT_EQ(desk.Run({"m0", "set-key", kNewKey, "--key", kKey}).status, 2);
    EXPECT_EQ(desk.Memory().at("key"), kKey);
    EXPECT_EQ(desk.Run({"m0", "set-key", kNewKey, "--key", kKey, "--yes"}).out,
              "pages 2D, 2C, 2F, 2E written, the card proves the new key\n");
    EXPECT_EQ(desk.Memory().at("key"), kNewKey);
    EXPECT_EQ(desk.Run({"m0", "auth", "--key", kNewKey}).status, 0);
    EXPECT_EQ(desk.Run({"m0", "auth", "--key", kKey}).status, 1);
}

// power on, two steps of the authentication, two pages: gone at the third.
TEST(ToolM0SetKey, TellsWhichPagesWereWritten)
{
    const Desk desk(kM0Cards);
    desk.reader.Control("remove contactless after 5");
    const ChildResult result = desk.Run({"m0", "set-key", kNewKey, "--key", kKey, "--yes"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("M0_WriteBlock failed with -5105"));
    EXPECT_THAT(result.err, HasSubstr("pages 2D, 2C were written, 2F, 2E were not"));
    EXPECT_THAT(result.err, HasSubstr("--key 001122334455667708090A0B0C0D0E0F"));
    desk.reader.Control("insert contactless day");
    desk.reader.Control("remove contactless after 4");
    const json halfway = Parsed(desk.Run({"--json", "--mask", "m0", "set-key", kNewKey, "--yes",
                                          "--key", "001122334455667708090A0B0C0D0E0F"}));
    EXPECT_EQ(halfway.at("result").at("written"), json({"2D"}));
    EXPECT_THAT(halfway.at("error").at("message").get<std::string>(),
                HasSubstr("page 2D was written, 2C, 2F, 2E were not"));
    EXPECT_THAT(halfway.at("error").at("try").get<std::string>(), Not(HasSubstr("00112233")));
    desk.reader.Control("insert contactless day");
    EXPECT_EQ(
        desk.Run({"m0", "set-key", kNewKey, "--yes", "--key", "001122334455667708090A0B0C0D0E0F"})
            .status,
        0);
    EXPECT_EQ(desk.Memory().at("key"), kNewKey);
}

// Four pages come at a time, and behind the last one that may be read the first ones again.
TEST(ToolM0Dump, MarksWhatCannotBeRead)
{
    const Desk desk(kM0Cards);
    const ChildResult without = desk.Run({"m0", "dump"});
    EXPECT_EQ(without.status, 0) << without.err;
    EXPECT_THAT(without.out, testing::StartsWith("Ultralight C, 44000004C6D7E8F90A80\n"
                                                 "  00  04 C6 D7 9D  ....  serial number\n"));
    EXPECT_THAT(without.out, HasSubstr("  11  00 00 00 00  ....\n  12  not readable\n"));
    EXPECT_THAT(without.out, HasSubstr("  2A  not readable       AUTH0\n"));
    const ChildResult with = desk.Run({"--mask", "m0", "dump", "--key", kKey});
    EXPECT_THAT(with.out, testing::StartsWith("Ultralight C, 440000**************\n"
                                              "  00  ** ** ** **  ****  serial number\n"));
    EXPECT_THAT(with.out, HasSubstr("  2A  12 00 00 00  ....  AUTH0\n"));
    EXPECT_THAT(with.out, HasSubstr("  12  50 41 53 53  PASS\n"));
    const json pages = Parsed(desk.Run({"--json", "m0", "dump"})).at("result").at("pages");
    ASSERT_EQ(pages.size(), 44u);
    EXPECT_EQ(pages.at(0x12), json({{"page", "12"}, {"data", nullptr}}));
}

TEST(ToolM0, NeedsTheKrelCommandSet)
{
    const Desk desk(kM0Cards, WithSetting(ShippedConfig(), "Iccmd", "1"));
    const ChildResult result = desk.Run({"m0", "dump"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("BO_M0PowerOn failed with"));
}

// ---- Texts ----

TEST(ToolMemoryText, KnowsWhereBlocksLie)
{
    EXPECT_EQ(tool::SectorOf(127), 31);
    EXPECT_EQ(tool::SectorOf(128), 32);
    EXPECT_EQ(tool::SectorOf(255), 39);
    EXPECT_EQ(tool::FirstBlockOf(33), 144);
    EXPECT_TRUE(tool::IsTrailer(3));
    EXPECT_FALSE(tool::IsTrailer(131));
    EXPECT_TRUE(tool::IsTrailer(143));
}

TEST(ToolMemoryText, AValueBlockNeedsAllItsCopies)
{
    const std::string block("\xE2\x04\x00\x00\x1D\xFB\xFF\xFF\xE2\x04\x00\x00\x05\xFA\x05\xFA", 16);
    EXPECT_EQ(tool::ValueOf(block), 1250);
    for (size_t i = 0; i < block.size(); i++)
    {
        std::string other = block;
        other[i] = static_cast<char>(other[i] ^ 1);
        EXPECT_EQ(tool::ValueOf(other), std::nullopt) << i;
    }
    EXPECT_EQ(tool::ValueOf(""), std::nullopt);
}
