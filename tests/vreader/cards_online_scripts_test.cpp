// What the issuer's scripts do to a card with keys.
#include "cards_online_support.h"

using namespace cards_test;

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
