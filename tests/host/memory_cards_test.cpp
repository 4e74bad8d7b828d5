// The calls for contactless memory cards as a host application makes them: their checks in order,
// what goes over the line, what comes back, what is logged.
#include <climits>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "host/scripted_reader.h"

using testing_support::Config;
using testing_support::HostLibrary;
using testing_support::ScriptedReader;

// The M0 calls have C++ symbols.
#define M0_READ(library) CPP_CALL(library, BO_M0Read, "_Z9BO_M0ReadiiiPc")
#define M0_WRITE(library) CPP_CALL(library, BO_M0Write, "_Z10BO_M0WriteiPKc")
#define M0_POWER_ON(library) CPP_CALL(library, BO_M0PowerOn, "_Z12BO_M0PowerOniPcPii")
#define M0_POWER_OFF(library) CPP_CALL(library, BO_M0PowerOff, "_Z13BO_M0PowerOffv")
#define M0_VERIFY_KEY(library) CPP_CALL(library, BO_M0VerifyKey, "_Z14BO_M0VerifyKeyiPKc")
#define M0_DOWN_KEY(library) CPP_CALL(library, BO_M0DownKey, "_Z12BO_M0DownKeyiPKc")

namespace
{

const char kBlockText[] = "00112233445566778899AABBCCDDEEFF";

// What a call returned, and what it logged besides the lines of the link.
struct Outcome
{
    int result;
    std::string log;

    bool operator==(const Outcome &other) const
    {
        return result == other.result && log == other.log;
    }
};

std::ostream &operator<<(std::ostream &out, const Outcome &outcome)
{
    return out << outcome.result << ", " << outcome.log;
}

struct MemoryCards : testing::Test
{
    ScriptedReader reader;
    size_t logged = 0;

    explicit MemoryCards(const std::string &framing = "0")
        : reader(Config("Iccmd", framing, Config("loglevel", "2")))
    {
    }

    Outcome Make(const std::function<int(const HostLibrary &)> &call)
    {
        if (!reader.line)
        {
            reader.PlugAndOpen();
            logged = reader.BusinessLog().size();
        }
        const int result = call(reader.library);
        const std::string log = reader.BusinessLog();
        const std::string added = log.substr(logged);
        logged = log.size();
        return {result, added};
    }
};

struct MemoryCardsUnion : MemoryCards
{
    MemoryCardsUnion() : MemoryCards("1")
    {
    }
};

struct Text
{
    char room[80];

    Text()
    {
        memset(room, '#', sizeof room);
    }
    // What was written: "AABB", a NUL as "\0".
    std::string Written() const
    {
        std::string text;
        for (const char *at = room; *at != '#'; at++)
            text += *at == '\0' ? std::string("\\0") : std::string(1, *at);
        return text;
    }
};

std::string Error(const std::string &text)
{
    return "Error:" + text + "\r\n";
}

std::string Failed(const std::string &text, int code)
{
    return Error(text) + Error("iErrorCode = " + std::to_string(code));
}

} // namespace

// ---- The checks: nothing goes over the line ----

TEST_F(MemoryCards, M1VerifyChecksTheKeyThenTheSectorThenTheKeyType)
{
    const std::string digits(40, 'F');
    for (size_t length = 0; length <= 11; length++)
        EXPECT_EQ(
            (Outcome{-5014, Error("BO_M1Verify pin len Error!")}),
            Make([&](const HostLibrary &library)
                 { return CALL(library, BO_M1Verify)(41, 2, digits.substr(0, length).c_str()); }));
    EXPECT_EQ(
        (Outcome{-5014, Error("BO_M1Verify pin len Error!")}),
        Make([](const HostLibrary &library) { return CALL(library, BO_M1Verify)(1, 0, nullptr); }));
    for (int sector : {0, -1, 41, 256, INT_MIN, INT_MAX})
        EXPECT_EQ((Outcome{-5011, Error("BO_M1Verify iSector Error!")}),
                  Make([&](const HostLibrary &library)
                       { return CALL(library, BO_M1Verify)(sector, 2, digits.c_str()); }));
    for (int keyType : {2, -1, 0x60, 0x61, 256})
        EXPECT_EQ((Outcome{-5015, Error("BO_M1Verify iKeyType Error!")}),
                  Make([&](const HostLibrary &library)
                       { return CALL(library, BO_M1Verify)(40, keyType, "FFFFFFFFFFFF"); }));
}

