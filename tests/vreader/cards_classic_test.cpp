// The Mifare Classic card by itself: sectors, keys, access bits, value blocks.
#include "cards_support.h"

#include "vreader/cards/memory_card.h"

using cards_test::CardOf;
using cards_test::ErrorOf;
using cards_test::Hex;
using cards_test::Send;

namespace
{

const char kRefused[] = "04";
const char kDone[] = "0A";
const char kSilent[] = "";

using SharedCard = std::shared_ptr<vreader::Card>;

std::string BlockOf(const SharedCard &card, unsigned block)
{
    return card->memory->contents()["blocks"][block].get<std::string>();
}

// Sector 1 under the given access bits, key A AAAAAAAAAAAA and key B BBBBBBBBBBBB; block 4 holds
// the value 1250 with the address 5.
SharedCard CardWithAccess(const std::string &block, const std::string &trailer)
{
    return CardOf(R"({"kind": "mifare-classic", "sectors": {"1": {
        "keyA": "AAAAAAAAAAAA", "keyB": "BBBBBBBBBBBB",
        "access": {"blocks": [")" +
                  block + "\", \"000\", \"000\"], \"trailer\": \"" + trailer + R"("}}},
        "blocks": {"4": {"value": 1250, "address": 5}}})");
}

void Authenticate(const SharedCard &card, bool withKeyB)
{
    card->powerOn();
    EXPECT_EQ(Send(card, withKeyB ? "61 04 BBBBBBBBBBBB" : "60 04 AAAAAAAAAAAA"), kDone);
}

// "rwid": which of reading, writing, incrementing and decrementing block 4 the key may do.
std::string RightsIn(const std::string &condition, bool withKeyB)
{
    const char *commands[] = {"30 04", "A0 04 00112233445566778899AABBCCDDEEFF", "C1 04 01000000",
                              "C0 04 01000000"};
    std::string rights;
    for (size_t i = 0; i < std::size(commands); ++i)
    {
        const SharedCard card = CardWithAccess(condition, "011");
        Authenticate(card, withKeyB);
        rights += Send(card, commands[i]) == kRefused ? '-' : "rwid"[i];
    }
    return rights;
}

// "CB acb": what reading the trailer shows (access bits, key B), and which of key A, access bits
// and key B writing it changes.
std::string TrailerRightsIn(const std::string &condition, bool withKeyB)
{
    const SharedCard card = CardWithAccess("000", condition);
    const std::string before = BlockOf(card, 7);
    Authenticate(card, withKeyB);
    const std::string shown = Send(card, "30 07");
    std::string rights;
    if (shown.size() == 32)
    {
        EXPECT_EQ(shown.substr(0, 12), "000000000000") << "key A is never shown";
        rights += shown.substr(12, 8) == before.substr(12, 8) ? "C" : "?";
        rights += shown.substr(20) == "BBBBBBBBBBBB" ? "B" : "";
    }
    rights += ' ';
    Authenticate(card, withKeyB);
    const std::string answer = Send(card, "A0 07 111111111111 7F0788 42 222222222222");
    const std::string after = BlockOf(card, 7);
    if (after.substr(0, 12) == "111111111111")
        rights += "a";
    if (after.substr(12, 8) == "7F078842")
        rights += "c";
    if (after.substr(20) == "222222222222")
        rights += "b";
    EXPECT_EQ(answer, rights.back() == ' ' ? kRefused : kDone);
    return rights;
}

} // namespace

TEST(ClassicCard, FreshOneHasItsManufacturerBlockAndTransportTrailers)
{
    const SharedCard card = CardOf(R"({"kind": "mifare-classic", "uid": "5A1B2C3D"})");
    EXPECT_EQ(card->kind, "mifare-classic");
    EXPECT_EQ(card->label, "Mifare Classic 1K");
    EXPECT_EQ(card->memory->contents()["blocks"].size(), 64u);
    // Serial number, its XOR, select acknowledge 08, answer to request 04 00, the maker's bytes.
    EXPECT_EQ(BlockOf(card, 0), "5A1B2C3D5008040056414E544F523031");
    EXPECT_EQ(BlockOf(card, 1), "00000000000000000000000000000000");
    EXPECT_EQ(BlockOf(card, 3), "FFFFFFFFFFFFFF078069FFFFFFFFFFFF");
    EXPECT_EQ(BlockOf(card, 63), "FFFFFFFFFFFFFF078069FFFFFFFFFFFF");
    EXPECT_EQ(Hex(card->memory->identification), "0400085A1B2C3D");
    EXPECT_EQ(Hex(card->memory->type), "0001");
}

