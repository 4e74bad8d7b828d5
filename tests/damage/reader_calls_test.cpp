// The business calls on the reader itself and on memory cards.
#include <cstring>

#include "damage/bench/bench.h"
#include "vantor/business.h"
#include "vantor/memory_cards.h"

using namespace damage_testing;
using testing_support::KrelFrame;
using testing_support::UnionFrame;

namespace
{

constexpr uint32_t kLimitMs = 3000;
constexpr uint32_t kCloseMs = 200; // BO_Close waits for a read to see that it is cancelled

struct Row
{
    const char *command;
    const char *answer;
};

void Damage(const char *name, int framing, const std::vector<Row> &rows,
            const std::function<int(Outputs *)> &call, int result = 0, uint32_t limitMs = kLimitMs)
{
    const auto frame = framing == 1 ? UnionFrame : KrelFrame;
    Subject subject;
    subject.name = name;
    for (const Row &row : rows)
        subject.rows.push_back({frame(row.command), frame(row.answer)});
    subject.call = call;
    subject.result = result;
    subject.framing = framing;
    subject.limitMs = limitMs;
    DamageEveryAnswer(subject);
}

using TextCall = std::function<int(char *text, int room)>;

// A text that is given on success only.
std::function<int(Outputs *)> GivingText(size_t room, const TextCall &call)
{
    return [=](Outputs *out)
    {
        char *text = out->Text(room);
        const int result = call(text, static_cast<int>(room));
        out->UsedText(text);
        return result;
    };
}

using PowerOnCall = int (*)(int, char *, int32_t *, int);

std::function<int(Outputs *)> PoweringOn(PowerOnCall call, size_t room)
{
    return [=](Outputs *out)
    {
        char *text = out->Text(room);
        auto *length = out->Value<int32_t>(0);
        const int result = call(static_cast<int>(room), text, length, 1);
        out->Used(text, *length > 0 ? static_cast<size_t>(*length) : 0);
        return result;
    };
}

const char kBlock[] = "00112233445566778899AABBCCDDEEFF";

} // namespace

TEST(DamagedReaderCalls, Information)
{
    const auto getInfo = [](Outputs *out)
    {
        unsigned char *info = out->Bytes(256);
        auto *length = out->Value<uint32_t>(0);
        const int result = BO_GetDevInfo(0, info, length);
        out->Used(info, result == 0 ? 256 : 0); // the length is the reader's own word
        return result;
    };
    Damage("BO_GetDevInfo", 0, {{"8100", "00 5649525455414C"}}, getInfo, 0, 1000);
    Damage("BO_GetDevInfo", 1, {{"311100", "0000 5649525455414C"}}, getInfo, 0, 1000);
    const auto getSerial = [](Outputs *out)
    {
        char *serial = out->Text(33);
        auto *length = out->Value<uint32_t>(0);
        const int result = BO_GetDevSn(serial, length);
        out->Used(serial, 33);
        return result;
    };
    Damage("BO_GetDevSn", 0,
           {{"F1", "00 5245414445522056312E30000000000000000000000000000000000000000000"
                   "00 514A3230323430303031323300000000000000000000000000000000000000"}},
           getSerial, 0, 1000);
    Damage(
        "BO_CardDetect", 1, {{"3221FF", "0000 11 12"}},
        [](Outputs *out) { return BO_CardDetect(out->Value<int32_t>(0)); }, 0, 1000);
    Damage(
        "BO_Beep", 1, {{"3113010203", "0000"}}, [](Outputs *) { return BO_Beep(10, 2, 3); }, 0,
        1000);
}

TEST(DamagedReaderCalls, Connections)
{
    Subject test;
    test.name = "BO_InitConnect";
    test.rows = {{KrelFrame("8100"), KrelFrame("00 5649525455414C")}};
    test.limitMs = 500;
    test.opensTheReader = true;
    test.call = [](Outputs *out)
    {
        unsigned char *info = out->Bytes(256);
        auto *length = out->Value<uint32_t>(0);
        const int result = BO_InitConnect(3, 9600, 0, 0, 0, info, length);
        out->Used(info, result == 0 ? 256 : 0);
        BO_DisConnect();
        return result;
    };
    DamageEveryAnswer(test);

    // Reader and line move to another speed and back.
    Subject open;
    open.name = "BO_Open";
    open.rows = {{KrelFrame("BB04"), KrelFrame("00")}, {KrelFrame("BB00"), KrelFrame("00")}};
    open.limitMs = 200;
    open.opensTheReader = true;
    open.prepare = [] { SetSetting("DevBaud", 115200); };
    open.call = [](Outputs *)
    {
        const int result = BO_Open(3, 9600, 0);
        BO_Close();
        return result;
    };
    DamageEveryAnswer(open);
}