TEST_F(MemoryCards, M1WriteBlockChecksTheDataThenTheBlock)
{
    const std::string good = kBlockText;
    for (const std::string &data : {good.substr(0, 31), good + "0", std::string()})
        EXPECT_EQ((Outcome{-5012, Error("BO_M1WriteBlock data Error!")}),
                  Make([&](const HostLibrary &library)
                       { return CALL(library, BO_M1WriteBlock)(0, data.c_str()); }));
    EXPECT_EQ(
        (Outcome{-5012, "Info:szHexData[31] = 66\r\n" + Error("BO_M1WriteBlock data Error!")}),
        Make([&](const HostLibrary &library)
             { return CALL(library, BO_M1WriteBlock)(0, (good.substr(0, 31) + "f").c_str()); }));
    EXPECT_EQ((Outcome{-5012, Error("BO_M1WriteBlock data Error!")}),
              Make([](const HostLibrary &library)
                   { return CALL(library, BO_M1WriteBlock)(1, nullptr); }));
    for (int block : {0, -1, INT_MIN})
        EXPECT_EQ((Outcome{-5010, Error("BO_M1WriteBlock iBlock Error!")}),
                  Make([&](const HostLibrary &library)
                       { return CALL(library, BO_M1WriteBlock)(block, kBlockText); }));
}

TEST_F(MemoryCards, M1ReadingChecksTheBlock)
{
    char out[40];
    for (int block : {0, -1, INT_MIN})
    {
        EXPECT_EQ((Outcome{-5010, Error("BO_M1ReadBlock data Error!")}),
                  Make([&](const HostLibrary &library)
                       { return CALL(library, BO_M1ReadBlock)(block, 40, out); }));
        EXPECT_EQ((Outcome{-5010, Error("BO_M1Read data Error!")}),
                  Make([&](const HostLibrary &library)
                       { return CALL(library, BO_M1Read)(block, 40, out); }));
    }
    EXPECT_EQ((Outcome{-1007, ""}),
              Make([](const HostLibrary &library)
                   { return CALL(library, BO_M1ReadBlock)(1, 40, nullptr); }));
    EXPECT_EQ((Outcome{-1007, ""}), Make([](const HostLibrary &library)
                                         { return CALL(library, BO_M1Read)(1, 40, nullptr); }));
}

TEST_F(MemoryCards, M1ValueCallsCheckTheTextThenTheBlock)
{
    const struct
    {
        const char *symbol;
        const char *name;
    } rows[] = {{"BO_M1Write", "BO_M1Write"},
                {"BO_M1Increment", "BO_M1Increment"},
                {"BO_M1Decrement", "BO_M1Decrement"}};
    for (const auto &row : rows)
    {
        const auto make = [&](int block, const char *text)
        {
            return Make(
                [&](const HostLibrary &library) {
                    return reinterpret_cast<decltype(&::BO_M1Write)>(library.Symbol(row.symbol))(
                        block, text);
                });
        };
        const std::string name = row.name;
        for (const char *text : {"", "0000000", "000000000", static_cast<const char *>(nullptr)})
            EXPECT_EQ((Outcome{-5013, Error(name + " data Error!")}), make(0, text));
        EXPECT_EQ((Outcome{-5013, "Info:szHexData[0] = 67\r\n" + Error(name + " data Error!")}),
                  make(1, "g0000000"));
        for (int block : {0, -1, INT_MIN})
            EXPECT_EQ((Outcome{-5010, Error(name + " iBlock Error!")}), make(block, "0000000A"));
    }
}

