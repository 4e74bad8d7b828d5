// Cards with keys. Every cryptogram, ARPC and MAC here was computed outside this project, step by
// step with `openssl enc -des-ede -nopad`, from the methods that pboc_cryptography.h writes down.
#include "cards_support.h"

#include "vreader/bench.h"
#include "vreader/cards/pboc_cryptography.h"
#include "vreader/profile.h"
#include "vreader/running_reader.h"

#include <fstream>

using cards_test::CardOf;
using cards_test::ErrorOf;
using cards_test::Hex;
using cards_test::Send;
using cards_test::Unhex;

namespace
{

const char kSelect[] = "00A4040008A000000333010101";
const char kPse[] = "00A404000E315041592E5359532E4444463031";
// 9F7A 00, 9F02 12.34, 5F2A 0156.
const char kOptions[] = "80A800000B8309000000000012340156";
// 9F02 12.34, 9F03, 9F1A 0156, 95, 5F2A 0156, 9A 250302, 9C 00, 9F37 11223344, 9F21, 9F4E.
const std::string kList = "000000001234000000000000015600000008000156250302001122334409153054454120"
                          "484F5553450000000000000000000000";
const std::string kFirst = "80AE800034" + kList;
const std::string kSecond = "80AE4000363030" + kList;
const char kAuthenticate[] = "008200000A1ED417997F96C6C63030";
const char kPutBalance[] = "04DA9F790A000000020000428332A0";
// The record that this transaction leaves in the log.
const char kLogRecord[] = "25030209153000000000123400000000000001560156"
                          "54454120484F5553450000000000000000000000"
                          "00002B9000";

vreader::TripleDesKey KeyOf(const std::string &hex)
{
    vreader::TripleDesKey key{};
    const vreader::Bytes bytes = Unhex(hex);
    std::copy(bytes.begin(), bytes.end(), key.begin());
    return key;
}

vreader::Block BlockOf(const std::string &hex)
{
    vreader::Block block{};
    const vreader::Bytes bytes = Unhex(hex);
    std::copy(bytes.begin(), bytes.end(), block.begin());
    return block;
}

template <typename Array>
std::string HexOf(const Array &array)
{
    return Hex(vreader::Bytes(array.begin(), array.end()));
}

nlohmann::json OnlineProfile()
{
    std::ifstream file(std::string(cards_test::kProfiles) + "/online.json");
    return nlohmann::json::parse(file);
}

nlohmann::json DescriptionOf(const char *name)
{
    return OnlineProfile().at("cards").at(name);
}

std::shared_ptr<vreader::Card> OnlineCard(const char *name)
{
    return CardOf(DescriptionOf(name).dump());
}

// The card online-1 with other rules.
std::shared_ptr<vreader::Card> CardWith(const char *key, const nlohmann::json &value)
{
    nlohmann::json description = DescriptionOf("online-1");
    description["applications"][0]["online"][key] = value;
    return CardOf(description.dump());
}

// A card of which GET PROCESSING OPTIONS has been asked.
std::shared_ptr<vreader::Card> Started(std::shared_ptr<vreader::Card> card)
{
    Send(card, kSelect);
    EXPECT_EQ(Send(card, kOptions).substr(0, 2), "80");
    return card;
}

// A card that has given its ARQC.
std::shared_ptr<vreader::Card> Asked(const std::shared_ptr<vreader::Card> &card)
{
    Started(card);
    EXPECT_EQ(Send(card, kFirst).substr(0, 26), "801380002B0B6C7FA84AB4F4D1");
    return card;
}

// The four bytes of the card verification results in an answer of format 1.
std::string ResultsIn(const std::string &answer)
{
    return answer.size() == 46 ? answer.substr(32, 8) : answer;
}

std::string NextResults(const std::shared_ptr<vreader::Card> &card)
{
    Started(card);
    return ResultsIn(Send(card, kFirst));
}

} // namespace

// ISO/IEC 9797-1 annex B: algorithm 3, padding method 2, K 0123456789ABCDEF, K' FEDCBA9876543210.
TEST(PbocCryptography, RetailMacGivesThePublishedAnswers)
{
    const vreader::TripleDesKey key = KeyOf("0123456789ABCDEFFEDCBA9876543210");
    const std::string first = "Now is the time for all ";
    const std::string second = "Now is the time for it";
    EXPECT_EQ(HexOf(vreader::RetailMac(key, {first.begin(), first.end()})), "E9086230CA3BE796");
    EXPECT_EQ(HexOf(vreader::RetailMac(key, {second.begin(), second.end()})), "5A692CE64F404145");
}

// ISO/IEC 9797-1 annex B: algorithm 1, padding method 2.
TEST(PbocCryptography, SingleDesMacGivesThePublishedAnswer)
{
    const std::string text = "Now is the time for all ";
    EXPECT_EQ(HexOf(vreader::DesMac(BlockOf("0123456789ABCDEF"), {text.begin(), text.end()})),
              "10E1F0F108341B6D");
}

TEST(PbocCryptography, CardKeyComesFromTheLastSixteenDigitsOfPanAndSequenceNumber)
{
    const vreader::KeySet keys =
        vreader::DeriveCardKeys(vreader::ProfileMasterKeys(), "6200001234567890128", "01");
    EXPECT_EQ(HexOf(keys.cryptogram), "03770EA272EA841D7E027B3BF087A945");
    EXPECT_EQ(HexOf(keys.mac), "BEBCF40657FF30ABF8CE602F8DCB7291");
    EXPECT_EQ(HexOf(keys.encipherment), "264E166A19736AC8DDABDCFC80E03FE2");
    const vreader::TripleDesKey master = KeyOf("0123456789ABCDEFFEDCBA9876543210");
    EXPECT_EQ(vreader::DeriveCardKey(master, "12345", "67"),
              vreader::DeriveCardKey(master, "0000000000012345", "67"));
}

