// The identity module on the line, byte by byte: mode, frames, the way from a card to its record.
#include "vreader/bench.h"
#include "vreader/cards_support.h"

using namespace vreader_test;
using cards_test::Hex;
using cards_test::Unhex;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{

constexpr char kCards[] = R"("identityCards": {
    "test": {"kind": "resident", "name": "测试", "sex": "male", "nation": "汉",
             "birth": "1949-01-31", "address": "北京市东城区示例路１号",
             "number": "110101194901310010", "authority": "北京市公安局东城分局",
             "validFrom": "2025-01-01", "validTo": "long-term", "photo": "fill:5A",
             "fingerprint": "pattern:ramp"},
    "zeros": {"kind": "resident", "text": "fill:00", "photo": "fill:00"},
    "short": {"kind": "resident", "text": "fill:00", "record": "0100"},
    "cut": {"kind": "resident", "text": "fill:00", "behaviour": "cut", "commands": ["2002"]},
    "flood": {"kind": "resident", "text": "fill:00", "behaviour": "flood"}},
    "identity": "test")";

const std::string kProfileText = std::string("{") + kCards + "}";
const std::string kAlways =
    std::string(R"({"reader": {"identityModule": "always"}, )") + kCards + "}";

constexpr char kReset[] = "AAAAAA9669000311FFED";
constexpr char kFind[] = "AAAAAA966900032001 22";
constexpr char kSelect[] = "AAAAAA966900032002 21";
constexpr char kRead[] = "AAAAAA966900033001 32";
constexpr char kReadWithFingerprint[] = "AAAAAA966900033010 23";

constexpr char kDone[] = "AAAAAA9669000400009094";
constexpr char kFound[] = "AAAAAA9669000800009F0000000097";
constexpr char kSelected[] = "AAAAAA9669000C00009000000000000000009C";
constexpr char kNotFound[] = "AAAAAA9669000400008084";
constexpr char kNotSelected[] = "AAAAAA9669000400008185";
constexpr char kNotRead[] = "AAAAAA9669000400004145";

constexpr char kTestText[] =
    "4B6DD58B2000200020002000200020002000200020002000200020002000310030003100310039003400"
    "390030003100330031001753AC4E025E1C4ECE573A533A798B4FEF8D11FFF75320002000200020002000"
    "200020002000200020002000200020002000200020002000200020002000200020002000200031003100"
    "30003100300031003100390034003900300031003300310030003000310030001753AC4E025E6C51895B"
    "405C1C4ECE570652405C20002000200020002000320030003200350030003100300031007F951F672000"
    "200020002000200020002000200020002000200020002000200020002000200020002000200020002000"
    "20002000";

std::string Text(const std::string &hex)
{
    const vreader::Bytes bytes = Unhex(hex);
    return std::string(bytes.begin(), bytes.end());
}

std::string HexOf(const std::string &text)
{
    return Hex(vreader::Bytes(text.begin(), text.end()));
}

// A host that has put the reader into the identity mode.
struct IdentityHost
{
    Host host;

    explicit IdentityHost(const Bench &bench, const char *mode = "\033$S0") : host(bench.Name())
    {
        host.Write(mode);
        EXPECT_EQ(bench.Control("wait 1"), "ok");
    }
    // A command in hexadecimal digits; the whole frame that answers it, by its length field.
    std::string Ask(const std::string &command) const
    {
        host.Write(Text(command));
        std::string answer = host.ReadExactly(7);
        if (answer.size() < 7)
            return HexOf(answer);
        const auto high = static_cast<uint8_t>(answer[5]);
        const auto low = static_cast<uint8_t>(answer[6]);
        const size_t all = 7 + high * 256u + low;
        if (answer.size() < all)
            answer += host.ReadExactly(all - answer.size());
        return HexOf(answer);
    }
};

std::string Repeated(const char *pair, size_t count)
{
    std::string text;
    for (size_t i = 0; i < count; ++i)
        text += pair;
    return text;
}

} // namespace

