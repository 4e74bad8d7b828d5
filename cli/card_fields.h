// The card information answer as named fields: letters A to N, their tags and their meaning.
#pragma once

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

#include "letter_text.h"

namespace tool
{

using Json = nlohmann::ordered_json; // keeps the order that the documentation shows

constexpr char kAllCardLetters[] = "ABCDEFGHIJKLMN";

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

// One field for each letter that was asked for and is known, in table order.
std::vector<CardField> CardFields(const LetterItems &answer, const std::string &letters, bool mask);
Json CardFieldsJson(const std::vector<CardField> &fields);
std::string CardFieldsText(const std::vector<CardField> &fields);

} // namespace tool
