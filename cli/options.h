// The arguments, understood and checked.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

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
    StripeOptions stripe;            // mag
    std::string photo;               // id read: the file to write; "" for none
    uint32_t beep[3] = {50, 1, 1};   // beep
    int code = 0;                    // error
    std::string section, key, value; // config; an empty key is "all settings"
};

} // namespace tool
