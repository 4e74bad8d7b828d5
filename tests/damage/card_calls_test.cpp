// The business calls on IC cards, ordinary, variant and terminal-standard: whole sessions in which
// one answer is damaged.
#include <cstring>

#include "damage/bench/bench.h"
#include "support/pboc_data.h"
#include "vantor/business.h"
#include "vantor/operations.h"
#include "vantor/pboc.h"
#include "vantor/terminal.h"
#include "vantor/transactions.h"

using namespace damage_testing;
using testing_support::PbocData;

namespace
{

constexpr uint32_t kLimitMs = 3000;
constexpr uint32_t kCloseMs = 200; // BO_Close waits for a read to see that it is cancelled
constexpr uint32_t kPauseMs = 900;

const char kSelectPse[] = "00A404000E315041592E5359532E4444463031";
const char kPse[] = "6F15840E315041592E5359532E4444463031A5038801019000";
const char kDirectory[] = "700C610A4F08A0000003330101019000";
const char kSelectAid[] = "00A4040008A000000333010101";
const char kFci[] = "6F12 8408A000000333010101 A506 9F38039F0206 9000"; // the PDOL: the amount
const char kLogFci[] = "6F14 8408A000000333010101 BF0C0A 9F4D020B0A DF4D020C0A 9000";

const char kText[] = "P012000000001234S006250131U006235959T00200";

struct Way
{
    int framing;
    int cardType;
};

constexpr Way kWays[] = {{0, 0}, {0, 1}, {1, 0}, {1, 1}};
constexpr Way kOneWay[] = {{0, 0}};

using Build = std::function<void(ReaderScript *)>;
using Operate = std::function<int(int cardType, Outputs *)>;

struct Options
{
    bool everyWay = true;
    bool opensTheReader = false;
    int result = 0;
    std::function<void()> prepare;
};

Subject MakeSubject(const char *name, const Way &way, const Build &build, const Operate &operate,
                    const Options &options)
{
    ReaderScript script;
    script.united = way.framing == 1;
    script.contactless = way.cardType == 1;
    build(&script);
    Subject subject;
    subject.name = name;
    subject.rows = script.rows;
    subject.framing = way.framing;
    // The variant calls try the other command set as well, which nobody here answers.
    subject.limitMs = kLimitMs;
    subject.opensTheReader = options.opensTheReader;
    subject.pauseMs = options.opensTheReader ? kPauseMs + kCloseMs : kPauseMs;
    subject.result = options.result;
    subject.prepare = options.prepare;
    const int cardType = way.cardType;
    subject.call = [=](Outputs *out) { return operate(cardType, out); };
    return subject;
}

void Damage(const char *name, const Build &build, const Operate &operate,
            const Options &options = {})
{
    if (!options.everyWay)
        DamageEveryAnswer(MakeSubject(name, kOneWay[0], build, operate, options));
    else
        for (const Way &way : kWays)
            DamageEveryAnswer(MakeSubject(name, way, build, operate, options));
}

// ---- What the cards say ----

ReaderScript &Open(ReaderScript *script, const char *fci)
{
    return script->PowerOn("3B6D000000960755")
        .Apdu(kSelectPse, kPse)
        .Apdu("00B2010C00", kDirectory)
        .Apdu("00B2020C00", "6A83")
        .Apdu(kSelectAid, fci);
}

void ReadInformation(ReaderScript *script)
{
    Open(script, kFci)
        .Apdu("80A8000008830600000000 0012", "800A7C00 10010200 18010100 9000")
        .Apdu("00B2011400", "701A 5A0A6222021001098550814F 57096222021001098550D2 5F2002 5A53 9000")
        .Apdu("00B2021400", "7014 9F62 01 00 9F6108 3131303130313939 5F2403 301231 9000")
        .Apdu("00B2011C00", "7013 9F630C 112233445566778899AABBCC 5F3401 01 9000")
        .Apdu("80CA9F79", "9F7906000000001000 9000")
        .PowerOff();
}

// Nine records of a published card.
void ReadTestCard(ReaderScript *script)
{
    const auto session = PbocData("41-pboc-testcard-contact-dc.json");
    const auto recorded = [&](const std::string &command) -> std::string
    {
        for (const auto &exchange : session["exchanges"])
            if (exchange["cmd"] == command)
                return exchange["rsp"];
        ADD_FAILURE() << "not recorded: " << command;
        return "";
    };
    script->PowerOn("3B6D000000960755")
        .Apdu(kSelectPse, recorded("00A404000E315041592E5359532E444446303100"))
        .Apdu("00B2010C00", recorded("00B2010C00"))
        .Apdu("00B2020C00", "6A83")
        .Apdu(kSelectAid, recorded("00A4040008A00000033301010100"))
        .Apdu("80A8000021831F0156000000000000120156"
              "0000000000000000000000000000000000000000",
              recorded("80A80000"))
        .Apdu("00B2010C00", "702C57116228000100001117D301220101234567899F1F1630313032303330343035"
                            "3036303730383039304130429000");
    for (const char *record : {"00B2011400", "00B2021400", "00B2011C00", "00B2021C00", "00B2012400",
                               "00B2022400", "00B2032400"})
        script->Apdu(record, recorded(record));
    script->PowerOff();
}

void AnswerAtOnce(ReaderScript *script)
{
    Open(script, kFci)
        .Apdu("80A80000088306000000000012",
              "7726 82027C00 9F2608 1122334455667788 9F360200 01 9F1007 07010103A00000 "
              "5A0462220210 9000")
        .PowerOff();
}

void AskCryptogram(ReaderScript *script)
{
    Open(script, kFci)
        .Apdu("80A80000088306000000001234", "80067C00 08010100 9000")
        .Apdu("00B2010C00", "7017 8C039F0206 8D028A02 5A086222021001098550 5F340101 9000")
        .Apdu("80AE800006000000001234", "8012 80 0001 1122334455667788 07010103A00000 9000");
}

const char kApproval[] = "910A11223344556677883030";
const char kApprovalWithScript[] = "910A11223344556677883030"
                                   "7212 9F1804 00000001 86 09 8424000004 11223344";

void Complete(ReaderScript *script)
{
    script->Apdu("008200000A11223344556677883030", "9000")
        .Apdu("80AE4000023030", "8012 40 0002 8877665544332211 07010103600000 9000");
}

void RunScript(ReaderScript *script)
{
    script->Apdu("842400000411223344", "9000");
}

// What the first half keeps of the card.
void KeepSecondList()
{
    const std::string kept = "000014" + FromHex("4F08A000000333010101 8D028A02");
    memset(g_IccAppData, 0, sizeof g_IccAppData);
    memcpy(g_IccAppData, kept.data(), kept.size());
}

const char kRecord[] =
    "160524191222000000000100000000000000015601564142434445464748494A4B4C4D4E4F50"
    "5152535401003F9000";
const char kLoad[] = "9F79 000000001000 000000002000 250131 235959 0156"
                     "544553542042414E4B2020202020202020202020 00FF 9000";

void ReadLog(ReaderScript *script)
{
    Open(script, kLogFci)
        .Apdu("00B2015C00", kRecord)
        .Apdu("00B2025C00", kRecord)
        .Apdu("00B2035C00", "6A83")
        .PowerOff();
}

// Letter-coded text: its items may hold zero bytes, so that only their lengths lead to the end.
size_t LengthOfItems(const char *text, size_t room)
{
    size_t at = 0;
    while (at + 4 < room && text[at] >= 'A' && text[at] <= 'Z')
        at += 4 + static_cast<size_t>(std::stoi(std::string(text + at + 1, 3)));
    return at;
}

template <typename Given>
int Items(Outputs *out, size_t room, const Given &given)
{
    char *text = out->Text(room);
    const int result = given(text);
    if (result == 0)
        out->Used(text, LengthOfItems(text, room) + 1);
    else
        out->UsedText(text);
    return result;
}

// A text that is left alone on failure.
template <typename Given>
int Text(Outputs *out, size_t room, const Given &given)
{
    char *text = out->Text(room);
    const int result = given(text);
    out->UsedText(text);
    return result;
}

} // namespace

