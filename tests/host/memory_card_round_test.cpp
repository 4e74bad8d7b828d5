// Memory cards from end to end: the public calls, the line, the virtual reader and its cards.
#include <cstring>
#include <gmock/gmock.h>
#include <string>

#include "host/memory_card_round.h"

using testing::HasSubstr;
using testing::Not;
using namespace testing_support;

namespace
{

const char kTransportKey[] = "FFFFFFFFFFFF";

const char *const kFramings[] = {"0", "1"};

} // namespace

TEST(ClassicRound, BlocksAreReadAndWrittenInBothFramings)
{
    for (const std::string framing : kFramings)
    {
        const Round round("mifare-classic", framing);
        EXPECT_EQ((framing == "0" ? "" : "0000") + std::string("0400085A1B2C3D"), round.PowerUp());
        EXPECT_EQ(0, round.Verify(1, 0, kTransportKey));
        EXPECT_EQ(0, round.WriteBlock(4, "00112233445566778899AABBCCDDEEFF"));
        EXPECT_EQ("00112233445566778899AABBCCDDEEFF", round.ReadBlock(4));
        EXPECT_EQ("00112233445566778899AABBCCDDEEFF", round.Memory()["blocks"][4]);
        EXPECT_EQ("[-5004]", round.ReadBlock(8)) << "another sector";
        EXPECT_EQ("[-5004]", round.ReadBlock(4)) << "the card is halted now";
        EXPECT_EQ(0, CALL(round.library, BO_M1Powerdown)());
        EXPECT_EQ(-5002, CALL(round.library, BO_M1Powerdown)());
    }
}

TEST(ClassicRound, ThePurseIsReadUsedAndLoadedInBothFramings)
{
    for (const std::string framing : kFramings)
    {
        const Round round("mifare-classic-in-use", framing);
        round.PowerUp();
        EXPECT_EQ(0, round.Verify(2, 0, "C1C2C3C4C5C6"));
        EXPECT_EQ("06310000", round.ReadValue(8)) << "12550, the least significant byte first";
        EXPECT_EQ(0, CALL(round.library, BO_M1DecreaseValue)(8, 550));
        EXPECT_EQ("E02E0000", round.ReadValue(8));
        EXPECT_EQ(0, CALL(round.library, BO_M1Decrement)(8, "E0000000"));
        EXPECT_EQ("002E0000", round.ReadValue(8));
        EXPECT_EQ(-5008, CALL(round.library, BO_M1IncreaseValue)(8, 1)) << "key A does not load";

        round.PowerUp();
        EXPECT_EQ(0, round.Verify(2, 1, "D1D2D3D4D5D6"));
        EXPECT_EQ(0, CALL(round.library, BO_M1IncreaseValue)(8, 0x102));
        EXPECT_EQ(0, CALL(round.library, BO_M1Increment)(8, "00010000"));
        EXPECT_EQ("02300000", round.ReadValue(8));
        EXPECT_EQ(0, CALL(round.library, BO_M1Write)(8, "E8030000"));
        EXPECT_EQ("E803000017FCFFFFE803000008F708F7", round.ReadBlock(8)) << "1000 at address 8";
        EXPECT_EQ("[-5006]", round.ReadValue(10)) << "no value block";
        EXPECT_EQ(0, round.Verify(4, 0, "F1F2F3F4F5F6"));
        EXPECT_EQ(0, CALL(round.library, BO_M1DecreaseValue)(16, 1));
        EXPECT_EQ(-5007, CALL(round.library, BO_M1Write)(16, "E8030000")) << "tickets only wear";
    }
}

TEST(ClassicRound, ARefusedKeyStaysRefusedUntilPowerUp)
{
    for (const std::string framing : kFramings)
    {
        const Round round("mifare-classic-in-use", framing);
        round.PowerUp();
        EXPECT_EQ(-5003, round.Verify(1, 0, kTransportKey));
        EXPECT_EQ(-5003, round.Verify(1, 0, "A1A2A3A4A5A6"));
        EXPECT_EQ("[-5004]", round.ReadBlock(4));
        round.PowerUp();
        EXPECT_EQ(0, round.Verify(1, 0, "A1A2A3A4A5A6"));
        EXPECT_EQ("5A48414E472053414E00000000000000", round.ReadBlock(4));
        EXPECT_EQ(-5003, round.Verify(15, 0, kTransportKey)) << "locked for ever";
    }
}

