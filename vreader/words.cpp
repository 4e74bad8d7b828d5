#include "vreader/words.h"

namespace vreader
{

namespace
{

constexpr char kBlanks[] = " \t\r";

} // namespace

std::string RestOfLine(Words *words)
{
    const size_t start = words->rest.find_first_not_of(kBlanks);
    if (start == std::string::npos)
    {
        words->rest.clear();
        return "";
    }
    const size_t end = words->rest.find_last_not_of(kBlanks);
    const std::string rest = words->rest.substr(start, end - start + 1);
    words->rest.clear();
    return rest;
}

std::string NextWord(Words *words)
{
    words->rest = RestOfLine(words);
    const size_t end = words->rest.find_first_of(kBlanks);
    const std::string word = words->rest.substr(0, end);
    words->rest.erase(0, word.size());
    return word;
}

std::string PeekWord(const Words &words)
{
    Words copy = words;
    return NextWord(&copy);
}

std::optional<unsigned long> Number(const std::string &word, unsigned long least,
                                    unsigned long most)
{
    // 18 digits cannot overflow.
    if (word.empty() || word.size() > 18 || word.find_first_not_of("0123456789") != word.npos)
        return std::nullopt;
    const unsigned long number = std::stoul(word);
    if (number < least || number > most)
        return std::nullopt;
    return number;
}

} // namespace vreader
