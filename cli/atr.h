// The answer to reset (ISO 7816-3) and its contactless sister, the answer to select (ISO 14443-4).
#pragma once

#include "card_fields.h"

namespace tool
{

struct Atr
{
    const char *kind = "unknown"; // "ATR", "ATS" or "unknown"
    const char *convention = "";  // ATR: "direct" or "inverse"
    std::vector<int> protocols;   // ATR: the T= numbers in the order the card offers them
    int clockRate = 372;          // ATR: F, 0 when the card's code is reserved
    int bitRate = 1;              // ATR: D, 0 when the card's code is reserved
    int extraGuardTime = 0;       // ATR: TC1
    std::string interfaceBytes;   // "TA1=11 TD1=80", in the order received
    std::string historical;       // the bytes themselves
    std::string trouble;          // what is wrong with it; "" when nothing is
};

Atr DecodeAtr(std::string_view bytes);
Json AtrJson(std::string_view bytes);
std::string AtrText(std::string_view bytes);

} // namespace tool