TEST(DamagedCardCalls, PowerAndApdus)
{
    Damage(
        "BO_IcPowerOn", [](ReaderScript *script) { script->PowerOn("3B6D000000960755"); },
        [](int cardType, Outputs *out)
        {
            char *atr = out->Text(64);
            auto *length = out->Value<int32_t>(0);
            auto *type = out->Value<int32_t>(9);
            const int result = BO_IcPowerOn(cardType, 64, atr, length, type, 1);
            out->Used(atr, *length > 0 ? static_cast<size_t>(*length) : 0);
            return result;
        });
    Damage(
        "BO_IcPowerOff", [](ReaderScript *script) { script->PowerOff(); },
        [](int cardType, Outputs *) { return BO_IcPowerOff(cardType); });
    Damage(
        "BO_IcAPDU",
        [](ReaderScript *script) { script->Apdu("0084000008", "11223344556677889000"); },
        [](int cardType, Outputs *out)
        {
            char *response = out->Text(2048);
            auto *length = out->Value<int32_t>(0);
            const int result = BO_IcAPDU(cardType, "0084000008", 10, 0, response, length);
            out->Used(response, *length > 0 ? static_cast<size_t>(*length) : 0);
            return result;
        });
}

// The automatic mode asks the contactless card when the contact one does not answer.
TEST(DamagedCardCalls, TheAutomaticMode)
{
    ReaderScript script;
    script.PowerOnFails("FB");
    script.contactless = true;
    script.PowerOn("0400085A1B2C3D");
    Subject subject;
    subject.name = "BO_IcPowerOn, automatic";
    subject.rows = script.rows;
    subject.call = [](Outputs *out)
    {
        char *atr = out->Text(64);
        auto *length = out->Value<int32_t>(0);
        auto *type = out->Value<int32_t>(9);
        const int result = BO_IcPowerOn(2, 64, atr, length, type, 1);
        out->Used(atr, *length > 0 ? static_cast<size_t>(*length) : 0);
        return result;
    };
    DamageEveryAnswer(subject);
}

