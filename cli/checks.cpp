#include "arguments.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <unistd.h>

#include "apdu_input.h"
#include "card_fields.h"
#include "commands.h"
#include "photo_file.h"
#include "presentation.h"

namespace tool
{

// The library's table of port names holds 63 characters and a NUL.
static const size_t kMostPortCharacters = 63;
static const size_t kMostScriptBytes = 4 * 1024 * 1024; // a device such as /dev/zero has no end

std::string CheckPort(Arguments *arguments)
{
    const std::string &port = arguments->port;
    if (port == "USB" || port == "usb")
        arguments->options.port = "USB";
    else
        arguments->options.port = port.substr(0, 1) == "/" ? port : "/dev/" + port;
    if (port.empty() || arguments->options.port.size() > kMostPortCharacters)
        return "--port takes USB, ttyS0, pts/3 or a path of at most 63 characters";
    return "";
}

std::string CheckMode(Arguments *arguments)
{
    if (arguments->contactless && arguments->automatic)
        return "--contactless and --auto exclude each other";
    arguments->options.mode = arguments->contactless ? 1 : arguments->automatic ? 2 : 0;
    return "";
}

// The terminal interface takes names below /dev.
std::string CheckCallSet(Arguments *arguments)
{
    const bool terminal = arguments->callSet == "terminal";
    arguments->options.callSet = terminal ? CallSet::kTerminal : CallSet::kMain;
    const std::string &port = arguments->options.port;
    if (terminal && port != "USB" && port.substr(0, 5) != "/dev/")
        return "--interface terminal reaches ports below /dev only, not " + port;
    return "";
}

static bool ToHexDigits(const std::string &text, size_t fewest, size_t most, std::string *digits)
{
    digits->clear();
    for (const char character : text)
        if (character != ' ')
            *digits += static_cast<char>(toupper(static_cast<unsigned char>(character)));
    return IsHexText(*digits) && digits->size() >= 2 * fewest && digits->size() <= 2 * most;
}

static std::string CheckAid(Arguments *arguments)
{
    if (arguments->aid.empty())
        return "";
    return ToHexDigits(arguments->aid, 5, 16, &arguments->options.aid)
               ? ""
               : "--aid takes 5 to 16 bytes in hexadecimal digits, not \"" + arguments->aid + "\"";
}

std::string CheckCardCall(Arguments *arguments)
{
    if (!arguments->aid.empty() && arguments->options.callSet == CallSet::kMain)
        return "--aid needs --interface terminal: the BO_ calls take the last application of the "
               "card's directory";
    const std::string wrong = CheckAid(arguments);
    return wrong.empty() ? CheckMode(arguments) : wrong;
}

std::string CheckTags(Arguments *arguments)
{
    const std::string known = KnownCardLetters(arguments->options.callSet);
    const std::string takes = std::string("--tags takes letters A to ") + known.back();
    std::string &letters = arguments->options.letters;
    for (const char character : arguments->tags.value_or(known))
    {
        const char letter = static_cast<char>(toupper(static_cast<unsigned char>(character)));
        if (known.find(letter) == std::string::npos)
            return takes + ", not \"" + *arguments->tags + "\"";
        letters += letter;
    }
    return letters.empty() ? takes : CheckCardCall(arguments);
}

std::string CheckBeep(Arguments *arguments)
{
    if (arguments->beep.size() > 3)
        return "beep takes at most three numbers";
    for (size_t i = 0; i < arguments->beep.size(); i++)
    {
        // The first number is scaled down to a byte, the others are bytes.
        const uint32_t limit = i == 0 ? 25599 : 255;
        if (arguments->beep[i] > limit)
            return "beep: " + std::to_string(arguments->beep[i]) + " is above " +
                   std::to_string(limit);
        arguments->options.beep[i] = arguments->beep[i];
    }
    return "";
}

static bool ReadAll(FILE *file, std::string *text)
{
    char part[4096];
    for (size_t count; (count = fread(part, 1, sizeof part, file)) > 0;)
    {
        text->append(part, count);
        if (text->size() > kMostScriptBytes)
            return false;
    }
    return ferror(file) == 0; // a directory opens, but does not read
}

bool ReadScript(const std::string &path, std::string *text)
{
    FILE *file = fopen(path.c_str(), "rbe");
    if (file == nullptr)
        return false;
    const bool isRead = ReadAll(file, text);
    fclose(file);
    return isRead;
}

std::string CheckApdus(Arguments *arguments)
{
    ApduInput input;
    std::string script;
    if (!arguments->script.empty() && arguments->script != "-")
    {
        if (!ReadScript(arguments->script, &script))
            return "cannot read the script " + arguments->script + " (at most 4 MiB)";
        AddScript(&input, script, arguments->script);
    }
    bool fromInput = arguments->script == "-" ||
                     (arguments->hex.empty() && arguments->script.empty() && !isatty(STDIN_FILENO));
    for (size_t i = 0; i < arguments->hex.size(); i++)
    {
        if (arguments->hex[i] == "-")
            fromInput = true;
        else
            AddApdu(&input, arguments->hex[i], "APDU " + std::to_string(i + 1));
    }
    script.clear();
    if (fromInput && !ReadAll(stdin, &script))
        return "cannot read standard input (at most 4 MiB)";
    AddScript(&input, script, "standard input");
    if (!input.error.empty())
        return input.error;
    if (input.apdus.empty())
        return "no APDU given: as arguments, with --script FILE, or on standard input";
    arguments->options.apdus = input.apdus;
    return CheckMode(arguments);
}

std::string CheckCode(Arguments *arguments)
{
    char *end = nullptr;
    errno = 0;
    const long code = strtol(arguments->code.c_str(), &end, 10);
    if (arguments->code.empty() || *end != '\0' || errno != 0 || code < -99999 || code > 99999)
        return "\"" + arguments->code + "\" is no result code";
    // Failures are negative; "error 1004" can only mean -1004.
    arguments->options.code = static_cast<int>(code > 0 ? -code : code);
    return "";
}

std::string CheckGet(Arguments *arguments)
{
    return arguments->setting.empty()
               ? ""
               : CheckSetting(arguments->setting, nullptr, &arguments->options);
}

std::string CheckSet(Arguments *arguments)
{
    return CheckSetting(arguments->setting, &arguments->value, &arguments->options);
}

// ---- Transactions ----

static std::string Now()
{
    const time_t now = time(nullptr);
    struct tm local = {};
    localtime_r(&now, &local);
    char text[32];
    strftime(text, sizeof text, "%Y%m%d%H%M%S", &local);
    return text;
}

std::string CheckRequest(Arguments *arguments)
{
    const bool variant = arguments->options.callSet == CallSet::kTerminal;
    const TransactionText made = MakeTransactionText(arguments->transaction, Now(), variant);
    if (!made.error.empty())
        return made.error;
    if (arguments->options.hexOnly && arguments->options.mask)
        return "--hex and --mask exclude each other";
    arguments->options.transactionText = made.text;
    arguments->options.file = arguments->file;
    return CheckCardCall(arguments);
}

std::string CheckComplete(Arguments *arguments)
{
    static const size_t kMostCharacters = 1024; // that the calls take
    std::string &arpc = arguments->options.arpc;
    if (!ToHexDigits(arguments->arpc, 1, kMostCharacters / 2, &arpc))
        return "--arpc takes the issuer's answer, 2 to 1024 hexadecimal digits";
    arguments->options.file = arguments->file;
    return "";
}

std::string CheckRound(Arguments *arguments)
{
    if (arguments->options.scriptsOnly && arguments->options.callSet == CallSet::kTerminal)
        return "--scripts-only needs --interface bo: the terminal interface always asks for the "
               "second cryptogram";
    return CheckRequest(arguments);
}

// ---- The purse ----

static bool IsPin(const std::string &text)
{
    return text.empty() || (IsDigits(text) && text.size() % 2 == 0 && text.size() <= 12);
}

std::string CheckPurse(Arguments *arguments)
{
    if (!IsPin(arguments->options.purse.pin))
        return "--pin takes an even number of digits, at most 12";
    const std::string wrong = CheckAid(arguments);
    return wrong.empty() ? CheckMode(arguments) : wrong;
}

std::string CheckPurseFile(Arguments *arguments)
{
    const std::string &file = arguments->purseFile;
    PurseOptions &purse = arguments->options.purse;
    const long number = IsDigits(file) && file.size() <= 2 ? strtol(file.c_str(), nullptr, 10) : 0;
    if (number < 1 || number > 30)
        return "purse read takes a short file identifier from 1 to 30, not \"" + file + "\"";
    purse.file = static_cast<unsigned char>(number);
    purse.offset = static_cast<unsigned char>(arguments->offset);
    return CheckPurse(arguments);
}

std::string CheckPurseOrder(Arguments *arguments)
{
    static const unsigned long kMostHundredths = 0xFFFFFFFF; // four bytes on the card
    PurseOptions &purse = arguments->options.purse;
    const TransactionInput &input = arguments->transaction;
    const std::string now = Now();
    std::string amount;
    if (!AmountDigits(input.amount, 2, &amount) || std::stoul(amount) > kMostHundredths)
        return "--amount takes an amount such as 12.34, at most 42949672.95, not \"" +
               input.amount + "\"";
    purse.amount = static_cast<uint32_t>(std::stoul(amount));
    if (!DateDigits(input.date.empty() ? now.substr(0, 8) : input.date, &purse.date))
        return "--date takes a day such as 2025-01-31 (years 2000 to 2049), not \"" + input.date +
               "\"";
    if (!TimeDigits(input.time.empty() ? now.substr(8) : input.time, &purse.time))
        return "--time takes a time such as 23:59:59, not \"" + input.time + "\"";
    if (!ToHexDigits(arguments->purseTerminal, 6, 6, &purse.terminal))
        return "--terminal takes six bytes in hexadecimal digits, not \"" +
               arguments->purseTerminal + "\"";
    purse.keyIndex = static_cast<uint8_t>(arguments->keyIndex);
    return CheckPurse(arguments);
}

std::string CheckMagRead(Arguments *arguments)
{
    if (arguments->stripe.tracks.empty())
        arguments->stripe.tracks = "1,2,3";
    return CheckTracks(arguments->stripe, &arguments->options.stripe);
}

// Track 3 begins with a format code that is no part of the number, and not every card has track 1.
std::string CheckMagNumber(Arguments *arguments)
{
    if (arguments->stripe.tracks.empty())
        arguments->stripe.tracks = "2";
    return CheckTracks(arguments->stripe, &arguments->options.stripe);
}

std::string CheckMagWrite(Arguments *arguments)
{
    return CheckTracksToWrite(arguments->stripe, &arguments->options.stripe);
}

std::string CheckIdRead(Arguments *arguments)
{
    arguments->options.photo = arguments->photo;
    return CheckPhotoPath(arguments->photo);
}

} // namespace tool
