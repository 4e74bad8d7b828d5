// A symbolic link to the terminal: a name that stays the same from one start to the next.
#pragma once

#include <string>

namespace vreader
{

// An earlier link to a terminal is replaced; anything else of that name is left alone, with an
// error text.
bool MakeLink(const std::string &path, const std::string &target, std::string *error);

// Removes the link if it still leads to `target`.
void RemoveLink(const std::string &path, const std::string &target);

} // namespace vreader
