#include "atr.h"

#include <gtest/gtest.h>

#include "presentation.h"

using tool::Atr;
using tool::AtrJson;
using tool::AtrText;
using tool::Bytes;
using tool::DecodeAtr;

static Atr Decode(const char *hex)
{
    return DecodeAtr(Bytes(hex));
}

TEST(Atr, DirectConventionWithHistoricalBytesOnly)
{
    const Atr atr = Decode("3B0441424344");
    EXPECT_STREQ(atr.kind, "ATR");
    EXPECT_STREQ(atr.convention, "direct");
    EXPECT_EQ(atr.protocols, std::vector<int>{0});
    EXPECT_EQ(atr.historical, "ABCD");
    EXPECT_EQ(atr.interfaceBytes, "");
    EXPECT_EQ(atr.clockRate, 372);
    EXPECT_EQ(atr.bitRate, 1);
    EXPECT_EQ(atr.trouble, "");
}

TEST(Atr, InverseConvention)
{
    EXPECT_STREQ(Decode("3F00").convention, "inverse");
    EXPECT_EQ(Decode("3F00").trouble, "");
}

TEST(Atr, InterfaceBytesSayProtocolSpeedAndGuardTime)
{
    // T0=F2: TA1 TB1 TC1 TD1 and two historical bytes; TD1=81: TD2, T=1; TD2=31: TA3 TB3, T=1.
    const Atr atr = Decode("3BF2180005"
                           "81"
                           "31"
                           "FE45"
                           "4142"
                           "E7");
    EXPECT_EQ(atr.interfaceBytes, "TA1=18 TB1=00 TC1=05 TD1=81 TD2=31 TA3=FE TB3=45");
    EXPECT_EQ(atr.protocols, std::vector<int>{1});
    EXPECT_EQ(atr.clockRate, 372);
    EXPECT_EQ(atr.bitRate, 12);
    EXPECT_EQ(atr.extraGuardTime, 5);
    EXPECT_EQ(atr.historical, "AB");
    EXPECT_EQ(atr.trouble, "");
}

TEST(Atr, OffersBothProtocolsInTheirOrder)
{
    // TD1=80 (T=0), TD2=01 (T=1): check byte 80 ^ 80 ^ 01 = 01.
    const Atr atr = Decode("3B80800101");
    EXPECT_EQ(atr.protocols, (std::vector<int>{0, 1}));
    EXPECT_EQ(atr.trouble, "");
}

TEST(Atr, GlobalBytesAreNoProtocol)
{
    // TD1=1F: TA2, T=15. T=15 alone leaves T=0 and asks for no check byte.
    const Atr atr = Decode("3B801F03");
    EXPECT_EQ(atr.protocols, std::vector<int>{0});
    EXPECT_EQ(atr.trouble, "");
}

TEST(Atr, WrongCheckByteIsTold)
{
    EXPECT_EQ(Decode("3B80800102").trouble, "its check byte TCK is wrong");
}

TEST(Atr, MissingBytesAreTold)
{
    EXPECT_EQ(Decode("3B").trouble, "it ends after its first byte");
    EXPECT_EQ(Decode("3B04414243").trouble, "it is shorter than it says");
    EXPECT_EQ(Decode("3BF0").trouble, "it is shorter than it says");
    EXPECT_EQ(Decode("3B808001").trouble, "it is shorter than it says"); // no check byte
    EXPECT_EQ(Decode("").trouble, "it is empty");
}

TEST(Atr, MoreBytesThanItSaysAreTold)
{
    EXPECT_EQ(Decode("3B004142").trouble, "2 bytes too many");
}

TEST(Atr, AChainOfInterfaceBytesEndsWithTheText)
{
    std::string endless = Bytes("3B80");
    endless.append(200, '\x80'); // each TD announces the next
    EXPECT_EQ(DecodeAtr(endless).trouble, "it is shorter than it says");
}

TEST(Atr, ReservedSpeedsAreZero)
{
    const Atr atr = Decode("3B107E");
    EXPECT_EQ(atr.clockRate, 0); // F code 7
    EXPECT_EQ(atr.bitRate, 0);   // D code 14
}

TEST(Atr, AnswerToSelectHasItsOwnForm)
{
    const Atr ats = Decode("0A78807002"
                           "4142434445");
    EXPECT_STREQ(ats.kind, "ATS");
    EXPECT_EQ(ats.interfaceBytes, "TA=80 TB=70 TC=02");
    EXPECT_EQ(ats.historical, "ABCDE");
    EXPECT_EQ(ats.trouble, "");
    EXPECT_EQ(Decode("0270").trouble, "it is shorter than it says");
    EXPECT_EQ(Decode("01").trouble, "");
}

TEST(Atr, SomethingElseIsNamedAsSuch)
{
    EXPECT_STREQ(Decode("AABBCC").kind, "unknown");
    EXPECT_EQ(Decode("AABBCC").trouble, "it begins like neither an ATR nor an ATS");
}

TEST(AtrText, ShowsEachPartOnALineOfItsOwn)
{
    EXPECT_EQ(AtrText(Bytes("3B1418"
                            "41421B44")),
              "  ATR               3B 14 18 41 42 1B 44\n"
              "  Convention        direct\n"
              "  Protocol          T=0\n"
              "  Speed             F=372 D=12, extra guard time 0\n"
              "  Interface bytes   TA1=18\n"
              "  Historical bytes  41 42 1B 44\n"); // no text: a control character is among them
    EXPECT_EQ(AtrText(Bytes("3B024142")), "  ATR               3B 02 41 42\n"
                                          "  Convention        direct\n"
                                          "  Protocol          T=0\n"
                                          "  Speed             F=372 D=1, extra guard time 0\n"
                                          "  Historical bytes  41 42  \"AB\"\n");
    EXPECT_EQ(AtrText(Bytes("AABB")), "  Answer            AA BB\n"
                                      "  Trouble           it begins like neither an ATR nor an "
                                      "ATS\n");
}

TEST(AtrJson, HoldsTheSameParts)
{
    EXPECT_EQ(AtrJson(Bytes("3B024142")).dump(),
              R"({"hex":"3B024142","kind":"ATR","convention":"direct","protocols":[0],"f":372,)"
              R"("d":1,"extra_guard_time":0,"interface_bytes":"",)"
              R"("historical":{"hex":"4142","text":"AB"},"trouble":null})");
    EXPECT_EQ(AtrJson(Bytes("0141")).at("kind"), "unknown");
}