TEST(ClassicCard, IsSilentUntilItIsActivated)
{
    const SharedCard card = CardOf(R"({"kind": "mifare-classic"})");
    EXPECT_EQ(Send(card, "60 04 FFFFFFFFFFFF"), kDone);
    card->powerOff();
    EXPECT_EQ(Send(card, "60 04 FFFFFFFFFFFF"), kSilent);
    EXPECT_EQ(card->remark(), "the card is halted until it is powered on again");
    card->powerOn();
    EXPECT_EQ(Send(card, "30 04"), kRefused) << "the authentication ended with the power";
    EXPECT_EQ(card->remark(), "sector 1 is not authenticated");
}

TEST(ClassicCard, OnlyTheAuthenticatedSectorIsReached)
{
    const SharedCard card = CardOf(R"({"kind": "mifare-classic",
        "blocks": {"4": "text:FOUR", "8": "text:EIGHT"}})");
    EXPECT_EQ(Send(card, "60 04 FFFFFFFFFFFF"), kDone);
    EXPECT_EQ(Send(card, "30 04"), "464F5552000000000000000000000000");
    EXPECT_EQ(Send(card, "30 06"), "00000000000000000000000000000000");
    EXPECT_EQ(Send(card, "30 08"), kRefused);
    EXPECT_EQ(card->remark(), "sector 2 is not authenticated");
    card->powerOn();
    EXPECT_EQ(Send(card, "60 04 FFFFFFFFFFFF"), kDone);
    EXPECT_EQ(Send(card, "60 0B FFFFFFFFFFFF"), kDone) << "any block names its sector";
    EXPECT_EQ(Send(card, "30 08"), "45494748540000000000000000000000");
    EXPECT_EQ(Send(card, "30 04"), kRefused) << "one sector at a time";
}

TEST(ClassicCard, AWrongKeyHaltsIt)
{
    const SharedCard card = CardOf(R"({"kind": "mifare-classic",
        "sectors": {"1": {"keyA": "A1A2A3A4A5A6"}}})");
    EXPECT_EQ(Send(card, "60 04 FFFFFFFFFFFF"), kSilent);
    EXPECT_EQ(card->remark(), "wrong key A for sector 1");
    EXPECT_EQ(Send(card, "60 04 A1A2A3A4A5A6"), kSilent) << "even the right key, until power-on";
    card->powerOn();
    EXPECT_EQ(Send(card, "60 04 A1A2A3A4A5A6"), kDone);
    EXPECT_EQ(Send(card, "61 04 A1A2A3A4A5A6"), kSilent) << "the other key is another one";
    EXPECT_EQ(card->remark(), "wrong key B for sector 1");
    card->powerOn();
    EXPECT_EQ(Send(card, "60 04 A1A2A3A4A5"), kRefused) << "five bytes";
    card->powerOn();
    EXPECT_EQ(Send(card, "60 40 FFFFFFFFFFFF"), kSilent);
    EXPECT_EQ(card->remark(), "the card has no block 64");
}

TEST(ClassicCard, ARefusalEndsTheSession)
{
    const SharedCard card = CardOf(R"({"kind": "mifare-classic"})");
    for (const char *command : {"30 08", "A0 04 00", "C1 04 01000000", "C1 04 01", "B0 04", "99 00",
                                "30", "A0 00 00112233445566778899AABBCCDDEEFF"})
    {
        card->powerOn();
        EXPECT_EQ(Send(card, "60 04 FFFFFFFFFFFF"), kDone);
        EXPECT_EQ(Send(card, command), kRefused) << command;
        EXPECT_EQ(Send(card, "30 04"), kSilent) << command;
    }
    card->powerOn();
    EXPECT_EQ(Send(card, "50 00"), kSilent);
    EXPECT_EQ(Send(card, "60 04 FFFFFFFFFFFF"), kSilent);
}

