// The PBOC card on the T=0 line: 61xx with GET RESPONSE, 6Cxx for a wrong Le.
#include "cards_support.h"

using cards_test::CardOf;
using cards_test::Send;

namespace
{

std::shared_ptr<vreader::Card> T0Card(const std::string &application = "")
{
    return CardOf(R"({"kind": "pboc", "t0": true, "applications": [{"aid": "A000000333010101",
        "getData": {"9F79": "000000003780"}, "records": {"1": [{"5A": "6200000000000005"}]})" +
                  application + "}]}");
}

} // namespace

TEST(PbocCardT0, SelectAnswers61AndGetResponseFetches)
{
    const auto card = T0Card();
    EXPECT_EQ(Send(card, "00A4040008A000000333010101"), "610E");
    EXPECT_EQ(Send(card, "00C000000E"), "6F0C8408A000000333010101A5009000");
    EXPECT_EQ(Send(card, "00C000000E"), "6985");
    EXPECT_EQ(card->remark(), "no response is waiting");
    EXPECT_EQ(Send(card, "00A4040008A00000033301010100"), "610E");
}

TEST(PbocCardT0, GetResponseWithTooLongLeNamesTheRightOne)
{
    const auto card = T0Card();
    EXPECT_EQ(Send(card, "00A4040008A000000333010101"), "610E");
    EXPECT_EQ(Send(card, "00C0000000"), "6C0E");
    EXPECT_EQ(Send(card, "00C000000F"), "6C0E");
    EXPECT_EQ(Send(card, "00C000000E"), "6F0C8408A000000333010101A5009000");
}

TEST(PbocCardT0, GetResponseMayFetchInParts)
{
    const auto card = T0Card();
    EXPECT_EQ(Send(card, "00A4040008A000000333010101"), "610E");
    EXPECT_EQ(Send(card, "00C0000004"), "6F0C8408610A");
    EXPECT_EQ(Send(card, "00C000000A"), "A000000333010101A5009000");
}

TEST(PbocCardT0, AnotherCommandDropsTheWaitingResponse)
{
    const auto card = T0Card();
    EXPECT_EQ(Send(card, "00A4040008A000000333010101"), "610E");
    EXPECT_EQ(Send(card, "00B2020C00"), "6A83");
    EXPECT_EQ(Send(card, "00C000000E"), "6985");
}

TEST(PbocCardT0, ReadRecordWantsTheExactLe)
{
    const auto card = T0Card();
    Send(card, "00A4040008A000000333010101");
    EXPECT_EQ(Send(card, "00B2010C00"), "6C0C");
    EXPECT_EQ(Send(card, "00B2010C0B"), "6C0C");
    EXPECT_EQ(Send(card, "00B2010C0C"), "700A5A0862000000000000059000");
    EXPECT_EQ(Send(card, "00C000000C"), "6985");
}

TEST(PbocCardT0, CommandWithoutLeAnswers61)
{
    const auto card = T0Card();
    Send(card, "00A4040008A000000333010101");
    EXPECT_EQ(Send(card, "80CA9F79"), "6109");
    EXPECT_EQ(Send(card, "00C0000009"), "9F79060000000037809000");
    EXPECT_EQ(Send(card, "80CA9F7900"), "6C09");
    EXPECT_EQ(Send(card, "80CA9F7909"), "9F79060000000037809000");
}

TEST(PbocCardT0, ProcessingOptionsAnswer61)
{
    const auto card = T0Card();
    Send(card, "00A4040008A000000333010101");
    EXPECT_EQ(Send(card, "80A80000028300"), "6108");
    EXPECT_EQ(Send(card, "00C0000008"), "80067C00080101009000");
}

TEST(PbocCardT0, RefusalsComeAtOnce)
{
    const auto card = T0Card();
    EXPECT_EQ(Send(card, "00A4040005A000000004"), "6A82");
    EXPECT_EQ(Send(card, "00C0000010"), "6985");
    EXPECT_EQ(Send(card, "00"), "6700");
}

TEST(PbocCardT0, BlockedApplicationAnswers6283AndKeepsItsFciWaiting)
{
    const auto card = T0Card(R"(, "blocked": true)");
    EXPECT_EQ(Send(card, "00A4040008A000000333010101"), "6283");
    EXPECT_EQ(Send(card, "00C0000000"), "6C0E");
    EXPECT_EQ(Send(card, "00C000000E"), "6F0C8408A000000333010101A5009000");
}

TEST(PbocCardT0, DataOf256BytesAndMoreAreFetchedInSteps)
{
    // 70 8200FC 9F46 81F6 + 246 bytes = 256 with its template; then 300.
    const auto card =
        CardOf(R"({"kind": "pboc", "t0": true, "applications": [{
        "aid": "A000000333010101", "records": {"1": [")" +
               std::string(512, 'A') + R"(", ")" + std::string(600, 'B') + R"("]}}]})");
    Send(card, "00A4040008A000000333010101");
    EXPECT_EQ(Send(card, "00B2010C00"), std::string(512, 'A') + "9000");
    EXPECT_EQ(Send(card, "00B2010CFF"), "6C00");
    EXPECT_EQ(Send(card, "00B2020C00"), std::string(512, 'B') + "612C");
    EXPECT_EQ(Send(card, "00C000002C"), std::string(88, 'B') + "9000");
    EXPECT_EQ(Send(card, "00B2020C"), "6100");
    EXPECT_EQ(Send(card, "00C0000000"), std::string(512, 'B') + "612C");
}

TEST(PbocCardT0, PowerOnDropsTheWaitingResponse)
{
    const auto card = T0Card();
    Send(card, "00A4040008A000000333010101");
    card->powerOn();
    EXPECT_EQ(Send(card, "00C000000E"), "6985");
}
