// The PBOC commands to the card: the bytes that go out and what is made of the answer.
#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>

#include "vantor/pboc.h"
#include "wire/pboc_card.h"

using testing_support::BytesOf;
using testing_support::HexOf;
using testing_support::PbocData;
using wire_testing::Bytes;
using wire_testing::Card;

namespace
{

const char kSelectPse[] = "00A404000E315041592E5359532E4444463031";
const unsigned char kPse[] = "1PAY.SYS.DDF01";

// The recorded response to a command of a session.
std::string Recorded(const nlohmann::json &session, const std::string &command)
{
    for (const auto &exchange : session["exchanges"])
        if (exchange["cmd"] == command)
            return exchange["rsp"];
    ADD_FAILURE() << "not recorded: " << command;
    return "";
}

} // namespace

TEST_F(Card, SelectPseGivesTheDirectorysFile)
{
    const auto session = PbocData("41-pboc-testcard-contact-dc.json");
    script.Apdu(kSelectPse, Recorded(session, "00A404000E315041592E5359532E444446303100"));
    Insert();
    EXPECT_EQ(0, PBOC_SelectPSE(&device, 0, kPse, 14, area, &length));
    EXPECT_EQ("01", Given());
}

TEST_F(Card, SelectPseFollowsACardOfProtocolT0)
{
    const auto session = PbocData("70-pboc-contact-t0-simulated.json");
    script.Apdu(kSelectPse, Recorded(session, kSelectPse))
        .Apdu("00C0000020", Recorded(session, "00C0000020"))
        .Apdu("00B2010C00", Recorded(session, "00B2010C00"))
        .Apdu("00B2010C2A", Recorded(session, "00B2010C2A"))
        .Apdu("00B2020C00", Recorded(session, "00B2020C00"))
        .Apdu("00A4040008A000000333010101", Recorded(session, "00A4040008A000000333010101"))
        .Apdu("00C000004C", Recorded(session, "00C000004C"));
    Insert();
    EXPECT_EQ(0, PBOC_SelectPSE(&device, 0, kPse, 14, area, &length));
    EXPECT_EQ("01", Given());
    const uint8_t files[] = {area[0]};
    EXPECT_EQ(0, PBOC_GetAID(&device, 0, files, 1, area, &length));
    EXPECT_EQ("A000000333010101", Given());
    EXPECT_EQ(0, PBOC_SelectAID(&device, 0, area, length, area, &length));
    EXPECT_EQ("6F4A8408A000000333010101A53E500A50424F432044454249548701019F38099F7A019F02065F2A02"
              "5F2D027A689F1101019F120A50424F43204445424954BF0C0A9F4D020B0ADF4D020C0A9000",
              Given());
}

TEST_F(Card, SelectPseFailsOnAnyOtherStatus)
{
    script.Apdu(kSelectPse, "6A82").Apdu(kSelectPse, "6A81").Apdu(kSelectPse, "00");
    Insert();
    for (int i = 0; i < 3; i++)
        EXPECT_EQ(-99, PBOC_SelectPSE(&device, 0, kPse, 14, area, &length));
    EXPECT_EQ("untouched", Given());
}

TEST_F(Card, SelectPseGives100WhenTheEnvironmentIsLockedOrInvalidated)
{
    script.Apdu(kSelectPse, "9303").Apdu(kSelectPse, "6283");
    Insert();
    EXPECT_EQ(100, PBOC_SelectPSE(&device, 0, kPse, 14, area, &length));
    EXPECT_EQ(100, PBOC_SelectPSE(&device, 0, kPse, 14, area, &length));
}

TEST_F(Card, SelectPseNeedsTheDirectorysFile)
{
    script.Apdu(kSelectPse, "6F10840E315041592E5359532E44444630319000");
    // A length that reaches into the status bytes takes no value from there.
    script.Apdu(kSelectPse, "6F0388029000");
    Insert();
    EXPECT_EQ(-99, PBOC_SelectPSE(&device, 0, kPse, 14, area, &length));
    EXPECT_EQ(-99, PBOC_SelectPSE(&device, 0, kPse, 14, area, &length));
}