TEST(IdentityModule, ResetFindSelectRead)
{
    const Bench bench(kProfileText);
    const IdentityHost identity(bench);
    EXPECT_EQ(identity.Ask(kReset), kDone);
    EXPECT_EQ(identity.Ask(kFind), kFound);
    EXPECT_EQ(identity.Ask(kSelect), kSelected);
    EXPECT_EQ(identity.Ask(kRead), "AAAAAA96690508"
                                   "000090"
                                   "01000400" +
                                       std::string(kTestText) + Repeated("5A", 1024) + "3B");
}

TEST(IdentityModule, ReadWithFingerprintHasAThirdLength)
{
    const Bench bench(kProfileText);
    const IdentityHost identity(bench);
    identity.Ask(kFind);
    identity.Ask(kSelect);
    std::string ramp;
    for (int i = 0; i < 256; ++i)
        ramp += Hex({static_cast<uint8_t>(i)});
    EXPECT_EQ(identity.Ask(kReadWithFingerprint),
              "AAAAAA9669090A"
              "000090"
              "010004000400" +
                  std::string(kTestText) + Repeated("5A", 1024) + ramp + ramp + ramp + ramp + "31");
}

TEST(IdentityModule, ACardWithoutFingerprintHasALengthOfZeroThere)
{
    const Bench bench(kProfileText);
    const IdentityHost identity(bench);
    bench.Control("swap identity zeros");
    identity.Ask(kFind);
    identity.Ask(kSelect);
    EXPECT_EQ(identity.Ask(kReadWithFingerprint), "AAAAAA9669050A"
                                                  "000090"
                                                  "010004000000" +
                                                      Repeated("00", 1280) + "9A");
}

TEST(IdentityModule, AModuleThatKnowsNoFingerprintsSaysSo)
{
    const Bench bench(std::string(R"({"reader": {"fingerprintCommand": false}, )") + kCards + "}");
    const IdentityHost identity(bench);
    identity.Ask(kFind);
    identity.Ask(kSelect);
    EXPECT_EQ(identity.Ask(kReadWithFingerprint), "AAAAAA9669000400002125");
    EXPECT_THAT(identity.Ask(kRead), StartsWith("AAAAAA96690508000090"));
}

TEST(IdentityModule, EachStepNeedsTheOneBefore)
{
    const Bench bench(kProfileText);
    const IdentityHost identity(bench);
    EXPECT_EQ(identity.Ask(kSelect), kNotSelected);
    EXPECT_EQ(identity.Ask(kRead), kNotRead);
    EXPECT_EQ(identity.Ask(kFind), kFound);
    EXPECT_EQ(identity.Ask(kRead), kNotRead);
    EXPECT_EQ(identity.Ask(kReadWithFingerprint), kNotRead);
    EXPECT_EQ(identity.Ask(kSelect), kSelected);
    EXPECT_EQ(identity.Ask(kReset), kDone);
    EXPECT_EQ(identity.Ask(kRead), kNotRead) << "a reset forgets the card";
    EXPECT_EQ(identity.Ask(kSelect), kNotSelected);
    EXPECT_EQ(identity.Ask(kFind), kFound);
    EXPECT_EQ(identity.Ask(kSelect), kSelected);
    EXPECT_EQ(identity.Ask(kFind), kFound);
    EXPECT_EQ(identity.Ask(kRead), kNotRead) << "a find begins anew";
}

