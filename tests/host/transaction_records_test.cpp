// BO_ICGetDetail and BO_ICGetCircllog: the transaction log and the load log.
#include <cstring>
#include <gtest/gtest.h>
#include <vector>

#include "host/scripted_reader.h"
#include "support/pboc_data.h"

using testing_support::BytesOf;
using testing_support::Config;
using testing_support::HexByte;
using testing_support::HostLibrary;
using testing_support::PbocData;
using testing_support::ReaderScript;
using testing_support::ScriptedReader;

namespace
{

const char kSelectPse[] = "00A404000E315041592E5359532E4444463031";
const char kPse[] = "6F15840E315041592E5359532E4444463031A5038801019000";
const char kSelectAid[] = "00A4040008A000000333010101";
// Both logs: file 11 with ten records, file 12 with ten records.
const char kFci[] = "6F14 8408A000000333010101 BF0C0A 9F4D020B0A DF4D020C0A 9000";

using Call = int (*)(int, int, char *, int);

struct Answer
{
    int result;
    std::string text;
    size_t written; // bytes, the NUL included
};

Answer Get(Call call, int mode = 0)
{
    std::vector<char> area(27100, '#');
    Answer answer{call(mode, 0, area.data(), 1), "", area.size()};
    while (answer.written > 0 && area[answer.written - 1] == '#')
        answer.written--;
    if (answer.written > 0)
        answer.text = area.data();
    return answer;
}

void Open(ReaderScript *script, const std::string &fci = kFci)
{
    script->PowerOn("3B00")
        .Apdu(kSelectPse, kPse)
        .Apdu("00B2010C00", "700C610A4F08A0000003330101019000")
        .Apdu("00B2020C00", "6A83")
        .Apdu(kSelectAid, fci);
}

std::string ReadCommand(size_t record, const char *file)
{
    return "00B2" + HexByte(record) + file + "00";
}

std::string TextOf(const std::string &hex)
{
    const std::vector<uint8_t> bytes = BytesOf(hex);
    return {bytes.begin(), bytes.end()};
}

// A load log record: 9F79 from 10.00 to 20.00.
const char kLoad[] = "9F79 000000001000 000000002000 250131 235959 0156"
                     "544553542042414E4B2020202020202020202020 00FF";

} // namespace

TEST(GetDetail, GivesPublishedAndMadeRecords)
{
    ScriptedReader reader;
    Open(&reader.script);
    std::string expected;
    size_t number = 0;
    for (const auto &row : PbocData("log_records.json"))
    {
        reader.script.Apdu(ReadCommand(++number, "5C"), row["record"].get<std::string>() + "9000");
        expected += TextOf(row["detail"]);
    }
    reader.script.Apdu("00B2045C00", "6A83").PowerOff();
    reader.PlugAndOpen();
    const Answer answer = Get(CALL(reader.library, BO_ICGetDetail));
    EXPECT_EQ(0, answer.result);
    EXPECT_EQ(318u, expected.size());
    EXPECT_EQ("03106" + expected, answer.text);
    EXPECT_EQ(5u + 318u + 1u, answer.written);
    reader.Finish();
    EXPECT_EQ("", reader.BusinessLog()) << "the record that cannot be read is no error";
}

TEST(GetDetail, WritesTheFieldsInTheirOrder)
{
    ScriptedReader reader;
    Open(&reader.script);
    // Each byte its own number, so that no field can hide in another.
    std::string record;
    for (size_t i = 0; i < 45; i++)
        record += HexByte(0x41 + i);
    reader.script.Apdu("00B2015C00", record + "9000").Apdu("00B2025C00", "6A83").PowerOff();
    reader.PlugAndOpen();
    EXPECT_EQ("01106"
              "P0124748494A4B4C"
              "Q0124D4E4F505152"
              "R0045556"
              "S006414243"
              "T0026B"
              "U006444546"
              "V0045354"
              "W020WXYZ[\\]^_`abcdefghij"
              "X0046C6D",
              Get(CALL(reader.library, BO_ICGetDetail)).text);
}

