// The Ultralight C card by itself: pages, lock bits, authentication, key pages.
#include "cards_support.h"

#include "vreader/cards/memory_card.h"

#include <fstream>

using cards_test::CardOf;
using cards_test::ErrorOf;
using cards_test::Hex;
using cards_test::Send;

namespace
{

const char kRefused[] = "04";
const char kDone[] = "0A";
const char kSilent[] = "";

// The exchange that the data sheet of the MF0ICU2 prints in section 7.5.5, under the key of a new
// card (tests/data/memory_cards/).
const char kDataSheetCard[] = R"({"kind": "ultralight-c", "random": ["51E764602678DF2B"]})";
const char kDataSheetHalf[] = "AF 0A638559FC7737F9 F15D7862EBBE967A";

using SharedCard = std::shared_ptr<vreader::Card>;

std::string PageOf(const SharedCard &card, unsigned page)
{
    return card->memory->contents()["pages"][page].get<std::string>();
}

std::string KeyOf(const SharedCard &card)
{
    return card->memory->contents()["key"].get<std::string>();
}

void Authenticate(const SharedCard &card)
{
    EXPECT_EQ(Send(card, "1A 00"), "AF577293FD2F34CA51");
    EXPECT_EQ(Send(card, kDataSheetHalf), "003B884FA07C137CE1");
}

SharedCard DataSheetCard(const std::string &keys)
{
    return CardOf(R"({"kind": "ultralight-c", "random": ["51E764602678DF2B"], )" + keys + "}");
}

} // namespace

TEST(UltralightCard, FreshOneHasSerialNumberCheckBytesAndDeliveryKey)
{
    const SharedCard card = CardOf(R"({"kind": "ultralight-c", "uid": "04A1B2C3D4E580"})");
    EXPECT_EQ(card->kind, "ultralight-c");
    EXPECT_EQ(card->label, "Ultralight C");
    // 88 ^ 04 ^ A1 ^ B2 = 9F, C3 ^ D4 ^ E5 ^ 80 = 72.
    EXPECT_EQ(Send(card, "30 00"), "04A1B29FC3D4E5807248000000000000");
    EXPECT_EQ(Hex(card->memory->identification), "44000004A1B2C3D4E580");
    EXPECT_EQ(Hex(card->memory->type), "0003");
    EXPECT_EQ(PageOf(card, 0x2A), "30000000") << "AUTH0: no page is protected";
    EXPECT_EQ(PageOf(card, 0x2B), "00000000");
    EXPECT_EQ(PageOf(card, 0x2C), "42524541");
    EXPECT_EQ(PageOf(card, 0x2D), "4B4D4549");
    EXPECT_EQ(PageOf(card, 0x2E), "46594F55");
    EXPECT_EQ(PageOf(card, 0x2F), "43414E21");
    EXPECT_EQ(KeyOf(card), "49454D4B41455242214E4143554F5946");
}

TEST(UltralightCard, IsSilentUntilItIsActivatedAndAfterEveryRefusal)
{
    const SharedCard card = CardOf(kDataSheetCard);
    for (const char *command : {"30 2C", "A2 00 01020304", "A2 30 01020304", "A2 04 010203", "99",
                                "1A 01", "AF", "30", ""})
    {
        card->powerOn();
        EXPECT_EQ(Send(card, command), kRefused) << command;
        EXPECT_EQ(Send(card, "30 04"), kSilent) << command;
        EXPECT_EQ(card->remark(), "the card is halted until it is powered on again");
    }
    card->powerOn();
    EXPECT_EQ(Send(card, "50 00"), kSilent);
    EXPECT_EQ(Send(card, "30 04"), kSilent);
    card->powerOn();
    card->powerOff();
    EXPECT_EQ(Send(card, "30 04"), kSilent);
}

