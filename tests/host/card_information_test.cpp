// BO_ICGetInfo: a card's data elements, picked by letters.
#include <cstring>
#include <gtest/gtest.h>
#include <vector>

#include "host/scripted_reader.h"
#include "support/pboc_data.h"

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
const char kDirectory[] = "700C610A4F08A0000003330101019000";
const char kSelectAid[] = "00A4040008A000000333010101";
const size_t kRoom = 4409;

struct Information
{
    int result;
    std::string text; // up to the byte behind the last one written
};

// The area is filled with '#' first; everything up to the last other byte was written.
Information GetInfo(const HostLibrary &library, int mode, const char *tagList, int timeout = 1)
{
    std::vector<char> area(kRoom + 100, '#');
    Information information;
    information.result = CALL(library, BO_ICGetInfo)(mode, tagList, 0, area.data(), timeout);
    size_t end = area.size();
    while (end > 0 && area[end - 1] == '#')
        end--;
    information.text = std::string(area.data(), end);
    return information;
}

std::string Response(const nlohmann::json &session, const std::string &command)
{
    for (const auto &exchange : session["exchanges"])
        if (exchange["cmd"] == command)
            return exchange["rsp"];
    ADD_FAILURE() << "not recorded: " << command;
    return "";
}

// Power-on and application selection with the given FCI.
void Open(ReaderScript *script, const std::string &fci)
{
    script->PowerOn("3B00")
        .Apdu(kSelectPse, kPse)
        .Apdu("00B2010C00", kDirectory)
        .Apdu("00B2020C00", "6A83")
        .Apdu(kSelectAid, fci);
}

// The published test card, from power-on to its last record.
void ReadTestCard(ReaderScript *script)
{
    const auto session = PbocData("41-pboc-testcard-contact-dc.json");
    script->PowerOn("3B6D000000960755")
        .Apdu(kSelectPse, Response(session, "00A404000E315041592E5359532E444446303100"))
        .Apdu("00B2010C00", Response(session, "00B2010C00"))
        .Apdu("00B2020C00", "6A83")
        .Apdu(kSelectAid, Response(session, "00A4040008A00000033301010100"))
        .Apdu("80A8000021831F0156000000000000120156"
              "0000000000000000000000000000000000000000",
              Response(session, "80A80000"));
    // Record 1 of file 1: once of the directory, once of the application.
    script->Apdu("00B2010C00",
                 "702C57116228000100001117D301220101234567899F1F1630313032303330343035"
                 "3036303730383039304130429000");
    for (const char *record : {"00B2011400", "00B2021400", "00B2011C00", "00B2021C00", "00B2012400",
                               "00B2022400", "00B2032400"})
        script->Apdu(record, Response(session, record));
}

std::string Bytes(size_t count, const char *byte)
{
    std::string hex;
    for (size_t i = 0; i < count; i++)
        hex += byte;
    return hex;
}

} // namespace

TEST(GetInfo, GivesAllElementsOfATestCard)
{
    ScriptedReader reader;
    const auto session = PbocData("41-pboc-testcard-contact-dc.json");
    ReadTestCard(&reader.script);
    reader.script.Apdu("80CA9F79", Response(session, "80CA9F7900"))
        .Apdu("80CA9F77", Response(session, "80CA9F7700"))
        .Apdu("80CA9F6D", Response(session, "80CA9F6D00"))
        .Apdu("80CA9F78", Response(session, "80CA9F7800"))
        .PowerOff();
    reader.PlugAndOpen();
    const Information information = GetInfo(reader.library, 0, "NMLKJIHGFEDCBA");
    EXPECT_EQ(0, information.result);
    EXPECT_EQ(std::string("A0166228000100001117"
                          "B015FULL FUNCTIONAL"
                          "C000"
                          "D000"
                          "E0346228000100001117D30122010123456789"
                          "F04430313032303330343035303630373038303930413042"
                          "G012000000000000"
                          "H012000000015000"
                          "I006301231"
                          "J00201"
                          "K012000000001500"
                          "L012000000001000"
                          "M006950701"
                          "N016\x11\x22\x33\x44\x55\x66\x77\x88") +
                  std::string(9, '\0'),
              information.text);
}