TEST(IdentityModule, CardPutDownAndTakenAway)
{
    const Bench bench(kProfileText);
    const IdentityHost identity(bench);
    EXPECT_EQ(identity.Ask(kFind), kFound);
    EXPECT_EQ(identity.Ask(kSelect), kSelected);
    EXPECT_EQ(bench.Control("remove identity"), "ok");
    EXPECT_EQ(identity.Ask(kRead), kNotRead);
    EXPECT_EQ(identity.Ask(kFind), kNotFound);
    EXPECT_EQ(identity.Ask(kSelect), kNotSelected);
    EXPECT_EQ(identity.Ask(kReset), kDone) << "a reset needs no card";
    EXPECT_EQ(bench.Control("insert identity zeros"), "ok");
    EXPECT_EQ(identity.Ask(kRead), kNotRead) << "not the card that was selected";
    EXPECT_EQ(identity.Ask(kFind), kFound);
    EXPECT_EQ(identity.Ask(kSelect), kSelected);
    EXPECT_EQ(bench.Control("swap identity test"), "ok");
    EXPECT_EQ(identity.Ask(kRead), kNotRead);
    EXPECT_THAT(bench.Trace(), HasSubstr("card \"zeros\" put down, identity"));
    EXPECT_THAT(bench.Trace(), HasSubstr("card \"test\" taken away, identity"));
}

TEST(IdentityModule, ControlWordsThatAreWrongAreRefused)
{
    const Bench bench(kProfileText);
    EXPECT_EQ(bench.Control("insert identity zeros"),
              "error: identity holds \"test\"; remove it or use swap");
    EXPECT_EQ(bench.Control("swap identity nobody"), "error: no card \"nobody\" in identityCards");
    EXPECT_EQ(bench.Control("swap identity"), "error: which card?");
    EXPECT_EQ(bench.Control("remove identity test"), "error: nothing may follow the place");
    EXPECT_EQ(bench.Control("swap identity {"), "error: the card's description is no JSON");
    EXPECT_EQ(bench.Control("swap identity {\"kind\": \"visa\"}"),
              "error: kind: expected resident, gat or foreign, found \"visa\"");
    EXPECT_THAT(bench.Control("info"),
                HasSubstr(R"("identity":{"baud":0,"card":"test","state":""})"));
    EXPECT_EQ(bench.Control("remove identity"), "ok");
    EXPECT_EQ(bench.Control("remove identity"), "error: identity is empty");
    EXPECT_EQ(
        bench.Control(R"(insert identity {"kind": "gat", "label": "mine", "text": "fill:00"})"),
        "ok");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"card\":\"mine\""));
    EXPECT_EQ(bench.Control("cards identity"),
              "ok [\"cut\",\"flood\",\"short\",\"test\",\"zeros\"]");
}

TEST(IdentityModule, IsReachedInModeSOnly)
{
    const Bench bench(kProfileText);
    const Host host(bench.Name());
    host.Write(Text(kReset));
    EXPECT_EQ(bench.Control("wait 1"), "ok");
    EXPECT_EQ(bench.Control("sent"), "ok ");
    EXPECT_THAT(bench.Trace(), HasSubstr("id     identity reset (identity module not selected)"));
    host.Write("\033$S0" + Text(kReset));
    EXPECT_EQ(HexOf(host.ReadExactly(11)), kDone);
    host.Write("\033$B0" + Text(kReset));
    EXPECT_EQ(bench.Control("wait 5"), "ok");
    host.Write("\033$I0" + Text(kReset));
    EXPECT_EQ(bench.Control("wait 7"), "ok");
    EXPECT_EQ(bench.Control("sent"), "ok " + std::string(kDone));
}

TEST(IdentityModule, CanBeReachedAlwaysOrNever)
{
    const Bench always(kAlways);
    Host host(always.Name());
    host.Write(Text(kReset));
    EXPECT_EQ(HexOf(host.ReadExactly(11)), kDone);

    const Bench never(std::string(R"({"reader": {"identityModule": "none"}, )") + kCards + "}");
    const IdentityHost identity(never);
    identity.host.Write(Text(kReset));
    EXPECT_EQ(never.Control("wait 2"), "ok");
    EXPECT_EQ(never.Control("sent"), "ok ");
}

