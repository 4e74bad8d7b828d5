// One command and its response: the status-word follow-ups, their end, and the log.
#include <gtest/gtest.h>

#include "vantor/pboc.h"
#include "wire/pboc_card.h"

using testing_support::HexOf;
using wire_testing::Bytes;
using wire_testing::Card;

TEST_F(Card, AResponseIsGivenWithItsStatusBytes)
{
    script.Apdu("0084000008", "01020304050607089000");
    EXPECT_EQ(0, Send("0084000008"));
    EXPECT_EQ("01020304050607089000", Given());
    EXPECT_EQ(0xEE, area[10]);
}

TEST_F(Card, AnErrorStatusIsNoFailureOfTheExchange)
{
    script.Apdu("00A4040000", "6A82");
    EXPECT_EQ(0, Send("00A4040000"));
    EXPECT_EQ("6A82", Given());
}

TEST_F(Card, TheFirstEightBytesAndTheLengthAreClearedFirst)
{
    script.ApduFails("00A4040000", "FB");
    EXPECT_EQ(-4005, Send("00A4040000"));
    EXPECT_EQ(0, length);
    EXPECT_EQ("0000000000000000EE", HexOf(area, 9));
}

TEST_F(Card, TheInterfaceFollowsTheCardType)
{
    script.contactless = true;
    script.Apdu("0084000004", "010203049000");
    EXPECT_EQ(0, Send("0084000004", 1));
    EXPECT_EQ("010203049000", Given());
}

TEST_F(Card, AnotherCardTypeTriesContactAndThenContactless)
{
    script.ApduFails("0084000004", "A2");
    script.contactless = true;
    script.Apdu("0084000004", "010203049000");
    EXPECT_EQ(0, Send("0084000004", 2));
    EXPECT_EQ("010203049000", Given());
}

TEST_F(Card, AnotherCardTypeStopsAtTheContactCardThatAnswers)
{
    script.Apdu("0084000004", "6A82");
    EXPECT_EQ(0, Send("0084000004", -1));
    EXPECT_EQ("6A82", Given());
}

TEST_F(Card, CommandAndResponseAreLoggedInHex)
{
    GSetLogLevel(2);
    script.Apdu("00A4040000", "6104").Apdu("00C0000004", "010203049000");
    EXPECT_EQ(0, Send("00A4040000"));
    const std::string lines = log.Lines();
    std::string own;
    for (size_t at = lines.find("Info:PBOC_"); at != std::string::npos;
         at = lines.find("Info:PBOC_", at + 1))
        own += lines.substr(at, lines.find("\r\n", at) + 2 - at);
    EXPECT_EQ("Info:PBOC_IcAPDU szInData = 00A4040000\r\n"
              "Info:PBOC_IcAPDU szOutData = 6104\r\n"
              "Info:PBOC_IcAPDU szInData = 00C0000004\r\n"
              "Info:PBOC_IcAPDU szOutData = 010203049000\r\n",
              own);
}

TEST_F(Card, AFailedExchangeIsLoggedWithAnEmptyResponse)
{
    GSetLogLevel(2);
    script.ApduFails("00A4040000", "FB");
    EXPECT_EQ(-4005, Send("00A4040000"));
    EXPECT_NE(std::string::npos, log.Lines().find("Info:PBOC_IcAPDU szOutData = \r\n"));
}

TEST_F(Card, Status61FetchesTheResponse)
{
    const std::string fci = Bytes(28) + "9000";
    script.Apdu("00A4040000", "611C").Apdu("00C000001C", fci);
    EXPECT_EQ(0, Send("00A4040000"));
    EXPECT_EQ(fci, Given());
}

TEST_F(Card, AFollowUpGoesToTheSameInterface)
{
    script.contactless = true;
    script.Apdu("00A4040000", "6102").Apdu("00C0000002", "6C03").Apdu("00C0000003", "AABB9000");
    EXPECT_EQ(0, Send("00A4040000", 1));
    EXPECT_EQ("AABB9000", Given());
}

TEST_F(Card, Status6CRepeatsTheCommandWithTheRightLength)
{
    script.Apdu("00B2010C00", "6C10").Apdu("00B2010C10", Bytes(16) + "9000");
    EXPECT_EQ(0, Send("00B2010C00"));
    EXPECT_EQ(Bytes(16) + "9000", Given());
}