TEST(GetInfo, LettersCountInAnyOrderAndAnyNumber)
{
    for (const char *tagList : {"AE", "EA", "xEEA-A9e"})
    {
        ScriptedReader reader;
        ReadTestCard(&reader.script);
        reader.script.PowerOff();
        reader.PlugAndOpen();
        EXPECT_EQ(std::string("A0166228000100001117E0346228000100001117D30122010123456789") + '\0',
                  GetInfo(reader.library, 0, tagList).text);
    }
}

TEST(GetInfo, LettersOutsideTheTableGiveAnEmptyAnswer)
{
    ScriptedReader reader;
    ReadTestCard(&reader.script);
    reader.script.PowerOff();
    reader.PlugAndOpen();
    const Information information = GetInfo(reader.library, 0, "OZ");
    EXPECT_EQ(0, information.result);
    EXPECT_EQ(std::string(1, '\0'), information.text);
}

TEST(GetInfo, AListWithoutALetterIsRefusedBeforePowerOn)
{
    ScriptedReader reader;
    reader.PlugAndOpen();
    for (const char *tagList : {"abc", "", "12"})
        EXPECT_EQ(-1007, GetInfo(reader.library, 0, tagList).result) << tagList;
    EXPECT_EQ(-1007, GetInfo(reader.library, 0, nullptr).result);
    EXPECT_EQ(-1007, CALL(reader.library, BO_ICGetInfo)(0, "A", 0, nullptr, 1));
    reader.Finish();
    EXPECT_EQ("Error:TagList Error!\r\nError:TagList Error!\r\nError:TagList Error!\r\n"
              "Error:TagList Error!\r\n",
              reader.BusinessLog());
}

TEST(GetInfo, ANumberEndsBeforeItsPadding)
{
    ScriptedReader reader;
    Open(&reader.script, "6F009000");
    reader.script.Apdu("80A80000028300", "80067C00080101009000")
        .Apdu("00B2010C00", "5A0A6222021001098550814F 5703FF1122 5F24021F2F9000")
        .PowerOff();
    reader.PlugAndOpen();
    EXPECT_EQ(std::string("A0196222021001098550814E000I0041F2F") + '\0',
              GetInfo(reader.library, 0, "AEI").text)
        << "the expiration date is not cut";
}

TEST(GetInfo, AContactlessAnswerWithTheDataAtOnceIsTheApplicationData)
{
    ScriptedReader reader(Config("Iccmd", "1", Config("loglevel", "2")));
    const auto session = PbocData("40-qpboc-contactless-debit.json");
    const std::string answer =
        Response(session, "80A800002383213680000000000000000100000000000001560000000000015617060100"
                          "2B29EBE400");
    const std::string data = answer.substr(0, answer.size() - 4);
    reader.script.contactless = true;
    Open(&reader.script, Response(session, "00A4040008A00000033301010100"));
    reader.script
        .Apdu("80A80000238321F4000000000000000012000000000000015600000008000156303030"
              "0112345678",
              answer)
        .PowerOff();
    reader.PlugAndOpen();
    EXPECT_EQ(std::string("A000E0346299999999999999D20112010123456789J00200") + '\0',
              GetInfo(reader.library, 1, "AEJ").text);
    reader.Finish();
    EXPECT_EQ("Info:szTempData = " + data + ", iTagValueLen = 81\r\n" + "Info:szAppData = " + data +
                  ", iAppDataLen = 81\r\n",
              reader.BusinessLog());
}

TEST(GetInfo, TheAutomaticModeStaysWithTheInterfaceThatAnswered)
{
    ScriptedReader reader;
    reader.script.PowerOnFails("A2");
    reader.script.contactless = true;
    Open(&reader.script, "6F009000");
    reader.script.Apdu("80A80000028300", "6985").PowerOff();
    reader.PlugAndOpen();
    EXPECT_EQ(std::string("A000") + '\0', GetInfo(reader.library, 2, "A").text)
        << "refused processing options leave no data";
}

TEST(GetInfo, AnElementThatCannotBeReadIsEmpty)
{
    ScriptedReader reader;
    Open(&reader.script, "6F009000");
    reader.script.Apdu("80A80000028300", "80027C009000")
        .Apdu("80CA9F79", "6A88")
        .Apdu("80CA9F77", "9F78029999 9000")
        .ApduFails("80CA9F6D", "A2")
        .Apdu("80CA9F78", "6283")
        .PowerOff();
    reader.PlugAndOpen();
    EXPECT_EQ(std::string("B000G000H000K000L000") + '\0', GetInfo(reader.library, 0, "BGHKL").text);
}

