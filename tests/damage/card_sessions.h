// Sessions with an IC card that the tests of the business calls have in common.
#pragma once

#include <cstring>

#include "damage/bench/bench.h"
#include "support/pboc_data.h"
#include "vantor/business.h"
#include "vantor/operations.h"
#include "vantor/pboc.h"
#include "vantor/terminal.h"
#include "vantor/transactions.h"

namespace damage_testing
{

using testing_support::PbocData;

constexpr uint32_t kLimitMs = 3000;
constexpr uint32_t kCloseMs = 200; // BO_Close waits for a read to see that it is cancelled
constexpr uint32_t kPauseMs = 900;

inline const char kSelectPse[] = "00A404000E315041592E5359532E4444463031";
inline const char kPse[] = "6F15840E315041592E5359532E4444463031A5038801019000";
inline const char kDirectory[] = "700C610A4F08A0000003330101019000";
inline const char kSelectAid[] = "00A4040008A000000333010101";
inline const char kFci[] =
    "6F12 8408A000000333010101 A506 9F38039F0206 9000"; // the PDOL: the amount
inline const char kLogFci[] = "6F14 8408A000000333010101 BF0C0A 9F4D020B0A DF4D020C0A 9000";

inline const char kText[] = "P012000000001234S006250131U006235959T00200";

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

inline Subject MakeSubject(const char *name, const Way &way, const Build &build,
                           const Operate &operate, const Options &options)
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

inline void Damage(const char *name, const Build &build, const Operate &operate,
                   const Options &options = {})
{
    if (!options.everyWay)
        DamageEveryAnswer(MakeSubject(name, kOneWay[0], build, operate, options));
    else
        for (const Way &way : kWays)
            DamageEveryAnswer(MakeSubject(name, way, build, operate, options));
}

// ---- What the cards say ----

inline ReaderScript &Open(ReaderScript *script, const char *fci)
{
    return script->PowerOn("3B6D000000960755")
        .Apdu(kSelectPse, kPse)
        .Apdu("00B2010C00", kDirectory)
        .Apdu("00B2020C00", "6A83")
        .Apdu(kSelectAid, fci);
}

inline void ReadInformation(ReaderScript *script)
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
inline void ReadTestCard(ReaderScript *script)
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

inline void AnswerAtOnce(ReaderScript *script)
{
    Open(script, kFci)
        .Apdu("80A80000088306000000000012",
              "7726 82027C00 9F2608 1122334455667788 9F360200 01 9F1007 07010103A00000 "
              "5A0462220210 9000")
        .PowerOff();
}

inline void AskCryptogram(ReaderScript *script)
{
    Open(script, kFci)
        .Apdu("80A80000088306000000001234", "80067C00 08010100 9000")
        .Apdu("00B2010C00", "7017 8C039F0206 8D028A02 5A086222021001098550 5F340101 9000")
        .Apdu("80AE800006000000001234", "8012 80 0001 1122334455667788 07010103A00000 9000");
}

inline const char kApproval[] = "910A11223344556677883030";
inline const char kApprovalWithScript[] = "910A11223344556677883030"
                                          "7212 9F1804 00000001 86 09 8424000004 11223344";

inline void Complete(ReaderScript *script)
{
    script->Apdu("008200000A11223344556677883030", "9000")
        .Apdu("80AE4000023030", "8012 40 0002 8877665544332211 07010103600000 9000");
}

inline void RunScript(ReaderScript *script)
{
    script->Apdu("842400000411223344", "9000");
}

// What the first half keeps of the card.
inline void KeepSecondList()
{
    const std::string kept = "000014" + FromHex("4F08A000000333010101 8D028A02");
    memset(g_IccAppData, 0, sizeof g_IccAppData);
    memcpy(g_IccAppData, kept.data(), kept.size());
}

inline const char kRecord[] =
    "160524191222000000000100000000000000015601564142434445464748494A4B4C4D4E4F50"
    "5152535401003F9000";
inline const char kLoad[] = "9F79 000000001000 000000002000 250131 235959 0156"
                            "544553542042414E4B2020202020202020202020 00FF 9000";

inline void ReadLog(ReaderScript *script)
{
    Open(script, kLogFci)
        .Apdu("00B2015C00", kRecord)
        .Apdu("00B2025C00", kRecord)
        .Apdu("00B2035C00", "6A83")
        .PowerOff();
}

// Letter-coded text: its items may hold zero bytes, so that only their lengths lead to the end.
inline size_t LengthOfItems(const char *text, size_t room)
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

} // namespace damage_testing
