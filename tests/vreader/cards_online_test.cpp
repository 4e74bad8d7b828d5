// A transaction of a card with keys: its two cryptograms, the issuer, the log.
#include "cards_online_support.h"

using namespace cards_test;

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