TEST(ClassicCard, CommandsOfEveryLengthAreAnsweredOrRefused)
{
    const SharedCard card = CardOf(R"({"kind": "mifare-classic", "blocks": {"4": {"value": 1}}})");
    for (unsigned code = 0; code < 256; ++code)
        for (size_t length = 0; length < 20; ++length)
        {
            vreader::Bytes command(length, 0x04);
            if (length > 0)
                command[0] = static_cast<uint8_t>(code);
            card->powerOn();
            EXPECT_EQ(Send(card, "60 04 FFFFFFFFFFFF"), kDone);
            const vreader::Bytes answer = card->transmit(command);
            EXPECT_TRUE(answer.size() <= 1 || answer.size() == 16) << Hex(command);
            EXPECT_TRUE(answer != vreader::Bytes{0x04} || !card->remark().empty()) << Hex(command);
        }
}

TEST(ClassicCard, TheManufacturerBlockIsReadOnly)
{
    const SharedCard card =
        CardOf(R"({"kind": "mifare-classic", "manufacturer": "0102030405060708"})");
    EXPECT_EQ(Send(card, "60 00 FFFFFFFFFFFF"), kDone);
    EXPECT_EQ(Send(card, "30 00"), "5A1B2C3D500804000102030405060708");
    EXPECT_EQ(Send(card, "A0 00 00112233445566778899AABBCCDDEEFF"), kRefused);
    EXPECT_EQ(card->remark(), "the manufacturer block cannot be written");
    EXPECT_EQ(BlockOf(card, 0), "5A1B2C3D500804000102030405060708");
}

TEST(ClassicCard, AnUnauthenticatedManufacturerBlockIsNotEvenNamed)
{
    const SharedCard card = CardOf(R"({"kind": "mifare-classic"})");
    EXPECT_EQ(Send(card, "30 00"), kRefused);
    EXPECT_EQ(card->remark(), "sector 0 is not authenticated");
}

TEST(ClassicAccess, ConditionsAreWrittenAsTheKnownBytes)
{
    const struct
    {
        const char *blocks;
        const char *trailer;
        const char *bytes;
    } rows[] = {
        {"000", "001", "FF0780"}, {"000", "011", "7F0788"}, {"100", "011", "787788"},
        {"110", "011", "08778F"}, {"010", "100", "878F07"},
    };
    for (const auto &row : rows)
    {
        const std::string condition = row.blocks;
        const SharedCard card = CardOf(R"({"kind": "mifare-classic", "access": {"blocks": [")" +
                                       condition + "\", \"" + condition + "\", \"" + condition +
                                       "\"], \"trailer\": \"" + row.trailer + "\"}}");
        EXPECT_EQ(BlockOf(card, 7).substr(12, 6), row.bytes);
    }
}

TEST(ClassicAccess, DataBlocksFollowTheirCondition)
{
    const struct
    {
        const char *condition;
        const char *keyA;
        const char *keyB;
    } rows[] = {
        {"000", "rwid", "rwid"}, {"001", "r--d", "r--d"}, {"010", "r---", "r---"},
        {"011", "----", "rw--"}, {"100", "r---", "rw--"}, {"101", "----", "r---"},
        {"110", "r--d", "rwid"}, {"111", "----", "----"},
    };
    for (const auto &row : rows)
    {
        EXPECT_EQ(RightsIn(row.condition, false), row.keyA) << row.condition;
        EXPECT_EQ(RightsIn(row.condition, true), row.keyB) << row.condition;
    }
}

TEST(ClassicAccess, TrailersFollowTheirCondition)
{
    const struct
    {
        const char *condition;
        const char *keyA;
        const char *keyB;
    } rows[] = {
        {"000", "CB ab", " "}, {"001", "CB acb", " "}, {"010", "CB ", " "}, {"011", "C ", "C acb"},
        {"100", "C ", "C ab"}, {"101", "C ", "C c"},   {"110", "C ", "C "}, {"111", "C ", "C "},
    };
    for (const auto &row : rows)
    {
        EXPECT_EQ(TrailerRightsIn(row.condition, false), row.keyA) << row.condition;
        EXPECT_EQ(TrailerRightsIn(row.condition, true), row.keyB) << row.condition;
    }
}

