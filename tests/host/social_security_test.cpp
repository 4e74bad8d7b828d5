// BO_SSCReadInfo: the thirteen elements of a social security card.
#include <cstring>
#include <gtest/gtest.h>
#include <vector>

#include "host/scripted_reader.h"
#include "support/pboc_data.h"

using testing_support::Config;
using testing_support::HexByte;
using testing_support::HostLibrary;
using testing_support::ReaderScript;
using testing_support::ScriptedReader;

namespace
{

// The fifteen bytes of the name, its last character cut in two.
const char kSelectDirectory[] = "00A404000F7378312E73682EE7A4BEE4BC9AE4BF";
const char kDirectory[] = "6F0384 01 11 880101 9000";
const char kSelectEf05[] = "00A4000002EF05";
const char kSelectEf06[] = "00A4000002EF06";

const size_t kRoom = 845;

struct Information
{
    int result;
    std::string text; // up to the byte behind the last one written
};

// The area holds `before` and its NUL, then '#'; what is no '#' any more was written.
Information Read(const HostLibrary &library, int mode, const std::string &before = "",
                 int timeout = 1)
{
    std::vector<char> area(before.size() + kRoom + 100, '#');
    memcpy(area.data(), before.c_str(), before.size() + 1);
    Information information;
    information.result = CALL(library, BO_SSCReadInfo)(mode, area.data(), timeout);
    size_t end = area.size();
    while (end > 0 && area[end - 1] == '#')
        end--;
    information.text = std::string(area.data(), end);
    return information;
}

std::string RecordCommand(size_t record)
{
    return "00B2" + HexByte(record) + "0400";
}

// A file whose record n is records[n - 1].
void ReadFile(ReaderScript *script, const char *select, const std::vector<std::string> &records)
{
    script->Apdu(select, "6F009000");
    for (size_t i = 0; i < records.size(); i++)
        script->Apdu(RecordCommand(i + 1), records[i] + "9000");
}

void Open(ReaderScript *script)
{
    script->PowerOn("3B00").Apdu(kSelectDirectory, kDirectory);
}

const std::vector<std::string> kEf05 = {"0110310000D15600000531009B2B73A8D9E1",
                                        "020133",
                                        "0304322E3030",
                                        "0404 91560000",
                                        "050420150301",
                                        "060420250301",
                                        "0709413132333435363738"};
const std::vector<std::string> kEf06 = {"0812333130313034313939303031303131323334",
                                        "0909E5BCA0E4B889E4B8B0",
                                        "0A0131",
                                        "0B0101",
                                        "0C03310104",
                                        "0D0419900101"};

const char kText[] = "310000D15600000531009B2B73A8D9E1|33|322E3030|91560000|20150301|20250301|"
                     "A12345678|310104199001011234|张三丰|1|01|310104|19900101";

std::string Bytes(size_t count, const char *byte)
{
    std::string hex;
    for (size_t i = 0; i < count; i++)
        hex += byte;
    return hex;
}

} // namespace

TEST(SscReadInfo, JoinsThirteenElementsAndLeavesTheCardPowered)
{
    ScriptedReader reader(Config("loglevel", "2"));
    Open(&reader.script);
    ReadFile(&reader.script, kSelectEf05, kEf05);
    ReadFile(&reader.script, kSelectEf06, kEf06);
    reader.PlugAndOpen();
    const Information information = Read(reader.library, 0);
    EXPECT_EQ(0, information.result);
    EXPECT_EQ(std::string(kText) + '\0', information.text);
    reader.Finish();
    EXPECT_EQ("", reader.BusinessLog());
}

TEST(SscReadInfo, AppendsToWhatTheTextHolds)
{
    ScriptedReader reader;
    Open(&reader.script);
    ReadFile(&reader.script, kSelectEf05, kEf05);
    ReadFile(&reader.script, kSelectEf06, kEf06);
    reader.PlugAndOpen();
    EXPECT_EQ("SSC=" + std::string(kText) + '\0', Read(reader.library, 0, "SSC=").text);
}

