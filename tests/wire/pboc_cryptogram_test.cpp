// Cryptograms, issuer authentication and issuer scripts: the bytes that go out and what is made of
// the answers.
#include <cstring>
#include <gtest/gtest.h>

#include "vantor/pboc.h"
#include "wire/pboc_card.h"

using testing_support::BytesOf;
using testing_support::HexByte;
using testing_support::HexOf;
using testing_support::PbocData;
using wire_testing::Bytes;
using wire_testing::Card;

namespace
{

// Rows 6 to 13 of the data for the issuer, with the stores as they stand at load.
const char kTerminalRows[] = "95050000000800"
                             "9A03303030"
                             "9C0101"
                             "9F0206000000000012"
                             "5F2A020156"
                             "82020000"
                             "9F1A020156"
                             "9F0306000000000000";

// Commands that carry data of the host's, and the stores put back as they were.
struct Cryptogram : Card
{
    unsigned char txData[88];
    int32_t txDataLength = g_iTxDataLen;

    Cryptogram()
    {
        memcpy(txData, g_szTxData, sizeof txData);
    }
    ~Cryptogram() override
    {
        memcpy(g_szTxData, txData, sizeof txData);
        g_iTxDataLen = txDataLength;
    }

    int Generate(uint8_t referenceControl, const std::string &dataHex, int cardType = 0)
    {
        const std::vector<uint8_t> data = BytesOf(dataHex);
        return PBOC_GenerateAC(&device, cardType, referenceControl, data.data(),
                               static_cast<int>(data.size()), area, &length);
    }
    // The answer lies in memory of exactly its size, so that a checker sees a read past its end.
    int Build(const std::string &answerHex)
    {
        const std::vector<uint8_t> answer = BytesOf(answerHex);
        const auto exact = std::make_unique<uint8_t[]>(answer.size());
        std::copy(answer.begin(), answer.end(), exact.get());
        return PBOC_BuildARQCBack(exact.get(), static_cast<int>(answer.size()), area, &length);
    }
    int Run(const std::string &scriptHex, int cardType = 0)
    {
        const std::vector<uint8_t> data = BytesOf(scriptHex);
        const auto exact = std::make_unique<uint8_t[]>(data.size());
        std::copy(data.begin(), data.end(), exact.get());
        return PBOC_ExeScript(&device, cardType, exact.get(), static_cast<int>(data.size()));
    }
    void SetTx(const char *tagHex, const char *valueHex)
    {
        const std::vector<uint8_t> tag = BytesOf(tagHex), value = BytesOf(valueHex);
        ASSERT_EQ(0, PBOC_SetTxDataTagValue(tag.data(), static_cast<int>(tag.size()), value.data(),
                                            static_cast<int>(value.size())));
    }
};

struct Script : Cryptogram
{
};

// A TLV object, its length in the shortest form.
std::string Object(const std::string &tag, size_t count, const char *byte = "11")
{
    const std::string form = count > 255 ? "82" + HexByte(count >> 8) : count > 127 ? "81" : "";
    return tag + form + HexByte(count & 0xFF) + Bytes(static_cast<int>(count), byte);
}

} // namespace

TEST_F(Cryptogram, GenerateAcOfPublishedCards)
{
    const auto rows = PbocData("cryptograms.json");
    ASSERT_EQ(6u, rows.size());
    script.united = true;
    for (const auto &row : rows)
        script.Apdu(row["command"], row["response"]);
    Insert();
    for (const auto &row : rows)
    {
        SCOPED_TRACE(row["source"].get<std::string>());
        const std::string command = row["command"];
        const auto control = static_cast<uint8_t>(std::stoi(command.substr(4, 2), nullptr, 16));
        EXPECT_EQ(0, Generate(control, command.substr(10)));
        EXPECT_EQ(row["value"].get<std::string>(), Given());
        EXPECT_EQ(0, Build(Given()));
        EXPECT_EQ(row["issuer_data"].get<std::string>(), Given());
    }
}