TEST(PbocCryptography, SessionKeyComesFromTheCounter)
{
    EXPECT_EQ(HexOf(vreader::DeriveSessionKey(KeyOf("03770EA272EA841D7E027B3BF087A945"), 0x002B)),
              "6589815E478FAD694616571540D504D2");
}

TEST(PbocCryptography, ArpcIsOverArqcAndResponseCode)
{
    const vreader::TripleDesKey key = KeyOf("6589815E478FAD694616571540D504D2");
    const vreader::Block arqc = BlockOf("0B6C7FA84AB4F4D1");
    EXPECT_EQ(HexOf(vreader::MakeArpc(key, arqc, {'0', '0'})), "1ED417997F96C6C6");
    EXPECT_EQ(HexOf(vreader::MakeArpc(key, arqc, {'0', '5'})), "85B65CC64086E2BF");
}

TEST(PbocCryptography, ScriptMacIsOverHeaderCounterArqcAndData)
{
    const auto mac = vreader::ScriptMac(KeyOf("53D8807626360FDB2FF69C873F60D4AA"),
                                        {0x04, 0xDA, 0x9F, 0x79, 0x0A}, 0x002B,
                                        BlockOf("0B6C7FA84AB4F4D1"), Unhex("000000020000"));
    EXPECT_EQ(HexOf(mac), "428332A0");
}

TEST(PbocCryptography, PinBlockHidesThePinBehindTheCardKey)
{
    const vreader::TripleDesKey key = KeyOf("03770EA272EA841D7E027B3BF087A945");
    const vreader::Block block = vreader::MakePinBlock(key, "654321", "");
    EXPECT_EQ(HexOf(block), "066543218D157BE2");
    EXPECT_EQ(vreader::PinInBlock(key, block, ""), "654321");
    EXPECT_EQ(vreader::PinInBlock(key, block, "123456"), std::nullopt);
    EXPECT_EQ(vreader::PinInBlock(key, BlockOf("0000000000000000"), ""), std::nullopt);
    EXPECT_EQ(vreader::PinInBlock(key, BlockOf("FFFFFFFFFFFFFFFF"), ""), std::nullopt);
}

TEST(PbocCryptography, EncipheredDataHaveALengthInFront)
{
    const vreader::TripleDesKey key = KeyOf("FF4CEDD310869997B7AF2C5E3A214440");
    const vreader::Bytes blocks = vreader::EncipherScriptData(key, Unhex("066543218D157BE2"));
    EXPECT_EQ(Hex(blocks), "8DC179EE494D6C34387F06B5EEE20D10");
    EXPECT_EQ(vreader::DecipherScriptData(key, blocks), Unhex("066543218D157BE2"));
    // Seven bytes and their length fill the block: nothing is added.
    EXPECT_EQ(vreader::EncipherScriptData(key, Unhex("01020304050607")).size(), 8u);
    EXPECT_EQ(vreader::DecipherScriptData(key, {}), std::nullopt);
    EXPECT_EQ(vreader::DecipherScriptData(key, Unhex("00112233")), std::nullopt);
    // Enciphered 08 and seven bytes: the length goes beyond the block.
    vreader::Block lie = vreader::EncryptTripleDes(key, BlockOf("0801020304050607"));
    EXPECT_EQ(vreader::DecipherScriptData(key, {lie.begin(), lie.end()}), std::nullopt);
}

TEST(OnlineCard, ApprovedTransactionInFormat1)
{
    const auto card = OnlineCard("online-1");
    Send(card, kSelect);
    EXPECT_EQ(Send(card, kOptions), "800A7C0008010200100103009000");
    EXPECT_EQ(Send(card, kFirst), "801380002B0B6C7FA84AB4F4D107010103A00000019000");
    EXPECT_EQ(Send(card, kAuthenticate), "9000");
    EXPECT_EQ(Send(card, kSecond), "801340002BFC6146BED334CAC807010103600000019000");
    EXPECT_EQ(Send(card, kSecond), "6985");
    EXPECT_EQ(card->remark(), "the transaction is finished");
}

TEST(OnlineCard, ApprovedTransactionInFormat2)
{
    const auto card = OnlineCard("online-2");
    Send(card, kSelect);
    EXPECT_EQ(Send(card, kOptions), "770E82027C00940808010200100103009000");
    EXPECT_EQ(Send(card, kFirst),
              "771F9F2701809F3602002B9F26085FC7B4E4FA37E0A69F100807010103A00000019000");
    EXPECT_EQ(Send(card, "008200000A5861FB6ED85EBB783030"), "9000");
    EXPECT_EQ(Send(card, kSecond),
              "771F9F2701409F3602002B9F2608EDAE84D92454FAA59F100807010103600000019000");
}

TEST(OnlineCard, ContactlessCardWithLocatorIsAskedForItsCryptogram)
{
    const auto card = OnlineCard("online-contactless");
    Send(card, kSelect);
    EXPECT_EQ(Send(card, "80A800003A8338F4000000" + kList), "770E82027C00940808010200100103009000");
    EXPECT_EQ(Send(card, kFirst),
              "771F9F2701809F3602002B9F26084C4C005F1827D1129F100807010103A00000019000");
}