TEST(SscReadInfo, ReadsAContactlessCardInTheOtherFraming)
{
    ScriptedReader reader(Config("Iccmd", "1"));
    reader.script.contactless = true;
    Open(&reader.script);
    ReadFile(&reader.script, kSelectEf05, kEf05);
    ReadFile(&reader.script, kSelectEf06, kEf06);
    reader.PlugAndOpen();
    EXPECT_EQ(std::string(kText) + '\0', Read(reader.library, 1).text);
}

TEST(SscReadInfo, TheAutomaticModeStaysWithTheInterfaceThatAnswered)
{
    ScriptedReader reader;
    reader.script.PowerOnFails("A2");
    reader.script.contactless = true;
    reader.script.PowerOn("3B00").Apdu(kSelectDirectory, "6A82").PowerOff();
    reader.PlugAndOpen();
    EXPECT_EQ(-4100, Read(reader.library, 2).result);
}

TEST(SscReadInfo, AnElementThatItsRecordLacksIsEmpty)
{
    std::vector<std::string> ef05 = kEf05;
    std::vector<std::string> ef06 = kEf06;
    ef05[0] = "";
    ef05[2] = "0404322E3030"; // another element
    ef05[6] = "0709413132";   // cut short
    ef06[5] = "0D00";
    ScriptedReader reader;
    Open(&reader.script);
    ReadFile(&reader.script, kSelectEf05, ef05);
    ReadFile(&reader.script, kSelectEf06, ef06);
    reader.PlugAndOpen();
    EXPECT_EQ(
        std::string("|33||91560000|20150301|20250301||310104199001011234|张三丰|1|01|310104|") +
            '\0',
        Read(reader.library, 0).text);
}

TEST(SscReadInfo, AnElementIsFoundInsideATemplateOfItsRecord)
{
    std::vector<std::string> ef05 = kEf05;
    ef05[1] = "7003020133";
    ScriptedReader reader;
    Open(&reader.script);
    ReadFile(&reader.script, kSelectEf05, ef05);
    ReadFile(&reader.script, kSelectEf06, kEf06);
    reader.PlugAndOpen();
    EXPECT_EQ(std::string(kText) + '\0', Read(reader.library, 0).text);
}

TEST(SscReadInfo, CharactersEndAtTheirPadding)
{
    std::vector<std::string> ef06 = kEf06;
    ef06[1] = "091EE5BCA0E4B889E4B8B0" + Bytes(21, "00");
    ef06[2] = "0A020000";
    ScriptedReader reader;
    Open(&reader.script);
    ReadFile(&reader.script, kSelectEf05, kEf05);
    ReadFile(&reader.script, kSelectEf06, ef06);
    reader.PlugAndOpen();
    EXPECT_EQ("310000D15600000531009B2B73A8D9E1|33|322E3030|91560000|20150301|20250301|A12345678|"
              "310104199001011234|张三丰||01|310104|19900101" +
                  std::string(1, '\0'),
              Read(reader.library, 0).text);
}

// Every element longer than its area: the answer fills the room that is promised, to the last byte.
TEST(SscReadInfo, TheLongestAnswerFitsThePromisedRoom)
{
    ScriptedReader reader;
    std::vector<std::string> ef05, ef06;
    for (size_t tag = 1; tag <= 13; tag++)
        (tag <= 7 ? ef05 : ef06).push_back(HexByte(tag) + "64" + Bytes(100, "41"));
    Open(&reader.script);
    ReadFile(&reader.script, kSelectEf05, ef05);
    ReadFile(&reader.script, kSelectEf06, ef06);
    reader.PlugAndOpen();
    std::string digits, expected;
    for (int i = 0; i < 32; i++)
        digits += "41";
    for (int tag = 1; tag <= 13; tag++)
        expected += (tag > 1 ? "|" : "") + (tag >= 7 && tag <= 10 ? std::string(64, 'A') : digits);
    const Information information = Read(reader.library, 0);
    EXPECT_EQ(expected + '\0', information.text);
    EXPECT_EQ(kRoom, information.text.size());
}

