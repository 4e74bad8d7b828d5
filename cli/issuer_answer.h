// What an issuer sends back for the card, and what became of it.
#pragma once

#include <string>
#include <string_view>

#include "data_objects.h"

namespace tool
{

// The issuer's answer: 91 with its response code, scripts 71 and 72 with their commands.
std::string IssuerAnswerText(const DataObjects &list);
Json IssuerAnswerJson(const DataObjects &list);
std::string ResponseCodeMeaning(std::string_view code); // "00" -> "approved"

// "DF3105" and ten characters: what became of the issuer's scripts, in words.
std::string ScriptResultMeaning(std::string_view text);

} // namespace tool
