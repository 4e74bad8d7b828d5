#include "support/log_secrets.h"

#include <cctype>
#include <filesystem>
#include <sstream>

#include "support/scratch.h"

namespace testing_support
{

namespace
{

namespace fs = std::filesystem;

constexpr size_t kPrefix = sizeof "Error(2026-01-31 12:00:00):" - 1;
constexpr size_t kMostDigits = 5;    // of a code: the shortest PIN that is looked for has six
constexpr size_t kMostHexDigits = 7; // the shortest key has twelve

// A run of digits, or of hexadecimal digits with a decimal one among them.
bool HoldsSecret(const std::string &message)
{
    size_t decimal = 0;
    size_t hexadecimal = 0;
    bool hasDecimal = false;
    for (const char character : message)
    {
        const auto byte = static_cast<unsigned char>(character);
        const bool isDigit = isdigit(byte) != 0;
        decimal = isDigit ? decimal + 1 : 0;
        hexadecimal = isxdigit(byte) != 0 ? hexadecimal + 1 : 0;
        hasDecimal = hexadecimal > 0 && (hasDecimal || isDigit);
        if (decimal > kMostDigits || (hexadecimal > kMostHexDigits && hasDecimal))
            return true;
    }
    return false;
}

bool IsMemoryCardData(const std::string &message)
{
    return message.rfind("BO_M1ReadBlock, ", 0) == 0 || message.rfind("BO_M0ReadCard, ", 0) == 0;
}

} // namespace

std::string LineWithSecret(const std::string &log)
{
    std::istringstream lines(log);
    std::string line;
    bool isError = false;
    while (std::getline(lines, line))
    {
        const bool begins = line.rfind("Error(", 0) == 0 || line.rfind("Info(", 0) == 0;
        if (begins)
            isError = line[0] == 'E';
        // What a message goes on with in a second line belongs to it.
        const std::string message = begins && line.size() > kPrefix ? line.substr(kPrefix) : line;
        if (isError && !IsMemoryCardData(message) && HoldsSecret(message))
            return line;
    }
    return "";
}

std::string LineWithSecretBelow(const std::string &directory)
{
    std::error_code problem;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(directory, problem))
    {
        const bool isLog = entry.path().extension() == ".log" && entry.is_regular_file(problem);
        const std::string line = isLog ? LineWithSecret(ReadFile(entry.path())) : "";
        if (!line.empty())
            return entry.path().string() + ": " + line;
    }
    return "";
}

} // namespace testing_support
