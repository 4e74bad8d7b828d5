// A control line, read word by word.
#pragma once

#include <optional>
#include <string>

namespace vreader
{

struct Words
{
    std::string rest;
};

std::string NextWord(Words *words); // empty at the end
std::string PeekWord(const Words &words);
std::string RestOfLine(Words *words); // without blanks around it

// A decimal number within the limits, and nothing else.
std::optional<unsigned long> Number(const std::string &word, unsigned long least,
                                    unsigned long most);

} // namespace vreader