TEST_F(Card, SelectPassesAFailedExchangeThrough)
{
    script.ApduFails(kSelectPse, "FB").ApduFails("00A4040000", "A2");
    Insert();
    EXPECT_EQ(-4005, PBOC_SelectPSE(&device, 0, kPse, 14, area, &length));
    EXPECT_EQ(-4006, PBOC_SelectAID(&device, 0, nullptr, 0, area, &length));
}

TEST_F(Card, TheLastRecordOfTheDirectoryWins)
{
    script.Apdu("00B2010C00", "700C610A4F08A0000003330101019000")
        .Apdu("00B2020C00", "700C610A4F08A0000003330101029000")
        .Apdu("00B2030C00", "6A83");
    Insert();
    const uint8_t files[] = {1};
    EXPECT_EQ(0, PBOC_GetAID(&device, 0, files, 1, area, &length));
    EXPECT_EQ("A000000333010102", Given());
}

TEST_F(Card, TheRecordNumberRunsOnFromFileToFile)
{
    script.Apdu("00B2010C00", "70034F01119000")
        .Apdu("00B2020C00", "6A83")
        .Apdu("00B2021400", "70034F01229000")
        .Apdu("00B2031400", "6A83")
        .Apdu("00B203F400", "6A82");
    Insert();
    const uint8_t files[] = {1, 2, 30};
    EXPECT_EQ(0, PBOC_GetAID(&device, 0, files, 3, area, &length));
    EXPECT_EQ("22", Given());
}

TEST_F(Card, ALastRecordWithoutAnIdentifierLeavesNone)
{
    script.Apdu("00B2010C00", "70034F01119000")
        .Apdu("00B2020C00", "70035001229000")
        .Apdu("00B2030C00", "6A83");
    Insert();
    const uint8_t files[] = {1};
    EXPECT_EQ(0, PBOC_GetAID(&device, 0, files, 1, area, &length));
    EXPECT_EQ(0, length);
}

TEST_F(Card, ADirectoryWithoutRecordsOrFilesGivesNoIdentifier)
{
    script.Apdu("00B2010C00", "6A83");
    Insert();
    const uint8_t files[] = {1};
    EXPECT_EQ(0, PBOC_GetAID(&device, 0, files, 1, area, &length));
    EXPECT_EQ(0, length);
    length = -7;
    EXPECT_EQ(0, PBOC_GetAID(&device, 0, files, 0, area, &length));
    EXPECT_EQ(0, length);
}

TEST_F(Card, TheDirectoryEndsAtRecord255)
{
    const char digits[] = "0123456789ABCDEF";
    for (int record = 1; record <= 255; record++)
        script.Apdu(std::string("00B2") + digits[record / 16] + digits[record % 16] + "0C00",
                    record == 255 ? "70034F01FF9000" : "70034F01119000");
    Insert();
    const uint8_t files[] = {1, 2};
    EXPECT_EQ(0, PBOC_GetAID(&device, 0, files, 2, area, &length));
    EXPECT_EQ("FF", Given());
}

TEST_F(Card, SelectAidGivesTheWholeResponse)
{
    const auto session = PbocData("02-amex-contactless-cda.json");
    const std::string fci = Recorded(session, "00A4040008A00000002501040300");
    script.Apdu("00A4040008A000000025010403", fci).Apdu("00A4040008A000000025010403", "6A82");
    Insert();
    const std::vector<uint8_t> aid = BytesOf("A000000025010403");
    EXPECT_EQ(0, PBOC_SelectAID(&device, 0, aid.data(), 8, area, &length));
    EXPECT_EQ(fci, Given());
    EXPECT_EQ(-99, PBOC_SelectAID(&device, 0, aid.data(), 8, area, &length));
    EXPECT_EQ(fci, Given()) << "a failure leaves the outputs alone";
}