TEST(IdentityModule, ModeSGivesTheLineItsRateAndTheNextModeTheOldOneBack)
{
    const Bench bench(kProfileText);
    const Host host(bench.Name());
    host.Exchange("6002BB03DA\003"); // 57600
    EXPECT_EQ(bench.Control("wait 1"), "ok");
    host.Write("\033$S4");
    EXPECT_EQ(bench.Control("wait 2"), "ok");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"baud\":115200,\"beeps\""));
    host.Write("\033$S0");
    EXPECT_EQ(bench.Control("wait 3"), "ok");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"baud\":9600,\"beeps\""));
    host.Write("\033$B0");
    EXPECT_EQ(bench.Control("wait 4"), "ok");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"baud\":57600,\"beeps\""));
    host.Write("\033$I4");
    EXPECT_EQ(bench.Control("wait 5"), "ok");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"baud\":57600,\"beeps\""))
        << "the rates of modes B and I are shown only";
}

TEST(IdentityModule, RateOfModeSBeginsBehindItsAnswer)
{
    const Bench bench(std::string(R"({"reader": {"modeAnswer": "4F4B"}, )") + kCards + "}");
    const Host host(bench.Name());
    host.Write("\033$S4");
    EXPECT_EQ(host.ReadExactly(2), "OK");
    EXPECT_EQ(bench.Control("wait 1"), "ok");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"baud\":115200,\"beeps\""));
}

TEST(IdentityModule, ItsOwnRateIsKeptAndLeavesTheLineAlone)
{
    const Bench bench(kProfileText);
    const IdentityHost identity(bench);
    EXPECT_EQ(identity.Ask("AAAAAA966900036000 63"), kDone);
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"identity\":{\"baud\":115200,"));
    EXPECT_EQ(identity.Ask("AAAAAA966900036001 62"), kDone);
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"identity\":{\"baud\":57600,"));
    EXPECT_EQ(identity.Ask("AAAAAA966900036002 61"), kDone);
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"identity\":{\"baud\":38400,"));
    EXPECT_EQ(identity.Ask("AAAAAA966900036003 60"), kDone);
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"identity\":{\"baud\":19200,"));
    EXPECT_EQ(identity.Ask("AAAAAA966900036004 67"), kDone);
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"identity\":{\"baud\":9600,"));
    EXPECT_EQ(identity.Ask("AAAAAA966900036005 66"), "AAAAAA9669000400002125");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"identity\":{\"baud\":9600,"));
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"baud\":9600,\"beeps\""));
}

TEST(IdentityModule, AWrongCheckByteIsAnswered10)
{
    const Bench bench(kProfileText);
    const IdentityHost identity(bench);
    EXPECT_EQ(identity.Ask("AAAAAA9669000311FFEE"), "AAAAAA9669000400001014");
    EXPECT_EQ(identity.Ask("AAAAAA966900032001 23"), "AAAAAA9669000400001014");
    EXPECT_EQ(identity.Ask(kSelect), kNotSelected) << "the find was not carried out";
    EXPECT_THAT(bench.Trace(), HasSubstr("wrong check byte EE, not ED"));
    EXPECT_EQ(bench.Control("wait 4"), "ok") << "answered, so counted";
}

TEST(IdentityModule, AWrongLengthIsAnswered11)
{
    const Bench bench(kProfileText);
    const IdentityHost identity(bench);
    EXPECT_EQ(identity.Ask("AAAAAA96690000"), "AAAAAA9669000400001115");
    EXPECT_EQ(identity.Ask("AAAAAA9669FFFF"), "AAAAAA9669000400001115")
        << "not waited for: the line would be deaf";
    EXPECT_EQ(identity.Ask("AAAAAA966903FA"), "AAAAAA9669000400001115") << "1018";
    EXPECT_EQ(identity.Ask("AAAAAA96690004200100 25"), "AAAAAA9669000400001115")
        << "a known command with a byte too many";
    EXPECT_EQ(identity.Ask(kReset), kDone);
}