TEST(GetInfo, EveryStepHasItsCodeAndPowersTheCardOff)
{
    struct Row
    {
        const char *pse, *fci, *options, *message;
        int code;
    };
    const char *const none = nullptr;
    const char *const fci = "6F009000";
    const Row rows[] = {
        {"6A82", none, none, "PBOC_SelectPSE Error!", -4100},
        {"6F009000", none, none, "PBOC_SelectPSE Error!", -4100},
        {kPse, "6A82", none, "PBOC_SelectAID Error!", -4102},
        {kPse, "6283", none, "PBOC_SelectAID Error!", -4102},
        {kPse, "6F06 9F3803 9F4104 9000", none, "PBOC_BuildDOL Error!", -4103},
        {kPse, fci, "70009000", "PBOC_GetProcOptions Error!", -4104},
        {kPse, fci, "80 01 7C 9000", "PBOC_GetProcOptions Error!", -4104},
        {kPse, fci, "6283", "PBOC_GetProcOptions Error!", -4104},
    };
    for (const Row &row : rows)
    {
        SCOPED_TRACE(row.message);
        ScriptedReader reader;
        reader.script.PowerOn("3B00").Apdu(kSelectPse, row.pse);
        if (row.fci != none)
            reader.script.Apdu("00B2010C00", kDirectory)
                .Apdu("00B2020C00", "6A83")
                .Apdu(kSelectAid, row.fci);
        if (row.options != none)
            reader.script.Apdu("80A80000028300", row.options);
        reader.script.PowerOff();
        reader.PlugAndOpen();
        const Information information = GetInfo(reader.library, 0, "A");
        EXPECT_EQ(row.code, information.result);
        EXPECT_EQ("", information.text) << "nothing is written on failure";
        reader.Finish();
        EXPECT_EQ("Error:" + std::string(row.message) + "\r\n", reader.BusinessLog());
    }
}

TEST(GetInfo, AFailedExchangeWithTheEnvironmentGives4100)
{
    ScriptedReader reader;
    reader.script.PowerOn("3B00").ApduFails(kSelectPse, "FB").PowerOff();
    reader.PlugAndOpen();
    EXPECT_EQ(-4100, GetInfo(reader.library, 0, "A").result);
}

TEST(GetInfo, ALockedEnvironmentIsNoObstacle)
{
    for (const char *status : {"9303", "6283"})
    {
        ScriptedReader reader;
        reader.script.PowerOn("3B00")
            .Apdu(kSelectPse, status)
            .Apdu("00A4040000", "6F009000")
            .Apdu("80A80000028300", "80067C00080101009000")
            .Apdu("00B2010C00", "5A0211229000")
            .PowerOff();
        reader.PlugAndOpen();
        EXPECT_EQ(std::string("A0041122") + '\0', GetInfo(reader.library, 0, "A").text);
    }
}

TEST(GetInfo, APowerOnFailureIsGivenAndNothingIsPoweredOff)
{
    ScriptedReader reader;
    reader.script.PowerOnFails("55");
    reader.PlugAndOpen();
    EXPECT_EQ(1, GetInfo(reader.library, 0, "A", 5).result);
    EXPECT_EQ(-1007, GetInfo(reader.library, 0, "A", -1).result);
}

TEST(GetInfo, APowerOffThatFailsDoesNotSpoilTheAnswer)
{
    ScriptedReader reader;
    Open(&reader.script, "6F009000");
    reader.script.Apdu("80A80000028300", "6985").PowerOffFails("A2");
    reader.PlugAndOpen();
    EXPECT_EQ(0, GetInfo(reader.library, 0, "A").result);
}

TEST(GetInfo, TheTerminalStoresAreUsedAsTheyStand)
{
    ScriptedReader reader;
    Open(&reader.script, "6F09 9F3806 9F0206 9F3704 9000");
    reader.script.Apdu("80A800000C830A00000001000012345678", "6985").PowerOff();
    reader.PlugAndOpen();
    const unsigned char amount[] = {0x9F, 0x02};
    const unsigned char value[] = {0, 0, 0, 1, 0, 0};
    EXPECT_EQ(0, CALL(reader.library, PBOC_SetTxDataTagValue)(amount, 2, value, 6));
    EXPECT_EQ(0, GetInfo(reader.library, 0, "A").result);
}