TEST(ClassicRound, AKeyWithAZeroByteIsCutAndRefused)
{
    const Round round("mifare-classic-in-use");
    round.PowerUp();
    EXPECT_EQ(-5003, round.Verify(3, 0, "A0A100A3A4A5"));
    EXPECT_THAT(round.Control("trace"), HasSubstr("A2 refused (a key of 2 bytes)"));
    EXPECT_EQ(0, round.Verify(3, 1, "E1E2E3E4E5E6")) << "the card was not asked";
}

TEST(ClassicRound, ASectorIsPersonalised)
{
    const Round round("mifare-classic");
    round.PowerUp();
    EXPECT_EQ(0, round.Verify(1, 0, kTransportKey));
    EXPECT_EQ(0, round.WriteBlock(7, "A1A2A3A4A5A67877886942B1B2B3B4B5"));
    round.PowerUp();
    EXPECT_EQ(-5003, round.Verify(1, 0, kTransportKey));
    round.PowerUp();
    EXPECT_EQ(0, round.Verify(1, 0, "A1A2A3A4A5A6"));
    EXPECT_EQ("00000000000078778869000000000000", round.ReadBlock(7)) << "no key is shown";
    EXPECT_EQ(-5005, round.WriteBlock(4, "00112233445566778899AABBCCDDEEFF"));
    round.PowerUp();
    EXPECT_EQ(0, round.Verify(1, 1, "42B1B2B3B4B5"));
    EXPECT_EQ(0, round.WriteBlock(4, "00112233445566778899AABBCCDDEEFF"));
}

TEST(ClassicRound, AWholeCardIsDumped)
{
    const Round round(R"({"reader": {"firstSector": 1}, "contactless": "c", "cards": {"c": {
        "kind": "mifare-classic", "keyA": "A1A2A3A4A5A6",
        "blocks": {"1": "text:ONE", "30": "text:THIRTY", "62": {"value": 7}}}}})",
                      "1");
    round.PowerUp();
    const nlohmann::json blocks = round.Memory()["blocks"];
    for (int sector = 1; sector <= 16; ++sector)
    {
        ASSERT_EQ(0, round.Verify(sector, 0, "A1A2A3A4A5A6")) << sector;
        for (int block = 4 * (sector - 1); block < 4 * sector; ++block)
        {
            if (block == 0)
                continue; // the calls have no block 0
            std::string expected = blocks[static_cast<size_t>(block)];
            if (block % 4 == 3)
                expected.replace(0, 12, "000000000000");
            EXPECT_EQ(expected, round.ReadBlock(block)) << block;
        }
    }
    EXPECT_EQ(-5003, round.Verify(17, 0, "A1A2A3A4A5A6")) << "a 1K card ends at 16";
}

TEST(ClassicRound, LargeSectorsOfA4KCardAreReached)
{
    const Round round("mifare-classic-4k");
    EXPECT_EQ("02001891D05E77", round.PowerUp());
    EXPECT_EQ(0, round.Verify(32, 1, "D1D2D3D4D5D6"));
    EXPECT_EQ("4649525354204C415247450000000000", round.ReadBlock(128));
    EXPECT_EQ("A0860100", round.ReadValue(133));
    EXPECT_EQ(0, CALL(round.library, BO_M1IncreaseValue)(133, 1));
    EXPECT_EQ("A1860100", round.ReadValue(133));
    EXPECT_EQ(-5005, round.WriteBlock(138, "00112233445566778899AABBCCDDEEFF"));
    round.PowerUp();
    EXPECT_EQ(0, round.Verify(39, 0, kTransportKey));
    EXPECT_EQ("4C41535420424C4F434B000000000000", round.ReadBlock(254));
    EXPECT_EQ(-5003, round.Verify(40, 0, kTransportKey)) << "sectors are 0 to 39";
}