TEST(OnlineCard, OneStepCardAnswersProcessingOptionsWithItsCryptogram)
{
    const auto card = OnlineCard("online-one-step");
    Send(card, kSelect);
    EXPECT_EQ(Send(card, "80A800003A8338F4000000" + kList),
              "776482027C009F3602002B9F2701809F26084C4C005F1827D1129F100807010103A0000001"
              "57136200005555000011112D33122200000000000F"
              "5A0A6200005555000011112F5F20054C492053495F24033312315F3401019F6C0200009F5D0600000001"
              "05309000");
    EXPECT_EQ(Send(card, "008200000A44FA8C95169B8A8B3030"), "9000");
    // No CDOL2: the second cryptogram is asked for without data, over those of the PDOL.
    EXPECT_EQ(Send(card, "80AE400000"), "801340002B75A55ED51A0E825A07010103600000019000");
    EXPECT_EQ(Send(card, "00B2015C00"), kLogRecord);
    EXPECT_EQ(Send(card, "04DA9F790A000000020000944B0F4F"), "9000");
}

TEST(OnlineCard, CryptogramMayBeOverAllDataOfTheList)
{
    const auto card = OnlineCard("signs-all");
    Started(card);
    EXPECT_EQ(Send(card, kFirst), "801380002BF9BC8A2CF8FCF61C07010103A00000019000");
    EXPECT_EQ(Send(card, "008200000AB12CFB99CA89B06D3030"), "9000");
    EXPECT_EQ(Send(card, kSecond), "801340002BAE85866E0B026D5607010103600000019000");
}

TEST(OnlineCard, EveryProcessingOptionsCountsTheTransaction)
{
    const auto card = OnlineCard("online-1");
    Send(card, kSelect);
    EXPECT_EQ(Send(card, "80CA9F36"), "9F3602002A9000");
    Send(card, kOptions);
    EXPECT_EQ(Send(card, "80CA9F36"), "9F3602002B9000");
    Send(card, kOptions);
    EXPECT_EQ(Send(card, kFirst), "801380002CC6F7D735CDCBD8A207010103A00000019000");
    EXPECT_EQ(Send(card, "80A800000A83080000000000123401"), "6985") << "PDOL data too short";
    EXPECT_EQ(Send(card, "80CA9F36"), "9F3602002C9000") << "a refused command counts nothing";
}

TEST(OnlineCard, CounterEndsAtFfff)
{
    const auto card = CardWith("atc", 65534);
    Started(card);
    EXPECT_EQ(Send(card, "80CA9F36"), "9F3602FFFF9000");
    EXPECT_EQ(Send(card, kOptions), "6985");
}

TEST(OnlineCard, ApprovalEntersTheTransactionLogAndTheLastOnlineCounter)
{
    const auto card = Asked(OnlineCard("online-1"));
    EXPECT_EQ(Send(card, "80CA9F13"), "9F130200289000");
    Send(card, kAuthenticate);
    Send(card, kSecond);
    EXPECT_EQ(Send(card, "80CA9F13"), "9F1302002B9000");
    EXPECT_EQ(Send(card, "00B2015C00"), kLogRecord);
    EXPECT_EQ(Send(card, "00B2025C00"), "25030118400500000002680000000000000001560156"
                                        "54454120484F5553450000000000000000000000"
                                        "00002A9000");
    EXPECT_EQ(Send(card, "00B2035C00"), "6A83");
}

TEST(OnlineCard, LogKeepsAsManyRecordsAsItsEntrySays)
{
    nlohmann::json description = DescriptionOf("online-1");
    description["applications"][0]["log"]["size"] = 2;
    description["applications"][0]["online"]["needsIssuerAuthentication"] = false;
    const auto card = CardOf(description.dump());
    for (int i = 0; i < 3; ++i)
    {
        Started(card);
        Send(card, kFirst);
        EXPECT_EQ(Send(card, kSecond).substr(0, 6), "801340");
    }
    EXPECT_EQ(Send(card, "00B2015C00").substr(86), "002D9000");
    EXPECT_EQ(Send(card, "00B2025C00").substr(86), "002C9000");
    EXPECT_EQ(Send(card, "00B2035C00"), "6A83");
}

TEST(OnlineCard, DeclinesWhenAskedTo)
{
    const auto card = Started(OnlineCard("online-1"));
    EXPECT_EQ(Send(card, "80AE000034" + kList), "801300002B24387C2E736167E507010103800000019000");
    EXPECT_EQ(Send(card, kAuthenticate), "6985");
    EXPECT_EQ(Send(card, kSecond), "6985");
    EXPECT_EQ(Send(card, "00B2025C00"), "6A83") << "nothing enters the log";
}

TEST(OnlineCard, SecondCryptogramIsAnAacWhenAskedForOrReferred)
{
    for (const char *control : {"00", "C0"})
    {
        const auto card = Asked(OnlineCard("online-1"));
        EXPECT_EQ(Send(card, "008200000A85B65CC64086E2BF3035"), "9000");
        EXPECT_EQ(Send(card, std::string("80AE") + control + "00363035" + kList),
                  "801300002B7AD0B29334AF95BA07010103200000019000");
        EXPECT_EQ(Send(card, "00B2025C00"), "6A83");
    }
}

