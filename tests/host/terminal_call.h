// A host that makes the terminal-standard IC calls, a scripted reader on the port that it names,
// and what the card says in them.
#pragma once

#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "host/scripted_reader.h"

namespace terminal_testing
{

using testing_support::Config;
using testing_support::HostLibrary;
using testing_support::ReaderScript;
using testing_support::ScriptedReader;

inline const char kSelectPse[] = "00A404000E315041592E5359532E4444463031";
inline const char kPse[] = "6F15840E315041592E5359532E4444463031A5038801019000";
inline const char kDirectory[] = "700C610A4F08A0000003330101019000";
inline const char kAid[] = "A000000333010101";
inline const char kSelectAid[] = "00A4040008A000000333010101";
inline const char kFci[] = "6F069F38039F02069000"; // the PDOL asks for the amount
inline const char kOptions[] = "80A80000088306";   // then the amount

inline std::string Debug()
{
    return Config("loglevel", "2");
}

// A host that names the line itself: "pts/7".
struct Terminal : ScriptedReader
{
    std::string port;

    explicit Terminal(const std::string &configIni = testing_support::ShippedConfig())
        : ScriptedReader(configIni)
    {
    }
    void Plug()
    {
        line = std::make_unique<testing_support::GoldenLine>(script.rows);
        port = line->path.substr(strlen("/dev/"));
    }
    std::string EntryLines(const std::string &name, const std::string &rest = "9600, nTimeout = 1")
    {
        return "Info:Enter " + name + "\r\nInfo:pszPort = " + port + ", nBaudRate = " + rest +
               "\r\n";
    }
};

// The arguments and the areas of all four calls; the areas are filled with '#' first.
struct Call
{
    const HostLibrary &library;
    const char *port = nullptr;
    const char *extendPort = nullptr;
    int baudRate = 9600;
    int timeout = 1;
    int32_t icType = 1;
    const char *aidList = kAid;
    const char *tagList = "A";
    const char *txData = "K00811223344P012000000001234";
    const char *arpc = "910A11223344556677883030";
    const char *appData = "8A02";
    int32_t length = 30000;
    std::vector<char> text = std::vector<char>(30000, '#');
    std::vector<char> second = std::vector<char>(30000, '#');

    explicit Call(const Terminal &terminal) : library(terminal.library), port(terminal.port.c_str())
    {
    }
    int GetInfo()
    {
        return CALL(library, IC_GetInfo)(port, extendPort, baudRate, timeout, &icType, aidList,
                                         tagList, &length, text.data());
    }
    int GenArqc()
    {
        return CALL(library, IC_GenARQC)(port, extendPort, baudRate, timeout, &icType, aidList,
                                         txData, &length, text.data(), second.data());
    }
    int CtlScriptData()
    {
        return CALL(library, IC_CtlScriptData)(port, extendPort, baudRate, timeout, &icType, txData,
                                               arpc, &length, text.data(), second.data(), appData);
    }
    int GetTranDeta()
    {
        return CALL(library, IC_GetTranDeta)(port, extendPort, baudRate, timeout, &icType, aidList,
                                             &length, text.data());
    }
    bool Untouched() const
    {
        return text[0] == '#' && second[0] == '#' && length == 30000;
    }
};

using Method = int (Call::*)();

struct NamedCall
{
    const char *name;
    Method call;
};

inline const NamedCall kCalls[] = {
    {"IC_GetInfo", &Call::GetInfo},
    {"IC_GenARQC", &Call::GenArqc},
    {"IC_CtlScriptData", &Call::CtlScriptData},
    {"IC_GetTranDeta", &Call::GetTranDeta},
};

inline void OpenCard(ReaderScript *script, const std::string &fci = kFci)
{
    script->PowerOn("3B00").Apdu(kSelectPse, kPse).Apdu(kSelectAid, fci);
}

inline void OpenCardOfTheDirectory(ReaderScript *script, const std::string &fci = kFci)
{
    script->PowerOn("3B00")
        .Apdu(kSelectPse, kPse)
        .Apdu("00B2010C00", kDirectory)
        .Apdu("00B2020C00", "6A83")
        .Apdu(kSelectAid, fci);
}

// What IC_GetInfo reads of the card with tag list "A".
inline void ReadNumber(ReaderScript *script)
{
    script->Apdu(kOptions + std::string("000000000012"), "80067C00080101009000")
        .Apdu("00B2010C00", "5A0A6222021001098550814F9000")
        .PowerOff();
}

inline const char kNumber[] = "A0196222021001098550814";

// A first cryptogram with the transaction text of `Call`.
inline void GiveCryptogram(ReaderScript *script)
{
    script->Apdu(kOptions + std::string("000000001234"), "80067C00080101009000")
        .Apdu("00B2010C00", "70178C039F02068D028A025A086222021001098550 5F340101 9000")
        .Apdu("80AE800006000000001234", "8012800001112233445566778807010103A000009000")
        .Apdu("80CA9F13", "6A88");
}

inline const char kArqc[] = "9F26081122334455667788"
                            "9F270180"
                            "9F100707010103A00000"
                            "9F370411223344"
                            "9F36020001"
                            "95050000000800"
                            "9A03303030"
                            "9C0101"
                            "9F0206000000001234"
                            "5F2A020156"
                            "82027C00"
                            "9F1A020156"
                            "9F0306000000000000"
                            "9F330320A100"
                            "9F130100"
                            "5A086222021001098550"
                            "5F340101";

// The second half for the response code "00" and the list 8A02.
inline void Complete(ReaderScript *script)
{
    script->Apdu("008200000A11223344556677883030", "9000")
        .Apdu("80AE4000023030", "800B40000288776655443322119000")
        .PowerOff();
}

// One record of 45 bytes, and its text.
inline const char kRecord[] =
    "160524191222000000000100000000000000015601564142434445464748494A4B4C4D4E4F50"
    "5152535401003F9000";
inline const char kDetail[] =
    "01106P012000000000100Q012000000000000R0040156S006160524T00201U006191222"
    "V0040156W020ABCDEFGHIJKLMNOPQRSTX004003F";

inline void ReadLog(ReaderScript *script)
{
    script->Apdu("00B2015C00", kRecord).Apdu("00B2025C00", "6A83").PowerOff();
}

inline const char kLogFci[] = "6F059F4D020B029000";

} // namespace terminal_testing
