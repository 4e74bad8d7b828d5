// The PBOC card on the T=1 line or the air: every command it knows, and every refusal.
#include "cards_support.h"

using cards_test::CardOf;
using cards_test::Send;

namespace
{

const char kPse[] = "00A404000E315041592E5359532E4444463031";

// One application with a PDOL of nine bytes, two files and a balance.
const char kOneApplication[] = R"({"kind": "pboc", "applications": [{
    "aid": "A000000333010101", "label": "PBOC DEBIT", "priority": 1,
    "fci": {"9F38": "dol:9F7A 1, 9F02 6, 5F2A 2"},
    "gpo": {"format": 1, "aip": "7C00"},
    "records": {"1": {"1": {"5A": "6200000000000005"}, "2": "7003 5F3401"},
                "2": {"1": {"5F20": "text:ZHANG SAN"}}},
    "getData": {"9F79": "000000003780", "5A": "62"}}]})";

std::shared_ptr<vreader::Card> SelectedCard(const std::string &description)
{
    const auto card = CardOf(description);
    EXPECT_EQ(Send(card, "00A4040008A000000333010101").substr(0, 2), "6F");
    return card;
}

// The application of a card whose GET PROCESSING OPTIONS is described by `gpo`.
std::string OptionsOf(const std::string &gpo)
{
    const auto card =
        SelectedCard(R"({"kind": "pboc", "applications": [{"aid": "A000000333010101", "gpo": )" +
                     gpo + R"(, "records": {"1": {"1": {"5A": "62"}}}}]})");
    return Send(card, "80A80000028300");
}

} // namespace

TEST(PbocCard, DirectoryNamesItsFileInTag88)
{
    const auto card = CardOf(kOneApplication);
    EXPECT_EQ(card->kind, "pboc");
    EXPECT_EQ(Send(card, kPse), "6F15840E315041592E5359532E4444463031A5038801019000");
    EXPECT_EQ(Send(card, std::string(kPse) + "00"),
              "6F15840E315041592E5359532E4444463031A5038801019000");
}

TEST(PbocCard, DirectoryHasOneRecordAnApplicationByDefault)
{
    const auto card = CardOf(kOneApplication);
    Send(card, kPse);
    EXPECT_EQ(Send(card, "00B2010C00"),
              "701B61194F08A000000333010101500A50424F432044454249548701019000");
    EXPECT_EQ(Send(card, "00B2020C00"), "6A83");
    EXPECT_EQ(Send(card, "00B2011400"), "6A82");
}

TEST(PbocCard, DirectoryMayHaveSeveralFilesNamedInOneValue)
{
    const auto card = CardOf(R"({"kind": "pboc",
        "pse": {"files": [
            {"sfi": 1, "records": [["A000000333010101", "A000000333010102"]]},
            {"sfi": 2, "records": {"3": [{"4F": "A000000333010103", "9F12": "text:THIRD"}],
                                   "4": "7000"}}],
            "fci": {"5F2D": "text:zh"}},
        "applications": [{"aid": "A000000333010101", "label": "ONE"},
                         {"aid": "A000000333010102", "priority": 2}]})");
    EXPECT_EQ(Send(card, kPse), "6F1B840E315041592E5359532E4444463031A509880201025F2D027A689000");
    EXPECT_EQ(Send(card, "00B2010C00"), "7020"
                                        "610F4F08A00000033301010150034F4E45"
                                        "610D4F08A000000333010102870102"
                                        "9000");
    EXPECT_EQ(Send(card, "00B2020C00"), "6A83");
    EXPECT_EQ(Send(card, "00B2011400"), "6A83");
    EXPECT_EQ(Send(card, "00B2031400"), "701461124F08A0000003330101039F12055448495244"
                                        "9000");
}

TEST(PbocCard, DirectoryMayNameOtherFilesThanItHas)
{
    const auto card = CardOf(R"({"kind": "pboc", "pse": {"sfis": "0102FF"}, "applications": []})");
    EXPECT_EQ(Send(card, kPse), "6F17840E315041592E5359532E4444463031A50588030102FF9000");
}