TEST(SscReadInfo, ALockedOrInvalidatedDirectoryIsNoObstacle)
{
    for (const char *status : {"9303", "6283"})
    {
        ScriptedReader reader;
        reader.script.PowerOn("3B00").Apdu(kSelectDirectory, status);
        ReadFile(&reader.script, kSelectEf05, kEf05);
        ReadFile(&reader.script, kSelectEf06, kEf06);
        reader.PlugAndOpen();
        EXPECT_EQ(std::string(kText) + '\0', Read(reader.library, 0).text);
    }
}

TEST(SscReadInfo, ACardWithoutTheDirectoryGives4100AndIsPoweredOff)
{
    for (const char *answer : {"6A82", "6F0384 01 11 9000"}) // the second one names no file: tag 88
    {
        ScriptedReader reader;
        reader.script.PowerOn("3B00").Apdu(kSelectDirectory, answer).PowerOff();
        reader.PlugAndOpen();
        const Information information = Read(reader.library, 0, "x");
        EXPECT_EQ(-4100, information.result);
        EXPECT_EQ(std::string("x") + '\0', information.text);
        reader.Finish();
        EXPECT_EQ("Error:PBOC_SelectPSE Error!\r\n", reader.BusinessLog());
    }
}

TEST(SscReadInfo, AFailedExchangeWithTheDirectoryGives4100)
{
    ScriptedReader reader;
    reader.script.PowerOn("3B00").ApduFails(kSelectDirectory, "A2").PowerOff();
    reader.PlugAndOpen();
    EXPECT_EQ(-4100, Read(reader.library, 0).result);
}

TEST(SscReadInfo, AFileThatCannotBeSelectedGives4100AndPowersOff)
{
    for (const char *status : {"6A82", "6283"})
        for (bool second : {false, true})
        {
            ScriptedReader reader;
            Open(&reader.script);
            if (second)
                ReadFile(&reader.script, kSelectEf05, kEf05);
            reader.script.Apdu(second ? kSelectEf06 : kSelectEf05, status).PowerOff();
            reader.PlugAndOpen();
            const Information information = Read(reader.library, 0, "x");
            EXPECT_EQ(-4100, information.result);
            EXPECT_EQ(std::string("x") + '\0', information.text);
            reader.Finish();
            EXPECT_EQ("Error:PBOC_SelectFile Error!\r\n", reader.BusinessLog());
        }
}

TEST(SscReadInfo, AFailedRecordGivesItsOwnCodeAndNothingIsWritten)
{
    struct Row
    {
        const char *status;
        bool exchangeFails;
        int code;
    };
    const Row rows[] = {{"6A83", false, -99}, {"6283", false, 100}, {"A2", true, -4006}};
    for (const Row &row : rows)
    {
        ScriptedReader reader;
        Open(&reader.script);
        ReadFile(&reader.script, kSelectEf05, kEf05);
        ReadFile(&reader.script, kSelectEf06, {kEf06.begin(), kEf06.begin() + 5});
        if (row.exchangeFails)
            reader.script.ApduFails("00B2060400", row.status);
        else
            reader.script.Apdu("00B2060400", row.status);
        reader.script.PowerOff();
        reader.PlugAndOpen();
        const Information information = Read(reader.library, 0, "x");
        EXPECT_EQ(row.code, information.result);
        EXPECT_EQ(std::string("x") + '\0', information.text);
        reader.Finish();
        EXPECT_EQ("", reader.BusinessLog());
    }
}

TEST(SscReadInfo, APowerOnFailureIsGivenAndNothingIsPoweredOff)
{
    ScriptedReader reader;
    reader.script.PowerOnFails("55");
    reader.PlugAndOpen();
    EXPECT_EQ(1, Read(reader.library, 0, "", 5).result);
    EXPECT_EQ(-1007, Read(reader.library, 0, "", -1).result);
    EXPECT_EQ(-1007, CALL(reader.library, BO_SSCReadInfo)(0, nullptr, 1));
    HostLibrary closed;
    EXPECT_EQ(-1003, Read(closed, 0, "", 1).result) << "the reader was not opened";
}