// From the card's own CDOL1 to the data for the issuer, over a card of protocol T=0.
TEST_F(Cryptogram, AFirstCryptogramOfAPublishedCardFromItsList)
{
    const auto session = PbocData("76-pboc-first-genac.json");
    SetTx("9F02", "000000000300");
    SetTx("9A", "121207");
    SetTx("9F37", "11223344");
    SetTx("9F21", "164422");
    SetTx("9F4E", "6368696E61756E696F6E7061792E616263643132");
    for (const auto &exchange : session["exchanges"])
        script.Apdu(exchange["cmd"], exchange["rsp"]);
    Insert();
    const std::vector<uint8_t> list = BytesOf(session["cdol1"]);
    uint8_t data[512] = {};
    int32_t dataLength = 0;
    EXPECT_EQ(0, PBOC_BuildDOL(nullptr, 0, list.data(), static_cast<int>(list.size()), data,
                               &dataLength));
    EXPECT_EQ(0, PBOC_GenerateAC(&device, 0, 0x80, data, dataLength, area, &length));
    EXPECT_EQ("8000019576389A2C9E753407000103A03002010A010000000000B0992D81", Given());
    EXPECT_EQ(0, Build(Given()));
    EXPECT_EQ("9F26089576389A2C9E7534"
              "9F270180"
              "9F101307000103A03002010A010000000000B0992D81"
              "9F370411223344"
              "9F36020001"
              "95050000000800"
              "9A03121207"
              "9C0101"
              "9F0206000000000300"
              "5F2A020156"
              "82020000"
              "9F1A020156"
              "9F0306000000000000",
              Given());
}

TEST_F(Cryptogram, TheReferenceControlIsP1AndThereIsNoLe)
{
    script.contactless = true;
    script.Apdu("80AE800001AA", "80018011 9000")
        .Apdu("80AE400001AA", "800140 9000")
        .Apdu("80AE000000", "800100 9000")
        .Apdu("80AEC00002AABB", "8000 9000");
    Insert();
    EXPECT_EQ(0, Generate(0x80, "AA", 1));
    EXPECT_EQ("80", Given());
    EXPECT_EQ(0, Generate(0x40, "AA", 1));
    EXPECT_EQ("40", Given());
    EXPECT_EQ(0, Generate(0x00, "", 1));
    EXPECT_EQ("00", Given());
    EXPECT_EQ(0, Generate(0xC0, "AABB", 1));
    EXPECT_EQ("", Given()) << "an empty value is the card's answer too";
}

TEST_F(Cryptogram, Format1IsTakenBeforeFormat2)
{
    script.Apdu("80AE800000", "77069F270180 9F36 8001AA 9000")
        .Apdu("80AE800000", "7707 9F2701 80 8001BB 9000")
        .Apdu("80AE800000", "7704 9F2701 80 8001CC 9000");
    Insert();
    EXPECT_EQ(0, Generate(0x80, ""));
    EXPECT_EQ("9F2701809F36", Given()) << "9F36 80 claims 128 bytes: no tag 80 is found behind it";
    EXPECT_EQ(0, Generate(0x80, ""));
    EXPECT_EQ("BB", Given()) << "also inside a template";
    EXPECT_EQ(0, Generate(0x80, ""));
    EXPECT_EQ("CC", Given()) << "also behind one";
}

TEST_F(Cryptogram, ATemplateEndsWhereItSaysOrWithTheAnswer)
{
    script.Apdu("80AE800000", "7704 9F270180 9F36020001 9000")
        .Apdu("80AE800000", "77FF 9F270180 9000")
        .Apdu("80AE800000", "7781FF 9F270180 9000")
        .Apdu("80AE800000", "7700 9000")
        .Apdu("80AE800000", "77 7F 9000");
    Insert();
    for (const char *value : {"9F270180", "9F270180", "9F270180", "", ""})
    {
        EXPECT_EQ(0, Generate(0x80, ""));
        EXPECT_EQ(value, Given());
    }
}