TEST(PbocCard, CardMayHaveNoDirectory)
{
    const auto card =
        CardOf(R"({"kind": "pboc", "pse": false, "applications": [{"aid": "A000000333010101"}]})");
    EXPECT_EQ(Send(card, kPse), "6A82");
    EXPECT_EQ(Send(card, "00A4040008A000000333010101"), "6F0C8408A000000333010101A5009000");
}

TEST(PbocCard, DirectoryMayAnswerAStatusWordInsteadOfItsData)
{
    const auto card = CardOf(R"({"kind": "pboc", "pse": {"status": "9303"},
                                 "applications": [{"aid": "A000000333010101"}]})");
    EXPECT_EQ(Send(card, kPse), "9303");
    EXPECT_EQ(Send(card, "00B2010C00"), "6985");
}

TEST(PbocCard, ProximityDirectoryListsApplicationsInItsFci)
{
    const auto card = CardOf(R"({"kind": "pboc", "ppse": true, "applications": [
        {"aid": "A000000333010101", "label": "PBOC DEBIT", "priority": 1}]})");
    EXPECT_EQ(Send(card, "00A404000E325041592E5359532E444446303100"),
              "6F30840E325041592E5359532E4444463031A51EBF0C1B61194F08A000000333010101500A50424F"
              "432044454249548701019000");
    EXPECT_EQ(Send(CardOf(kOneApplication), "00A404000E325041592E5359532E444446303100"), "6A82");
}

TEST(PbocCard, FciHoldsNameLabelPriorityFurtherObjectsAndLogEntries)
{
    const auto card = CardOf(R"({"kind": "pboc", "applications": [{
        "aid": "A000000333010101", "label": "PBOC DEBIT", "priority": 1,
        "fci": [{"9F38": "dol:9F7A 1, 9F02 6, 5F2A 2"}, {"5F2D": "text:zh"}, {"9F11": "01"},
                {"9F12": "text:PBOC DEBIT"}],
        "log": {}, "loadLog": {}}]})");
    EXPECT_EQ(Send(card, "00A4040008A000000333010101"),
              "6F4A8408A000000333010101A53E500A50424F432044454249548701019F38099F7A019F02065F2A025F"
              "2D027A689F1101019F120A50424F43204445424954BF0C0A9F4D020B0ADF4D020C0A9000");
}

TEST(PbocCard, FciMayBeGivenAsItStands)
{
    const auto card = CardOf(R"({"kind": "pboc", "applications": [
        {"aid": "A000000333010101", "rawFci": "6F10 9F3803 9F3704"}]})");
    EXPECT_EQ(Send(card, "00A4040008A000000333010101"), "6F109F38039F37049000");
}

TEST(PbocCard, SelectFindsAnApplicationByTheBeginningOfItsName)
{
    const auto card = CardOf(R"({"kind": "pboc", "applications": [
        {"aid": "A000000333010101"}, {"aid": "A000000333010102"}, {"aid": "A000000004"}]})");
    EXPECT_EQ(Send(card, "00A4040005A000000333"), "6F0C8408A000000333010101A5009000");
    EXPECT_EQ(Send(card, "00A4040007A0000003330101"), "6F0C8408A000000333010101A5009000");
    EXPECT_EQ(Send(card, "00A4040008A000000333010102"), "6F0C8408A000000333010102A5009000");
    EXPECT_EQ(Send(card, "00A4040009A00000033301010200"), "6A82");
    EXPECT_EQ(Send(card, "00A4040004A0000003"), "6A82");
    EXPECT_EQ(Send(card, "00A4040000"), "6A82");
}

TEST(PbocCard, SelectNextGoesOnBehindTheSelectedApplication)
{
    const auto card = CardOf(R"({"kind": "pboc", "applications": [
        {"aid": "A000000333010101"}, {"aid": "A000000004"}, {"aid": "A000000333010102"}]})");
    EXPECT_EQ(Send(card, "00A4040205A000000333"), "6F0C8408A000000333010101A5009000");
    EXPECT_EQ(Send(card, "00A4040205A000000333"), "6F0C8408A000000333010102A5009000");
    EXPECT_EQ(Send(card, "00A4040205A000000333"), "6A82");
    EXPECT_EQ(Send(card, "00A4040005A000000333"), "6F0C8408A000000333010101A5009000");
}

