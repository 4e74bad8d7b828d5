// Cards through the IC module, byte by byte, in both framings.
#include "vreader/bench.h"

using namespace vreader_test;
using testing::HasSubstr;

TEST(ContactCard, PowerOnApduAndPowerOffInKrel)
{
    const Bench bench;
    const Host host(bench.Name());
    EXPECT_EQ(host.Exchange("6002E10182\003"), "6005003B02145018\003");
    EXPECT_EQ(host.Exchange("6007E30100B2010C003A\003"), "60080070039F1F0090000B\003");
    EXPECT_EQ(host.Exchange("6007E30180CA9F360066\003"), "6003006A8881\003");
    EXPECT_EQ(host.Exchange("6002E20181\003"), "60010061\003");
}

TEST(ContactCard, PowerOnApduAndPowerOffInUnion)
{
    const Bench bench;
    const Host host(bench.Name());
    EXPECT_EQ(host.Exchange("\0020005322200000010\003"), "\002000600003;0214507=\003");
    EXPECT_EQ(host.Exchange("\002000832260000;2010<00:;\003"), "\0020009000070039?1?00900063\003");
    EXPECT_EQ(host.Exchange("\002000332230011\003"), "\0020002000000\003");
}

TEST(ContactlessCard, PowerOnApduAndPowerOffInKrel)
{
    const Bench bench;
    const Host host(bench.Name());
    EXPECT_EQ(host.Exchange("6001D1B0\003"), "6004003B8001DE\003");
    EXPECT_EQ(host.Exchange("6006D300B201140012\003"), "6005007700900082\003");
    EXPECT_EQ(host.Exchange("6001D2B3\003"), "60010061\003");
}

TEST(ContactlessCard, PowerOnApduAndPowerOffInUnion)
{
    const Bench bench;
    const Host host(bench.Name());
    EXPECT_EQ(host.Exchange("\00200043224000016\003"), "\002000500003;8001;:\003");
    EXPECT_EQ(host.Exchange("\00200083226?\?00;20114004<\003"), "\0020006000077009000>7\003");
    EXPECT_EQ(host.Exchange("\00200043225000017\003"), "\0020002000000\003");
}

TEST(BothCards, ArePoweredSideBySide)
{
    const Bench bench;
    const Host host(bench.Name());
    host.Exchange("6002E10182\003");
    host.Exchange("6001D1B0\003");
    EXPECT_EQ(host.Exchange("6007E30100B2010C003A\003"), "60080070039F1F0090000B\003");
    EXPECT_EQ(host.Exchange("6006D300B201140012\003"), "6005007700900082\003");
}

TEST(MissingContactCard, HasTheNoCardStatusOfEachFraming)
{
    const Bench bench;
    const Host host(bench.Name());
    ASSERT_EQ(bench.Control("remove contact"), "ok");
    EXPECT_EQ(host.Exchange("6002E10182\003"), "6001FB9A\003");
    EXPECT_EQ(host.Exchange("6007E30100B2010C003A\003"), "6001FB9A\003");
    EXPECT_EQ(host.Exchange("6002E20181\003"), "6001FB9A\003");
    EXPECT_EQ(host.Exchange("\0020005322200000010\003"), "\0020002100212\003");
    EXPECT_EQ(host.Exchange("\002000832260000;2010<00:;\003"), "\0020002100212\003");
    EXPECT_EQ(host.Exchange("\002000332230011\003"), "\0020002100111\003");
    EXPECT_THAT(bench.Trace(), HasSubstr("FB no card"));
    EXPECT_THAT(bench.Trace(), HasSubstr("1002 no card"));
}

TEST(MissingContactlessCard, HasTheNoCardStatusOfEachFraming)
{
    const Bench bench;
    const Host host(bench.Name());
    ASSERT_EQ(bench.Control("remove contactless"), "ok");
    EXPECT_EQ(host.Exchange("6001D1B0\003"), "6001FB9A\003");
    EXPECT_EQ(host.Exchange("6006D300B201140012\003"), "6001FB9A\003");
    EXPECT_EQ(host.Exchange("6001D2B3\003"), "6001FB9A\003");
    EXPECT_EQ(host.Exchange("\00200043224000016\003"), "\0020002300535\003");
    EXPECT_EQ(host.Exchange("\00200083226?\?00;20114004<\003"), "\0020002300636\003");
    EXPECT_EQ(host.Exchange("\00200043225000017\003"), "\0020002300636\003");
}