TEST_F(MemoryCards, M1AmountCallsCheckTheAmountThenTheBlock)
{
    for (int amount : {0, -1, INT_MIN})
    {
        EXPECT_EQ((Outcome{-5016, Error("BO_M1IncreaseValue nValue data Error!")}),
                  Make([&](const HostLibrary &library)
                       { return CALL(library, BO_M1IncreaseValue)(0, amount); }));
        EXPECT_EQ((Outcome{-5016, Error("BO_M1DecreaseValue nValue data Error!")}),
                  Make([&](const HostLibrary &library)
                       { return CALL(library, BO_M1DecreaseValue)(0, amount); }));
    }
    for (int block : {0, -1, INT_MIN})
    {
        EXPECT_EQ((Outcome{-5010, Error("BO_M1IncreaseValue iBlock Error!")}),
                  Make([&](const HostLibrary &library)
                       { return CALL(library, BO_M1IncreaseValue)(block, 1); }));
        EXPECT_EQ((Outcome{-5010, Error("BO_M1DecreaseValue iBlock Error!")}),
                  Make([&](const HostLibrary &library)
                       { return CALL(library, BO_M1DecreaseValue)(block, 1); }));
    }
}

TEST_F(MemoryCards, PowerOnChecksTheTimeOut)
{
    char out[8];
    int32_t length = -7;
    for (int timeout : {-1, INT_MIN})
    {
        EXPECT_EQ((Outcome{-1007, Error("Timeout Error!")}),
                  Make([&](const HostLibrary &library)
                       { return CALL(library, BO_M1Powerup)(8, out, &length, timeout); }));
        EXPECT_EQ((Outcome{-1007, Error("Timeout Error!")}),
                  Make([&](const HostLibrary &library)
                       { return M0_POWER_ON(library)(8, out, &length, timeout); }));
    }
    EXPECT_EQ(-7, length);
    EXPECT_EQ((Outcome{-1007, ""}),
              Make([&](const HostLibrary &library)
                   { return CALL(library, BO_M1Powerup)(8, out, nullptr, 1); }));
    EXPECT_EQ((Outcome{-1007, ""}), Make([&](const HostLibrary &library)
                                         { return M0_POWER_ON(library)(8, out, nullptr, 1); }));
}

TEST_F(MemoryCards, M0CallsCheckThePage)
{
    char out[8];
    for (int page : {-1, INT_MIN})
    {
        EXPECT_EQ(
            (Outcome{-5106, Error("BO_M0ReadCard data Error!")}),
            Make([&](const HostLibrary &library) { return M0_READ(library)(page, 4, 8, out); }));
        EXPECT_EQ(
            (Outcome{-5106, Error("BO_M0ReadCard data Error!")}),
            Make([&](const HostLibrary &library) { return M0_WRITE(library)(page, "01020304"); }));
    }
    EXPECT_EQ((Outcome{-1007, ""}),
              Make([](const HostLibrary &library) { return M0_READ(library)(1, 4, 8, nullptr); }));
    EXPECT_EQ((Outcome{-1007, ""}),
              Make([](const HostLibrary &library) { return M0_WRITE(library)(1, nullptr); }));
    EXPECT_EQ((Outcome{-1007, ""}),
              Make([](const HostLibrary &library) { return M0_VERIFY_KEY(library)(32, nullptr); }));
    EXPECT_EQ((Outcome{-1007, "Info:iKeyLen Error\r\n"}),
              Make([](const HostLibrary &library)
                   { return M0_DOWN_KEY(library)(30, "000102030405060708090A0B0C0D0E"); }));
}

// ---- What goes over the line and comes back ----