TEST_F(Card, SelectAidWithAnEmptyIdentifierIsSent)
{
    script.Apdu("00A4040000", "9000");
    Insert();
    EXPECT_EQ(0, PBOC_SelectAID(&device, 0, nullptr, 0, area, &length));
    EXPECT_EQ("9000", Given());
}

TEST_F(Card, DataThatFitNoCommandAreRefusedWithoutSending)
{
    Insert();
    std::vector<uint8_t> data(300);
    EXPECT_EQ(-99, PBOC_SelectAID(&device, 0, data.data(), 256, area, &length));
    EXPECT_EQ(-99, PBOC_SelectAID(&device, 0, data.data(), -1, area, &length));
    EXPECT_EQ(-99, PBOC_SelectAID(&device, 0, nullptr, 1, area, &length));
    EXPECT_EQ(-99, PBOC_SelectFile(&device, 0, 0, data.data(), 256, area, &length));
    EXPECT_EQ(-99, PBOC_SelectPSE(&device, 0, data.data(), 256, area, &length));
    EXPECT_EQ(-99, PBOC_GetProcOptions(&device, 0, data.data(), 254, area, &length, area, &length));
    EXPECT_EQ(-99, PBOC_GetProcOptions(&device, 0, data.data(), -1, area, &length, area, &length));
    EXPECT_EQ(-99, PBOC_GetData(&device, 0, data.data(), 3, area, &length));
    EXPECT_EQ(-99, PBOC_GetData(&device, 0, data.data(), 0, area, &length));
    EXPECT_EQ(-99, PBOC_GetData(&device, 0, nullptr, 2, area, &length));
}

TEST_F(Card, TheLongestSelectCarries255Bytes)
{
    script.united = true;
    script.Apdu("00A40400FF" + Bytes(255), "9000");
    Insert();
    const std::vector<uint8_t> data(255, 0x11);
    EXPECT_EQ(0, PBOC_SelectAID(&device, 0, data.data(), 255, area, &length));
}

TEST_F(Card, SelectFileSendsTheCallersP1)
{
    script.Apdu("00A40000023F00", "6F0284009000").Apdu("00A4020002DF01", "6A82");
    Insert();
    const uint8_t master[] = {0x3F, 0x00};
    const uint8_t file[] = {0xDF, 0x01};
    EXPECT_EQ(0, PBOC_SelectFile(&device, 0, 0x00, master, 2, area, &length));
    EXPECT_EQ("6F0284009000", Given());
    EXPECT_EQ(-99, PBOC_SelectFile(&device, 0, 0x02, file, 2, area, &length));
}

TEST_F(Card, ReadRecordGivesTheRecordWithoutItsStatus)
{
    const auto session = PbocData("84-upi-ec-log-getdata.json");
    script.Apdu("00B2015C00", Recorded(session, "00B2015C00")).Apdu("00B2025C00", "6A83");
    Insert();
    EXPECT_EQ(0, PBOC_ReadRecord(&device, 0, 1, 11, area, &length));
    EXPECT_EQ("160524191222000000000000000000000000015601560000000000000000000000000000000000000000"
              "01003F",
              Given());
    EXPECT_EQ(0xEE, area[45]);
    EXPECT_EQ(-99, PBOC_ReadRecord(&device, 0, 2, 11, area, &length));
    EXPECT_EQ(45, length);
}

TEST_F(Card, ReadRecordPutsTheFileIntoTheHighFiveBits)
{
    script.Apdu("00B201F400", "6A82").Apdu("00B2FF0400", "9000");
    Insert();
    EXPECT_EQ(-99, PBOC_ReadRecord(&device, 0, 1, 30, area, &length));
    EXPECT_EQ(0, PBOC_ReadRecord(&device, 0, 255, 0, area, &length));
    EXPECT_EQ(0, length);
}

