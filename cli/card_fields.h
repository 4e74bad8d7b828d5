// The card information answer as named fields: letters, their tags and their meaning.
#pragma once

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

#include "letter_text.h"
#include "options.h"

namespace tool
{

using Json = nlohmann::ordered_json; // keeps the order that the documentation shows

// The letters that a set of calls knows, in their order: each set has its own.
std::string KnownCardLetters(CallSet callSet);

struct CardField
{
    char letter;
    const char *tag;
    const char *key;  // in the JSON form
    const char *name; // on the screen
    std::string raw;  // hexadecimal digits of the value; "" when absent or masked
    std::string text; // for people; "" when the card does not hold it
    Json value;       // null when the card does not hold it or the value makes no sense
};

// One field for each letter that was asked for and is known, in the order of the letters.
std::vector<CardField> CardFields(const LetterItems &answer, const std::string &letters, bool mask,
                                  CallSet callSet = CallSet::kMain);
Json CardFieldsJson(const std::vector<CardField> &fields);
std::string CardFieldsText(const std::vector<CardField> &fields);

} // namespace tool
