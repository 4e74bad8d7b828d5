#include "status_words.h"

#include "presentation.h"

namespace tool
{

static const struct
{
    const char *statusWord;
    const char *meaning;
} kStatusWords[] = {
    {"9000", "done"},
    {"6200", "warning, nothing changed"},
    {"6281", "part of the data may be corrupted"},
    {"6282", "the file ends before the length asked for"},
    {"6283", "the selected file or application is blocked"},
    {"6284", "the FCI is not formatted as it should be"},
    {"6300", "warning, or authentication failed"},
    {"6400", "execution error, nothing changed"},
    {"6500", "execution error, memory changed"},
    {"6581", "memory failure"},
    {"6700", "wrong length"},
    {"6881", "logical channel not supported"},
    {"6882", "secure messaging not supported"},
    {"6900", "command not allowed"},
    {"6901", "command not accepted in this state"},
    {"6981", "command does not fit the file's structure"},
    {"6982", "security status not satisfied"},
    {"6983", "authentication method blocked"},
    {"6984", "referenced data invalidated"},
    {"6985", "conditions of use not satisfied"},
    {"6986", "command not allowed, no current file"},
    {"6987", "secure messaging data missing"},
    {"6988", "secure messaging data wrong"},
    {"6A80", "wrong data in the command"},
    {"6A81", "function not supported, or card blocked"},
    {"6A82", "file or application not found"},
    {"6A83", "record not found"},
    {"6A84", "not enough room in the file"},
    {"6A86", "wrong P1 P2"},
    {"6A88", "referenced data not found"},
    {"6B00", "wrong P1 P2, or offset outside the file"},
    {"6D00", "instruction not supported"},
    {"6E00", "class not supported"},
    {"6F00", "no precise diagnosis"},
    {"9302", "wrong MAC"},
    {"9303", "application locked for good"},
    {"9401", "not enough money"},
    {"9402", "transaction counter at its end"},
    {"9403", "key index not supported"},
    {"9406", "no MAC available"},
};

std::string StatusWordMeaning(std::string_view statusWord)
{
    if (statusWord.size() != 4 || !IsHexText(statusWord))
        return "no status word";
    for (const auto &known : kStatusWords)
        if (statusWord == known.statusWord)
            return known.meaning;
    const std::string bytes = Bytes(statusWord);
    const int second = static_cast<unsigned char>(bytes[1]);
    const std::string count = std::to_string(second == 0 ? 256 : second);
    if (statusWord.substr(0, 2) == "61" || statusWord.substr(0, 2) == "9F")
        return count + " more bytes to fetch";
    if (statusWord.substr(0, 2) == "6C")
        return "wrong Le, " + count + " bytes are there";
    if (statusWord.substr(0, 3) == "63C")
        return "verification failed, " + std::to_string(second & 0x0F) + " tries left";
    return "unknown status";
}

} // namespace tool