TEST(IdentityModule, UnknownCommandsAreAnswered21)
{
    const Bench bench(kProfileText);
    const IdentityHost identity(bench);
    EXPECT_EQ(identity.Ask("AAAAAA966900032003 20"), "AAAAAA9669000400002125");
    EXPECT_EQ(identity.Ask("AAAAAA9669000299 9B"), "AAAAAA9669000400002125");
    EXPECT_EQ(identity.Ask("AAAAAA9669000101"), "AAAAAA9669000400002125") << "no payload";
    EXPECT_EQ(identity.Ask("AAAAAA966903F9" + Repeated("99", 1016) + "FA"),
              "AAAAAA9669000400002125")
        << "the longest frame";
}

TEST(IdentityModule, FramesAreFoundBehindNoiseAndInPieces)
{
    const Bench bench(kProfileText);
    const IdentityHost identity(bench);
    EXPECT_EQ(identity.Ask("AA00AAAAAA" + std::string(kReset)), kDone);
    identity.host.Write(Text("AAAAAA96"));
    EXPECT_EQ(bench.Control("wait bytes 23"), "ok"); // 4 of the mode, 15, and these
    EXPECT_EQ(identity.Ask("69000311FFED"), kDone);
    identity.host.Write(Text("AAAAAA966A000311FFED"));
    EXPECT_EQ(identity.Ask(kReset), kDone) << "another mark is no frame";
    EXPECT_EQ(bench.Control("wait 4"), "ok");
}

TEST(IdentityModule, ResetOfTheReaderEndsItsMode)
{
    const Bench bench(kProfileText);
    const IdentityHost identity(bench);
    identity.Ask(kFind);
    identity.host.Write("\033S\033$S0");
    EXPECT_EQ(identity.Ask(kSelect), kNotSelected);
}

TEST(IdentityStatus, IsSetForAPrefixAndACount)
{
    const Bench bench(kProfileText);
    const IdentityHost identity(bench);
    EXPECT_EQ(bench.Control("card identity status 2001 000080 2"), "ok");
    EXPECT_EQ(identity.Ask(kReset), kDone);
    EXPECT_EQ(identity.Ask(kFind), kNotFound);
    EXPECT_EQ(identity.Ask(kFind), kNotFound);
    EXPECT_EQ(identity.Ask(kSelect), kNotSelected) << "the finds were not carried out";
    EXPECT_EQ(identity.Ask(kFind), kFound);
    EXPECT_EQ(bench.Control("card identity status - 000066"), "ok");
    EXPECT_EQ(identity.Ask(kSelect), "AAAAAA9669000400006662");
    EXPECT_EQ(identity.Ask(kSelect), kSelected);
    EXPECT_THAT(bench.Trace(), HasSubstr("000066 set for this command"));
}

TEST(IdentityStatus, LastsForEverWithCountZeroAndUntilClear)
{
    const Bench bench(kProfileText);
    const IdentityHost identity(bench);
    EXPECT_EQ(bench.Control("card identity status 11 000060 0"), "ok");
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(identity.Ask(kReset), "AAAAAA9669000400006064");
    EXPECT_EQ(bench.Control("card identity status clear"), "ok");
    EXPECT_EQ(identity.Ask(kReset), kDone);
}

TEST(IdentityStatus, WrongOnesAreRefused)
{
    const Bench bench(kProfileText);
    for (const char *line : {"card identity", "card identity status", "card identity status 20",
                             "card identity status 20 0080", "card identity status 20 00008000",
                             "card identity status 2 000080", "card identity status 20 000080 x",
                             "card identity status 20 000080 1 1", "card identity state 20 000080",
                             "card identity status clear now"})
        EXPECT_THAT(bench.Control(line), StartsWith("error: expected card identity status"))
            << line;
}