TEST(UltralightCard, CommandsOfEveryLengthAreAnsweredOrRefused)
{
    const SharedCard card = CardOf(kDataSheetCard);
    for (unsigned code = 0; code < 256; ++code)
        for (size_t length = 0; length < 24; ++length)
            for (const bool begun : {false, true})
            {
                vreader::Bytes command(length, 0x04);
                if (length > 0)
                    command[0] = static_cast<uint8_t>(code);
                card->powerOn();
                if (begun)
                {
                    EXPECT_EQ(Send(card, "1A 00").size(), 18u);
                }
                const vreader::Bytes answer = card->transmit(command);
                EXPECT_TRUE(answer.size() <= 1 || answer.size() == 16) << Hex(command);
                EXPECT_TRUE(answer != vreader::Bytes{0x04} || !card->remark().empty())
                    << Hex(command);
            }
}

TEST(UltralightCard, ReadsFourPagesAndBeginsAgainBehindTheLastReadableOne)
{
    const SharedCard card = CardOf(R"({"kind": "ultralight-c", "uid": "04112233445566",
        "pages": {"4": "00112233 44556677 8899AABB CCDDEEFF", "39": "text:LAST"}})");
    EXPECT_EQ(Send(card, "30 04"), "00112233445566778899AABBCCDDEEFF");
    EXPECT_EQ(Send(card, "30 05"), "445566778899AABBCCDDEEFF00000000");
    EXPECT_EQ(Send(card, "30 27"), "4C415354000000000000000030000000");
    EXPECT_EQ(Send(card, "30 2A"), "3000000000000000041122BF33445566") << "2A, 2B, 00, 01";
    EXPECT_EQ(Send(card, "30 2C"), kRefused);
    EXPECT_EQ(card->remark(), "page 2C cannot be read");
}

TEST(UltralightCard, WritesPages)
{
    const SharedCard card = CardOf(kDataSheetCard);
    EXPECT_EQ(Send(card, "A2 04 01020304"), kDone);
    EXPECT_EQ(Send(card, "A2 27 A1A2A3A4"), kDone);
    EXPECT_EQ(PageOf(card, 0x04), "01020304");
    EXPECT_EQ(PageOf(card, 0x27), "A1A2A3A4");
    for (const char *page : {"00", "01", "30", "FF"})
    {
        card->powerOn();
        EXPECT_EQ(Send(card, "A2" + std::string(page) + "01020304"), kRefused) << page;
    }
}

TEST(UltralightOneWay, BitsOfPage3AreSetAndNeverCleared)
{
    const SharedCard card = CardOf(R"({"kind": "ultralight-c", "otp": "000000F0"})");
    EXPECT_EQ(Send(card, "A2 03 0100000F"), kDone);
    EXPECT_EQ(Send(card, "A2 03 00800000"), kDone);
    EXPECT_EQ(PageOf(card, 3), "018000FF");
}

TEST(UltralightOneWay, CounterIsSetOnceAndThenCountsByTheLowNibble)
{
    const SharedCard card = CardOf(kDataSheetCard);
    EXPECT_EQ(Send(card, "A2 29 00000000"), kDone);
    EXPECT_EQ(PageOf(card, 0x29), "00000000");
    EXPECT_EQ(Send(card, "A2 29 FEFE0000"), kDone);
    EXPECT_EQ(PageOf(card, 0x29), "FEFE0000");
    EXPECT_EQ(Send(card, "A2 29 F3FF0000"), kDone) << "adds 3";
    EXPECT_EQ(PageOf(card, 0x29), "01FF0000");
    EXPECT_EQ(Send(card, "A2 29 00FF0000"), kDone) << "adds nothing";
    EXPECT_EQ(PageOf(card, 0x29), "01FF0000");
    const SharedCard full = CardOf(R"({"kind": "ultralight-c", "counter": 65534})");
    EXPECT_EQ(Send(full, "A2 29 02000000"), kRefused);
    EXPECT_EQ(full->remark(), "the counter would pass FFFF");
    full->powerOn();
    EXPECT_EQ(Send(full, "A2 29 01000000"), kDone);
    EXPECT_EQ(PageOf(full, 0x29), "FFFF0000");
}

