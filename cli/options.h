// The arguments, understood and checked.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "memory_text.h"
#include "track_text.h"

namespace tool
{

// Which set of the library's calls a command goes through.
enum class CallSet
{
    kMain,     // the BO_ calls
    kTerminal, // the calls of the terminal-standard interface
};

struct PurseOptions
{
    bool deposit = false;       // the electronic deposit, not the purse
    uint32_t amount = 0;        // hundredths
    std::string pin;            // digits
    std::string terminal;       // six bytes, hexadecimal
    uint8_t keyIndex = 1;       // of the load or purchase key
    uint32_t terminalCount = 1; // the terminal's own transaction number
    std::string date;           // YYYYMMDD
    std::string time;           // hhmmss
    unsigned char file = 0;     // short file identifier
    unsigned char offset = 0;
};

struct MemoryOptions
{
    int block = 0; // m1: block, m0: page
    int count = 1;
    std::vector<MemoryKey> keys; // m1, in the order in which they are tried
    std::string key;             // m0, hexadecimal; "" when the card is not to be asked
    std::string newKey;          // m0 set-key
    std::string data;            // to write, hexadecimal
    std::optional<int32_t> value;
    int amount = 0;
    int firstSector = 0; // the number by which the reader calls it
    std::string size;    // "1K", "4K"; "" when the card is to tell
    bool yes = false;    // write keys and the like without asking
};

struct Options
{
    std::string port = "USB"; // "USB" or a device path
    int baud = 9600;
    int timeoutSeconds = 10; // 0: no limit
    uint32_t slot = 0;
    bool json = false;
    bool mask = false;
    CallSet callSet = CallSet::kMain;
    int mode = 0;                           // 0 contact, 1 contactless, 2 whichever comes
    std::string aid;                        // hexadecimal; "" when the card's directory is to tell
    std::string letters;                    // ic info
    std::vector<std::string> apdus;         // ic apdu
    std::string transactionText;            // ic arqc, ic transaction
    std::string file;                       // ic arqc: to write; ic complete: to read
    std::string arpc;                       // ic complete
    bool hexOnly = false;                   // ic arqc
    bool scriptsOnly = false;               // ic complete, ic transaction
    std::string issuer;                     // the issuer's program; "" is vantor-issuer
    std::vector<std::string> issuerOptions; // handed on to it
    PurseOptions purse;
    StripeOptions stripe; // mag
    std::string photo;    // id read: the file to write; "" for none
    MemoryOptions memory;
    uint32_t beep[3] = {50, 1, 1};   // beep
    int code = 0;                    // error
    std::string section, key, value; // config; an empty key is "all settings"
};

} // namespace tool
