// Commands for the reader itself, byte by byte.
#include "vreader/bench.h"

using namespace vreader_test;
using testing::HasSubstr;

TEST(DeviceInformation, KrelAnswersStatusAndText)
{
    const Bench bench;
    // 60 length 81 00 check, in hexadecimal text, and 03.
    EXPECT_EQ(Host(bench.Name()).Exchange("60028100E3\003"), "60090052454144455220377B\003");
}

TEST(DeviceInformation, UnionAnswersTwoStatusBytesAndText)
{
    const Bench bench;
    EXPECT_EQ(Host(bench.Name()).Exchange("\002000331110020\003"),
              "\002000:0000524541444552203712\003");
}

TEST(DeviceInformation, RecordFormHasItsTextBehindByte18OfTheUnionAnswer)
{
    const Bench bench(R"({"reader": {"information": "READER 7", "serial": "0123456789ABCDEF",
                                     "informationForm": "record"}})");
    const Host host(bench.Name());
    // 00 00, 06 10, fourteen bytes to skip, a length that counts itself, the text.
    EXPECT_EQ(host.Exchange("\002000331110020\003"),
              "\002001;00000610303132333435363738394142434409524541444552203708\003");
    EXPECT_EQ(host.Exchange("60028100E3\003"), "60090052454144455220377B\003")
        << "Krel knows one form only";
}

TEST(DeviceRecord, HoldsTheSerialNumberAtBytes32To63)
{
    const Bench bench;
    EXPECT_EQ(Host(bench.Name()).Exchange("6001F190\003"),
              "6041005245414445522037000000000000000000000000000000000000000000000000534E3030303100"
              "000000000000000000000000000000000000000000000000002F\003");
}

TEST(DeviceRecord, SerialNumberCanBeWrittenAndReadBack)
{
    const Bench bench;
    const Host host(bench.Name());
    EXPECT_EQ(host.Exchange(
                  "6021F25858585858585858585858585858585858585858585858585858585858585859B2\003"),
              "60010061\003");
    EXPECT_EQ(host.Exchange("6001F190\003"),
              "604100524541444552203700000000000000000000000000000000000000000000000058585858585858"
              "5858585858585858585858585858585858585858585858585932\003");
    EXPECT_THAT(bench.Control("info"),
                HasSubstr("\"serial\":\"XXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXY\""));
}

TEST(DeviceRecord, SerialNumberOfAnotherSizeIsRefused)
{
    const Bench bench;
    const Host host(bench.Name());
    EXPECT_EQ(host.Exchange("6004F2585858CE\003"), "6001A1C0\003");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"serial\":\"SN0001\""));
}

TEST(DeviceRecord, SerialNumberOfArbitraryBytesIsShownAllTheSame)
{
    const Bench bench;
    EXPECT_EQ(
        Host(bench.Name())
            .Exchange(
                "6021F2FFFE80FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFCD\003"),
        "60010061\003");
    EXPECT_THAT(bench.Control("info"), testing::StartsWith("ok {"));
}

TEST(Beep, IsAnsweredCountedAndTraced)
{
    const Bench bench;
    EXPECT_EQ(Host(bench.Name()).Exchange("\0020005311309010228\003"), "\0020002000000\003");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"beeps\":1"));
    EXPECT_THAT(bench.Trace(), HasSubstr("union  beep 9 1 2 "));
}

TEST(Baud, EveryCodeIsAnsweredAndTakesEffect)
{
    const Bench bench;
    const Host host(bench.Name());
    EXPECT_EQ(host.Exchange("6002BB04DD\003"), "60010061\003");
    bench.Control("wait 1");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"baud\":115200,"));
    EXPECT_EQ(host.Exchange("\00200043001000332\003"), "\0020002000000\003");
    bench.Control("wait 2");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"baud\":57600,"));
    host.Exchange("6002BB02DB\003");
    bench.Control("wait 3");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"baud\":38400,"));
    host.Exchange("6002BB01D8\003");
    bench.Control("wait 4");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"baud\":19200,"));
    host.Exchange("\00200043001000031\003");
    bench.Control("wait 5");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"baud\":9600,"));
    EXPECT_THAT(bench.Trace(), HasSubstr("krel   baud 115200 "));
}