TEST(DamagedCardCalls, Information)
{
    const Operate getInfo = [](int cardType, Outputs *out)
    {
        return Items(out, 4409,
                     [=](char *info) { return BO_ICGetInfo(cardType, "ABDEGIN", 0, info, 1); });
    };
    Damage("BO_ICGetInfo", ReadInformation, getInfo);
    Damage("BO_ICGetInfo, data at once", AnswerAtOnce,
           [](int cardType, Outputs *out) {
               return Items(out, 4409,
                            [=](char *info) { return BO_ICGetInfo(cardType, "A", 0, info, 1); });
           });
    Damage("BO_ICGetInfo_YC", ReadInformation,
           [](int cardType, Outputs *out)
           {
               return Items(out, 3889,
                            [=](char *info)
                            {
                                auto *type = out->Value<int32_t>(cardType);
                                return BO_ICGetInfo_YC(type, "", "ABCEGIJK", 0, info, 1);
                            });
           });
}

TEST(DamagedCardCalls, InformationOfATestCard)
{
    Damage("BO_ICGetInfo", ReadTestCard,
           [](int cardType, Outputs *out) {
               return Items(out, 4409,
                            [=](char *info) { return BO_ICGetInfo(cardType, "AE", 0, info, 1); });
           });
}

TEST(DamagedCardCalls, Logs)
{
    Damage("BO_ICGetDetail", ReadLog,
           [](int cardType, Outputs *out) {
               return Text(out, 27037,
                           [=](char *detail) { return BO_ICGetDetail(cardType, 0, detail, 1); });
           });
    Damage(
        "BO_ICGetCircllog",
        [](ReaderScript *script)
        {
            Open(script, kLogFci)
                .Apdu("00B2016400", kLoad)
                .Apdu("00B2026400", kLoad)
                .Apdu("00B2036400", "6A83")
                .PowerOff();
        },
        [](int cardType, Outputs *out)
        {
            return Text(out, 24742,
                        [=](char *detail) { return BO_ICGetCircllog(cardType, 0, detail, 1); });
        });
    // The merchant's name may hold zero bytes, so the text has no end that could be seen.
    Damage("BO_ICGetDetail_YC", ReadLog,
           [](int cardType, Outputs *out)
           {
               auto *type = out->Value<int32_t>(cardType);
               char *detail = out->Text(27037);
               const int result = BO_ICGetDetail_YC(type, "", 0, detail, 1);
               const int records = result == 0 ? atoi(std::string(detail, 2).c_str()) : 0;
               out->Used(detail, result == 0 ? 5 + 106 * static_cast<size_t>(records) + 1 : 1);
               return result;
           });
}