TEST(ClassicAccess, AReadableKeyBAuthenticatesAndOpensNothing)
{
    for (const char *trailer : {"000", "010", "001"})
        for (const char *command : {"30 04", "30 07", "A0 04 00112233445566778899AABBCCDDEEFF"})
        {
            const SharedCard card = CardWithAccess("000", trailer);
            Authenticate(card, true);
            EXPECT_EQ(Send(card, command), kRefused) << trailer << command;
        }
}

TEST(ClassicAccess, InvalidBitsLockTheSectorForEver)
{
    const SharedCard card = CardOf(R"({"kind": "mifare-classic"})");
    EXPECT_EQ(Send(card, "60 04 FFFFFFFFFFFF"), kDone);
    EXPECT_EQ(Send(card, "A0 07 FFFFFFFFFFFF FF0700 69 FFFFFFFFFFFF"), kDone) << "one bit wrong";
    EXPECT_EQ(Send(card, "30 04"), kRefused) << "in the same session already";
    EXPECT_EQ(card->remark(), "sector 1 is locked for ever: its access bits are invalid");
    for (const char *key : {"60 04 FFFFFFFFFFFF", "61 04 FFFFFFFFFFFF"})
    {
        card->powerOn();
        EXPECT_EQ(Send(card, key), kSilent);
        EXPECT_EQ(card->remark(), "sector 1 is locked for ever: its access bits are invalid");
    }
    card->powerOn();
    EXPECT_EQ(Send(card, "60 08 FFFFFFFFFFFF"), kDone) << "the other sectors are well";
}

TEST(ClassicAccess, EveryContradictionOfTheTwoCopiesIsInvalid)
{
    // Each of the 24 bits of FF0780 turned over by itself.
    for (unsigned bit = 0; bit < 24; ++bit)
    {
        const unsigned bytes = 0xFF0780u ^ 1u << bit;
        char text[8];
        snprintf(text, sizeof text, "%06X", bytes);
        const SharedCard card =
            CardOf(R"({"kind": "mifare-classic", "access": ")" + std::string(text) + "\"}");
        EXPECT_EQ(Send(card, "60 04 FFFFFFFFFFFF"), kSilent) << text;
    }
}

TEST(ClassicAccess, NewKeysHoldFromTheNextAuthenticationOn)
{
    const SharedCard card = CardOf(R"({"kind": "mifare-classic"})");
    EXPECT_EQ(Send(card, "60 04 FFFFFFFFFFFF"), kDone);
    EXPECT_EQ(Send(card, "A0 07 A1A2A3A4A5A6 787788 69 B1B2B3B4B5B6"), kDone);
    EXPECT_EQ(Send(card, "60 04 A1A2A3A4A5A6"), kDone);
    EXPECT_EQ(Send(card, "30 07"), "00000000000078778869000000000000");
    EXPECT_EQ(Send(card, "A0 04 00112233445566778899AABBCCDDEEFF"), kRefused);
    card->powerOn();
    EXPECT_EQ(Send(card, "61 04 B1B2B3B4B5B6"), kDone);
    EXPECT_EQ(Send(card, "A0 04 00112233445566778899AABBCCDDEEFF"), kDone);
    EXPECT_EQ(Send(card, "30 04"), "00112233445566778899AABBCCDDEEFF");
}

TEST(ClassicValue, IsStoredThriceWithItsAddressFourTimes)
{
    const SharedCard card = CardOf(R"({"kind": "mifare-classic", "blocks": {
        "4": {"value": 1250, "address": 5}, "5": {"value": -1}, "6": {"value": 0}}})");
    EXPECT_EQ(BlockOf(card, 4), "E20400001DFBFFFFE204000005FA05FA");
    EXPECT_EQ(BlockOf(card, 5), "FFFFFFFF00000000FFFFFFFF05FA05FA") << "its own number";
    EXPECT_EQ(BlockOf(card, 6), "00000000FFFFFFFF0000000006F906F9");
}