TEST(UnpoweredCard, HasTheNotPoweredStatusOfEachFraming)
{
    const Bench bench;
    const Host host(bench.Name());
    EXPECT_EQ(host.Exchange("6007E30100B2010C003A\003"), "6001A2C3\003");
    EXPECT_EQ(host.Exchange("\002000832260000;2010<00:;\003"), "\0020002100414\003");
    EXPECT_EQ(host.Exchange("6006D300B201140012\003"), "6001A2C3\003");
    EXPECT_EQ(host.Exchange("\00200083226?\?00;20114004<\003"), "\0020002300434\003");
    EXPECT_EQ(host.Exchange("6001D2B3\003"), "6001A2C3\003") << "nothing on the antenna was active";
    EXPECT_EQ(host.Exchange("\00200043225000017\003"), "\0020002300434\003");
    EXPECT_EQ(host.Exchange("6002E20181\003"), "60010061\003")
        << "a contact card may be powered off twice";
    EXPECT_EQ(host.Exchange("\002000332230011\003"), "\0020002000000\003");
    EXPECT_THAT(bench.Trace(), HasSubstr("1004 card not powered"));
}

TEST(CardTakenOutUnderPower, HasAStatusOfItsOwnUntilTheNextPowerOn)
{
    const Bench bench;
    const Host host(bench.Name());
    host.Exchange("\0020005322200000010\003");
    host.Exchange("\00200043224000016\003");
    bench.Control("remove contact");
    bench.Control("remove contactless");
    EXPECT_EQ(host.Exchange("\002000832260000;2010<00:;\003"), "\0020002100616\003");
    EXPECT_EQ(host.Exchange("6007E30100B2010C003A\003"), "6001FB9A\003");
    EXPECT_EQ(host.Exchange("\00200083226?\?00;20114004<\003"), "\0020002300636\003");
    bench.Control("insert contact plain");
    EXPECT_EQ(host.Exchange("\002000832260000;2010<00:;\003"), "\0020002100616\003")
        << "another card is no comfort";
    EXPECT_EQ(host.Exchange("\0020005322200000010\003"), "\002000600003;0214507=\003");
    EXPECT_EQ(host.Exchange("\002000832260000;2010<00:;\003"), "\0020009000070039?1?00900063\003");
}

TEST(SwappedCard, IsNotPowered)
{
    const Bench bench;
    const Host host(bench.Name());
    host.Exchange("6002E10182\003");
    EXPECT_EQ(bench.Control("swap contact other"), "ok");
    EXPECT_EQ(host.Exchange("\002000832260000;2010<00:;\003"), "\0020002100616\003");
    EXPECT_EQ(host.Exchange("6002E10182\003"), "6003003B0058\003");
    EXPECT_EQ(host.Exchange("6007E30100B2010C003A\003"), "6005007000900085\003");
}

TEST(MuteCard, FailsAtPowerOn)
{
    const Bench bench(R"({"cards": {"mute": {"kind": "transcript", "atr": "", "exchanges": []}},
                          "contact": "mute", "contactless": "mute"})");
    const Host host(bench.Name());
    EXPECT_EQ(host.Exchange("6002E10182\003"), "6001A2C3\003");
    EXPECT_EQ(host.Exchange("\0020005322200000010\003"), "\0020002100515\003");
    EXPECT_EQ(host.Exchange("6001D1B0\003"), "6001A2C3\003");
    EXPECT_EQ(host.Exchange("\00200043224000016\003"), "\0020002300838\003");
}

TEST(MuteCard, FailsAtTheApduItDoesNotAnswer)
{
    const Bench bench(R"({"cards": {"mute": {"kind": "transcript", "atr": "3B00",
                            "exchanges": [{"cmd": "00B2010C00", "rsp": ""}]}},
                          "contact": "mute", "contactless": "mute"})");
    const Host host(bench.Name());
    host.Exchange("6002E10182\003");
    host.Exchange("6001D1B0\003");
    EXPECT_EQ(host.Exchange("6007E30100B2010C003A\003"), "6001A2C3\003");
    EXPECT_EQ(host.Exchange("\002000832260000;2010<00:;\003"), "\0020002100717\003");
    EXPECT_EQ(host.Exchange("6006D300B2010C000A\003"), "6001A2C3\003");
    EXPECT_EQ(host.Exchange("\00200083226?\?00;2010<0054\003"), "\0020002300737\003");
}