TEST(PbocCard, SelectWithOtherParametersIsRefused)
{
    const auto card = CardOf(kOneApplication);
    EXPECT_EQ(Send(card, "00A4000002EF05"), "6A86");
    EXPECT_EQ(Send(card, "00A4040108A000000333010101"), "6A86");
    EXPECT_EQ(Send(card, "00A4040C08A000000333010101"), "6A86");
}

TEST(PbocCard, FailedSelectKeepsTheSelection)
{
    const auto card = SelectedCard(kOneApplication);
    EXPECT_EQ(Send(card, "00A4040005A000000004"), "6A82");
    EXPECT_EQ(Send(card, "00B2010C00"), "700A5A0862000000000000059000");
}

TEST(PbocCard, RecordsAreWrittenFromDataObjectsOrAsTheyStand)
{
    const auto card = SelectedCard(kOneApplication);
    EXPECT_EQ(Send(card, "00B2010C00"), "700A5A0862000000000000059000");
    EXPECT_EQ(Send(card, "00B2020C00"), "70035F34019000");
    EXPECT_EQ(Send(card, "00B2011400"), "700C5F20095A48414E472053414E9000");
    EXPECT_EQ(Send(card, "00B2010C"), "700A5A0862000000000000059000");
}

TEST(PbocCard, LongRecordsTakeTheLengthForms81And82)
{
    const std::string of127(248, '0'); // 124 bytes and their tag and length: 127
    const std::string of300(600, '1');
    const auto card = SelectedCard(R"({"kind": "pboc", "applications": [{
        "aid": "A000000333010101", "records": {"1": [
            {"9F46": ")" + of127 + R"("}, {"9F46": ")" +
                                   of127 + R"(00"}, {"93": ")" + of300 + R"("}]}}]})");
    EXPECT_EQ(Send(card, "00B2010C00"), "707F9F467C" + of127 + "9000");
    EXPECT_EQ(Send(card, "00B2020C00"), "7081809F467D" + of127 + "009000");
    EXPECT_EQ(Send(card, "00B2030C00"), "7082013093"
                                        "82012C" +
                                            of300 + "9000");
}

TEST(PbocCard, ReadRecordRefusesWhatIsNotThere)
{
    const auto card = SelectedCard(kOneApplication);
    EXPECT_EQ(Send(card, "00B2030C00"), "6A83"); // no such record
    EXPECT_EQ(Send(card, "00B2FF0C00"), "6A83");
    EXPECT_EQ(Send(card, "00B2012400"), "6A82"); // no such file
    EXPECT_EQ(Send(card, "00B2010400"), "6986"); // no current file
    EXPECT_EQ(Send(card, "00B2000C00"), "6A86"); // record 0
    EXPECT_EQ(Send(card, "00B2010D00"), "6A86"); // "all records from"
    EXPECT_EQ(Send(card, "00B2010800"), "6A86"); // "the record with this identifier"
}

TEST(PbocCard, ReadRecordBeforeSelectIsRefused)
{
    const auto card = CardOf(kOneApplication);
    EXPECT_EQ(Send(card, "00B2010C00"), "6985");
    EXPECT_EQ(card->remark(), "nothing is selected");
}

TEST(PbocCard, DirectoryAndApplicationHaveFilesOfTheirOwn)
{
    const auto card = SelectedCard(kOneApplication);
    Send(card, kPse);
    EXPECT_EQ(Send(card, "00B2010C00").substr(0, 8), "701B6119");
    EXPECT_EQ(Send(card, "00B2020C00"), "6A83");
}

TEST(PbocCard, PowerOnForgetsTheSelection)
{
    const auto card = SelectedCard(kOneApplication);
    card->powerOn();
    EXPECT_EQ(Send(card, "00B2010C00"), "6985");
    EXPECT_EQ(card->remark(), "nothing is selected");
    Send(card, "00A4040008A000000333010101");
    card->powerOff();
    EXPECT_EQ(card->remark(), "");
    EXPECT_EQ(Send(card, "80A800000B8309000000000000000000 00"), "6985");
}