TEST(OnlineCard, ProfileMayDeclineTheFirstCryptogram)
{
    const auto card = Started(OnlineCard("declining"));
    EXPECT_EQ(Send(card, kFirst), "801300002B24387C2E736167E507010103800000019000");
    EXPECT_EQ(card->remark(), "this card declines");
}

TEST(OnlineCard, ProfileMayDeclineTheSecondCryptogram)
{
    const auto card = Asked(OnlineCard("declining-second"));
    EXPECT_EQ(Send(card, kAuthenticate), "9000");
    EXPECT_EQ(Send(card, kSecond), "801300002B7AD0B29334AF95BA07010103200000019000");
}

TEST(OnlineCard, ProfileMayDeclineAboveAnAmount)
{
    const auto low = Started(CardWith("declineAbove", "12.33"));
    EXPECT_EQ(Send(low, kFirst).substr(0, 6), "801300");
    const auto high = Started(CardWith("declineAbove", "12.34"));
    EXPECT_EQ(Send(high, kFirst).substr(0, 6), "801380");
}

TEST(OnlineCard, OfflineApprovalIsGivenUpToTheLimit)
{
    const auto card = Started(CardWith("offlineLimit", "12.34"));
    EXPECT_EQ(Send(card, "80AE400034" + kList), "801340002B368C4B6474B9D2EF07010103900000019000");
    EXPECT_EQ(Send(card, "00B2015C00"), kLogRecord);
    const auto below = Started(CardWith("offlineLimit", "12.33"));
    EXPECT_EQ(Send(below, "80AE400034" + kList), "801380002B0B6C7FA84AB4F4D107010103A00000019000");
}

TEST(OnlineCard, DataMustBeAsLongAsTheListAsks)
{
    const auto card = Started(OnlineCard("online-1"));
    EXPECT_EQ(Send(card, "80AE800033" + kList.substr(2)), "6700");
    EXPECT_EQ(card->remark(), "CDOL1 asks for 52 bytes, the command has 51");
    EXPECT_EQ(Send(card, "80AE800035" + kList + "00"), "6700");
    EXPECT_EQ(Send(card, "80AE800000"), "6700");
    EXPECT_EQ(Send(card, kFirst).substr(0, 6), "801380") << "the transaction goes on";
    EXPECT_EQ(Send(card, "80AE400034" + kList), "6700");
    EXPECT_EQ(card->remark(), "CDOL2 asks for 54 bytes, the command has 52");
}

TEST(OnlineCard, CommandsOutOfTurnAreRefused)
{
    const auto card = OnlineCard("online-1");
    EXPECT_EQ(Send(card, kFirst), "6985") << "nothing selected";
    Send(card, kPse);
    EXPECT_EQ(Send(card, kFirst), "6985") << "not in the directory";
    Send(card, kSelect);
    EXPECT_EQ(Send(card, kFirst), "6985") << "no processing options";
    EXPECT_EQ(Send(card, kAuthenticate), "6985");
    Send(card, kOptions);
    EXPECT_EQ(Send(card, kAuthenticate), "6985") << "no ARQC";
    EXPECT_EQ(Send(card, "80AEC00034" + kList), "6A86");
    EXPECT_EQ(Send(card, "80AE900034" + kList), "6A86");
    EXPECT_EQ(Send(card, "80AE800134" + kList), "6A86");
    Send(card, kFirst);
    EXPECT_EQ(Send(card, "80AE8000363030" + kList), "6985") << "a second ARQC";
    EXPECT_EQ(Send(card, "008200060A1ED417997F96C6C63030"), "6A86");
    EXPECT_EQ(Send(card, "00820000091ED417997F96C6C630"), "6700");
    EXPECT_EQ(Send(card, "00820000111ED417997F96C6C6303000000000000000"), "6700");
    EXPECT_EQ(Send(card, kAuthenticate), "9000") << "refusals used nothing up";
}

TEST(OnlineCard, PowerAndSelectionEndTheTransaction)
{
    const auto card = Asked(OnlineCard("online-1"));
    Send(card, kSelect);
    EXPECT_EQ(Send(card, kAuthenticate), "6985");
    Asked(OnlineCard("online-1"));
    Started(card);
    Send(card, kFirst);
    card->powerOff();
    card->powerOn();
    Send(card, kSelect);
    EXPECT_EQ(Send(card, kAuthenticate), "6985");
    EXPECT_EQ(Send(card, "80CA9F36"), "9F3602002C9000") << "what is counted stays";
}

TEST(OnlineCard, WrongArpcIsRefusedOnceAndDeclinesTheTransaction)
{
    const auto card = Asked(OnlineCard("online-1"));
    EXPECT_EQ(Send(card, "008200000A1ED417997F96C6C73030"), "6300");
    EXPECT_EQ(Send(card, kAuthenticate), "6985") << "once in a transaction";
    EXPECT_EQ(Send(card, kSecond), "801300002B68F5B834D57047B907010103280000019000");
    EXPECT_EQ(Send(card, "00B2025C00"), "6A83");
    Started(card);
    EXPECT_EQ(Send(card, kFirst), "801380002CF3D3015845FE2E0807010103A00800019000");
}

TEST(OnlineCard, RightArpcForAnotherResponseCodeIsRefused)
{
    const auto card = Asked(OnlineCard("online-1"));
    EXPECT_EQ(Send(card, "008200000A1ED417997F96C6C63035"), "6300");
}