TEST_F(MemoryCards, ASessionWithAnM1Card)
{
    reader.script.Exchange("41", "000400085A1B2C3D")
        .Exchange("420160FFFFFFFFFFFF", "00")
        .Exchange("4304", "0000112233445566778899AABBCCDDEEFF")
        .Exchange("440400112233445566778899AABBCCDDEEFF", "00")
        .Exchange("460502010000", "00")
        .Exchange("470501000000", "00")
        .Exchange("480501020304", "00")
        .Exchange("470502010000", "00")
        .Exchange("480501000000", "00")
        .Exchange("4505", "0002010000")
        .Exchange("4B", "00");
    const std::vector<std::function<int(const HostLibrary &)>> calls = {
        [](const HostLibrary &library) { return CALL(library, BO_M1Verify)(1, 0, "FFFFFFFFFFFF"); },
        [](const HostLibrary &library)
        {
            char block[33] = "";
            const int result = CALL(library, BO_M1ReadBlock)(4, sizeof block, block);
            EXPECT_STREQ(kBlockText, block);
            return result;
        },
        [](const HostLibrary &library) { return CALL(library, BO_M1WriteBlock)(4, kBlockText); },
        [](const HostLibrary &library) { return CALL(library, BO_M1Write)(5, "02010000"); },
        [](const HostLibrary &library) { return CALL(library, BO_M1Increment)(5, "01000000"); },
        [](const HostLibrary &library) { return CALL(library, BO_M1Decrement)(5, "01020304"); },
        [](const HostLibrary &library) { return CALL(library, BO_M1IncreaseValue)(5, 258); },
        [](const HostLibrary &library) { return CALL(library, BO_M1DecreaseValue)(5, 1); },
        [](const HostLibrary &library)
        {
            char value[9] = "";
            const int result = CALL(library, BO_M1Read)(5, sizeof value, value);
            EXPECT_STREQ("02010000", value);
            return result;
        },
        [](const HostLibrary &library) { return CALL(library, BO_M1Powerdown)(); },
    };
    reader.PlugAndOpen();
    Text id;
    int32_t length = 0;
    EXPECT_EQ(0, CALL(reader.library, BO_M1Powerup)(60, id.room, &length, 1));
    EXPECT_EQ("0400085A1B2C3D", id.Written());
    EXPECT_EQ(14, length);
    for (const auto &call : calls)
        EXPECT_EQ(0, call(reader.library));
    reader.Finish();
}

TEST_F(MemoryCardsUnion, ASessionWithAnM1Card)
{
    reader.script.Exchange("32410000", "0000040008")
        .Exchange("32422801A1A2A3A4A5A6", "0000")
        .Exchange("324304", "000000112233445566778899AABBCCDDEEFF")
        .Exchange("324405"
                  "00112233445566778899AABBCCDDEEFF",
                  "0000")
        .Exchange("32460502010000", "0000")
        .Exchange("324505", "000002010000")
        .Exchange("3225", "0000");
    reader.PlugAndOpen();
    const HostLibrary &library = reader.library;
    Text id;
    Text block;
    Text value;
    int32_t length = 0;
    EXPECT_EQ(0, CALL(library, BO_M1Powerup)(60, id.room, &length, 1));
    EXPECT_EQ("0000040008", id.Written());
    EXPECT_EQ(0, CALL(library, BO_M1Verify)(40, 1, "A1A2A3A4A5A6"));
    EXPECT_EQ(0, CALL(library, BO_M1ReadBlock)(4, 60, block.room));
    EXPECT_EQ(std::string(kBlockText) + "\\0", block.Written());
    EXPECT_EQ(0, CALL(library, BO_M1WriteBlock)(5, kBlockText));
    EXPECT_EQ(0, CALL(library, BO_M1Write)(5, "02010000"));
    EXPECT_EQ(0, CALL(library, BO_M1Read)(5, 60, value.room));
    EXPECT_EQ("02010000\\0", value.Written());
    EXPECT_EQ(0, CALL(library, BO_M1Powerdown)());
    reader.Finish();
}