TEST_F(Cryptogram, AnAnswerInNeitherFormatFails)
{
    const char *const answers[] = {"9000", "7003 9F2701 9000", "8005 1122 9000", "77 9000",
                                   "77820004 9F270180 9000"};
    for (const char *answer : answers)
        script.Apdu("80AE800000", answer);
    Insert();
    for (const char *answer : answers)
        EXPECT_EQ(-99, Generate(0x80, "")) << answer;
    EXPECT_EQ("untouched", Given());
    EXPECT_EQ(0xEE, area[0]);
}

TEST_F(Cryptogram, AnswersOfEveryLengthAreSafeInBothFormats)
{
    script.united = true;
    for (size_t count = 0; count <= 300; count++)
        script.Apdu("80AE800000", Object("80", count) + "9000")
            .Apdu("80AE800000", Object("77", count) + "9000");
    Insert();
    for (int count = 0; count <= 300; count++)
    {
        SCOPED_TRACE(count);
        memset(area, 0xEE, sizeof area);
        EXPECT_EQ(0, Generate(0x80, ""));
        EXPECT_EQ(Bytes(count), Given());
        EXPECT_EQ(0xEE, area[count]);

        // As a format 1 value: 11 bytes make one, and the last object counts 255 bytes at most.
        const bool fits = count >= 11 && count <= 266;
        EXPECT_EQ(fits ? 0 : -99, Build(Given()));
        EXPECT_EQ(!fits ? count : count == 11 ? 74 : 66 + count, length);

        // Format 2 with a length of two bytes is found by no search.
        length = -7;
        EXPECT_EQ(count < 256 ? 0 : -99, Generate(0x80, ""));
        EXPECT_EQ(count < 256 ? Bytes(count) : "untouched", Given());
    }
}

TEST_F(Cryptogram, TheIssuersDataOfAFormat1Value)
{
    EXPECT_EQ(0, Build("80 0001 1122334455667788 07010103A00000"));
    EXPECT_EQ("9F26081122334455667788"
              "9F270180"
              "9F100707010103A00000"
              "9F370412345678"
              "9F36020001" +
                  std::string(kTerminalRows),
              Given());
    EXPECT_EQ(0, Build("40 0002 1122334455667788"));
    EXPECT_EQ("9F26081122334455667788"
              "9F270140"
              "9F370412345678"
              "9F36020002" +
                  std::string(kTerminalRows),
              Given())
        << "no application data of the issuer's";
    EXPECT_EQ(0, Build("40 0002 1122334455667788 99"));
    EXPECT_EQ("9F260811223344556677889F2701409F1001999F3704", Given().substr(0, 44));
}

TEST_F(Cryptogram, TheIssuersDataOfAFormat2AnswerHaveAnOrderOfTheirOwn)
{
    const char *const answer = "9F10030706 01 9F36020203 9F270180 9F2608A1A2A3A4A5A6A7A8 5F3401 05";
    const std::string expected = "9F2608A1A2A3A4A5A6A7A8"
                                 "9F270180"
                                 "9F1003070601"
                                 "9F370412345678"
                                 "9F36020203" +
                                 std::string(kTerminalRows);
    EXPECT_EQ(0, Build(answer));
    EXPECT_EQ(expected, Given());
    EXPECT_EQ(0, Build(std::string("771E") + answer)) << "the template of a contactless card";
    EXPECT_EQ(expected, Given());
}

TEST_F(Cryptogram, WhatAFormat2AnswerLacksIsLeftOut)
{
    EXPECT_EQ(0, Build("9F2608A1A2A3A4A5A6A7A8"));
    EXPECT_EQ("9F2608A1A2A3A4A5A6A7A89F370412345678" + std::string(kTerminalRows), Given());
    EXPECT_EQ(0, Build("9F2600 9F2700 9F3603112233"));
    EXPECT_EQ("9F26009F27009F3704123456789F3603112233" + std::string(kTerminalRows), Given())
        << "whatever the lengths";
    EXPECT_EQ(0, Build("9F2601A1"));
    EXPECT_EQ("9F2601A19F370412345678" + std::string(kTerminalRows), Given())
        << "shorter than any format 1 value";
}