TEST(GetDetail, AShortMerchantNameIsFilledWithSpaces)
{
    ScriptedReader reader;
    Open(&reader.script);
    const std::string head = "250131 235959 000000012345 000000000000 0156 0156 ";
    reader.script
        .Apdu("00B2015C00", head + "544553542053484F50204E4F" // TEST SHOP NO
                                   "0000000000000000 01 00FF 9000")
        .Apdu("00B2025C00", head + "4100424344454647484900000000000000000000 01 00FF 9000")
        .Apdu("00B2035C00", "6A83")
        .PowerOff();
    reader.PlugAndOpen();
    const std::string text = Get(CALL(reader.library, BO_ICGetDetail)).text;
    EXPECT_EQ("W020TEST SHOP NO        X00400FF", text.substr(5 + 74, 32));
    EXPECT_EQ("W020A                   X00400FF", text.substr(5 + 106 + 74, 32))
        << "what follows the 00 byte is gone";
}

TEST(GetDetail, ARecordShorterThanItsLayoutReadsAsZeroBytesBehindItsEnd)
{
    ScriptedReader reader;
    Open(&reader.script);
    reader.script.Apdu("00B2015C00", "2501312359590000000123459000")
        .Apdu("00B2025C00", "9000")
        .Apdu("00B2035C00", "6A83")
        .PowerOff();
    reader.PlugAndOpen();
    EXPECT_EQ("02106"
              "P012000000012345Q012000000000000R0040000S006250131T00200U006235959V0040000"
              "W020                    X0040000"
              "P012000000000000Q012000000000000R0040000S006000000T00200U006000000V0040000"
              "W020                    X0040000",
              Get(CALL(reader.library, BO_ICGetDetail)).text);
}

TEST(GetDetail, StopsAtTheNumberOfRecordsThatTheCardNames)
{
    ScriptedReader reader;
    Open(&reader.script, "6F05 9F4D02 1E02 9000");
    reader.script.Apdu("00B201F400", "9000").Apdu("00B202F400", "9000").PowerOff();
    reader.PlugAndOpen();
    EXPECT_EQ("02106", Get(CALL(reader.library, BO_ICGetDetail)).text.substr(0, 5));
}

TEST(GetDetail, AnEmptyLogGivesZeros)
{
    for (const char *first : {"6A83", "6283", "9303"})
    {
        ScriptedReader reader;
        Open(&reader.script);
        reader.script.Apdu("00B2015C00", first).PowerOff();
        reader.PlugAndOpen();
        const Answer answer = Get(CALL(reader.library, BO_ICGetDetail));
        EXPECT_EQ(0, answer.result);
        EXPECT_EQ("00000", answer.text);
    }
    ScriptedReader reader;
    Open(&reader.script, "6F05 9F4D01 0B 9000"); // the number is missing and reads as zero
    reader.script.PowerOff();
    reader.PlugAndOpen();
    EXPECT_EQ("00000", Get(CALL(reader.library, BO_ICGetDetail)).text);
}

TEST(GetDetail, TheLongestLogFillsThePromisedRoom)
{
    ScriptedReader reader(Config("Iccmd", "1"));
    Open(&reader.script, "6F05 9F4D02 0BFF 9000");
    for (size_t record = 1; record <= 255; record++)
        reader.script.Apdu(ReadCommand(record, "5C"), "9000");
    reader.script.PowerOff();
    reader.PlugAndOpen();
    const Answer answer = Get(CALL(reader.library, BO_ICGetDetail));
    EXPECT_EQ("255106P012", answer.text.substr(0, 10));
    EXPECT_EQ(27037u, answer.written);
}

TEST(GetDetail, LogsTheLogEntry)
{
    ScriptedReader reader(Config("loglevel", "2"));
    Open(&reader.script);
    reader.script.Apdu("00B2015C00", "6A83").PowerOff();
    reader.PlugAndOpen();
    Get(CALL(reader.library, BO_ICGetDetail));
    reader.Finish();
    EXPECT_EQ("Info:szRecord = 0B0A\r\n", reader.BusinessLog());
}

TEST(GetDetail, ACardWithoutALogGives4117AndIsPoweredOff)
{
    for (const char *fci : {"6F04 DF4D01 0C 9000", "6F06 DF4D020C0A 9000", "9000"})
    {
        ScriptedReader reader;
        Open(&reader.script, fci);
        reader.script.PowerOff();
        reader.PlugAndOpen();
        const Answer answer = Get(CALL(reader.library, BO_ICGetDetail));
        EXPECT_EQ(-4117, answer.result);
        EXPECT_EQ(0u, answer.written);
        reader.Finish();
        EXPECT_EQ("Error:GetTag 9F4D Error!\r\n", reader.BusinessLog());
    }
}