TEST(IdentityFaults, FitTheModulesFrames)
{
    const Bench bench(kProfileText);
    const IdentityHost identity(bench);
    bench.Control("fault check");
    EXPECT_EQ(identity.Ask(kReset), "AAAAAA966900040000906B");
    bench.Control("fault status 00003301");
    EXPECT_EQ(identity.Ask(kReset), "AAAAAA9669000500003301"
                                    "37");
    bench.Control("fault truncate");
    identity.host.Write(Text(kReset));
    EXPECT_EQ(HexOf(identity.host.ReadExactly(10)), "AAAAAA96690004000090");
    bench.Control("fault raw AAAAAA");
    identity.host.Write(Text(kReset));
    EXPECT_EQ(HexOf(identity.host.ReadExactly(3)), "AAAAAA");
    EXPECT_EQ(identity.Ask(kReset), kDone);
}

TEST(HostileIdentity, SpoilsTheCommandsItNamesAndNoOthers)
{
    const Bench bench(kProfileText);
    const IdentityHost identity(bench);
    bench.Control("swap identity cut");
    EXPECT_EQ(identity.Ask(kFind), kFound);
    identity.host.Write(Text(kSelect));
    EXPECT_EQ(HexOf(identity.host.ReadExactly(9)), "AAAAAA9669000C0000");
    EXPECT_EQ(identity.Ask(kReset), kDone);
    EXPECT_THAT(bench.Trace(), HasSubstr("spoiled by the card: cut"));
}

TEST(HostileIdentity, FloodsInsteadOfAnswering)
{
    const Bench bench(kProfileText);
    const IdentityHost identity(bench);
    bench.Control("swap identity flood");
    identity.host.Write(Text(kReset));
    const std::string flood = identity.host.ReadExactly(65536);
    EXPECT_EQ(flood, std::string(65536, '\xAA'));
    bench.Control("swap identity short");
    EXPECT_EQ(identity.Ask(kFind), kFound);
    identity.Ask(kSelect);
    EXPECT_EQ(identity.Ask(kRead), "AAAAAA96690006"
                                   "000090"
                                   "0100"
                                   "97")
        << "a record cut short";
}

TEST(IdentityTrace, TellsWhatWasReadAndOfWhichCard)
{
    const Bench bench(kProfileText);
    const IdentityHost identity(bench);
    identity.Ask(kFind);
    identity.Ask(kSelect);
    identity.Ask(kRead);
    const std::string trace = bench.Trace();
    EXPECT_THAT(trace, HasSubstr("id     identity find "));
    EXPECT_THAT(trace, HasSubstr("id     identity select "));
    EXPECT_THAT(trace, HasSubstr("id     identity read "));
    EXPECT_THAT(trace, HasSubstr("record of 1284 bytes"));
}

TEST(IdentityProfile, BuiltInOnesHaveTheCardsTheGuideNames)
{
    vreader::ReaderOptions options;
    options.profile = "identity-cards";
    const Bench bench(options);
    const IdentityHost identity(bench);
    for (const char *card : {"resident",
                             "resident-check-x",
                             "resident-long-term",
                             "resident-minority",
                             "resident-long-address",
                             "resident-full-width",
                             "resident-no-fingerprint",
                             "resident-no-photo",
                             "resident-odd-codes",
                             "resident-wrong-number",
                             "resident-type-x",
                             "gat-hong-kong",
                             "gat-macau",
                             "gat-taiwan",
                             "foreign",
                             "foreign-full-width",
                             "foreign-no-chinese-name",
                             "foreign-unknown-nationality",
                             "foreign-blank-nationality",
                             "foreign-empty-nationality"})
    {
        EXPECT_EQ(bench.Control(std::string("swap identity ") + card), "ok");
        EXPECT_EQ(identity.Ask(kFind), kFound) << card;
        EXPECT_EQ(identity.Ask(kSelect), kSelected) << card;
        EXPECT_THAT(identity.Ask(kReadWithFingerprint),
                    testing::MatchesRegex("AAAAAA96690[569][0-9A-F]*00009001000[04]000[04]00.*"))
            << card;
    }
}
