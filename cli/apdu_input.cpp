#include "apdu_input.h"

#include <cctype>

namespace tool
{

// BO_IcAPDU takes 1024 characters; a command APDU has at least CLA INS P1 P2.
static const size_t kMostCharacters = 1024;
static const size_t kFewestCharacters = 8;

static bool IsBlank(char character)
{
    return character == ' ' || character == '\t' || character == '\r' || character == '\n';
}

void AddApdu(ApduInput *input, std::string_view text, const std::string &where)
{
    if (!input->error.empty())
        return;
    std::string apdu;
    for (const char character : text)
    {
        if (IsBlank(character))
            continue;
        if (std::isxdigit(static_cast<unsigned char>(character)) == 0)
        {
            input->error = where + ": not hexadecimal: \"" + std::string(text) + "\"";
            return;
        }
        apdu += static_cast<char>(std::toupper(static_cast<unsigned char>(character)));
    }
    if (apdu.size() % 2 != 0)
        input->error = where + ": an odd number of digits: \"" + std::string(text) + "\"";
    else if (apdu.size() < kFewestCharacters)
        input->error = where + ": \"" + std::string(text) +
                       "\" is shorter than CLA INS P1 P2 (an APDU with blanks needs quotes)";
    else if (apdu.size() > kMostCharacters)
        input->error =
            where + ": " + std::to_string(apdu.size() / 2) + " bytes; the reader takes at most 512";
    else
        input->apdus.push_back(apdu);
}

void AddScript(ApduInput *input, std::string_view script, const std::string &name)
{
    size_t line = 1;
    for (size_t start = 0; start < script.size(); line++)
    {
        size_t end = script.find('\n', start);
        if (end == std::string_view::npos)
            end = script.size();
        std::string_view text = script.substr(start, end - start);
        text = text.substr(0, text.find('#'));
        start = end + 1;
        bool blank = true;
        for (const char character : text)
            blank = blank && IsBlank(character);
        if (!blank)
            AddApdu(input, text, name + ":" + std::to_string(line));
    }
}

} // namespace tool