TEST(PbocCard, ProcessingOptionsInFormat1)
{
    EXPECT_EQ(OptionsOf(R"({"format": 1})"), "80067C00080101009000");
    EXPECT_EQ(OptionsOf(R"({"format": 1, "aip": "5800", "afl": "08010300 10010501"})"),
              "800A580008010300100105019000");
    EXPECT_EQ(OptionsOf(R"({})"), "80067C00080101009000");
}

TEST(PbocCard, ProcessingOptionsInFormat2)
{
    EXPECT_EQ(OptionsOf(R"({"format": 2})"), "770A82027C009404080101009000");
    EXPECT_EQ(OptionsOf(R"({"format": 2, "afl": "", "data": {"9F36": "0001"}})"),
              "770B82027C0094009F360200019000");
}

TEST(PbocCard, ContactlessProcessingOptionsBringTheDataAndNoLocator)
{
    EXPECT_EQ(OptionsOf(R"({"format": "contactless", "aip": "7C00", "data": [
                  {"9F36": "020A"}, {"57": "6299999999999999D201120101234567899F"},
                  {"9F10": "07010103A00000010A010000038787868FD1FC"},
                  {"9F26": "AD03EE811AFAD484"}, {"5F34": "01"}, {"9F6C": "0000"},
                  {"9F5D": "000000038787"}]})"),
              "7750"
              "82027C00"
              "9F3602020A"
              "57126299999999999999D201120101234567899F"
              "9F101307010103A00000010A010000038787868FD1FC"
              "9F2608AD03EE811AFAD484"
              "5F340101"
              "9F6C020000"
              "9F5D06000000038787"
              "9000");
}

TEST(PbocCard, ProcessingOptionsMayBeGivenAsTheyStand)
{
    EXPECT_EQ(OptionsOf(R"({"raw": "7700"})"), "77009000");
    EXPECT_EQ(OptionsOf(R"({"raw": ""})"), "9000");
}

TEST(PbocCard, LocatorIsMadeFromTheRecordsUnlessItIsGiven)
{
    const auto card = SelectedCard(R"({"kind": "pboc", "applications": [{
        "aid": "A000000333010101", "log": {"sfi": 11, "records": []},
        "records": {"1": ["7000", "7000"], "3": {"1": "7000", "2": "7000", "5": "7000"},
                    "10": {"7": "7000"}, "12": ["7000"]}}]})");
    EXPECT_EQ(Send(card, "80A80000028300"), "80127C00"
                                            "08010200"
                                            "18010200"
                                            "18050500"
                                            "50070700"
                                            "9000");
    EXPECT_EQ(OptionsOf(R"({"afl": [{"sfi": 1, "first": 1, "last": 3, "offline": 1},
                                    {"sfi": 30, "first": 255, "last": 0}, {"sfi": 2}]})"),
              "800E7C00"
              "08010301"
              "F0FF0000"
              "10010100"
              "9000");
}

TEST(PbocCard, ProcessingOptionsNeedASelectedApplication)
{
    const auto card = CardOf(kOneApplication);
    EXPECT_EQ(Send(card, "80A800000B8309000000000000000000"), "6985");
    EXPECT_EQ(card->remark(), "no application is selected");
    Send(card, kPse);
    EXPECT_EQ(Send(card, "80A800000B8309000000000000000000"), "6985");
    Send(card, "00A4040008A000000333010101");
    EXPECT_EQ(Send(card, "80A800000B8309000000000000000000"), "800A7C0008010200100101009000");
    EXPECT_EQ(card->remark(), "");
    EXPECT_EQ(Send(card, "80A801000B8309000000000000000000"), "6A86");
}

TEST(PbocCard, ProcessingOptionsNeedAsManyBytesAsThePdolAsks)
{
    const auto card = SelectedCard(kOneApplication);
    EXPECT_EQ(Send(card, "80A800000A83080000000000000000"), "6985");
    EXPECT_EQ(card->remark(), "the PDOL asks for 9 bytes, the command has 8");
    EXPECT_EQ(Send(card, "80A80000028300"), "6985");
    EXPECT_EQ(Send(card, "80A800000C830A00000000000000000000"), "6985");
    EXPECT_EQ(Send(card, "80A800000C8381090000000000000000 00"), "800A7C0008010200100101009000");
}