TEST(Apdu, OfFewerThanFourBytesIsRefused)
{
    const Bench bench;
    const Host host(bench.Name());
    host.Exchange("6002E10182\003");
    host.Exchange("6001D1B0\003");
    EXPECT_EQ(host.Exchange("6002E30180\003"), "6001A2C3\003");
    EXPECT_EQ(host.Exchange("6005E30100B20134\003"), "6001A2C3\003");
    EXPECT_EQ(host.Exchange("\002000632260000;201:7\003"), "\0020002100111\003");
    EXPECT_EQ(host.Exchange("\00200033226?\?>;\003"), "\0020002300131\003");
    EXPECT_EQ(host.Exchange("6001E382\003"), "6001A1C0\003") << "not even a slot";
}

TEST(Apdu, UnrecordedCommandIsReportedInTheTrace)
{
    const Bench bench;
    const Host host(bench.Name());
    host.Exchange("6002E10182\003");
    EXPECT_EQ(host.Exchange("6007E30100B2020C0039\003"), "6003006A828B\003");
    EXPECT_THAT(bench.Trace(), HasSubstr("(not in the recording)"));
}

TEST(Slot, EachHasACardOfItsOwn)
{
    const Bench bench(R"({"cards": {
        "a": {"kind": "transcript", "atr": "3B0A", "exchanges": []},
        "b": {"kind": "transcript", "atr": "3B0B", "exchanges": []},
        "c": {"kind": "transcript", "atr": "3B0C", "exchanges": []},
        "d": {"kind": "transcript", "atr": "3B0D", "exchanges": []}},
        "contact": {"0": "a", "15": "b", "16": "c", "31": "d"}})");
    const Host host(bench.Name());
    EXPECT_EQ(host.Exchange("6002E10182\003"), "6003003B0A52\003");
    EXPECT_EQ(host.Exchange("6002E11093\003"), "6003003B0B53\003");
    EXPECT_EQ(host.Exchange("6002E10083\003"), "6003003B0C54\003") << "Krel byte 00 is slot 16";
    EXPECT_EQ(host.Exchange("6002E11291\003"), "6003003B0D55\003") << "Krel byte 12 is slot 31";
    EXPECT_EQ(host.Exchange("\0020005322200000010\003"), "\002000400003;0:31\003");
    EXPECT_EQ(host.Exchange("\0020005322200000?1?\003"), "\002000400003;0;30\003");
    EXPECT_EQ(host.Exchange("\0020005322200001000\003"), "\002000400003;0<37\003");
    EXPECT_EQ(host.Exchange("\0020005322200001?0?\003"), "\002000400003;0=36\003");
    EXPECT_EQ(host.Exchange("6002E10281\003"), "6001FB9A\003");
    EXPECT_EQ(host.Exchange("\0020005322200000111\003"), "\0020002100212\003");
    EXPECT_EQ(host.Exchange("\0020005322200002838\003"), "\0020002100212\003")
        << "slot 40 holds no card";
    EXPECT_EQ(host.Exchange("6002E1FF7C\003"), "6001FB9A\003");
    EXPECT_THAT(bench.Trace(), HasSubstr("IC power on slot 16 "));
}

TEST(Slot, OfPowerOffAndApduCounts)
{
    const Bench bench;
    const Host host(bench.Name());
    bench.Control("insert contact 2 other");
    EXPECT_EQ(host.Exchange("6002E10380\003"), "6003003B0058\003");
    EXPECT_EQ(host.Exchange("6007E30300B2010C0038\003"), "6005007000900085\003");
    EXPECT_EQ(host.Exchange("\002000832260200;2010<00:9\003"), "\0020006000070009000>0\003");
    EXPECT_EQ(host.Exchange("\002000332230213\003"), "\0020002000000\003");
    EXPECT_EQ(host.Exchange("6007E30300B2010C0038\003"), "6001A2C3\003");
    EXPECT_THAT(bench.Trace(), HasSubstr("APDU READ RECORD 1 SFI 1, slot 2"));
}

