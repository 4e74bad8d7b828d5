// The text block of an identity card: readable fields to UCS-2 at their places.
#pragma once

#include "vreader/cards/description.h"

namespace vreader
{

enum class IdentityKind
{
    resident,
    gat, // residents of Hong Kong, Macau and Taiwan
    foreign
};

// The keys that describe the text block of a kind of card.
std::vector<const char *> IdentityFieldKeys(IdentityKind kind);

// 256 bytes, everything that no field covers filled with blanks. Mistakes are noted in the place:
// a field that is missing or too long, a date that is none, a number whose check digit, birth date
// or sex is not the card's (unless `"checkNumber": false`).
Bytes IdentityText(const Place &description, IdentityKind kind);

// The check character of the first 17 digits of an identity number, by GB 11643.
char IdentityCheckCharacter(const std::string &seventeenDigits);

// nation_codes.cpp: the two digits of a nation's name ("汉" gives "01"); empty for any other text.
std::string NationCode(const std::string &name);

} // namespace vreader