TEST(Baud, OtherCodesAreRefusedAndChangeNothing)
{
    const Bench bench;
    const Host host(bench.Name());
    EXPECT_EQ(host.Exchange("6002BB05DC\003"), "6001A2C3\003");
    EXPECT_EQ(host.Exchange("\00200043001000534\003"), "\0020002100111\003");
    EXPECT_EQ(host.Exchange("\0020004300100?\?<>\003"), "\0020002100111\003");
    bench.Control("wait 3");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"baud\":9600,"));
    EXPECT_THAT(bench.Trace(), HasSubstr("baud code 5 "));
}

TEST(Baud, ADifferentSpeedOfTheHostIsRemarkedOnce)
{
    const Bench bench;
    const Host host(bench.Name());
    host.Exchange("6002BB04DD\003");
    host.Exchange("60028100E3\003");
    host.Exchange("60028100E3\003");
    const std::string trace = bench.Trace();
    const std::string remark = "the host's line runs at 9600 baud, the reader's at 115200";
    EXPECT_THAT(trace, HasSubstr(remark));
    EXPECT_EQ(trace.find(remark), trace.rfind(remark));
}

TEST(DeviceReset, PowersCardsOffAndReturnsToTheDefaultSpeed)
{
    const Bench bench;
    const Host host(bench.Name());
    host.Exchange("6002BB04DD\003");
    host.Exchange("6002E10182\003");
    EXPECT_EQ(host.Exchange("\0020006?800::;;5544?8\003"), "\0020002000000\003");
    bench.Control("wait 3");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"baud\":9600,"));
    EXPECT_EQ(host.Exchange("6007E30100B2010C003A\003"), "6001A2C3\003")
        << "the card is without power";
}

TEST(DeviceReset, NeedsItsWholeKey)
{
    const Bench bench;
    EXPECT_EQ(Host(bench.Name()).Exchange("\0020006?800::;;5545?9\003"), "\0020002100919\003");
}

TEST(UnknownCommand, IsAnsweredWithAFailureAndReported)
{
    const Bench bench;
    const Host host(bench.Name());
    EXPECT_EQ(host.Exchange("6002550136\003"), "6001A1C0\003");
    EXPECT_EQ(host.Exchange("\00200023399::\003"), "\0020002100919\003");
    EXPECT_EQ(host.Exchange("60028101E2\003"), "6001A1C0\003") << "no such device command";
    EXPECT_EQ(host.Exchange("600060\003"), "6001A1C0\003") << "a command of no bytes";
    EXPECT_EQ(host.Exchange("\002000000\003"), "\0020002100919\003");
    EXPECT_THAT(bench.Trace(), HasSubstr("krel   unknown command"));
    EXPECT_THAT(bench.Trace(), HasSubstr("A1 unknown command"));
    EXPECT_THAT(bench.Trace(), HasSubstr("1009 unknown command"));
}

TEST(UnknownCommand, CommandsOfTheOtherFramingAreUnknown)
{
    const Bench bench;
    const Host host(bench.Name());
    EXPECT_EQ(host.Exchange("\0020002>101>0\003"), "\0020002100919\003");
    EXPECT_EQ(host.Exchange("6005322200000075\003"), "6001A1C0\003");
    EXPECT_EQ(host.Exchange("600531130901014E\003"), "6001A1C0\003")
        << "the buzzer has no Krel command";
    EXPECT_EQ(host.Exchange("\0020001?1?1\003"), "\0020002100919\003")
        << "the record has no Union command";
}