TEST(UltralightLock, EachBitLocksItsPages)
{
    const struct
    {
        const char *description;
        std::vector<unsigned> locked;
    } rows[] = {
        {R"("lock01": "0800")", {0x03}},
        {R"("lock01": "1000")", {0x04}},
        {R"("lock01": "8000")", {0x07}},
        {R"("lock01": "0001")", {0x08}},
        {R"("lock01": "0080")", {0x0F}},
        {R"("lock23": "0200")", {0x10, 0x11, 0x12, 0x13}},
        {R"("lock23": "0400")", {0x14, 0x15, 0x16, 0x17}},
        {R"("lock23": "0800")", {0x18, 0x19, 0x1A, 0x1B}},
        {R"("lock23": "2000")", {0x1C, 0x1D, 0x1E, 0x1F}},
        {R"("lock23": "4000")", {0x20, 0x21, 0x22, 0x23}},
        {R"("lock23": "8000")", {0x24, 0x25, 0x26, 0x27}},
        {R"("lock23": "0010")", {0x29}},
        {R"("lock23": "0020")", {0x2A}},
        {R"("lock23": "0040")", {0x2B}},
        {R"("lock23": "0080")", {0x2C, 0x2D, 0x2E, 0x2F}},
        {R"("lock01": "0700", "lock23": "110F")", {}}, // the freezing bits lock no page
    };
    for (const auto &row : rows)
    {
        std::vector<unsigned> refused;
        for (unsigned page = 2; page < 0x30; ++page)
        {
            const SharedCard card =
                CardOf(R"({"kind": "ultralight-c", )" + std::string(row.description) + "}");
            const vreader::Bytes command = {0xA2, static_cast<uint8_t>(page), 0x30, 0, 0, 0};
            if (Hex(card->transmit(command)) == kRefused)
                refused.push_back(page);
        }
        EXPECT_EQ(refused, row.locked) << row.description;
    }
}

TEST(UltralightLock, BitsAreSetAndNeverCleared)
{
    const SharedCard card = CardOf(R"({"kind": "ultralight-c", "uid": "04A1B2C3D4E580"})");
    EXPECT_EQ(Send(card, "A2 02 FFFF1001"), kDone) << "only the last two bytes of the page";
    EXPECT_EQ(PageOf(card, 2), "72481001");
    EXPECT_EQ(Send(card, "A2 02 00002000"), kDone);
    EXPECT_EQ(PageOf(card, 2), "72483001");
    EXPECT_EQ(Send(card, "A2 28 0210FFFF"), kDone) << "only the first two";
    EXPECT_EQ(Send(card, "A2 28 04000000"), kDone);
    EXPECT_EQ(PageOf(card, 0x28), "06100000");
}

TEST(UltralightLock, FrozenBitsStayAsTheyAre)
{
    const struct
    {
        const char *description;
        const char *command;
        unsigned page;
        const char *after;
    } rows[] = {
        {R"("lock01": "0100")", "A2 02 0000FFFF", 0x02, "7248F7FF"},
        {R"("lock01": "0200")", "A2 02 0000FFFF", 0x02, "72480FFC"},
        {R"("lock01": "0400")", "A2 02 0000FFFF", 0x02, "7248FF03"},
        {R"("lock23": "0100")", "A2 28 FFFF0000", 0x28, "F1FF0000"},
        {R"("lock23": "1000")", "A2 28 FFFF0000", 0x28, "1FFF0000"},
        {R"("lock23": "0001")", "A2 28 FFFF0000", 0x28, "FFEF0000"},
        {R"("lock23": "0002")", "A2 28 FFFF0000", 0x28, "FFDF0000"},
        {R"("lock23": "0004")", "A2 28 FFFF0000", 0x28, "FFBF0000"},
        {R"("lock23": "0008")", "A2 28 FFFF0000", 0x28, "FF7F0000"},
    };
    for (const auto &row : rows)
    {
        const SharedCard card = CardOf(R"({"kind": "ultralight-c", "uid": "04A1B2C3D4E580", )" +
                                       std::string(row.description) + "}");
        EXPECT_EQ(Send(card, row.command), kDone);
        EXPECT_EQ(PageOf(card, row.page), row.after) << row.description;
    }
}

TEST(UltralightAuthentication, IsThatOfTheDataSheet)
{
    const SharedCard card = CardOf(kDataSheetCard);
    EXPECT_EQ(card->memory->contents()["authenticated"], false);
    Authenticate(card);
    EXPECT_EQ(card->memory->contents()["authenticated"], true);
    card->powerOn();
    EXPECT_EQ(card->memory->contents()["authenticated"], false);
}