TEST_F(Cryptogram, TheTransactionDataGoIntoTheIssuersData)
{
    SetTx("9F37", "A1A2A3A4");
    SetTx("95", "B1B2B3B4B5");
    SetTx("9A", "250131");
    SetTx("9C", "20");
    SetTx("9F02", "000000012345");
    SetTx("5F2A", "0840");
    SetTx("82", "7C00");
    SetTx("9F1A", "0344");
    SetTx("9F03", "000000000099");
    EXPECT_EQ(0, Build("80 0001 1122334455667788"));
    EXPECT_EQ("9F26081122334455667788"
              "9F270180"
              "9F3704A1A2A3A4"
              "9F36020001"
              "9505B1B2B3B4B5"
              "9A03250131"
              "9C0120"
              "9F0206000000012345"
              "5F2A020840"
              "82027C00"
              "9F1A020344"
              "9F0306000000000099",
              Given());
}

TEST_F(Cryptogram, ATagThatTheTransactionDataLackStandsAlone)
{
    g_iTxDataLen = 0;
    EXPECT_EQ(0, Build("80 0001 1122334455667788"));
    EXPECT_EQ("9F26081122334455667788"
              "9F270180"
              "9F37"
              "9F36020001"
              "95"
              "9A"
              "9C"
              "9F02"
              "5F2A"
              "82"
              "9F1A"
              "9F03",
              Given());
    g_iTxDataLen = 5000; // what a host wrote there
    EXPECT_EQ(0, Build("80 0001 1122334455667788"));
    EXPECT_EQ(74, length);
}

TEST_F(Cryptogram, TheIssuersDataFillTheAreaAndNoMore)
{
    // 258 + 200 bytes of the card and 54 of the terminal are 512.
    EXPECT_EQ(0, Build(Object("9F26", 255) + Object("9F10", 197)));
    EXPECT_EQ(512, length);
    EXPECT_EQ("9F26FF" + Bytes(255) + "9F10C5" + Bytes(197) + "9F370412345678" + kTerminalRows,
              Given())
        << "a length is one byte, also above 127";
    EXPECT_EQ(0xEE, area[512]);
    length = -7;
    area[0] = 0xEE;
    EXPECT_EQ(-99, Build(Object("9F26", 255) + Object("9F10", 198)));
    EXPECT_EQ(-99, Build(Object("9F26", 256))) << "a value that one byte of length cannot count";
    EXPECT_EQ(-99, Build(Object("9F26", 8) + Object("9F10", 256)));
    EXPECT_EQ("untouched", Given());
    EXPECT_EQ(0xEE, area[0]);
}

TEST_F(Cryptogram, BrokenAnswersGiveNoIssuersData)
{
    EXPECT_EQ(-99, Build(""));
    EXPECT_EQ(-99, Build("80 0001 11223344556677"));
    EXPECT_EQ(-99, Build("9F2608A1A2A3A4")) << "cut short, and too short for format 1";
    const uint8_t answer[11] = {};
    EXPECT_EQ(-99, PBOC_BuildARQCBack(nullptr, 11, area, &length));
    EXPECT_EQ(-99, PBOC_BuildARQCBack(answer, -1, area, &length));
    EXPECT_EQ(-99, PBOC_BuildARQCBack(answer, 11, nullptr, &length));
    EXPECT_EQ(-99, PBOC_BuildARQCBack(answer, 11, area, nullptr));
    EXPECT_EQ("untouched", Given());
}