TEST(OnlineCard, AuthenticationComesOnceInATransaction)
{
    const auto card = Asked(OnlineCard("online-1"));
    EXPECT_EQ(Send(card, kAuthenticate), "9000");
    EXPECT_EQ(Send(card, kAuthenticate), "6985");
    EXPECT_EQ(Send(card, kSecond).substr(0, 6), "801340");
}

TEST(OnlineCard, ApprovalNeedsTheResponseCodeThatTheIssuerSigned)
{
    const auto card = Asked(OnlineCard("online-1"));
    Send(card, kAuthenticate);
    EXPECT_EQ(Send(card, "80AE4000363035" + kList),
              "801300002B7AD0B29334AF95BA07010103200000019000");
    EXPECT_EQ(card->remark(), "8A is not the response code that the issuer signed: declined");
}

TEST(OnlineCard, ApprovalNeedsTheIssuerUnlessTheProfileSaysOtherwise)
{
    const auto card = Asked(OnlineCard("online-1"));
    EXPECT_EQ(Send(card, kSecond), "801300002B7AD0B29334AF95BA07010103200000019000");
    const auto trusting = Asked(CardWith("needsIssuerAuthentication", false));
    EXPECT_EQ(Send(trusting, kSecond), "801340002BFC6146BED334CAC807010103600000019000");
}

TEST(OnlineCard, CardWithoutIssuerAuthenticationInItsProfileRefusesIt)
{
    nlohmann::json description = DescriptionOf("online-1");
    description["applications"][0]["gpo"]["aip"] = "7800";
    const auto card = Started(CardOf(description.dump()));
    Send(card, kFirst);
    EXPECT_EQ(Send(card, kAuthenticate), "6985");
}

TEST(OnlineScripts, PutDataChangesElectronicCashAndEntersTheLoadLog)
{
    const auto card = Asked(OnlineCard("online-1"));
    EXPECT_EQ(Send(card, kPutBalance), "9000");
    EXPECT_EQ(Send(card, "80CA9F79"), "9F79060000000200009000");
    EXPECT_EQ(Send(card, "00B2016400"), "9F790000000105300000000200002503020915300156"
                                        "54454120484F5553450000000000000000000000"
                                        "002B9000");
    EXPECT_EQ(Send(card, "00B2026400").substr(0, 28), "9F79000000000530000000010530");
    EXPECT_EQ(Send(card, "04DA9F770A000000300000887D28A7"), "9000");
    EXPECT_EQ(Send(card, "80CA9F77"), "9F77060000003000009000");
    EXPECT_EQ(Send(card, "04DA9F780A000000070000A87B2317"), "9000");
    EXPECT_EQ(Send(card, "80CA9F78"), "9F78060000000700009000");
    EXPECT_EQ(Send(card, "04DA9F6D0A0000000090006AE929E3"), "9000");
    EXPECT_EQ(Send(card, "80CA9F6D"), "9F6D060000000090009000");
    EXPECT_EQ(Send(card, "00B2036400"), "6A83") << "only balances enter the load log";
}

TEST(OnlineScripts, TheSameCommandMayComeTwice)
{
    const auto card = Asked(OnlineCard("online-1"));
    EXPECT_EQ(Send(card, kPutBalance), "9000");
    EXPECT_EQ(Send(card, kPutBalance), "9000");
    EXPECT_EQ(NextResults(card), "03A00020");
}

TEST(OnlineScripts, PutDataRefusesWhatItCannotWrite)
{
    const auto card = Asked(OnlineCard("online-1"));
    EXPECT_EQ(Send(card, "04DA9F7A0A00000000900054BE8DFB"), "6A88");
    EXPECT_EQ(Send(card, "04DA9F7909000000020088E2A0C7"), "6700");
    EXPECT_EQ(Send(card, "04DA9F790A00000002000A24C33A6D"), "6A80");
    EXPECT_EQ(Send(card, "80CA9F79"), "9F79060000000105309000");
    EXPECT_EQ(Send(card, kPutBalance), "9000") << "such a failure stops nothing";
    EXPECT_EQ(NextResults(card), "03A00018");
}

TEST(OnlineScripts, WrongMacIsRefusedAndSoIsEverythingBehindIt)
{
    const auto card = Asked(OnlineCard("online-1"));
    EXPECT_EQ(Send(card, "04DA9F790A000000020000428332A1"), "6988");
    EXPECT_EQ(Send(card, kPutBalance), "6985");
    EXPECT_EQ(Send(card, "80CA9F79"), "9F79060000000105309000");
    Started(card);
    EXPECT_EQ(Send(card, kFirst), "801380002C534D40E156F7F6EE07010103A00008019000");
}

TEST(OnlineScripts, ScriptsNeedACryptogramAndAMac)
{
    const auto card = Started(OnlineCard("online-1"));
    EXPECT_EQ(Send(card, kPutBalance), "6985");
    Send(card, kFirst);
    EXPECT_EQ(Send(card, "8416000003112233"), "6987");
    EXPECT_EQ(Send(card, "84160000"), "6987");
    EXPECT_EQ(Send(card, kPutBalance), "9000");
    Send(card, kOptions);
    EXPECT_EQ(Send(card, kPutBalance), "6985") << "another transaction";
}

TEST(OnlineScripts, CountGoesIntoTheNextCryptogramUntilTheIssuerHasSeenIt)
{
    const auto card = Asked(OnlineCard("online-1"));
    Send(card, kAuthenticate);
    Send(card, kSecond);
    EXPECT_EQ(Send(card, kPutBalance), "9000");
    Started(card);
    EXPECT_EQ(Send(card, kFirst), "801380002CCCD94D832539D19F07010103A00010019000");
    EXPECT_EQ(Send(card, "008200000A9A9EC2F8AFB604EC3030"), "9000");
    EXPECT_EQ(ResultsIn(Send(card, kSecond)), "03600010");
    EXPECT_EQ(NextResults(card), "03A00000");
}