TEST(UltralightAuthentication, PublishedExchangesAndKeyPagesHold)
{
    std::ifstream file(VANTOR_SOURCE_DIR "/tests/data/memory_cards/ultralight_c.json");
    const nlohmann::json published = nlohmann::json::parse(file);
    ASSERT_FALSE(published["exchanges"].empty());
    for (const nlohmann::json &exchange : published["exchanges"])
    {
        const SharedCard card = CardOf(nlohmann::json{
            {"kind", "ultralight-c"},
            {"key", exchange["key"]},
            {"random", {exchange["RndB"]}}}.dump());
        for (const nlohmann::json &step : exchange["steps"])
            EXPECT_EQ(Send(card, step["command"]), step["answer"]);
    }
    ASSERT_EQ(published["keys"].size(), 2u);
    for (const nlohmann::json &key : published["keys"])
    {
        const SharedCard card =
            CardOf(nlohmann::json{{"kind", "ultralight-c"}, {"key", key["key"]}}.dump());
        for (const auto &page : key["pages"].items())
            EXPECT_EQ(PageOf(card, static_cast<unsigned>(std::stoul(page.key(), nullptr, 16))),
                      page.value());
    }
}

TEST(UltralightAuthentication, ChecksEveryByteOfTheHostsHalf)
{
    // The first eight bytes carry RndA, which the card takes as it comes; but they are chained into
    // RndB', and so is every other byte.
    for (size_t byte = 1; byte < 17; ++byte)
    {
        const SharedCard card = CardOf(kDataSheetCard);
        EXPECT_EQ(Send(card, "1A 00"), "AF577293FD2F34CA51");
        vreader::Bytes half = cards_test::Unhex(kDataSheetHalf);
        half[byte] ^= 0x10;
        EXPECT_EQ(Hex(card->transmit(half)), kRefused) << byte;
        EXPECT_EQ(card->remark(), "the host does not know the key");
        EXPECT_EQ(Send(card, "30 04"), kSilent);
    }
}

TEST(UltralightAuthentication, WrongStepsAreRefused)
{
    const struct
    {
        std::vector<const char *> before;
        const char *wrong;
        const char *remark;
    } rows[] = {
        {{}, kDataSheetHalf, "no authentication was begun"},
        {{"1A 00"}, "AF 0A638559FC7737F9", "an authentication goes on with 16 bytes"},
        {{"1A 00"}, "AF", "an authentication goes on with 16 bytes"},
        {{"1A 00"}, "1A 00", "the authentication was not finished"},
        {{"1A 00"}, "30 04", "the authentication was not finished"},
        {{"1A 00", kDataSheetHalf}, kDataSheetHalf, "no authentication was begun"},
    };
    for (const auto &row : rows)
    {
        const SharedCard card = CardOf(kDataSheetCard);
        for (const char *command : row.before)
            EXPECT_NE(Send(card, command), kRefused);
        EXPECT_EQ(Send(card, row.wrong), kRefused) << row.remark;
        EXPECT_EQ(card->remark(), row.remark);
        EXPECT_EQ(card->memory->contents()["authenticated"], false);
    }
}

TEST(UltralightAuthentication, ASecondOneWithdrawsTheFirst)
{
    const SharedCard card = DataSheetCard(R"("auth0": 4)");
    Authenticate(card);
    EXPECT_EQ(Send(card, "1A 00"), "AF577293FD2F34CA51");
    EXPECT_EQ(card->memory->contents()["authenticated"], false);
}

TEST(UltralightAuthentication, AnotherKeyGivesAnotherChallenge)
{
    // 3DES under 00..0F of 51E764602678DF2B, computed with OpenSSL's command line.
    const SharedCard card = DataSheetCard(R"("key": "000102030405060708090A0B0C0D0E0F")");
    EXPECT_EQ(Send(card, "1A 00"), "AFDC03A826B12B8EA0");
    EXPECT_EQ(Send(card, kDataSheetHalf), kRefused);
    EXPECT_EQ(card->remark(), "the host does not know the key");
}