TEST(UnknownCommand, AKnownCommandOfAnotherLengthFails)
{
    const Bench bench;
    const Host host(bench.Name());
    EXPECT_EQ(host.Exchange("6001E180\003"), "6001A1C0\003");
    EXPECT_EQ(host.Exchange("6003E1010182\003"), "6001A1C0\003");
    EXPECT_EQ(host.Exchange("6001BBDA\003"), "6001A1C0\003");
    EXPECT_EQ(host.Exchange("\0020004311309012:\003"), "\0020002100919\003");
    EXPECT_EQ(host.Exchange("\00200043222000010\003"), "\0020002100919\003");
    EXPECT_EQ(host.Exchange("\0020002322113\003"), "\0020002100919\003");
    EXPECT_THAT(bench.Trace(), HasSubstr("of wrong length"));
}

TEST(EscapeSequence, PassThroughPortIsSelectedAndDeselected)
{
    const Bench bench;
    const Host host(bench.Name());
    host.Write("\033%Y");
    bench.Control("wait 1");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"port\":\"Y\""));
    host.Write("\033%1");
    bench.Control("wait 2");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"port\":\"1\""));
    host.Write("\033%A");
    bench.Control("wait 3");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"port\":\"\""));
    EXPECT_EQ(bench.Control("sent"), "ok ");
    EXPECT_THAT(bench.Trace(), HasSubstr("esc    select pass-through port 'Y'"));
    EXPECT_THAT(bench.Trace(), HasSubstr("esc    deselect pass-through port"));
}

TEST(EscapeSequence, PortsOutsideOneToUpperYAreNoSequence)
{
    const Bench bench;
    const Host host(bench.Name());
    host.Write("\033%0\033%Z");
    host.Exchange("60028100E3\003");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"port\":\"\""));
    EXPECT_THAT(bench.Trace(), HasSubstr("6 bytes that are no command"));
}

TEST(EscapeSequence, ModeIsSetAndNotAnsweredOnATerminal)
{
    const Bench bench;
    const Host host(bench.Name());
    host.Write("\033$B0\033$I4");
    EXPECT_EQ(bench.Control("wait 2"), "ok");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"mode\":\"I\""));
    host.Write("\033$S4");
    EXPECT_EQ(bench.Control("wait 3"), "ok");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"mode\":\"S\""));
    EXPECT_EQ(bench.Control("sent"), "ok ");
    EXPECT_THAT(bench.Trace(), HasSubstr("esc    mode S, rate code 4"));
}

TEST(EscapeSequence, ModeAnswerIsTheProfiles)
{
    const Bench bench(R"({"reader": {"modeAnswer": "0D0A"}})");
    const Host host(bench.Name());
    host.Write("\033$B0");
    EXPECT_EQ(host.ReadExactly(2), "\r\n");
}

TEST(EscapeSequence, OtherModesAndRatesAreNoSequence)
{
    const Bench bench;
    const Host host(bench.Name());
    host.Write("\033$X0");
    host.Write("\033$B1");
    host.Exchange("60028100E3\003");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"mode\":\"\""));
}

TEST(EscapeSequence, ResetPowersCardsOffAndReturnsToTheDefaultSpeedUnanswered)
{
    const Bench bench;
    const Host host(bench.Name());
    host.Exchange("6002E10182\003");
    host.Exchange("6002BB04DD\003");
    bench.Control("wait 2");
    bench.Control("sent clear");
    host.Write("\033%2\033S");
    bench.Control("wait 4");
    EXPECT_EQ(bench.Control("sent"), "ok ");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"baud\":9600,"));
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"port\":\"\""));
    EXPECT_EQ(host.Exchange("6007E30100B2010C003A\003"), "6001A2C3\003");
    EXPECT_THAT(bench.Trace(), HasSubstr("esc    reset"));
}

TEST(EscapeSequence, UnknownOneIsReportedAndUnanswered)
{
    const Bench bench;
    const Host host(bench.Name());
    host.Write("\033Q");
    bench.Control("wait 1");
    EXPECT_EQ(bench.Control("sent"), "ok ");
    EXPECT_THAT(bench.Trace(), HasSubstr("unknown escape sequence"));
}