TEST(OnlineScripts, CountStopsAtFifteen)
{
    const auto card = Asked(OnlineCard("online-1"));
    for (int i = 0; i < 17; ++i)
        EXPECT_EQ(Send(card, kPutBalance), "9000");
    EXPECT_EQ(NextResults(card), "03A000F0");
}

TEST(OnlineScripts, BlockedApplicationIsMarkedDeclinesAndCanBeUnblocked)
{
    const auto card = Asked(OnlineCard("online-1"));
    EXPECT_EQ(Send(card, "841E0000046AD33EC3"), "9000");
    const std::string answer = Send(card, kSelect);
    EXPECT_EQ(answer.substr(0, 2) + answer.substr(answer.size() - 4), "6F6283");
    EXPECT_EQ(Send(card, kOptions), "800A7C0008010200100103009000");
    EXPECT_EQ(Send(card, kFirst), "801300002C746804A20AB0F06C07010103800010019000");
    EXPECT_EQ(Send(card, "84180000048971FFC0"), "9000");
    EXPECT_EQ(Send(card, kSelect).substr(answer.size() - 4), "9000");
}

TEST(OnlineScripts, ApplicationMayBeBlockedAndUnblockedInOneTransaction)
{
    const auto card = Asked(OnlineCard("online-1"));
    EXPECT_EQ(Send(card, "841E0000046AD33EC3"), "9000");
    EXPECT_EQ(Send(card, kAuthenticate), "9000");
    EXPECT_EQ(Send(card, "8418000004C1940C64"), "9000");
    EXPECT_EQ(Send(card, kSecond).substr(0, 6), "801340");
}

TEST(OnlineScripts, ApplicationBlockedBeforeTheSecondCryptogramDeclines)
{
    const auto card = Asked(OnlineCard("online-1"));
    Send(card, kAuthenticate);
    EXPECT_EQ(Send(card, "841E0000046AD33EC3"), "9000");
    EXPECT_EQ(Send(card, kSecond).substr(0, 6), "801300");
}

TEST(OnlineScripts, BlockedCardIsSelectedNoMore)
{
    const auto card = Asked(OnlineCard("online-1"));
    EXPECT_EQ(Send(card, "841600000501CE8BA5AB"), "6700") << "no data but the MAC";
    EXPECT_EQ(Send(card, "8416000004887E2439"), "9000");
    EXPECT_EQ(Send(card, kOptions), "6985");
    card->powerOff();
    card->powerOn();
    EXPECT_EQ(Send(card, kPse), "6A81");
    EXPECT_EQ(Send(card, kSelect), "6A81");
}

TEST(OnlineScripts, PinTriesCanBeGivenBack)
{
    const auto card = Asked(OnlineCard("online-1"));
    EXPECT_EQ(Send(card, "0020008008"
                         "26999999FFFFFFFF"),
              "63C2");
    EXPECT_EQ(Send(card, "0020008008"
                         "24123456FFFFFFFF"),
              "63C1");
    EXPECT_EQ(Send(card, "80CA9F17"), "9F1701019000");
    EXPECT_EQ(Send(card, "0020008008"
                         "2612345FFFFFFFFF"),
              "63C0");
    EXPECT_EQ(Send(card, "0020008008"
                         "26123456FFFFFFFF"),
              "6983");
    EXPECT_EQ(Send(card, "84240000049E1A1B27"), "9000");
    EXPECT_EQ(Send(card, "80CA9F17"), "9F1701039000");
    EXPECT_EQ(Send(card, "0020008008"
                         "26123456FFFFFFFF"),
              "9000");
    EXPECT_EQ(Send(card, "0020000008"
                         "26123456FFFFFFFF"),
              "6A86");
    EXPECT_EQ(Send(card, "0020008003123456"), "6700");
}

TEST(OnlineScripts, PinCanBeChanged)
{
    const auto card = Asked(OnlineCard("online-1"));
    EXPECT_EQ(Send(card, "84240002148DC179EE494D6C34387F06B5EEE20D10779053ED"), "9000");
    EXPECT_EQ(Send(card, "0020008008"
                         "26123456FFFFFFFF"),
              "63C2");
    EXPECT_EQ(Send(card, "0020008008"
                         "26654321FFFFFFFF"),
              "9000");
}

TEST(OnlineScripts, PinCanBeChangedWithTheOldOne)
{
    const auto card = Asked(OnlineCard("online-1"));
    EXPECT_EQ(Send(card, "8424000114E15145BC624DEE85387F06B5EEE20D10B94D94E3"), "6A80");
    EXPECT_EQ(Send(card, "84240001146096DB7BA354CE51387F06B5EEE20D1097FFB231"), "9000");
    EXPECT_EQ(Send(card, "0020008008"
                         "2898765432FFFFFF"),
              "9000");
}

TEST(OnlineScripts, PinChangeRefusesWhatHoldsNoPin)
{
    const auto card = Asked(OnlineCard("online-1"));
    EXPECT_EQ(Send(card, "842400020C00112233445566772F560FBE"), "6A80");
    EXPECT_EQ(Send(card, "842400030476365952"), "6A86");
    EXPECT_EQ(Send(card, "0020008008"
                         "26123456FFFFFFFF"),
              "9000");
}