TEST(DamagedMemoryCards, PowerOn)
{
    for (size_t room : {5U, 64U})
    {
        Damage("BO_M1Powerup", 0, {{"41", "00 0400085A1B2C3D"}}, PoweringOn(BO_M1Powerup, room));
        Damage("BO_M1Powerup", 1, {{"32410000", "0000 0400085A1B2C3D"}},
               PoweringOn(BO_M1Powerup, room));
        Damage("BO_M0PowerOn", 0, {{"51", "00 04112233445566"}}, PoweringOn(BO_M0PowerOn, room));
    }
    Damage("BO_M1Powerdown", 0, {{"4B", "00"}}, [](Outputs *) { return BO_M1Powerdown(); });
    Damage("BO_M0PowerOff", 0, {{"55", "00"}}, [](Outputs *) { return BO_M0PowerOff(); });
}

TEST(DamagedMemoryCards, Reads)
{
    for (size_t room : {16U, 33U, 8193U})
    {
        Damage(
            "BO_M1ReadBlock", 0, {{"4304", "00 00112233445566778899AABBCCDDEEFF"}},
            GivingText(room, [](char *text, int size) { return BO_M1ReadBlock(4, size, text); }));
        Damage(
            "BO_M1ReadBlock", 1, {{"324304", "0000 00112233445566778899AABBCCDDEEFF"}},
            GivingText(room, [](char *text, int size) { return BO_M1ReadBlock(4, size, text); }));
        Damage("BO_M1Read", 0, {{"4504", "00 02010000"}},
               GivingText(room, [](char *text, int size) { return BO_M1Read(4, size, text); }));
        Damage("BO_M0Read", 0, {{"570410", "00 00112233445566778899AABBCCDDEEFF"}},
               GivingText(room, [](char *text, int size) { return BO_M0Read(4, 16, size, text); }));
    }
}

TEST(DamagedMemoryCards, Writes)
{
    Damage("BO_M1Verify", 0, {{"420160FFFFFFFFFFFF", "00"}},
           [](Outputs *) { return BO_M1Verify(1, 0, "FFFFFFFFFFFF"); });
    Damage("BO_M1WriteBlock", 0, {{"440400112233445566778899AABBCCDDEEFF", "00"}},
           [](Outputs *) { return BO_M1WriteBlock(4, kBlock); });
    Damage("BO_M1Write", 0, {{"460402010000", "00"}},
           [](Outputs *) { return BO_M1Write(4, "02010000"); });
    Damage("BO_M1Increment", 1, {{"32470402010000", "0000"}},
           [](Outputs *) { return BO_M1Increment(4, "02010000"); });
    Damage("BO_M1Decrement", 1, {{"32480402010000", "0000"}},
           [](Outputs *) { return BO_M1Decrement(4, "02010000"); });
    Damage("BO_M1IncreaseValue", 0, {{"470402010000", "00"}},
           [](Outputs *) { return BO_M1IncreaseValue(4, 258); });
    Damage("BO_M1DecreaseValue", 0, {{"480402010000", "00"}},
           [](Outputs *) { return BO_M1DecreaseValue(4, 258); });
    Damage("BO_M0Write", 0, {{"540401020304", "00"}},
           [](Outputs *) { return BO_M0Write(4, "01020304"); });
}

TEST(DamagedMemoryCards, NewKeys)
{
    const char key[] = "49454D4B41455242214E4143554F5946";
    const std::string rest(26, '0');
    const std::string pages[] = {"542D 4B4D4549" + rest, "542C 42524541" + rest,
                                 "542F 43414E21" + rest, "542E 46594F55" + rest};
    Damage("BO_M0DownKey", 0,
           {{pages[0].c_str(), "00"},
            {pages[1].c_str(), "00"},
            {pages[2].c_str(), "00"},
            {pages[3].c_str(), "00"}},
           [&](Outputs *) { return BO_M0DownKey(32, key); });
}

// The bench's dice give 1D 3A 57 74 11 2E 4B 68. The card's challenge is the one of its data sheet;
// what the host makes of it, and the card's proof, were computed apart from the library.
TEST(DamagedMemoryCards, Authentication)
{
    Damage("BO_M0VerifyKey", 0,
           {{"56021A00", "00 AF577293FD2F34CA51"},
            {"5611AF CB2584066762E321 9020FEBE2CDACD35", "00 00 342BC74345B6169C"}},
           [](Outputs *) { return BO_M0VerifyKey(32, "49454D4B41455242214E4143554F5946"); });
}