TEST(UltralightAuthentication, RandomNumbersComeFromTheListInTurnOrFromTheSeed)
{
    const SharedCard listed =
        CardOf(R"({"kind": "ultralight-c", "random": ["51E764602678DF2B", "0000000000000000"]})");
    const std::string first = Send(listed, "1A 00");
    EXPECT_EQ(first, "AF577293FD2F34CA51");
    listed->powerOn();
    EXPECT_NE(Send(listed, "1A 00"), first);
    listed->powerOn();
    EXPECT_EQ(Send(listed, "1A 00"), first) << "from the beginning again";

    const char kSeeded[] = R"({"kind": "ultralight-c", "seed": 7})";
    const SharedCard seeded = CardOf(kSeeded);
    const SharedCard twin = CardOf(kSeeded);
    const SharedCard other = CardOf(R"({"kind": "ultralight-c", "seed": 8})");
    const std::string challenge = Send(seeded, "1A 00");
    EXPECT_EQ(Send(twin, "1A 00"), challenge);
    EXPECT_NE(Send(other, "1A 00"), challenge);
    seeded->powerOn();
    EXPECT_NE(Send(seeded, "1A 00"), challenge) << "a new one each time";
}

TEST(UltralightProtection, Auth0IsTheFirstPageThatAsksForAuthentication)
{
    const SharedCard card =
        DataSheetCard(R"("auth0": 16, "pages": {"4": "text:OPEN", "16": "text:SAFE"})");
    EXPECT_EQ(Send(card, "A2 0F 01020304"), kDone);
    EXPECT_EQ(Send(card, "30 0F").substr(0, 16), "0102030404A1B29F") << "page 00 follows page 0F";
    EXPECT_EQ(Send(card, "30 10"), kRefused);
    EXPECT_EQ(card->remark(), "page 10 asks for authentication");
    for (const char *command : {"A2 10 01020304", "A2 2A 30000000", "A2 2C 00000000"})
    {
        card->powerOn();
        EXPECT_EQ(Send(card, command), kRefused) << command;
    }
    card->powerOn();
    Authenticate(card);
    EXPECT_EQ(Send(card, "30 10").substr(0, 8), "53414645");
    EXPECT_EQ(Send(card, "A2 10 01020304"), kDone);
    EXPECT_EQ(Send(card, "A2 2A 30000000"), kDone);
    card->powerOn();
    EXPECT_EQ(Send(card, "30 10").substr(0, 8), "01020304") << "protected no more";
}

TEST(UltralightProtection, Auth1LeavesReadingFree)
{
    const SharedCard card = DataSheetCard(R"("auth0": 4, "auth1": 1, "pages": {"4": "text:OPEN"})");
    EXPECT_EQ(Send(card, "30 04").substr(0, 8), "4F50454E");
    EXPECT_EQ(Send(card, "A2 04 01020304"), kRefused);
    card->powerOn();
    EXPECT_EQ(Send(card, "30 2C"), kRefused) << "the key all the same";
    card->powerOn();
    Authenticate(card);
    EXPECT_EQ(Send(card, "30 2C"), kRefused) << "for nobody";
}

TEST(UltralightKey, IsWrittenAsTheDataSheetWritesIt)
{
    const SharedCard card = CardOf(kDataSheetCard);
    for (const char *command :
         {"A2 2C 07060504", "A2 2D 03020100", "A2 2E 0F0E0D0C", "A2 2F 0B0A0908"})
        EXPECT_EQ(Send(card, command), kDone);
    EXPECT_EQ(KeyOf(card), "000102030405060708090A0B0C0D0E0F");
    const SharedCard described = DataSheetCard(R"("key": "000102030405060708090A0B0C0D0E0F")");
    EXPECT_EQ(PageOf(described, 0x2C), "07060504");
    EXPECT_EQ(PageOf(described, 0x2D), "03020100");
    EXPECT_EQ(PageOf(described, 0x2E), "0F0E0D0C");
    EXPECT_EQ(PageOf(described, 0x2F), "0B0A0908");
}