TEST(DamagedCardCalls, FirstHalves)
{
    Damage("BO_ICGenARQC", AskCryptogram,
           [](int cardType, Outputs *out)
           {
               auto *type = out->Value<int32_t>(9);
               return Text(out, 1025,
                           [=](char *arqc)
                           { return BO_ICGenARQC(cardType, kText, 1025, arqc, type, 1); });
           });
    Damage(
        "BO_ICGenARQC_YC",
        [](ReaderScript *script)
        {
            AskCryptogram(script);
            script->Apdu("80CA9F13", "9F13020005 9000");
        },
        [](int cardType, Outputs *out)
        {
            auto *type = out->Value<int32_t>(cardType);
            char *list = out->Text(1025);
            const int result = Text(
                out, 2583,
                [=](char *arqc) { return BO_ICGenARQC_YC(type, "", kText, 2583, arqc, 1, list); });
            out->UsedText(list);
            return result;
        });
}

// More than g_IccAppData holds: the last of the records is cut.
TEST(DamagedCardCalls, AFirstHalfOfACardFullOfRecords)
{
    const auto build = [](ReaderScript *script)
    {
        const std::string filler(2 * 500, 'A');
        Open(script, kFci)
            .Apdu("80A80000088306000000001234", "80067C00 10011100 9000")
            .Apdu("00B2011400", "7017 8C039F0206 8D028A02 5A086222021001098550 5F340101 9000");
        for (size_t record = 2; record <= 17; record++)
            script->Apdu("00B2" + testing_support::HexByte(record) + "1400",
                         "708201F8 5F508201F4 " + filler + "9000");
        script->Apdu("80AE800006000000001234", "8012 80 0001 1122334455667788 07010103A00000 9000");
    };
    const Way way = {1, 0};
    DamageEveryAnswer(
        MakeSubject("BO_ICGenARQC", way, build,
                    [](int cardType, Outputs *out)
                    {
                        auto *type = out->Value<int32_t>(9);
                        return Text(out, 1025,
                                    [=](char *arqc)
                                    { return BO_ICGenARQC(cardType, kText, 1025, arqc, type, 1); });
                    },
                    {}));
}

TEST(DamagedCardCalls, SecondHalves)
{
    Options kept;
    kept.prepare = KeepSecondList;
    static const std::string withScript =
        testing_support::HexOf(testing_support::BytesOf(kApprovalWithScript));
    const Build build = [](ReaderScript *script)
    {
        Complete(script);
        RunScript(script);
        script->PowerOff();
    };
    Damage(
        "BO_ICExeScript_TC", build,
        [](int cardType, Outputs *out)
        {
            char *tc = out->Text(1012);
            const int result =
                Text(out, 1023,
                     [=](char *script) {
                         return BO_ICExeScript_TC(cardType, kText, withScript.c_str(), 1023, script,
                                                  0, tc);
                     });
            out->Used(tc, strnlen(tc, 1012)); // no NUL is written
            for (size_t i = 0; i < 1012; i++)
                if (static_cast<unsigned char>(tc[i]) == kUntouched)
                {
                    out->Used(tc, i);
                    break;
                }
            return result;
        },
        kept);
    Damage("BO_ICExeScript_YC", build,
           [](int cardType, Outputs *out)
           {
               const unsigned char list[] = {0x8A, 0x02};
               char *tc = out->Text(1013);
               const int result =
                   Text(out, 1023,
                        [&](char *script)
                        {
                            return BO_ICExeScript_YC(cardType, kText, withScript.c_str(), 1023,
                                                     script, 1013, tc, 2, list);
                        });
               out->UsedText(tc);
               return result;
           });
    Damage(
        "BO_ICExeScript",
        [](ReaderScript *script)
        {
            script->Apdu("008200000A11223344556677883030", "9000");
            RunScript(script);
            script->PowerOff();
        },
        [](int cardType, Outputs *)
        { return BO_ICExeScript(cardType, kText, withScript.c_str(), nullptr); });
}