TEST(ClassicValue, IncrementAndDecrementTakeEffectWithTransfer)
{
    const SharedCard card = CardWithAccess("110", "011");
    Authenticate(card, true);
    EXPECT_EQ(Send(card, "C1 04 02010000"), kDone);
    EXPECT_EQ(Send(card, "30 04"), "E20400001DFBFFFFE204000005FA05FA") << "not transferred yet";
    EXPECT_EQ(Send(card, "B0 04"), kDone);
    EXPECT_EQ(Send(card, "30 04"), "E40500001BFAFFFFE405000005FA05FA") << "1250 + 258 = 1508";
    EXPECT_EQ(Send(card, "C0 04 E4050000"), kDone);
    EXPECT_EQ(Send(card, "B0 04"), kDone);
    EXPECT_EQ(Send(card, "30 04"), "00000000FFFFFFFF0000000005FA05FA");
    EXPECT_EQ(Send(card, "C0 04 01000000"), kDone) << "the card itself knows negative values";
    EXPECT_EQ(Send(card, "B0 04"), kDone);
    EXPECT_EQ(Send(card, "30 04"), "FFFFFFFF00000000FFFFFFFF05FA05FA");
}

TEST(ClassicValue, RestoreAndTransferCopyABackupWithItsAddress)
{
    const SharedCard card = CardOf(R"({"kind": "mifare-classic",
        "blocks": {"4": {"value": 1250, "address": 5}, "5": "text:BROKEN BACKUP"}})");
    EXPECT_EQ(Send(card, "60 04 FFFFFFFFFFFF"), kDone);
    EXPECT_EQ(Send(card, "C2 04 FFFFFFFF"), kDone) << "restore does not look at the amount";
    EXPECT_EQ(Send(card, "B0 05"), kDone);
    EXPECT_EQ(Send(card, "30 05"), "E20400001DFBFFFFE204000005FA05FA");
}

TEST(ClassicValue, TheTransferBufferLastsAsLongAsTheSector)
{
    const SharedCard card = CardOf(R"({"kind": "mifare-classic",
        "blocks": {"4": {"value": 1250}, "8": {"value": 7}}})");
    EXPECT_EQ(Send(card, "60 04 FFFFFFFFFFFF"), kDone);
    EXPECT_EQ(Send(card, "C2 04 00000000"), kDone);
    EXPECT_EQ(Send(card, "60 08 FFFFFFFFFFFF"), kDone);
    EXPECT_EQ(Send(card, "B0 08"), kRefused);
    EXPECT_EQ(card->remark(), "nothing to transfer");
    EXPECT_EQ(BlockOf(card, 8), "07000000F8FFFFFF0700000008F708F7");
}

TEST(ClassicValue, OnlyABlockWhoseCopiesAgreeIsOne)
{
    const char kValue[] = "E20400001DFBFFFFE204000005FA05FA";
    for (unsigned byte = 0; byte < 16; ++byte)
    {
        std::string spoiled = kValue;
        spoiled[2 * byte + 1] = spoiled[2 * byte + 1] == '0' ? '1' : '0';
        const SharedCard card =
            CardOf(R"({"kind": "mifare-classic", "blocks": {"4": ")" + spoiled + "\"}}");
        EXPECT_EQ(Send(card, "60 04 FFFFFFFFFFFF"), kDone);
        EXPECT_EQ(Send(card, "C0 04 01000000"), kRefused) << spoiled;
        EXPECT_EQ(card->remark(), "block 4 holds no value");
        EXPECT_EQ(BlockOf(card, 4), spoiled);
    }
}