TEST(OnlineCard, VerifiedPinIsInTheCryptogram)
{
    const auto right = Started(OnlineCard("online-1"));
    EXPECT_EQ(Send(right, "0020008008"
                          "26123456FFFFFFFF"),
              "9000");
    EXPECT_EQ(Send(right, kFirst), "801380002B2B604E1DF57B185D07010103A40000019000");
    const auto wrong = Started(OnlineCard("online-1"));
    EXPECT_EQ(Send(wrong, "0020008008"
                          "26654321FFFFFFFF"),
              "63C2");
    EXPECT_EQ(Send(wrong, kFirst), "801380002B5C54C018459873FD07010103A20000019000");
    const auto blocked = Started(OnlineCard("online-1"));
    for (int i = 0; i < 3; ++i)
        Send(blocked, "0020008008"
                      "26654321FFFFFFFF");
    EXPECT_EQ(Send(blocked, kFirst), "801380002B76F3E27AF1988A8807010103A24000019000");
}

TEST(OnlineCard, ChallengeHasFourOrEightBytes)
{
    const auto card = Started(OnlineCard("online-1"));
    EXPECT_EQ(Send(card, "0084000008"), "81828384858687889000");
    EXPECT_EQ(Send(card, "0084000004"), "818283849000");
    EXPECT_EQ(Send(card, "0084000000"), "6700");
    EXPECT_EQ(Send(card, "00840000"), "6700");
    EXPECT_EQ(Send(card, "0084010008"), "6A86");
    nlohmann::json description = DescriptionOf("online-1");
    description.erase("random");
    const auto real = Started(CardOf(description.dump()));
    EXPECT_NE(Send(real, "0084000008"), Send(real, "0084000008"));
}

TEST(OnlineCard, CardWithoutKeysDoesNotKnowTheCommands)
{
    const auto card = CardOf(R"({"kind": "pboc", "applications": [{"aid": "A000000333010101"}]})");
    Send(card, kSelect);
    EXPECT_EQ(Send(card, kFirst), "6D00");
    EXPECT_EQ(Send(card, kAuthenticate), "6D00");
    EXPECT_EQ(Send(card, "0084000008"), "6D00");
    EXPECT_EQ(Send(card, "00B0950000"), "6D00");
    EXPECT_EQ(Send(card, "8416000004887E2439"), "6E00");
    EXPECT_EQ(Send(card, kPutBalance), "6E00");
}

TEST(OnlineCard, SpeaksT0AsWell)
{
    nlohmann::json description = DescriptionOf("online-1");
    description["t0"] = true;
    const auto card = CardOf(description.dump());
    Send(card, kSelect);
    EXPECT_EQ(Send(card, kOptions), "610C");
    EXPECT_EQ(Send(card, kFirst), "6115");
    EXPECT_EQ(Send(card, "00C0000015"), "801380002B0B6C7FA84AB4F4D107010103A00000019000");
    EXPECT_EQ(Send(card, kAuthenticate), "9000");
}

// Headers that the cards know with data of every length: each must be answered by a status word.
TEST(OnlineCard, AnyCommandAtAnyMomentGetsAStatusWord)
{
    const std::vector<std::string> headers = {
        "80A80000", "80AE8000", "80AE4000", "80AE0000", "80AEC000", "00820000", "84160000",
        "84180000", "841E0000", "84240000", "84240001", "84240002", "04DA9F79", "04DA0000",
        "00840000", "00200080", "00200000", "805C0001", "80500002", "80500102", "80540000",
        "80540100", "80520000", "00B09500", "00B00000", "00B0FFFF", "04D69500", "00D69600",
        "04D60000", "00A40000", "00A40400", "00B20104", "00B2015C", "80CA9F36"};
    struct Given
    {
        const char *profile;
        const char *card;
        const char *select;
    };
    for (const Given &given :
         {Given{"online", "online-1", kSelect}, Given{"online", "online-one-step", kSelect},
          Given{"purse", "purse", "00A4040009A00000000386980701"},
          Given{"social-security", "social-security", "00A404000F7378312E73682EE7A4BEE4BC9AE4BF"}})
    {
        std::ifstream file(std::string(cards_test::kProfiles) + "/" + given.profile + ".json");
        const auto card = CardOf(nlohmann::json::parse(file).at("cards").at(given.card).dump());
        uint32_t random = 20250302; // a plain congruential generator: the same run every time
        const auto next = [&random](uint32_t limit)
        {
            random = random * 1664525 + 1013904223;
            return (random >> 16) % limit;
        };
        for (int i = 0; i < 4000; ++i)
        {
            if (next(20) == 0)
                Send(card, given.select);
            vreader::Bytes command = Unhex(headers[next(static_cast<uint32_t>(headers.size()))]);
            const uint32_t length = next(5) == 0 ? next(256) : next(20);
            if (length != 0)
                command.push_back(static_cast<uint8_t>(length));
            // 83 and its length, so that some processing options are understood.
            for (uint32_t at = 0; at < length; ++at)
                command.push_back(static_cast<uint8_t>(at == 0   ? 0x83
                                                       : at == 1 ? length - 2
                                                                 : next(256)));
            if (next(2) == 0)
                command.push_back(static_cast<uint8_t>(next(256)));
            const vreader::Bytes answer = card->transmit(command);
            ASSERT_GE(answer.size(), 2u) << Hex(command);
            ASSERT_LE(answer.size(), 258u) << Hex(command);
        }
    }
}