TEST(ClassicRound, ACardTakenAwayIsNoticed)
{
    const Round round("mifare-classic");
    round.PowerUp();
    EXPECT_EQ("ok", round.Control("remove contactless after 2"));
    EXPECT_EQ(0, round.Verify(1, 0, kTransportKey));
    EXPECT_EQ(0, round.WriteBlock(4, "00112233445566778899AABBCCDDEEFF"));
    EXPECT_EQ(-5005, round.WriteBlock(5, "00112233445566778899AABBCCDDEEFF"));
    EXPECT_EQ(-5002, CALL(round.library, BO_M1Powerdown)());
    char text[64];
    int32_t length = 0;
    EXPECT_EQ(-5001, CALL(round.library, BO_M1Powerup)(sizeof text, text, &length, 1));
}

TEST(ClassicRound, HostileAnswersStayWithinTheCallersBuffer)
{
    const struct
    {
        const char *card;
        const char *krel;
        const char *united;
    } rows[] = {
        {"m1-no-payload", "", ""},
        {"m1-one-byte", "", ""},
        {"m1-status-only", "", ""},
        {"m1-short", "00112233445566778899AABBCCDDEE", "00112233445566778899AABBCCDDEE"},
        {"m1-long", "00112233445566778899AABBCCDDEEFF", "00112233445566778899AABBCCDDEEFF"},
        {"m1-huge", "00112233445566778899AABBCCDDEEFF", "00112233445566778899AABBCCDDEEFF"},
    };
    for (const std::string framing : kFramings)
    {
        const Round round("hostile-memory", framing);
        for (const auto &row : rows)
        {
            EXPECT_EQ("ok", round.Control("swap contactless " + std::string(row.card)));
            round.PowerUp();
            EXPECT_EQ(0, round.Verify(1, 0, kTransportKey));
            EXPECT_EQ(framing == "0" ? row.krel : row.united, round.ReadBlock(4)) << row.card;
        }
    }
}

TEST(ClassicRound, HostilePowerOnsStayWithinTheCallersBuffer)
{
    std::string filled;
    for (int i = 0; i < 64; ++i)
        filled += "5A";
    const struct
    {
        const char *card;
        int result;
        std::string krel;
        std::string united; // with the status, as this framing has it
    } rows[] = {
        {"m1-power-on-no-payload", 0, "", ""},
        {"m1-power-on-one-byte", 0, "", "00"},
        {"m1-power-on-status-only", 0, "", "0000"},
        {"m1-power-on-short", 0, "0400085A1B2C", "00000400085A1B2C"},
        {"m1-power-on-long", 0, "0400085A1B2C3D" + filled, "00000400085A1B2C3D" + filled},
        {"m1-power-on-huge", -1007, "", ""}, // longer than the exchange takes
    };
    for (const std::string framing : kFramings)
    {
        const Round round("hostile-memory", framing);
        for (const auto &row : rows)
        {
            EXPECT_EQ("ok", round.Control("swap contactless " + std::string(row.card)));
            char text[256] = {};
            int32_t length = -7;
            EXPECT_EQ(row.result, CALL(round.library, BO_M1Powerup)(sizeof text, text, &length, 1))
                << row.card;
            EXPECT_EQ(framing == "0" ? row.krel : row.united, text) << row.card;
            EXPECT_EQ(strlen(text), static_cast<size_t>(length)) << row.card;
        }
    }
}

TEST(UltralightRound, HostilePowerOnsStayWithinTheCallersBuffer)
{
    const Round round("hostile-memory");
    const struct
    {
        const char *card;
        int result;
        const char *text;
    } rows[] = {
        {"m0-power-on-no-payload", 0, ""},
        {"m0-power-on-status-only", 0, ""},
        {"m0-power-on-long", 0, "44000004A1B2C3D4E5805A5A5A5A5A5A"}, // cut at the caller's 32
        {"m0-power-on-huge", -1007, ""},
    };
    for (const auto &row : rows)
    {
        EXPECT_EQ("ok", round.Control("swap contactless " + std::string(row.card)));
        char text[33] = {};
        int32_t length = -7;
        EXPECT_EQ(row.result, M0_POWER_ON(round.library)(32, text, &length, 1)) << row.card;
        EXPECT_STREQ(row.text, text) << row.card;
        EXPECT_EQ(strlen(text), static_cast<size_t>(length)) << row.card;
    }
}