TEST(PbocCard, ProcessingOptionsNeedATemplate83)
{
    const auto card = SelectedCard(kOneApplication);
    for (const char *command :
         {"80A80000", "80A8000000", "80A800000183", "80A800000B8509000000000000000000",
          "80A800000B8308000000000000000000", "80A800000B830A000000000000000000",
          "80A800000383810100", "80A80000028381"})
    {
        EXPECT_EQ(Send(card, command), std::string("6A80")) << command;
        EXPECT_EQ(card->remark(), "the command data is no template 83") << command;
    }
}

TEST(PbocCard, PdolCheckCanBeSwitchedOff)
{
    const auto card = SelectedCard(R"({"kind": "pboc", "applications": [{
        "aid": "A000000333010101", "fci": {"9F38": "dol:9F37 4"},
        "gpo": {"checkPdolLength": false}}]})");
    EXPECT_EQ(Send(card, "80A80000028300"), "80027C009000");
    EXPECT_EQ(Send(card, "80A8000001FF"), "80027C009000");
}

TEST(PbocCard, GetDataAnswersTheObject)
{
    const auto card = SelectedCard(kOneApplication);
    EXPECT_EQ(Send(card, "80CA9F79"), "9F79060000000037809000");
    EXPECT_EQ(Send(card, "80CA9F7900"), "9F79060000000037809000");
    EXPECT_EQ(Send(card, "80CA005A"), "5A01629000");
    EXPECT_EQ(Send(card, "80CA9F77"), "6A88");
}

TEST(PbocCard, GetDataKnowsTheCardsOwnObjectsInEveryApplication)
{
    const auto card = CardOf(R"({"kind": "pboc", "getData": {"9F7F": "01", "9F79": "02"},
        "applications": [{"aid": "A000000333010101", "getData": {"9F79": "03"}}]})");
    EXPECT_EQ(Send(card, "80CA9F7F"), "9F7F01019000");
    EXPECT_EQ(Send(card, "80CA9F79"), "9F7901029000");
    Send(card, "00A4040008A000000333010101");
    EXPECT_EQ(Send(card, "80CA9F7F"), "9F7F01019000");
    EXPECT_EQ(Send(card, "80CA9F79"), "9F7901039000");
}

TEST(PbocCard, UnknownInstructionsAndClassesAreRefused)
{
    const auto card = SelectedCard(kOneApplication);
    EXPECT_EQ(Send(card, "00FF0000"), "6D00");
    EXPECT_EQ(Send(card, "80FE000000"), "6D00");
    EXPECT_EQ(Send(card, "00C0000010"), "6D00"); // GET RESPONSE belongs to T=0
    EXPECT_EQ(Send(card, "B0A4040008A000000333010101"), "6E00");
    EXPECT_EQ(Send(card, "FFCA000000"), "6E00");
    EXPECT_EQ(Send(card, "80A4040008A000000333010101"), "6E00"); // known in another class
    EXPECT_EQ(Send(card, "00A80000028300"), "6E00");
    EXPECT_EQ(Send(card, "00CA9F79"), "6E00");
}

TEST(PbocCard, ContradictingLengthsAreRefused)
{
    const auto card = SelectedCard(kOneApplication);
    for (const char *command : {"", "00", "00A404", "00A4040008A0", "00A4040002A0000000000000",
                                "00A404000008A000000333010101"})
        EXPECT_EQ(Send(card, command), "6700") << command;
    EXPECT_EQ(Send(card, "00B2010C00"), "700A5A0862000000000000059000");
}

TEST(PbocCard, BlockedCardRefusesEverySelect)
{
    const auto card = CardOf(R"({"kind": "pboc", "blocked": true,
                                 "applications": [{"aid": "A000000333010101"}]})");
    EXPECT_EQ(Send(card, kPse), "6A81");
    EXPECT_EQ(card->remark(), "the card is blocked");
    EXPECT_EQ(Send(card, "00A4040008A000000333010101"), "6A81");
}