TEST(ClassicValue, LeavesNeitherTheRangeOf32BitsNorItsSector)
{
    const SharedCard card = CardOf(R"({"kind": "mifare-classic",
        "blocks": {"4": {"value": 2147483647}, "5": {"value": -2147483648}}})");
    const struct
    {
        const char *command;
        const char *remark;
    } rows[] = {
        {"C1 04 01000000", "the value would leave the range of 32 bits"},
        {"C0 05 01000000", "the value would leave the range of 32 bits"},
        {"C1 05 FFFFFFFF", "an amount cannot be negative"},
        {"C1 08 01000000", "sector 2 is not authenticated"},
        {"C1 07 01000000", "a trailer is no data block"},
    };
    for (const auto &row : rows)
    {
        card->powerOn();
        EXPECT_EQ(Send(card, "60 04 FFFFFFFFFFFF"), kDone);
        EXPECT_EQ(Send(card, row.command), kRefused);
        EXPECT_EQ(card->remark(), row.remark);
    }
    card->powerOn();
    EXPECT_EQ(Send(card, "60 04 FFFFFFFFFFFF"), kDone);
    EXPECT_EQ(Send(card, "C0 04 FFFFFF7F"), kDone) << "2147483647 - 2147483647";
    EXPECT_EQ(Send(card, "B0 07"), kRefused);
    EXPECT_EQ(card->remark(), "a trailer is no data block");
    EXPECT_EQ(BlockOf(card, 7), "FFFFFFFFFFFFFF078069FFFFFFFFFFFF");
}

TEST(ClassicValue, IsNotTransferredIntoTheManufacturerBlock)
{
    const SharedCard card = CardOf(R"({"kind": "mifare-classic", "blocks": {"1": {"value": 5}}})");
    EXPECT_EQ(Send(card, "60 00 FFFFFFFFFFFF"), kDone);
    EXPECT_EQ(Send(card, "C2 01 00000000"), kDone);
    EXPECT_EQ(Send(card, "B0 00"), kRefused);
    EXPECT_EQ(card->remark(), "the manufacturer block cannot be written");
    EXPECT_EQ(BlockOf(card, 0), "5A1B2C3D5008040056414E544F523031");
}

TEST(Classic4K, Has32SmallAnd8LargeSectors)
{
    const SharedCard card = CardOf(R"({"kind": "mifare-classic", "size": "4K", "uid": "8C4E70F1",
        "sectors": {"31": {"keyA": "313131313131"}, "32": {"keyA": "323232323232"},
                    "39": {"keyA": "393939393939"}}})");
    EXPECT_EQ(card->memory->contents()["blocks"].size(), 256u);
    EXPECT_EQ(BlockOf(card, 0), "8C4E70F14318020056414E544F523031");
    EXPECT_EQ(Hex(card->memory->identification), "0200188C4E70F1");
    EXPECT_EQ(Hex(card->memory->type), "0002");
    EXPECT_EQ(BlockOf(card, 127).substr(0, 12), "313131313131");
    EXPECT_EQ(BlockOf(card, 143).substr(0, 12), "323232323232");
    EXPECT_EQ(BlockOf(card, 255).substr(0, 12), "393939393939");
    EXPECT_EQ(BlockOf(card, 131), "00000000000000000000000000000000") << "no trailer";
    EXPECT_EQ(Send(card, "60 80 323232323232"), kDone);
    EXPECT_EQ(Send(card, "A0 8E 00112233445566778899AABBCCDDEEFF"), kDone);
    EXPECT_EQ(Send(card, "30 8F"), "000000000000FF078069FFFFFFFFFFFF");
    EXPECT_EQ(Send(card, "30 90"), kRefused) << "sector 33";
    card->powerOn();
    EXPECT_EQ(Send(card, "60 FF 393939393939"), kDone);
    EXPECT_EQ(Send(card, "30 FE"), "00000000000000000000000000000000");
}

TEST(Classic4K, AConditionOfALargeSectorHoldsForFiveBlocks)
{
    const SharedCard card = CardOf(R"({"kind": "mifare-classic", "size": "4K",
        "sectors": {"32": {"access": {"blocks": ["111", "000", "010"], "trailer": "011"}}}})");
    const struct
    {
        const char *block;
        bool reads;
        bool writes;
    } rows[] = {{"80", false, false}, {"84", false, false}, {"85", true, true},
                {"89", true, true},   {"8A", true, false},  {"8E", true, false}};
    for (const auto &row : rows)
    {
        card->powerOn();
        EXPECT_EQ(Send(card, "60 80 FFFFFFFFFFFF"), kDone);
        EXPECT_EQ(Send(card, std::string("30") + row.block) != kRefused, row.reads) << row.block;
        card->powerOn();
        EXPECT_EQ(Send(card, "60 80 FFFFFFFFFFFF"), kDone);
        EXPECT_EQ(Send(card, "A0" + std::string(row.block) + "00112233445566778899AABBCCDDEEFF"),
                  row.writes ? kDone : kRefused)
            << row.block;
    }
}