TEST_F(MemoryCards, ASessionWithAnM0Card)
{
    reader.script.Exchange("51", "000444112233")
        .Exchange("570410", "000A0B0C0D")
        .Exchange("540401020304", "00")
        .Exchange("55", "00");
    reader.PlugAndOpen();
    const HostLibrary &library = reader.library;
    Text id;
    Text pages;
    int32_t length = 0;
    EXPECT_EQ(0, M0_POWER_ON(library)(60, id.room, &length, 1));
    EXPECT_EQ("0444112233", id.Written());
    EXPECT_EQ(10, length);
    EXPECT_EQ(0, M0_READ(library)(4, 16, 60, pages.room));
    EXPECT_EQ("0A0B0C0D\\0", pages.Written());
    EXPECT_EQ(0, M0_WRITE(library)(4, "01020304"));
    EXPECT_EQ(0, M0_POWER_OFF(library)());
    reader.Finish();
}

TEST_F(MemoryCards, FailuresAreLoggedUnderTheCallsOwnTextsAndMapped)
{
    char out[40];
    const struct
    {
        const char *command;
        const char *text;
        int code; // for a failure status
        std::function<int(const HostLibrary &)> call;
    } rows[] = {
        {"4B", "M1_PowerOff Error!", -5002,
         [](const HostLibrary &library) { return CALL(library, BO_M1Powerdown)(); }},
        {"420160FFFFFFFFFFFF", "M1_Verify Error!", -5003,
         [](const HostLibrary &library)
         { return CALL(library, BO_M1Verify)(1, 0, "FFFFFFFFFFFF"); }},
        {"4304", "BO_M1ReadBlock data Error!", -5004,
         [&](const HostLibrary &library) { return CALL(library, BO_M1ReadBlock)(4, 40, out); }},
        {"440400112233445566778899AABBCCDDEEFF", "BO_M1WriteBlock data Error!", -5005,
         [](const HostLibrary &library) { return CALL(library, BO_M1WriteBlock)(4, kBlockText); }},
        {"4504", "BO_M1Read Error!", -5006,
         [&](const HostLibrary &library) { return CALL(library, BO_M1Read)(4, 40, out); }},
        {"460401020304", "BO_M1Write Error!", -5007,
         [](const HostLibrary &library) { return CALL(library, BO_M1Write)(4, "01020304"); }},
        {"470401020304", "BO_M1Increment Error!", -5008,
         [](const HostLibrary &library) { return CALL(library, BO_M1Increment)(4, "01020304"); }},
        {"480401020304", "BO_M1Decrement Error!", -5009,
         [](const HostLibrary &library) { return CALL(library, BO_M1Decrement)(4, "01020304"); }},
        {"470401000000", "BO_M1IncreaseValue Error!", -5008,
         [](const HostLibrary &library) { return CALL(library, BO_M1IncreaseValue)(4, 1); }},
        {"480401000000", "BO_M1DecreaseValue Error!", -5009,
         [](const HostLibrary &library) { return CALL(library, BO_M1DecreaseValue)(4, 1); }},
        {"55", "M0_PowerOff Error!", -5002,
         [](const HostLibrary &library) { return M0_POWER_OFF(library)(); }},
        {"570404", "M0_ReadBlock data Error!", -5104,
         [&](const HostLibrary &library) { return M0_READ(library)(4, 4, 40, out); }},
        {"540401020304", "M0_WriteBlock Error!", -5105,
         [](const HostLibrary &library) { return M0_WRITE(library)(4, "01020304"); }},
    };
    for (const auto &row : rows)
    {
        reader.script.Exchange(row.command, "03");
        reader.script.rows.push_back({testing_support::KrelFrame(row.command), "x" ETX});
    }
    for (const auto &row : rows)
    {
        memset(out, '#', sizeof out);
        EXPECT_EQ((Outcome{row.code, Failed(row.text, row.code)}), Make(row.call));
        EXPECT_EQ((Outcome{-1013, Failed(row.text, -74)}), Make(row.call));
        EXPECT_EQ('#', out[0]);
    }
    reader.Finish();
}