namespace
{

struct Options : Card
{
    uint8_t aip[VANTOR_PBOC_AREA_SIZE];
    int32_t aipLength = -7;
    Options()
    {
        memset(aip, 0xEE, sizeof aip);
    }
    int Get(const std::string &pdolHex)
    {
        const std::vector<uint8_t> data = BytesOf(pdolHex);
        return PBOC_GetProcOptions(&device, 0, data.data(), static_cast<int>(data.size()), aip,
                                   &aipLength, area, &length);
    }
    std::string Aip() const
    {
        return aipLength < 0 ? "untouched" : HexOf(aip, static_cast<size_t>(aipLength));
    }
};

} // namespace

TEST_F(Options, Format1HoldsProfileAndLocatorInOneValue)
{
    script.Apdu("80A80000028300", "80067C00080101009000");
    Insert();
    EXPECT_EQ(0, Get(""));
    EXPECT_EQ("7C00", Aip());
    EXPECT_EQ("08010100", Given());
}

TEST_F(Options, Format2HoldsThemUnderTheirTags)
{
    script.Apdu("80A80000058303112233", "770E82023900940818010201200204009000");
    Insert();
    EXPECT_EQ(0, Get("112233"));
    EXPECT_EQ("3900", Aip());
    EXPECT_EQ("1801020120020400", Given());
}

TEST_F(Options, AContactlessAnswerWithoutLocatorIsGivenWhole)
{
    const auto session = PbocData("40-qpboc-contactless-debit.json");
    const std::string answer = Recorded(
        session, "80A8000023832136800000000000000001000000000000015600000000000156170601002B29EBE40"
                 "0");
    script.Apdu("80A8000023832136800000000000000001000000000000015600000000000156170601002B29EBE4",
                answer);
    Insert();
    EXPECT_EQ(0, Get("36800000000000000001000000000000015600000000000156170601002B29EBE4"));
    EXPECT_EQ("7C00", Aip());
    EXPECT_EQ(answer.substr(0, answer.size() - 4), Given());
}

TEST_F(Options, AnotherStatusIsForgivenAndLeavesTheOutputs)
{
    script.Apdu("80A80000028300", "6985").ApduFails("80A80000028300", "A2");
    Insert();
    EXPECT_EQ(0, Get(""));
    EXPECT_EQ(0, Get(""));
    EXPECT_EQ("untouched", Aip());
    EXPECT_EQ("untouched", Given());
    EXPECT_EQ(0xEE, area[0]);
    EXPECT_EQ(0xEE, aip[0]);
}

TEST_F(Options, AnInvalidatedApplicationGives100)
{
    script.Apdu("80A80000028300", "6283");
    Insert();
    EXPECT_EQ(100, Get(""));
    EXPECT_EQ("untouched", Given());
}

TEST_F(Options, AnAnswerInNeitherFormatFails)
{
    for (const char *answer : {"9000", "7002940090 00", "77049402 1122 9000", "8001 7C 9000",
                               "8000 9000", "77820003 820100 9000", "8006 7C00 0801 9000"})
        script.Apdu("80A80000028300", answer);
    Insert();
    for (size_t i = 0; i < script.rows.size(); i++)
        EXPECT_EQ(-99, Get("")) << i;
}

TEST_F(Options, AFormat1AnswerMayHoldNoLocator)
{
    script.Apdu("80A80000028300", "80027C009000");
    Insert();
    EXPECT_EQ(0, Get(""));
    EXPECT_EQ("7C00", Aip());
    EXPECT_EQ(0, length);
}

TEST_F(Options, TheLongestListDataAre253Bytes)
{
    script.united = true;
    script.Apdu("80A80000FF83FD" + Bytes(253), "6985");
    Insert();
    EXPECT_EQ(0, Get(Bytes(253)));
}

namespace
{

struct Records : Card
{
    std::vector<uint8_t> data = std::vector<uint8_t>(VANTOR_APP_DATA_SIZE + 1, 0xEE);
    int Read(const std::string &aflHex)
    {
        const std::vector<uint8_t> afl = BytesOf(aflHex);
        return PBOC_GetAppData(&device, 0, afl.data(), static_cast<int>(afl.size()), data.data(),
                               &length);
    }
    std::string Got() const
    {
        return HexOf(data.data(), static_cast<size_t>(length));
    }
};

} // namespace