TEST(UltralightRound, PagesAreReadAndWritten)
{
    const Round round("ultralight-c");
    EXPECT_EQ("44000004A1B2C3D4E580", round.PowerOnM0());
    EXPECT_EQ(0, M0_WRITE(round.library)(4, "01020304"));
    EXPECT_EQ("01020304", round.ReadPages(4, 1));
    EXPECT_EQ("04A1B29FC3D4E5807248000000000000", round.ReadPages(0, 4));
    EXPECT_EQ("[-5104]", round.ReadPages(0x2C, 1)) << "the key cannot be read";
    round.PowerOnM0();
    EXPECT_EQ(-5105, M0_WRITE(round.library)(0, "01020304"));
    EXPECT_EQ(-5002, (round.PowerOnM0(), M0_POWER_OFF(round.library)(), //
                      M0_POWER_OFF(round.library)()));
}

TEST(UltralightRound, AuthenticationOpensTheProtectedPages)
{
    const Round round("ultralight-c-personalised");
    round.PowerOnM0();
    EXPECT_EQ("444159205449434B4554203230323600", round.ReadPages(4, 4));
    EXPECT_EQ("[-5104]", round.ReadPages(0x10, 1));
    round.PowerOnM0();
    EXPECT_EQ(0, M0_VERIFY_KEY(round.library)(32, kOtherKey));
    EXPECT_TRUE(round.Memory()["authenticated"]);
    EXPECT_EQ("50415353454E474552205A48414E4720", round.ReadPages(0x10, 4));
    EXPECT_EQ(0, M0_WRITE(round.library)(0x10, "41424344"));
    EXPECT_EQ("41424344", round.ReadPages(0x10, 1));
}

TEST(UltralightRound, TheReadersRandomNumberMakesNoDifference)
{
    const Round round("ultralight-c");
    for (int i = 0; i < 5; ++i)
    {
        round.PowerOnM0();
        EXPECT_EQ(0, M0_VERIFY_KEY(round.library)(32, kDeliveryKey));
    }
    EXPECT_EQ("ok", round.Control("swap contactless data-sheet"));
    round.PowerOnM0();
    EXPECT_EQ(0, M0_VERIFY_KEY(round.library)(32, kDeliveryKey));
    EXPECT_THAT(round.Control("trace"), HasSubstr("00AF577293FD2F34CA51"));
}

TEST(UltralightRound, AWrongKeyIsRefusedByTheCard)
{
    const Round round("ultralight-c");
    round.PowerOnM0();
    EXPECT_EQ(-5105, M0_VERIFY_KEY(round.library)(32, kOtherKey));
    EXPECT_THAT(round.Control("trace"), HasSubstr("A2 refused (the host does not know the key)"));
    EXPECT_EQ(-5002, M0_POWER_OFF(round.library)()) << "the call has powered it off";
}

TEST(UltralightRound, ACardThatDoesNotKnowTheKeyIsFoundOut)
{
    const Round round("hostile-memory");
    EXPECT_EQ("ok", round.Control("swap contactless m0-wrong-proof"));
    round.PowerOnM0();
    EXPECT_EQ(-5103, M0_VERIFY_KEY(round.library)(32, kDeliveryKey));
    EXPECT_EQ(-5002, M0_POWER_OFF(round.library)()) << "the call has powered it off";
}

TEST(UltralightRound, HostileAnswersStayWithinTheCallersBuffer)
{
    const Round round("hostile-memory");
    const struct
    {
        const char *card;
        const char *pages;
        int verified;
    } rows[] = {
        {"m0-no-payload", "", -1013}, {"m0-status-only", "", -1013}, {"m0-short", "000000", -1013},
        {"m0-long", "00000000", 0},   {"m0-huge", "00000000", 0},
    };
    for (const auto &row : rows)
    {
        EXPECT_EQ("ok", round.Control("swap contactless " + std::string(row.card)));
        round.PowerOnM0();
        EXPECT_EQ(row.pages, round.ReadPages(4, 1).substr(0, 8)) << row.card;
        EXPECT_EQ(row.verified, M0_VERIFY_KEY(round.library)(32, kDeliveryKey)) << row.card;
    }
}