namespace
{

using DataCommand = int (*)(DEVCONTEXT *, int, const uint8_t *, int, uint8_t *, int32_t *);

int KeyDelivery(DEVCONTEXT *device, int type, const uint8_t *data, int length, uint8_t *, int32_t *)
{
    return PBOC_DeliveryKey(device, type, 0x12, 0x34, data, length);
}

int Authenticate(DEVCONTEXT *device, int type, const uint8_t *data, int length, uint8_t *,
                 int32_t *)
{
    return PBOC_ExternalAuth(device, type, data, length);
}

int AuthenticateSh(DEVCONTEXT *device, int type, const uint8_t *data, int length, uint8_t *,
                   int32_t *)
{
    return PBOC_ExternalAuth_Sh(device, type, data, length);
}

int PinChange(DEVCONTEXT *device, int type, const uint8_t *data, int length, uint8_t *, int32_t *)
{
    return PBOC_ChangePin(device, type, 0x02, data, length);
}

int Encipherment(DEVCONTEXT *device, int type, const uint8_t *data, int length, uint8_t *result,
                 int32_t *resultLength)
{
    return PBOC_CryptData(device, type, 0x05, data, length, result, resultLength);
}

int Cryptogram80(DEVCONTEXT *device, int type, const uint8_t *data, int length, uint8_t *result,
                 int32_t *resultLength)
{
    return PBOC_GenerateAC(device, type, 0x80, data, length, result, resultLength);
}

const struct
{
    const char *header;
    DataCommand send;
} kDataCommands[] = {
    {"00820000", Authenticate}, {"00820006", AuthenticateSh}, {"BFDE1234", KeyDelivery},
    {"80FA0500", Encipherment}, {"84240002", PinChange},      {"80AE8000", Cryptogram80},
};

} // namespace

TEST_F(Cryptogram, EachCommandCarriesItsHeaderItsLengthAndTheData)
{
    for (const auto &command : kDataCommands)
        script.Apdu(command.header + std::string("03A1B2C3"), "8001AA9000")
            .Apdu(command.header + std::string("00"), "8001AA9000");
    Insert();
    const uint8_t data[] = {0xA1, 0xB2, 0xC3};
    for (const auto &command : kDataCommands)
    {
        EXPECT_EQ(0, command.send(&device, 0, data, 3, area, &length)) << command.header;
        EXPECT_EQ(0, command.send(&device, 0, nullptr, 0, area, &length)) << command.header;
    }
}

TEST_F(Cryptogram, EachCommandGoesToItsInterface)
{
    script.contactless = true;
    for (const auto &command : kDataCommands)
        script.Apdu(command.header + std::string("01A1"), "8001AA9000");
    Insert();
    const uint8_t data[] = {0xA1};
    for (const auto &command : kDataCommands)
        EXPECT_EQ(0, command.send(&device, 1, data, 1, area, &length)) << command.header;
}

TEST_F(Cryptogram, EachCommandJudgesTheStatusAndPassesAFailedExchangeOn)
{
    for (const auto &command : kDataCommands)
    {
        const std::string bytes = command.header + std::string("01A1");
        script.Apdu(bytes, "8001AA6300")
            .Apdu(bytes, "9001")
            .Apdu(bytes, "90")
            .Apdu(bytes, "6283")
            .ApduFails(bytes, "FB");
    }
    Insert();
    const uint8_t data[] = {0xA1};
    for (const auto &command : kDataCommands)
        for (int expected : {-99, -99, -99, 100, -4005})
            EXPECT_EQ(expected, command.send(&device, 0, data, 1, area, &length)) << command.header;
    EXPECT_EQ("untouched", Given());
    EXPECT_EQ(0xEE, area[0]);
}

TEST_F(Cryptogram, EachCommandCarries255BytesAndNotMore)
{
    script.united = true;
    for (const auto &command : kDataCommands)
        script.Apdu(command.header + std::string("FF") + Bytes(255), "8001AA9000");
    Insert();
    const std::vector<uint8_t> data(256, 0x11);
    for (const auto &command : kDataCommands)
    {
        EXPECT_EQ(0, command.send(&device, 0, data.data(), 255, area, &length)) << command.header;
        EXPECT_EQ(-99, command.send(&device, 0, data.data(), 256, area, &length));
        EXPECT_EQ(-99, command.send(&device, 0, data.data(), -1, area, &length));
        EXPECT_EQ(-99, command.send(&device, 0, nullptr, 1, area, &length));
    }
}