TEST_F(Records, AreReadEntryByEntryInOrder)
{
    script.Apdu("00B2010C00", "AA9000").Apdu("00B2020C00", "BBBB9000").Apdu("00B2011400", "CC9000");
    Insert();
    EXPECT_EQ(0, Read("0801020010010100"));
    EXPECT_EQ("AABBBBCC", Got());
    EXPECT_EQ(0xEE, data[4]);
}

TEST_F(Records, ThatCannotBeReadAreLeftOut)
{
    script.Apdu("00B2010C00", "6A83")
        .Apdu("00B2020C00", "BB9000")
        .ApduFails("00B2030C00", "A2")
        .Apdu("00B2040C00", "6283")
        .Apdu("00B2050C00", "DD9000");
    Insert();
    EXPECT_EQ(0, Read("08010500"));
    EXPECT_EQ("BBDD", Got());
}

TEST_F(Records, OfABrokenLocatorEntryAreNone)
{
    script.Apdu("00B2010C00", "AA9000");
    Insert();
    EXPECT_EQ(0, Read("10020100 08010100 100101")) << "last before first; an entry cut short";
    EXPECT_EQ("AA", Got());
    EXPECT_EQ(0, Read(""));
    EXPECT_EQ(0, length);
}

TEST_F(Records, LowBitsOfTheFileByteAreDropped)
{
    script.Apdu("00B2020C00", "AA9000");
    Insert();
    EXPECT_EQ(0, Read("09020200"));
    EXPECT_EQ("AA", Got());
}

TEST_F(Records, ALocatorUpToRecord255Ends)
{
    script.Apdu("00B2FE0C00", "AA9000").Apdu("00B2FF0C00", "BB9000");
    Insert();
    EXPECT_EQ(0, Read("08FEFF00"));
    EXPECT_EQ("AABB", Got());
}

TEST_F(Records, ThatOverrunTheDataAreCutAtItsEnd)
{
    script.united = true;
    const char digits[] = "0123456789ABCDEF";
    for (int record = 1; record <= 17; record++)
        script.Apdu(std::string("00B2") + digits[record / 16] + digits[record % 16] + "0C00",
                    Bytes(510, record == 16 ? "BB" : "AA") + "9000");
    Insert();
    EXPECT_EQ(0, Read("08011100"));
    EXPECT_EQ(8000, length);
    EXPECT_EQ(0xAA, data[7649]);
    EXPECT_EQ(0xBB, data[7650]);
    EXPECT_EQ(0xBB, data[7999]);
    EXPECT_EQ(0xEE, data[8000]);
}

TEST_F(Card, GetDataGivesTheTagsValue)
{
    const auto session = PbocData("41-pboc-testcard-contact-dc.json");
    script.Apdu("80CA9F77", Recorded(session, "80CA9F7700"))
        .Apdu("80CA9F79", "6A88")
        .Apdu("80CA9F79", "9F78029999 9000")
        .Apdu("80CA5A", "5A0211229000");
    Insert();
    const uint8_t limit[] = {0x9F, 0x77};
    const uint8_t balance[] = {0x9F, 0x79};
    const uint8_t account[] = {0x5A};
    EXPECT_EQ(0, PBOC_GetData(&device, 0, limit, 2, area, &length));
    EXPECT_EQ("000000015000", Given());
    EXPECT_EQ(-99, PBOC_GetData(&device, 0, balance, 2, area, &length));
    EXPECT_EQ("000000015000", Given()) << "a failure leaves the outputs alone";
    EXPECT_EQ(0, PBOC_GetData(&device, 0, balance, 2, area, &length));
    EXPECT_EQ(0, length) << "the answer does not hold the tag";
    EXPECT_EQ("0000000000000000EE", HexOf(area, 9));
    EXPECT_EQ(0, PBOC_GetData(&device, 0, account, 1, area, &length)) << "P1 alone";
    EXPECT_EQ("1122", Given());
}