TEST(CardDetect, TellsContactAndContactlessApart)
{
    const Bench bench;
    const Host host(bench.Name());
    EXPECT_EQ(host.Exchange("\00200033221?\?><\003"), "\00200040000111203\003");
    host.Exchange("\0020005322200000010\003");
    EXPECT_EQ(host.Exchange("\00200033221?\?><\003"), "\00200040000121200\003");
    bench.Control("remove contact");
    EXPECT_EQ(host.Exchange("\00200033221?\?><\003"), "\00200040000001212\003");
    bench.Control("remove contactless");
    EXPECT_EQ(host.Exchange("\00200033221?\?><\003"), "\00200040000000000\003");
    bench.Control("insert contact 5 plain");
    EXPECT_EQ(host.Exchange("\00200033221?\?><\003"), "\00200040000110011\003");
    EXPECT_THAT(bench.Trace(), HasSubstr("contact card under power, contactless card"));
    EXPECT_THAT(bench.Trace(), HasSubstr("no contact card, no contactless card"));
}

namespace
{

// A card with one answer of `size` bytes: 5A until the status word.
std::string ProfileWithAnswer(size_t size)
{
    std::string answer;
    for (size_t i = 2; i < size; ++i)
        answer += "5A";
    return R"({"cards": {"long": {"kind": "transcript", "atr": "3B00", "exchanges": [
               {"cmd": "00B0000000", "rsp": ")" +
           answer + R"(9000"}]}}, "contact": "long"})";
}

std::string Repeated(const std::string &text, size_t count)
{
    std::string all;
    for (size_t i = 0; i < count; ++i)
        all += text;
    return all;
}

} // namespace

TEST(LongAnswer, UpTo254PayloadBytesTravelInTheShortKrelForm)
{
    const Bench bench(ProfileWithAnswer(253));
    const Host host(bench.Name());
    host.Exchange("6002E10182\003");
    EXPECT_EQ(host.Exchange("6007E30100B000000035\003"),
              "60FE00" + Repeated("5A", 251) + "900054\003");
}

TEST(LongAnswer, From255PayloadBytesTheStatusGivesItsPlaceToTheLength)
{
    const Bench bench(ProfileWithAnswer(254));
    const Host host(bench.Name());
    host.Exchange("6002E10182\003");
    EXPECT_EQ(host.Exchange("6007E30100B000000035\003"),
              "60FFB0" + Repeated("5A", 252) + "9000BF\003");
}

TEST(LongAnswer, OfMoreThan334PayloadBytesFailsInKrel)
{
    {
        const Bench bench(ProfileWithAnswer(333));
        const Host host(bench.Name());
        host.Exchange("6002E10182\003");
        EXPECT_EQ(host.Exchange("6007E30100B000000035\003"),
                  "60FFFF" + Repeated("5A", 331) + "9000AA\003");
    }
    const Bench bench(ProfileWithAnswer(334));
    const Host host(bench.Name());
    host.Exchange("6002E10182\003");
    EXPECT_EQ(host.Exchange("6007E30100B000000035\003"), "6001A2C3\003");
    EXPECT_THAT(bench.Trace(), HasSubstr("A2 answer too long for this framing"));
}

TEST(LongAnswer, TravelsWholeInUnion)
{
    const Bench bench(ProfileWithAnswer(1000));
    const Host host(bench.Name());
    host.Exchange("\0020005322200000010\003");
    const std::string answer = host.Exchange("\002000832260000;0000000:4\003");
    // 03EA = 1002 payload bytes: 00 00, 998 times 5A, 90 00; an even number of 5A leaves 90.
    EXPECT_EQ(answer, "\002"
                      "03>:0000" +
                          Repeated("5:", 998) +
                          "9000"
                          "90\003");
}

TEST(LongCommand, OfTheLargestUnionSizeIsTaken)
{
    const Bench bench;
    const Host host(bench.Name());
    // 2045 = 07FD bytes of 00: an unknown command, but a command.
    host.Write("\002"
               "07?=" +
               Repeated("00", 2045) + "00\003");
    EXPECT_EQ(host.ReadUntil('\003'), "\0020002100919\003");
    host.Write("\002"
               "07?>" +
               Repeated("00", 2046) + "00\003");
    EXPECT_EQ(host.Exchange("6002550136\003"), "6001A1C0\003");
    EXPECT_EQ(bench.Control("wait 2"), "ok");
    EXPECT_EQ(bench.Control("exchanges"), "ok 2") << "one byte more is no command";
}