TEST(PbocCard, BlockedApplicationAnswersItsFciWith6283)
{
    const auto card = CardOf(R"({"kind": "pboc", "applications": [
        {"aid": "A000000333010101", "blocked": true}]})");
    EXPECT_EQ(Send(card, "00A4040008A000000333010101"), "6F0C8408A000000333010101A5006283");
    EXPECT_EQ(Send(card, "80A80000028300"), "6985");
    EXPECT_EQ(card->remark(), "the application is blocked");
}

TEST(PbocCard, TransactionLogIsWrittenFromReadableFields)
{
    const auto card = SelectedCard(R"({"kind": "pboc", "applications": [{
        "aid": "A000000333010101", "log": {"sfi": 11, "size": 10, "records": [
            {"date": "2025-01-31", "time": "23:59:59", "amount": "123.45", "other": "1.00",
             "merchant": "TEST MERCHNT", "type": "00", "atc": 255},
            {"date": "250131", "time": "000000", "amount": "000000000001", "country": "0344",
             "currency": "0840", "type": "21", "merchant": "hex:B2E2CAD4C9CCBBA7C3FB B3C6D2BBB6FEC8FDCBC4",
             "atc": 1},
            "16052419122200000000000000000000000001560156000000000000000000000000000000000000000001003F"]}}]})");
    EXPECT_EQ(Send(card, "00B2015C00"), "250131"
                                        "235959"
                                        "000000012345"
                                        "000000000100"
                                        "0156"
                                        "0156"
                                        "54455354204D455243484E540000000000000000"
                                        "00"
                                        "00FF"
                                        "9000");
    EXPECT_EQ(Send(card, "00B2025C00"), "250131"
                                        "000000"
                                        "000000000001"
                                        "000000000000"
                                        "0344"
                                        "0840"
                                        "B2E2CAD4C9CCBBA7C3FBB3C6D2BBB6FEC8FDCBC4"
                                        "21"
                                        "0001"
                                        "9000");
    EXPECT_EQ(Send(card, "00B2035C00"),
              "160524191222000000000000000000000000015601560000000000000000000000000000000000000000"
              "01003F9000");
    EXPECT_EQ(Send(card, "00B2045C00"), "6A83");
    EXPECT_EQ(Send(card, "80CA9F4F"),
              "9F4F199A039F21039F02069F03069F1A025F2A029F4E149C019F36029000");
}

TEST(PbocCard, LoadLogIsWrittenFromReadableFields)
{
    const auto card = SelectedCard(R"({"kind": "pboc", "applications": [{
        "aid": "A000000333010101", "loadLog": {"sfi": 12, "records": [
            {"tag": "9F79", "before": "5.30", "after": "9999999999.99", "date": "2025-02-20",
             "time": "12:00:01", "merchant": "BANK COUNTER 3", "atc": 65535}]}}]})");
    EXPECT_EQ(Send(card, "00B2016400"), "9F79"
                                        "000000000530"
                                        "999999999999"
                                        "250220"
                                        "120001"
                                        "0156"
                                        "42414E4B20434F554E5445522033000000000000"
                                        "FFFF"
                                        "9000");
    EXPECT_EQ(Send(card, "00B2026400"), "6A83");
}

TEST(PbocCard, LogEntryMayDisagreeWithTheLog)
{
    const auto card = CardOf(R"({"kind": "pboc", "applications": [{"aid": "A000000333010101",
        "log": {"sfi": 15, "entry": "0BFF", "records": ["00"]},
        "loadLog": {"entry": ""}, "discretionary": {"9F0A": "01"}}]})");
    EXPECT_EQ(Send(card, "00A4040008A000000333010101"),
              "6F188408A000000333010101A50CBF0C099F4D020BFF9F0A01019000");
    EXPECT_EQ(Send(card, "00B2017C00"), "009000");
    EXPECT_EQ(Send(card, "00B2015C00"), "6A82");
}

TEST(PbocCard, DescriptionWithoutApplicationsIsACardWithoutApplications)
{
    const auto card = CardOf(R"({"kind": "pboc"})");
    EXPECT_EQ(Send(card, kPse), "6F15840E315041592E5359532E4444463031A5038801019000");
    EXPECT_EQ(Send(card, "00B2010C00"), "6A82");
    EXPECT_EQ(Send(card, "00A4040005A000000333"), "6A82");
}