TEST(ClassicDescription, SaysWhatIsWrongWithIt)
{
    const struct
    {
        const char *key;
        const char *error;
    } rows[] = {
        {R"("size": "2K")", "size: expected \"1K\" or \"4K\", found \"2K\""},
        {R"("uid": "5A1B2C")", "uid: expected 4 bytes in hexadecimal digits, found \"5A1B2C\""},
        {R"("keyA": "FFFF")", "keyA: expected 6 bytes in hexadecimal digits, found \"FFFF\""},
        {R"("keyB": 1)", "keyB: expected hexadecimal digits in pairs, found 1"},
        {R"("type": "01")", "type: expected 2 bytes in hexadecimal digits, found \"01\""},
        {R"("access": "FF07")", "access: expected three bytes of access bits, or {\"blocks\": "
                                "[...], \"trailer\": ...}, found \"FF07\""},
        {R"("access": {"trailer": "012"})",
         "access.trailer: expected access conditions C1 C2 C3 such as \"110\", found \"012\""},
        {R"("access": {"blocks": ["000"]})",
         "access.blocks: expected three conditions, found an array"},
        {R"("access": {"keyA": "000"})",
         "access.keyA: unknown key; known here are blocks, trailer"},
        {R"("sectors": {"16": {}})", "sectors.16: is no sector (0 to 15)"},
        {R"("sectors": {"1": {"key": "FF"}})",
         "sectors.1.key: unknown key; known here are keyA, keyB, access, generalPurpose"},
        {R"("sectors": [])",
         "sectors: expected an object from sectors to their keys, found an array"},
        {R"("blocks": {"64": ""})", "blocks.64: is no block (0 to 63)"},
        {R"("blocks": {"0": ""})", "blocks.0: is the manufacturer block, see uid and manufacturer"},
        {R"("blocks": {"7": ""})", "blocks.7: is a sector's trailer, see sectors"},
        {R"("blocks": {"4": "text:SEVENTEEN LETTERS"})",
         "blocks.4: has 17 bytes, there is room for 16"},
        {R"("blocks": {"4": "value 5"})", "blocks.4: expected hexadecimal digits in pairs, or "
                                          "\"text:...\", found \"value 5\""},
        {R"("blocks": {"4": {"value": 2147483648}})",
         "blocks.4.value: expected a number of 32 bits, found 2147483648"},
        {R"("blocks": {"4": {"value": 1, "address": 256}})",
         "blocks.4.address: expected a number from 0 to 255, found 256"},
        {R"("blocks": {"4": {}})", "blocks.4: the key \"value\" is missing"},
        {R"("inject": [])", "inject: unknown key; known here are kind, label, size, uid, "
                            "manufacturer, identification, type, keyA, keyB, access, "
                            "generalPurpose, sectors, blocks"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(ErrorOf(R"({"kind": "mifare-classic", )" + std::string(row.key) + "}"),
                  row.error);
}

TEST(ClassicDescription, NotesAreAllowedEverywhere)
{
    const SharedCard card = CardOf(R"({"kind": "mifare-classic", "note": "x",
        "sectors": {"note": "x", "1": {"note": "x", "generalPurpose": "C1"}},
        "blocks": {"note": "x", "4": {"note": "x", "value": 1}}, "identification": "AABB",
        "type": "0205", "label": "mine"})");
    EXPECT_EQ(BlockOf(card, 7), "FFFFFFFFFFFFFF0780C1FFFFFFFFFFFF");
    EXPECT_EQ(Hex(card->memory->identification), "AABB");
    EXPECT_EQ(Hex(card->memory->type), "0205");
    EXPECT_EQ(card->label, "mine");
}
