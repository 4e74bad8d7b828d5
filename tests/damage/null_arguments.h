// Calls with a null pointer: a table of what they give, the reader answering as it should.
#pragma once

#include <cstring>

#include "damage/bench/bench.h"
#include "support/identity_card.h"
#include "vantor.h"

namespace damage_testing
{

using testing_support::IdentityFrame;
using testing_support::KrelFrame;

struct Row
{
    const char *name;
    int expected;
    std::function<int()> call;
};

// Room for whatever the other arguments give.
inline unsigned char g_bytes[8192];
inline char g_text[32768];
inline uint32_t g_length;
inline int32_t g_signed;
inline int32_t g_type;
inline int64_t g_speed;
inline const unsigned char kData[16] = {0x01, 0x02, 0x03};

inline std::vector<GoldenExchange> Answers()
{
    ReaderScript krel;
    krel.PowerOn("3B00")
        .PowerOff()
        .Apdu("0084000008", "11229000")
        .Apdu("00A404000E315041592E5359532E4444463031", "6F058801015F00 9000")
        .Apdu("00A4000002EF05", "6F009000")
        .Apdu("00B2010C00", "7003 4F01119000")
        .Apdu("80A80000028300", "80067C00080101009000")
        .Apdu("80CA9F79", "9F79010 59000")
        .Apdu("80AE800003010203", "8004800001119000");
    std::vector<GoldenExchange> rows = krel.rows;
    for (const auto &[command, answer] : {std::pair<const char *, const char *>{"8100", "00 4142"},
                                          {"F1", "00 4142"},
                                          {"41", "00 0400"},
                                          {"4304", "00 1122"},
                                          {"4504", "00 1122"},
                                          {"51", "00 04"},
                                          {"570401", "00 1122"},
                                          {"56021A00", "00 AF"},
                                          {"58", "00 07"},
                                          {"D1", "00 3B"}})
        rows.push_back({KrelFrame(command), KrelFrame(answer)});
    rows.push_back(
        {IdentityFrame(FromHex("3001")), IdentityFrame(testing_support::ResidentCard().Payload())});
    rows.push_back({IdentityFrame(FromHex("3010")),
                    IdentityFrame(testing_support::ResidentCard().PayloadWithFingerprint())});
    rows.push_back({ESC "F]", ESC "s12A34%56?\x1C"});
    return rows;
}

inline void Make(const std::vector<Row> &rows)
{
    static const std::vector<GoldenExchange> answers = Answers();
    for (const Row &row : rows)
    {
        SCOPED_TRACE(row.name);
        g_line = Line();
        g_line.plugged = true;
        ClearSettings();
        SetSetting("Iccmd", 0);
        Rewind(answers);
        ASSERT_EQ(0, Vantor_Open(&context, 3, 9600, 0));
        g_signed = 4;
        EXPECT_EQ(row.expected, row.call());
        Vantor_Close(&context);
        DC_Init(&context);
    }
    g_line = Line();
}

#define ROW(expected, call)                                                                        \
    {                                                                                              \
#call, expected, [] { return static_cast<int>(call); }                                     \
    }

template <typename Given>
int IsNull(const Given *given)
{
    return given == nullptr ? 1 : 0;
}

} // namespace damage_testing