TEST(GetDetail, IsReadFromAContactlessCardToo)
{
    ScriptedReader reader;
    reader.script.contactless = true;
    Open(&reader.script);
    reader.script.Apdu("00B2015C00", "6A83").PowerOff();
    reader.PlugAndOpen();
    EXPECT_EQ("00000", Get(CALL(reader.library, BO_ICGetDetail), 1).text);
}

TEST(Logs, EveryStepOfTheOpeningHasItsCodeAndPowersTheCardOff)
{
    struct Row
    {
        const char *pse, *fci, *message;
        int code;
    };
    for (const Row &row : {Row{"6A82", nullptr, "PBOC_SelectPSE Error!", -4100},
                           Row{kPse, "6A82", "PBOC_SelectAID Error!", -4102}})
        for (bool load : {false, true})
        {
            ScriptedReader reader;
            reader.script.PowerOn("3B00").Apdu(kSelectPse, row.pse);
            if (row.fci != nullptr)
                reader.script.Apdu("00B2010C00", "6A83").Apdu("00A4040000", row.fci);
            reader.script.PowerOff();
            reader.PlugAndOpen();
            EXPECT_EQ(row.code, Get(load ? CALL(reader.library, BO_ICGetCircllog)
                                         : CALL(reader.library, BO_ICGetDetail))
                                    .result);
            reader.Finish();
            EXPECT_EQ("Error:" + std::string(row.message) + "\r\n", reader.BusinessLog());
        }
}

TEST(Logs, APowerOnFailureIsGivenAndNothingElseSent)
{
    ScriptedReader reader;
    reader.script.PowerOnFails("55").PowerOnFails("55");
    reader.PlugAndOpen();
    EXPECT_EQ(1, Get(CALL(reader.library, BO_ICGetDetail)).result);
    EXPECT_EQ(1, Get(CALL(reader.library, BO_ICGetCircllog)).result);
    EXPECT_EQ(-1007, CALL(reader.library, BO_ICGetDetail)(0, 0, nullptr, 1));
    EXPECT_EQ(-1007, CALL(reader.library, BO_ICGetCircllog)(0, 0, nullptr, 1));
}

TEST(GetCircllog, GivesTheLoadsWithTheirOwnFields)
{
    ScriptedReader reader(Config("loglevel", "2"));
    Open(&reader.script);
    reader.script.Apdu("00B2016400", kLoad + std::string("9000"))
        .Apdu("00B2026400", "DF79" + std::string(kLoad).substr(4) + "9000")
        .Apdu("00B2036400", "6A83")
        .PowerOff();
    reader.PlugAndOpen();
    const std::string rest = "P012000000001000Q012000000002000S006250131U006235959V0040156"
                             "W020TEST BANK           X00400FF";
    const std::string records = "O0011" + rest + "O0012" + rest;
    const Answer answer = Get(CALL(reader.library, BO_ICGetCircllog));
    EXPECT_EQ(0, answer.result);
    EXPECT_EQ("02097" + records, answer.text);
    EXPECT_EQ(5u + 2 * 97u + 1u, answer.written);
    reader.Finish();
    EXPECT_EQ("Info:szRecord = 0C0A\r\n"
              "Info:nDetailNum = 2\r\n"
              "Info:iDetailLen = 97\r\n"
              "Info:szTxData = " +
                  records + "\r\n",
              reader.BusinessLog());
}

TEST(GetCircllog, TheLongestLogFillsThePromisedRoom)
{
    ScriptedReader reader(Config("Iccmd", "1"));
    Open(&reader.script, "6F05 DF4D02 0CFF 9000");
    for (size_t record = 1; record <= 255; record++)
        reader.script.Apdu(ReadCommand(record, "64"), "9000");
    reader.script.PowerOff();
    reader.PlugAndOpen();
    const Answer answer = Get(CALL(reader.library, BO_ICGetCircllog));
    EXPECT_EQ("255097O0012", answer.text.substr(0, 11));
    EXPECT_EQ(24742u, answer.written);
}

TEST(GetCircllog, ACardWithoutALoadLogGives4103)
{
    ScriptedReader reader;
    Open(&reader.script, "6F05 9F4D020B0A 9000");
    reader.script.PowerOff();
    reader.PlugAndOpen();
    EXPECT_EQ(-4103, Get(CALL(reader.library, BO_ICGetCircllog)).result);
    reader.Finish();
    EXPECT_EQ("Error:GetTag DF4D Error!\r\n", reader.BusinessLog());
}