TEST_F(Cryptogram, WithoutAPlaceForTheAnswerNothingIsSent)
{
    Insert();
    const uint8_t data[] = {0xA1};
    EXPECT_EQ(-99, PBOC_GenerateAC(&device, 0, 0x80, data, 1, nullptr, &length));
    EXPECT_EQ(-99, PBOC_GenerateAC(&device, 0, 0x80, data, 1, area, nullptr));
    EXPECT_EQ(-99, PBOC_CryptData(&device, 0, 0x01, data, 1, nullptr, &length));
    EXPECT_EQ(-99, PBOC_CryptData(&device, 0, 0x01, data, 1, area, nullptr));
}

TEST_F(Cryptogram, EnciphermentGivesTheResponseWithoutItsStatus)
{
    script.united = true;
    script.Apdu("80FA010001A1", "112233449000")
        .Apdu("80FA010001A1", "9000")
        .Apdu("80FA010001A1", Bytes(600) + "9000");
    Insert();
    const uint8_t data[] = {0xA1};
    EXPECT_EQ(0, PBOC_CryptData(&device, 0, 0x01, data, 1, area, &length));
    EXPECT_EQ("11223344", Given());
    EXPECT_EQ(0xEE, area[4]);
    EXPECT_EQ(0, PBOC_CryptData(&device, 0, 0x01, data, 1, area, &length));
    EXPECT_EQ("", Given());
    EXPECT_EQ(0, PBOC_CryptData(&device, 0, 0x01, data, 1, area, &length));
    EXPECT_EQ(Bytes(510), Given());
    EXPECT_EQ(0xEE, area[510]);
}

TEST_F(Script, OfOneCommandThatIsAccepted)
{
    script.Apdu("8416000004A1A2A3A4", "9000");
    Insert();
    EXPECT_EQ(0, Run("7212 9F180411223344 8609 8416000004A1A2A3A4"));
}

TEST_F(Script, OfOneCommandThatIsRefusedGivesTheNumberBehindIt)
{
    script.Apdu("8416000004A1A2A3A4", "6988");
    Insert();
    EXPECT_EQ(2, Run("7212 9F180411223344 8609 8416000004A1A2A3A4"));
}

TEST_F(Script, OfOneCommandThatGetsNoAnswerGivesTheExchangesCode)
{
    script.ApduFails("8416000004A1A2A3A4", "FB")
        .Apdu("8416000004A1A2A3A4", "6283")
        .Apdu("8416000004A1A2A3A4", "90");
    Insert();
    EXPECT_EQ(-4005, Run("710B 8609 8416000004A1A2A3A4"));
    EXPECT_EQ(100, Run("710B 8609 8416000004A1A2A3A4"));
    EXPECT_EQ(2, Run("710B 8609 8416000004A1A2A3A4")) << "an answer without a status is refused";
}

TEST_F(Script, CommandsGoToTheCardsInterfaceAndTheirStatusIsFollowed)
{
    script.contactless = true;
    script.Apdu("8416000004A1A2A3A4", "6102").Apdu("00C0000002", "AABB9000");
    Insert();
    EXPECT_EQ(0, Run("710B 8609 8416000004A1A2A3A4", 1));
}

TEST_F(Script, DataWithoutACommandFail)
{
    Insert();
    EXPECT_EQ(-99, Run("910A00112233445566778830 30"));
    EXPECT_EQ(-99, Run("7207 9F180411223344"));
    EXPECT_EQ(-99, Run("7203 8609 84")) << "cut short";
    EXPECT_EQ(-99, Run("30313233"));
    EXPECT_EQ(-99, Run(""));
    EXPECT_EQ(-99, PBOC_ExeScript(&device, 0, nullptr, 10));
    const uint8_t none[1] = {};
    EXPECT_EQ(-99, PBOC_ExeScript(&device, 0, none, -1));
}