TEST_F(Card, Status6COverwritesTheLastByteAlsoOfACommandWithoutLe)
{
    script.Apdu("80CA9F79", "6C09").Apdu("80CA9F09", "6A88");
    EXPECT_EQ(0, Send("80CA9F79"));
    EXPECT_EQ("6A88", Given());
}

TEST_F(Card, Status62FetchesTheResponseWithLengthZero)
{
    script.Apdu("00A4040000", "6285").Apdu("00C0000000", "AABB9000");
    EXPECT_EQ(0, Send("00A4040000"));
    EXPECT_EQ("AABB9000", Given());
}

TEST_F(Card, Status6283EndsTheCallAtOnceWith100)
{
    script.Apdu("00A4040000", "6283");
    EXPECT_EQ(100, Send("00A4040000"));
    EXPECT_EQ("6283", Given());
}

TEST_F(Card, Status6283InsideAChainGives100)
{
    script.Apdu("00A4040000", "6110").Apdu("00C0000010", "6283");
    EXPECT_EQ(100, Send("00A4040000"));
}

TEST_F(Card, ChainsAreFollowedToTheirEnd)
{
    script.Apdu("00A4040000", "6281")
        .Apdu("00C0000000", "6C1A")
        .Apdu("00C000001A", "6102")
        .Apdu("00C0000002", "6201")
        .Apdu("00C0000000", "77889000");
    EXPECT_EQ(0, Send("00A4040000"));
    EXPECT_EQ("77889000", Given());
}

TEST_F(Card, AFollowUpThatFailsGivesItsCodeAndNoResponse)
{
    script.Apdu("00A4040000", "6110").ApduFails("00C0000010", "A2");
    EXPECT_EQ(-4006, Send("00A4040000"));
    EXPECT_EQ(0, length);
}

TEST_F(Card, AResponseThatNeverEndsIsFollowed32Times)
{
    script.Apdu("00A4040000", "6105");
    for (int i = 0; i < 32; i++)
        script.Apdu("00C0000005", i == 31 ? "AA6105" : "6105");
    EXPECT_EQ(0, Send("00A4040000"));
    EXPECT_EQ("AA6105", Given()) << "the last response stands as it is";
}

TEST_F(Card, AChainOf32FollowUpsIsFollowedToItsEnd)
{
    script.Apdu("00B2010C00", "6C05");
    for (int i = 0; i < 31; i++)
        script.Apdu("00B2010C05", "6C05");
    script.Apdu("00B2010C05", "AABB9000");
    EXPECT_EQ(0, Send("00B2010C00"));
    EXPECT_EQ("AABB9000", Given());
}

TEST_F(Card, AResponseOfOneByteHasNoStatus)
{
    script.Apdu("00A4040000", "61");
    EXPECT_EQ(0, Send("00A4040000"));
    EXPECT_EQ("61", Given());
}

TEST_F(Card, ALongResponseKeepsItsStatusBytesInTheArea)
{
    script.united = true;
    script.Apdu("00B0000000", Bytes(600) + "6A82");
    EXPECT_EQ(0, Send("00B0000000"));
    EXPECT_EQ(512, length);
    EXPECT_EQ(Bytes(510) + "6A82", Given());
    EXPECT_EQ(0xEE, area[512]);
}

TEST_F(Card, AResponseOf512BytesFits)
{
    script.united = true;
    script.Apdu("00B0000000", Bytes(510) + "9000");
    EXPECT_EQ(0, Send("00B0000000"));
    EXPECT_EQ(Bytes(510) + "9000", Given());
}

TEST_F(Card, ACommandThatIsNoneIsRefused)
{
    Insert();
    uint8_t command[5] = {};
    EXPECT_EQ(-99, PBOC_IcAPDU(&device, 0, nullptr, 5, area, &length));
    EXPECT_EQ(-99, PBOC_IcAPDU(&device, 0, command, 0, area, &length));
    EXPECT_EQ(-99, PBOC_IcAPDU(&device, 0, command, -1, area, &length));
    EXPECT_EQ(-99, PBOC_IcAPDU(&device, 0, command, 5, nullptr, &length));
    EXPECT_EQ(-99, PBOC_IcAPDU(&device, 0, command, 5, area, nullptr));
}