TEST_F(Card, EveryCommandGives100WhenTheFileIsInvalidated)
{
    script.Apdu("00A4040001AA", "6283")
        .Apdu("00A4000001AA", "6283")
        .Apdu("00B2010C00", "6283")
        .Apdu("80CA9F79", "6283");
    Insert();
    const uint8_t data[] = {0xAA};
    const uint8_t tag[] = {0x9F, 0x79};
    EXPECT_EQ(100, PBOC_SelectAID(&device, 0, data, 1, area, &length));
    EXPECT_EQ(100, PBOC_SelectFile(&device, 0, 0, data, 1, area, &length));
    EXPECT_EQ(100, PBOC_ReadRecord(&device, 0, 1, 1, area, &length));
    EXPECT_EQ(100, PBOC_GetData(&device, 0, tag, 2, area, &length));
    EXPECT_EQ("untouched", Given());
}

TEST_F(Records, OfAPublishedCardLineUp)
{
    const auto session = PbocData("04-mastercard-contact.json");
    const std::string first = Recorded(session, "00B2021400");
    const std::string second = Recorded(session, "00B2011C00");
    script.united = true;
    script.Apdu("00B2021400", first).Apdu("00B2011C00", second);
    Insert();
    EXPECT_EQ(0, Read("10020200 18010100"));
    EXPECT_EQ(first.substr(0, first.size() - 4) + second.substr(0, second.size() - 4), Got());
}

// The emulated cards of a public test suite, with the Le that is not sent here taken off: the call
// must end as the suite's own reading of the card does.
TEST_F(Options, OfEmulatedCards)
{
    const auto cases = PbocData("90-openemv-synthetic.json")["cases"];
    struct Row
    {
        const char *name, *aip, *afl;
    };
    const Row rows[] = {
        {"initiate_application_processing/test1_apdu_list", "7800", "080202001001040018010201"},
        {"initiate_application_processing/test2_apdu_list", "3900", "1801020120020400"},
        {"initiate_application_processing/test3_apdu_list", "untouched", "untouched"},
        {"initiate_application_processing/test4_apdu_list", "7800", "080202001001040018010201"},
        {"initiate_application_processing/test6_apdu_list", "untouched", "untouched"},
    };
    std::vector<std::string> pdols;
    for (const Row &row : rows)
        for (const auto &emulated : cases)
            if (emulated["name"] == row.name)
            {
                const std::string command = emulated["exchanges"][0]["cmd"];
                script.Apdu(command.substr(0, command.size() - 2), emulated["exchanges"][0]["rsp"]);
                pdols.push_back(command.substr(14, command.size() - 16));
            }
    ASSERT_EQ(5u, pdols.size());
    Insert();
    for (size_t i = 0; i < pdols.size(); i++)
    {
        aipLength = length = -7;
        EXPECT_EQ(0, Get(pdols[i]));
        EXPECT_EQ(rows[i].aip, Aip()) << rows[i].name;
        EXPECT_EQ(rows[i].afl, Given()) << rows[i].name;
    }
}

TEST_F(Card, AnEmulatedBlockedEnvironmentGives100)
{
    const auto cases = PbocData("90-openemv-synthetic.json")["cases"];
    for (const auto &emulated : cases)
        if (emulated["name"] == "build_candidate_list/test_pse_blocked" ||
            emulated["name"] == "build_candidate_list/test_pse_card_blocked" ||
            emulated["name"] == "build_candidate_list/test_pse_app_supported")
            script.Apdu(kSelectPse, emulated["exchanges"][0]["rsp"]);
    ASSERT_EQ(3u, script.rows.size());
    Insert();
    std::vector<int> results;
    for (int i = 0; i < 3; i++)
        results.push_back(PBOC_SelectPSE(&device, 0, kPse, 14, area, &length));
    std::sort(results.begin(), results.end());
    EXPECT_EQ((std::vector<int>{-99, 0, 100}), results);
    EXPECT_EQ("01", Given());
}