TEST_F(MemoryCards, TheFramingMustSuit)
{
    ScriptedReader other(Config("Iccmd", "2"));
    other.PlugAndOpen();
    EXPECT_EQ(-1008, CALL(other.library, BO_M1Powerdown)());
    EXPECT_EQ(-1008, M0_POWER_OFF(other.library)());
    ScriptedReader united(Config("Iccmd", "1"));
    united.PlugAndOpen();
    EXPECT_EQ(-1008, M0_POWER_OFF(united.library)());
}

TEST_F(MemoryCards, WithoutADeviceTheCallsSaySo)
{
    EXPECT_EQ(-1003, CALL(reader.library, BO_M1Powerdown)());
    EXPECT_EQ(-1003, M0_POWER_OFF(reader.library)());
}

// ---- Reading ----

TEST_F(MemoryCards, WhatIsReadIsLoggedAsItCameAndAsText)
{
    reader.script.Exchange("4304", "00414243FF44")
        .Exchange("570404", "00610062")
        .Exchange("4504", "0041");
    Text out;
    EXPECT_EQ((Outcome{0, Error("BO_M1ReadBlock, iOutLen = 5, szOutBuf = ABC\xFF"
                                "D") +
                              Error("BO_M1ReadBlock, szOutData = 414243FF44")}),
              Make([&](const HostLibrary &library)
                   { return CALL(library, BO_M1ReadBlock)(4, 60, out.room); }));
    EXPECT_EQ(
        (Outcome{0, Error("BO_M0ReadCard, iOutLen = 3, szOutBuf = a") +
                        Error("BO_M0ReadCard, szOutData = 610062")}),
        Make([&](const HostLibrary &library) { return M0_READ(library)(4, 4, 60, out.room); }));
    EXPECT_EQ((Outcome{0, ""}), Make([&](const HostLibrary &library)
                                     { return CALL(library, BO_M1Read)(4, 60, out.room); }));
}

TEST_F(MemoryCards, WhatIsReadIsCutAtItsRoomAndGetsANulWhereOneFits)
{
    const struct
    {
        int room;
        const char *written;
    } rows[] = {{7, "414243\\0"}, {6, "414243"}, {5, "4142\\0"}, {2, "41"},
                {1, "\\0"},       {0, ""},       {-1, ""},       {60, "414243\\0"}};
    for (size_t i = 0; i < std::size(rows); i++)
        reader.script.Exchange("4304", "00414243")
            .Exchange("4504", "00414243")
            .Exchange("570404", "00414243");
    reader.PlugAndOpen();
    for (const auto &row : rows)
    {
        SCOPED_TRACE(row.room);
        Text block;
        Text value;
        Text pages;
        EXPECT_EQ(0, CALL(reader.library, BO_M1ReadBlock)(4, row.room, block.room));
        EXPECT_EQ(0, CALL(reader.library, BO_M1Read)(4, row.room, value.room));
        EXPECT_EQ(0, M0_READ(reader.library)(4, 4, row.room, pages.room));
        EXPECT_EQ(row.written, block.Written());
        EXPECT_EQ(row.written, value.Written());
        EXPECT_EQ(row.written, pages.Written());
    }
}

TEST_F(MemoryCards, AnAnswerWithoutDataIsAnEmptyText)
{
    reader.script.Exchange("4304", "00").Exchange("4304", "");
    reader.PlugAndOpen();
    for (int i = 0; i < 2; i++)
    {
        Text out;
        EXPECT_EQ(0, CALL(reader.library, BO_M1ReadBlock)(4, 60, out.room));
        EXPECT_EQ("\\0", out.Written());
    }
}

TEST_F(MemoryCards, NumbersAbove255GoOutAsTheirLowByte)
{
    reader.script.Exchange("4300", "00").Exchange("570001", "00").Exchange("540111", "00");
    reader.PlugAndOpen();
    Text out;
    EXPECT_EQ(0, CALL(reader.library, BO_M1ReadBlock)(256, 60, out.room));
    EXPECT_EQ(0, M0_READ(reader.library)(256, 257, 60, out.room));
    EXPECT_EQ(0, M0_WRITE(reader.library)(257, "11"));
    reader.Finish();
}