TEST(UltralightKey, AHalfWrittenOneIsAMixture)
{
    const SharedCard card = CardOf(kDataSheetCard);
    EXPECT_EQ(Send(card, "A2 2D 03020100"), kDone);
    EXPECT_EQ(Send(card, "A2 2C 07060504"), kDone);
    card->powerOff();
    card->powerOn();
    EXPECT_EQ(KeyOf(card), "0001020304050607214E4143554F5946");
    EXPECT_EQ(Send(card, "1A 00").substr(0, 2), "AF");
    EXPECT_EQ(Send(card, kDataSheetHalf), kRefused) << "the old key does not open it any more";
}

TEST(UltralightDescription, SaysWhatIsWrongWithIt)
{
    const struct
    {
        const char *key;
        const char *error;
    } rows[] = {
        {R"("uid": "04")", "uid: expected 7 bytes in hexadecimal digits, found \"04\""},
        {R"("key": "00")", "key: expected 16 bytes in hexadecimal digits, found \"00\""},
        {R"("auth0": 256)", "auth0: expected a number from 0 to 255, found 256"},
        {R"("auth0": "30")", "auth0: expected a number from 0 to 255, found \"30\""},
        {R"("counter": 65536)", "counter: expected a number from 0 to 65535, found 65536"},
        {R"("lock01": "00")", "lock01: expected 2 bytes in hexadecimal digits, found \"00\""},
        {R"("otp": "00")", "otp: expected 4 bytes in hexadecimal digits, found \"00\""},
        {R"("pages": {"3": ""})", "pages.3: is no user's page (4 to 39)"},
        {R"("pages": {"40": ""})", "pages.40: is no user's page (4 to 39)"},
        {R"("pages": {"39": "0102030405"})", "pages.39: has 5 bytes, there is room for 4"},
        {R"("pages": [])",
         "pages: expected an object from pages to their contents, found an array"},
        {R"("random": ["00"])", "random[0]: expected 8 bytes in hexadecimal digits, found \"00\""},
        {R"("random": "00")", "random: expected a list of random numbers of 8 bytes, found \"00\""},
        {R"("keyA": "00")", "keyA: unknown key; known here are kind, label, uid, identification, "
                            "type, key, auth0, auth1, lock01, lock23, otp, counter, pages, random, "
                            "seed"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(ErrorOf(R"({"kind": "ultralight-c", )" + std::string(row.key) + "}"), row.error);
}

TEST(UltralightDescription, ContentsRunOverTheFollowingPages)
{
    const SharedCard card =
        CardOf(R"({"kind": "ultralight-c", "pages": {"note": "x", "4": "text:HELLO", "6": "AA"}})");
    EXPECT_EQ(Send(card, "30 04"), "48454C4C4F000000AA00000000000000");
}

TEST(HostileMemoryDescription, SaysWhatIsWrongWithIt)
{
    const struct
    {
        const char *keys;
        const char *error;
    } rows[] = {
        {"", "the description: the key \"behaviour\" is missing (no-payload, one-byte, "
             "status-only, short, long, huge, wrong-proof)"},
        {R"(, "behaviour": "mean")", "behaviour: expected one of no-payload, one-byte, "
                                     "status-only, short, long, huge, wrong-proof, found \"mean\""},
        {R"(, "behaviour": "short", "commands": ["C"])",
         "commands[0]: expected one of power-on, power-off, verify, read, write, read-value, "
         "write-value, increment, decrement, exchange, type, found \"C\""},
        {R"(, "behaviour": "short", "card": {"kind": "pboc"})",
         "card: a hostile memory card wraps a mifare-classic or ultralight-c card"},
        {R"(, "behaviour": "short", "card": {"kind": "ultralight-c", "uid": ""})",
         "card.uid: expected 7 bytes in hexadecimal digits, found \"\""},
        {R"(, "behaviour": "short", "atr": "3B00")",
         "atr: unknown key; known here are kind, label, behaviour, commands, card"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(ErrorOf(R"({"kind": "hostile-memory")" + std::string(row.keys) + "}"), row.error);
}

TEST(HostileDescription, DoesNotWrapAMemoryCard)
{
    EXPECT_EQ(ErrorOf(R"({"kind": "hostile", "behaviour": "not-tlv",
                          "card": {"kind": "ultralight-c"}})"),
              "card: is a memory card, which hostile-memory wraps");
}
