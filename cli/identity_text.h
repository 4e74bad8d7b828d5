// The text of an identity card as named fields. The library joins 14 fields in GB18030 by "|"; here
// they become UTF-8.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace tool
{

using Json = nlohmann::ordered_json; // keeps the order that the documentation shows

struct IdentityField
{
    const char *key;
    const char *name;
    bool isShown;     // cards of this kind have it
    std::string text; // for people; empty when the card does not hold it
    Json raw;         // the field's bytes in hexadecimal digits; null when empty or kept back
    Json value;       // text or null
};

struct IdentityCard
{
    std::string kind;     // the letter on the card
    const char *kindName; // "resident", "gat", "foreign"; null for another letter
    std::vector<IdentityField> fields;
    std::string error; // where the text goes wrong; "" when it is sound
};

IdentityCard ParseIdentityCard(std::string_view text, bool mask);
Json IdentityCardJson(const IdentityCard &card);
std::string IdentityCardText(const IdentityCard &card);

} // namespace tool
