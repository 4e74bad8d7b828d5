// Status words SW1 SW2 of a card's answer, as ISO 7816-4 and PBOC give them.
#pragma once

#include <string>
#include <string_view>

namespace tool
{

// "9000" -> "done"; "6110" -> "16 more bytes to fetch"; a word we do not know -> "unknown status".
std::string StatusWordMeaning(std::string_view statusWord);

} // namespace tool