// ---- Keys and data texts ----

TEST_F(MemoryCards, M1KeysFrom12CharactersOn)
{
    const std::string digits = "112233445566778899AABBCCDDEEFF1122334455";
    for (size_t length = 12; length <= 40; length++)
        reader.script.Exchange("420160" + digits.substr(0, length / 2 * 2), "00");
    reader.PlugAndOpen();
    for (size_t length = 12; length <= 40; length++)
        EXPECT_EQ(0, CALL(reader.library, BO_M1Verify)(1, 0, digits.substr(0, length).c_str()))
            << length;
    reader.Finish();
}

TEST_F(MemoryCards, AnM1KeyEndsAtItsFirstZeroByte)
{
    reader.script.Exchange("420160A0A1", "00").Exchange("420160", "00").Exchange("420161FF", "00");
    reader.PlugAndOpen();
    EXPECT_EQ(0, CALL(reader.library, BO_M1Verify)(1, 0, "A0A100A3A4A5"));
    EXPECT_EQ(0, CALL(reader.library, BO_M1Verify)(1, 0, "000000000000"));
    EXPECT_EQ(0, CALL(reader.library, BO_M1Verify)(1, 1, "ffxx22334455")) << "no digits count as 0";
    reader.Finish();
}

TEST_F(MemoryCards, AnM1KeyThatNoCommandHoldsIsABadParameter)
{
    for (size_t length : {2 * 253, 2 * 256, 100000})
        EXPECT_EQ(
            (Outcome{-1007, Failed("M1_Verify Error!", -22)}),
            Make([&](const HostLibrary &library)
                 { return CALL(library, BO_M1Verify)(1, 0, std::string(length, '1').c_str()); }));
}

TEST_F(MemoryCards, M0DataOfEveryLength)
{
    const std::string digits = "112233445566778899AABBCCDDEEFF1122334455";
    for (size_t length = 2; length <= 40; length++)
        reader.script.Exchange("5404" + digits.substr(0, length / 2 * 2), "00");
    reader.script.Exchange("5404" + std::string(2 * 253, 'E'), "00");
    reader.PlugAndOpen();
    for (size_t length = 2; length <= 40; length++)
        EXPECT_EQ(0, M0_WRITE(reader.library)(4, digits.substr(0, length).c_str())) << length;
    EXPECT_EQ(0, M0_WRITE(reader.library)(4, std::string(2 * 253, 'E').c_str()));
    reader.Finish();
}

TEST_F(MemoryCards, M0DataThatIsEmptyOrFitsNoCommandIsABadParameter)
{
    for (size_t length : {0, 2 * 254, 2 * 256, 100000})
        EXPECT_EQ((Outcome{-1007, Failed("M0_WriteBlock Error!", -22)}),
                  Make([&](const HostLibrary &library)
                       { return M0_WRITE(library)(4, std::string(length, '1').c_str()); }));
}

TEST_F(MemoryCards, TheKeyCallsReachTheCard)
{
    reader.script.Exchange("56021A00", "03")
        .Exchange("55", "00")
        .Exchange("542D0302010000000000000000000000000000", "00")
        .Exchange("542C0706050400000000000000000000000000", "00")
        .Exchange("542F0B0A090800000000000000000000000000", "00")
        .Exchange("542E0F0E0D0C00000000000000000000000000", "00");
    EXPECT_EQ((Outcome{-5105, Failed("M0_Interaction 1A00 Fail", -5105)}),
              Make([](const HostLibrary &library)
                   { return M0_VERIFY_KEY(library)(32, "49454D4B41455242214E4143554F5946"); }));
    EXPECT_EQ((Outcome{0, ""}),
              Make([](const HostLibrary &library)
                   { return M0_DOWN_KEY(library)(32, "000102030405060708090A0B0C0D0E0F"); }));
    reader.Finish();
}