TEST(GetInfo, AListThatAsksForMoreThanACommandCarriesFails)
{
    // 26 merchant names are 520 bytes, more than the area of 512; 13 are 260, more than Lc counts.
    for (size_t names : {size_t{26}, size_t{13}})
    {
        ScriptedReader reader;
        const std::string list = Bytes(names, "9F4E14");
        Open(&reader.script, "6F009F38" + HexByte(3 * names) + list + "9000");
        reader.script.PowerOff();
        reader.PlugAndOpen();
        EXPECT_EQ(names == 26 ? -4103 : -4104, GetInfo(reader.library, 0, "A").result);
    }
}

// Every element at its longest: the answer fills the room that is promised, to the last byte.
TEST(GetInfo, TheLongestAnswerFitsThePromisedRoom)
{
    std::string data;
    const auto add = [&](const char *tag, size_t length, const char *byte)
    { data += tag + ("82" + HexByte(length >> 8) + HexByte(length)) + Bytes(length, byte); };
    for (const char *tag : {"5A", "9F62", "57", "9F1F", "5F24", "5F34", "5F25"})
        add(tag, 200, "12");
    for (const char *tag : {"5F20", "9F61", "9F63"})
        add(tag, 600, "42");

    ScriptedReader reader(Config("Iccmd", "1"));
    Open(&reader.script, "6F009000");
    const size_t recordSize = 1000; // characters
    const size_t records = (data.size() + recordSize - 1) / recordSize;
    reader.script.Apdu("80A80000028300", "80067C000801" + HexByte(records) + "009000");
    for (size_t i = 0; i < records; i++)
        reader.script.Apdu("00B2" + HexByte(i + 1) + "0C00",
                           data.substr(i * recordSize, recordSize) + "9000");
    for (const char *tag : {"9F79", "9F77", "9F6D", "9F78"})
        reader.script.Apdu("80CA" + std::string(tag),
                           std::string(tag) + "81C8" + Bytes(200, "34") + "9000");
    reader.script.PowerOff();
    reader.PlugAndOpen();
    const Information information = GetInfo(reader.library, 0, "ABCDEFGHIJKLMN");
    EXPECT_EQ(0, information.result);
    EXPECT_EQ(kRoom, information.text.size());
    EXPECT_EQ("A256" + Bytes(128, "12") + "B512" + std::string(512, 'B'),
              information.text.substr(0, 4 + 256 + 4 + 512));
    EXPECT_EQ('\0', information.text.back());
}

TEST(GetInfo, LyingLengthsGiveEmptyElements)
{
    ScriptedReader reader;
    Open(&reader.script, "6F7F A57F 9F38 7F 9F02 9000"); // no PDOL can be read
    reader.script.Apdu("80A80000028300", "80067C00080102009000")
        .Apdu("00B2010C00", "70FF 5F3401 07 5A FF 1122 9000")
        .Apdu("00B2020C00", "5F2002 4142 9000")
        .PowerOff();
    reader.PlugAndOpen();
    EXPECT_EQ(std::string("A000B000J00207") + '\0', GetInfo(reader.library, 0, "ABJ").text);
}

TEST(GetInfo, AfterAnyAnswerTheNextCallWorks)
{
    ScriptedReader reader;
    Open(&reader.script, "6F009000");
    reader.script.Apdu("80A80000028300", "61FF");
    for (int i = 0; i < 32; i++)
        reader.script.Apdu("00C00000FF", "61FF");
    reader.script.PowerOff();
    Open(&reader.script, "6F009000");
    reader.script.Apdu("80A80000028300", "80067C00080101009000")
        .Apdu("00B2010C00", "5A0211229000")
        .PowerOff();
    reader.PlugAndOpen();
    EXPECT_EQ(std::string("A000") + '\0', GetInfo(reader.library, 0, "A").text);
    EXPECT_EQ(std::string("A0041122") + '\0', GetInfo(reader.library, 0, "A").text);
}