TEST(DamagedCardCalls, TerminalCalls)
{
    Options opens;
    opens.opensTheReader = true;
    Damage(
        "IC_GetInfo", ReadInformation,
        [](int cardType, Outputs *out)
        {
            auto *type = out->Value<int32_t>(cardType + 1);
            auto *length = out->Value<int32_t>(4096);
            return Items(out, 3889,
                         [=](char *info) {
                             return IC_GetInfo("ttyD0", nullptr, 9600, 1, type, "", "ABCEGIJK",
                                               length, info);
                         });
        },
        opens);
    Damage(
        "IC_GenARQC",
        [](ReaderScript *script)
        {
            AskCryptogram(script);
            script->Apdu("80CA9F13", "9F13020005 9000");
        },
        [](int cardType, Outputs *out)
        {
            auto *type = out->Value<int32_t>(cardType + 1);
            auto *length = out->Value<int32_t>(2583);
            char *list = out->Text(1025);
            const int result = Text(out, 2583,
                                    [=](char *arqc) {
                                        return IC_GenARQC("ttyD0", nullptr, 9600, 1, type, "",
                                                          kText, length, arqc, list);
                                    });
            out->UsedText(list);
            return result;
        },
        opens);
    Damage(
        "IC_CtlScriptData",
        [](ReaderScript *script)
        {
            Complete(script);
            script->PowerOff();
        },
        [](int cardType, Outputs *out)
        {
            auto *type = out->Value<int32_t>(cardType + 1);
            auto *length = out->Value<int32_t>(1013);
            char *tc = out->Text(1013);
            const int result =
                Text(out, 1024,
                     [=](char *script)
                     {
                         return IC_CtlScriptData("ttyD0", nullptr, 9600, 1, type, kText, kApproval,
                                                 length, tc, script, "8A02");
                     });
            out->UsedText(tc);
            return result;
        },
        opens);
    Damage(
        "IC_GetTranDeta", ReadLog,
        [](int cardType, Outputs *out)
        {
            auto *type = out->Value<int32_t>(cardType + 1);
            auto *length = out->Value<int32_t>(27037);
            char *detail = out->Text(27037);
            const int result = IC_GetTranDeta("ttyD0", nullptr, 9600, 1, type, "", length, detail);
            const int records = result == 0 ? atoi(std::string(detail, 2).c_str()) : 0;
            out->Used(detail, result == 0 ? 5 + 106 * static_cast<size_t>(records) + 1 : 1);
            return result;
        },
        opens);
}

TEST(DamagedCardCalls, ASocialSecurityCard)
{
    const char *const files[][8] = {
        {"00A4000002EF05", "0110310000D15600000531009B2B73A8D9E1", "020133", "0304322E3030",
         "0404 91560000", "050420150301", "060420250301", "0709413132333435363738"},
        {"00A4000002EF06", "0812333130313034313939303031303131323334", "0909E5BCA0E4B889E4B8B0",
         "0A0131", "0B0101", "0C03310104", "0D0419900101", nullptr}};
    Damage(
        "BO_SSCReadInfo",
        [&](ReaderScript *script)
        {
            script->PowerOn("3B00").Apdu("00A404000F7378312E73682EE7A4BEE4BC9AE4BF",
                                         "6F0384011188 0101 9000");
            for (const auto &file : files)
            {
                script->Apdu(file[0], "6F009000");
                for (int record = 1; record < 8 && file[record] != nullptr; record++)
                    script->Apdu("00B2" + testing_support::HexByte(static_cast<size_t>(record)) +
                                     "0400",
                                 file[record] + std::string("9000"));
            }
        },
        [](int cardType, Outputs *out)
        {
            char *info = out->Text(845);
            info[0] = '\0';
            out->Used(info, 1);
            const int result = BO_SSCReadInfo(cardType, info, 1);
            out->UsedText(info);
            return result;
        });
}