// The outcome of the commands counts only when the data end with the command found last.
TEST_F(Script, ARefusedCommandBeforeTheEndOfTheDataIsForgotten)
{
    script.Apdu("8416000004A1A2A3A4", "6988").ApduFails("8416000004A1A2A3A4", "FB");
    Insert();
    EXPECT_EQ(0, Run("710B 8609 8416000004A1A2A3A4 00"));
    EXPECT_EQ(0, Run("710B 8609 8416000004A1A2A3A4 9F180411223344"));
}

TEST_F(Script, OfPublishedIssuersSendTheirCommandsByTheCountThatIsKept)
{
    const auto rows = PbocData("issuer_scripts.json");
    ASSERT_EQ(2u, rows.size());
    for (const char *status : {"9000", "6A80"})
        for (const auto &row : rows)
            for (const auto &command : row["sent"])
                script.Apdu(command, status);
    Insert();
    for (int i = 0; i < 2; i++)
        for (const auto &row : rows)
            EXPECT_EQ(0, Run(row["data"])) << row["name"];
}

TEST_F(Script, AFailedCommandDoesNotStopTheRun)
{
    // Start 0: the first command, it ends at 13. Start 13: the second, it ends 2 + 5 behind. Start
    // 7, inside the first command: an object that runs past the end.
    script.ApduFails("841800007FAA00AA00", "A2").Apdu("8C18000000", "6985");
    Insert();
    EXPECT_EQ(0, Run("7212 8609 841800007FAA00AA00 8605 8C18000000"));
}

namespace
{

// Two commands whose ends send the search to and fro for ever: 17, 15, 17, 15 ...
const char kEndless[] = "721E"
                        "860D 8418000008A1A2A3A4A5A69A00"
                        "860D 8C18000008B1B2B3B4B5B69B00";
const char kFirst[] = "8418000008A1A2A3A4A5A69A00";
const char kSecond[] = "8C18000008B1B2B3B4B5B69B00";

} // namespace

TEST_F(Script, ThatNeverEndsIsStoppedAfter128Commands)
{
    GSetLogLevel(1);
    script.Apdu(kFirst, "6985");
    for (int i = 0; i < 127; i++)
        script.Apdu(kSecond, "9000");
    Insert();
    EXPECT_EQ(0, Run(kEndless)) << "the last command was accepted";
    line->Finish();
    EXPECT_EQ("Error:PBOC_ExeScript, more than 128 commands\r\n", log.Lines());
}

TEST_F(Script, ThatIsStoppedGivesTheNumberBehindARefusedCommand)
{
    script.Apdu(kFirst, "9000");
    for (int i = 0; i < 126; i++)
        script.Apdu(kSecond, "9000");
    script.Apdu(kSecond, "6A80");
    Insert();
    EXPECT_EQ(129, Run(kEndless));
}

TEST_F(Script, CommandsWithoutAnAnswerAreNotCounted)
{
    script.Apdu(kFirst, "9000");
    for (int i = 0; i < 126; i++)
        script.ApduFails(kSecond, "A2");
    script.Apdu(kSecond, "6A80");
    Insert();
    EXPECT_EQ(3, Run(kEndless));
}

TEST_F(Script, ACommandThatNoExchangeCarriesIsNotSent)
{
    Insert();
    EXPECT_EQ(-22, Run(Object("86", 513))) << "longer than a command's area";
    EXPECT_EQ(-22, Run(Object("86", 254))) << "longer than the framing carries";
    EXPECT_EQ(1, Run("8600")) << "empty";
    EXPECT_EQ(1, Run("8600 8600")) << "empty, again and again";
}

TEST_F(Script, ALongCommandIsSentAsItStands)
{
    script.united = true;
    script.Apdu(Bytes(261), "9000").Apdu(Bytes(512), "9000");
    Insert();
    EXPECT_EQ(0, Run(Object("86", 261)));
    EXPECT_EQ(0, Run(Object("86", 512)));
}