TEST(OnlineDescription, MistakesAreToldWithTheirPlace)
{
    const auto errorWith = [](const char *key, const nlohmann::json &value)
    {
        nlohmann::json description = DescriptionOf("online-1");
        description["applications"][0]["online"][key] = value;
        return ErrorOf(description.dump());
    };
    const std::string place = "applications[0].online";
    EXPECT_EQ(errorWith("masterKey", "0123"),
              place + ".masterKey: stands beside \"masterKeys\"; one of them is enough");
    EXPECT_EQ(errorWith("masterKeys", {{"mac", "11112222333344445555666677778888"}}),
              place + ".masterKeys: the key \"cryptogram\" is missing");
    EXPECT_EQ(errorWith("masterKeys", {{"cryptogram", "0123"}}),
              place + ".masterKeys.cryptogram: expected a key of 32 hexadecimal digits, found "
                      "\"0123\"");
    EXPECT_EQ(errorWith("pin", "12a4"),
              place + ".pin: expected a PIN of 4 to 12 digits, found \"12a4\"");
    EXPECT_EQ(errorWith("declines", "always"),
              place + ".declines: expected \"never\", \"first\" or \"second\", found \"always\"");
    EXPECT_EQ(errorWith("cryptogramData", "x"),
              place + ".cryptogramData: expected \"standard\" or \"list\", found \"x\"");
    EXPECT_EQ(errorWith("atc", 65536), place + ".atc: expected a number from 0 to 65535, found "
                                               "65536");
    EXPECT_EQ(errorWith("format", 3), place + ".format: expected a number from 1 to 2, found 3");
}

TEST(OnlineDescription, NeedsACardNumberAndTheDataOfTheCryptogram)
{
    const auto errorOf = [](const std::string &records)
    {
        return ErrorOf(
            R"({"kind": "pboc", "applications": [{"aid": "A000000333010101", "records": )" +
            records + R"(, "online": {}}]})");
    };
    EXPECT_EQ(errorOf(R"({"1": [{"8C": "dol:9F02 6"}]})").substr(0, 48),
              "applications[0].online: the records need a PAN (");
    EXPECT_EQ(errorOf(R"({"1": [{"5A": "62000000000000AB"}]})").substr(0, 48),
              "applications[0].online: the records need a PAN (");
    EXPECT_EQ(errorOf(R"({"1": [{"5A": "6200000000000005",
                         "8C": "dol:9F02 6, 9F03 6, 9F1A 2, 95 5, 5F2A 2, 9A 3, 9C 1"}]})"),
              "applications[0].online: neither the PDOL nor CDOL1 (8C) asks for 9F37, which the "
              "cryptogram is over");
}

TEST(OnlineDescription, OneMasterKeyMayServeForAll)
{
    nlohmann::json description = DescriptionOf("online-1");
    nlohmann::json *online = &description["applications"][0]["online"];
    online->erase("masterKeys");
    (*online)["masterKey"] = "0123456789ABCDEFFEDCBA9876543210";
    const auto card = Asked(CardOf(description.dump()));
    EXPECT_EQ(Send(card, kPutBalance), "6988") << "the MAC key is another one now";
    online->erase("masterKey");
    Asked(CardOf(description.dump()));
}

TEST(KeptCards, CardTakenAwayAndPutBackRemembers)
{
    vreader_test::Bench bench(OnlineProfile().dump());
    vreader::Reader &reader = bench.reader->reader;
    const std::shared_ptr<vreader::Card> card = reader.contact[0].card;
    card->powerOn();
    Started(card);
    EXPECT_EQ(bench.Control("remove contact"), "ok");
    EXPECT_EQ(bench.Control("insert contact online-2"), "ok");
    EXPECT_NE(reader.contact[0].card, card);
    EXPECT_EQ(bench.Control("swap contact online-1"), "ok");
    EXPECT_EQ(reader.contact[0].card, card);
    EXPECT_EQ(bench.Control("swap contact online-1"), "ok") << "for itself";
    EXPECT_EQ(reader.contact[0].card, card);
    Send(card, kSelect);
    EXPECT_EQ(Send(card, "80CA9F36"), "9F3602002B9000");
}

TEST(KeptCards, NameOfACardThatLiesElsewhereStandsForAnotherOne)
{
    vreader_test::Bench bench(OnlineProfile().dump());
    vreader::Reader &reader = bench.reader->reader;
    const std::shared_ptr<vreader::Card> card = reader.contact[0].card;
    EXPECT_EQ(bench.Control("insert contact 1 online-1"), "ok");
    EXPECT_NE(reader.contact[1].card, card);
    EXPECT_EQ(bench.Control("remove contact 1"), "ok");
    EXPECT_EQ(bench.Control("remove contact 0"), "ok");
    EXPECT_EQ(bench.Control("insert contact 1 online-1"), "ok");
    EXPECT_EQ(reader.contact[1].card, card);
}

TEST(KeptCards, DescriptionIsANewCardEveryTime)
{
    vreader_test::Bench bench(OnlineProfile().dump());
    vreader::Reader &reader = bench.reader->reader;
    const std::string insert = "swap contact " + DescriptionOf("online-1").dump();
    EXPECT_EQ(bench.Control(insert), "ok");
    const std::shared_ptr<vreader::Card> card = reader.contact[0].card;
    EXPECT_EQ(bench.Control(insert), "ok");
    EXPECT_NE(reader.contact[0].card, card);
}
