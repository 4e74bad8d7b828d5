#include "track_text.h"

#include "presentation.h"

namespace tool
{

static const size_t kLongestWrite = 120;
static const char kWritable[] = "0123456789='@#:";

// ---- What the commands take ----

bool HasTrack(uint32_t mode, int number)
{
    for (; mode != 0; mode /= 10)
        if (mode % 10 == static_cast<uint32_t>(number))
            return true;
    return false;
}

// "3, 2" -> 23. 0 when it is no list of tracks.
static uint32_t TrackMode(std::string_view list)
{
    bool wanted[4] = {};
    bool expectsNumber = true;
    for (const char character : list)
    {
        if (character == ' ')
            continue;
        const bool isNumber = character >= '1' && character <= '3';
        if (isNumber != expectsNumber || (!isNumber && character != ','))
            return 0;
        if (isNumber)
            wanted[character - '0'] = true;
        expectsNumber = !expectsNumber;
    }
    uint32_t mode = 0;
    for (uint32_t number = 1; number <= 3; number++)
        if (wanted[number])
            mode = mode * 10 + number;
    return expectsNumber ? 0 : mode;
}

std::string CheckTracks(const StripeInput &input, StripeOptions *options)
{
    static const std::string_view kSeparators[] = {"=", "'", "any"}; // in the order of the calls
    options->mode = TrackMode(input.tracks);
    if (options->mode == 0)
        return "--tracks takes numbers from 1 to 3, such as 1,2,3, not \"" + input.tracks + "\"";
    for (int kind = 0; kind < 3; kind++)
        if (input.separator == kSeparators[kind])
        {
            options->separator = kind;
            return "";
        }
    return "--separator takes =, ' or any, not \"" + input.separator + "\"";
}

// The library leaves out a bad track beside a good one without a word: here it is refused.
static std::string CheckTrackToWrite(const char *option, const std::optional<std::string> &text)
{
    if (!text)
        return "";
    if (text->empty() || text->size() > kLongestWrite)
        return std::string(option) + " takes 1 to 120 characters, not " +
               std::to_string(text->size());
    const size_t bad = text->find_first_not_of(kWritable);
    if (bad != std::string::npos)
        return std::string(option) + " takes the characters " + kWritable +
               " only: look at number " + std::to_string(bad + 1) + ", " +
               TextOrHex(text->substr(bad, 1));
    return "";
}

std::string CheckTracksToWrite(const StripeInput &input, StripeOptions *options)
{
    if (!input.track2 && !input.track3)
        return "mag write needs --track2 TEXT, --track3 TEXT or both";
    std::string wrong = CheckTrackToWrite("--track2", input.track2);
    if (wrong.empty())
        wrong = CheckTrackToWrite("--track3", input.track3);
    options->track2 = input.track2;
    options->track3 = input.track3;
    options->isConfirmed = input.yes;
    return wrong;
}

// ---- What a stripe holds ----

bool IsEmptyTrack(std::string_view bytes)
{
    return bytes.empty() || bytes == "\x7F" || bytes == "00000";
}

static bool IsPrintable(std::string_view bytes)
{
    for (const char byte : bytes)
        if (byte < 0x20 || byte > 0x7E)
            return false;
    return true;
}

static std::string Stars(std::string_view text)
{
    return std::string(text.size(), '*');
}

// Expiry YYMM, three digits of service code, the issuer's own characters.
static Json CardNumberAndRest(std::string_view number, std::string_view rest, bool mask)
{
    const std::optional<std::string> month = IsoMonth(rest.substr(0, 4));
    const std::string_view discretionary = rest.substr(7);
    return {{"card_number", mask ? Masked(number) : std::string(number)},
            {"expires", month ? Json(*month) : Json(nullptr)},
            {"service_code", std::string(rest.substr(4, 3))},
            {"discretionary", mask ? Stars(discretionary) : std::string(discretionary)}};
}

// ISO/IEC 7813, track 1: B, number, ^, name, ^, and the rest as on track 2.
static Json Track1Value(std::string_view text)
{
    const size_t name = text.find('^');
    const size_t rest = name == std::string_view::npos ? name : text.find('^', name + 1);
    if (text.substr(0, 1) != "B" || rest == std::string_view::npos || text.size() < rest + 8)
        return nullptr;
    Json value = CardNumberAndRest(text.substr(1, name - 1), text.substr(rest + 1), false);
    value["name"] = TextOrHex(text.substr(name + 1, rest - name - 1));
    return value;
}

static Json Track2Value(std::string_view text, bool mask)
{
    const size_t separator = text.find_first_of("='");
    if (separator == std::string_view::npos || text.size() < separator + 8)
        return nullptr;
    return CardNumberAndRest(text.substr(0, separator), text.substr(separator + 1), mask);
}

// Track 1 repeats the number beside the name, and track 3 is the issuer's: both are hidden whole.
static Json ValueOf(int number, std::string_view text, bool mask)
{
    if (!IsPrintable(text) || number == 3 || (number == 1 && mask))
        return nullptr;
    return number == 1 ? Track1Value(text) : Track2Value(text, mask);
}

Json TrackJson(int number, std::string_view bytes, bool mask)
{
    if (IsEmptyTrack(bytes))
        return nullptr;
    const bool showsText = !mask && IsPrintable(bytes);
    return {{"text", showsText ? Json(std::string(bytes)) : Json(nullptr)},
            {"hex", mask ? Json(nullptr) : Json(Hex(bytes))},
            {"value", ValueOf(number, bytes, mask)}};
}

static std::string MaskedTrack(std::string_view text, const Json &value)
{
    if (value.is_null())
        return Stars(text);
    const size_t separator = text.find_first_of("='");
    return Masked(text.substr(0, separator)) + std::string(text.substr(separator, 8)) +
           value.at("discretionary").get<std::string>();
}

std::string TrackLine(int number, std::string_view bytes, bool mask)
{
    const std::string head = "Track " + std::to_string(number) + "  ";
    if (IsEmptyTrack(bytes))
        return head + "-  (empty, or not to be read)\n";
    const Json value = ValueOf(number, bytes, mask);
    std::string line = head + (mask                 ? MaskedTrack(bytes, value)
                               : IsPrintable(bytes) ? std::string(bytes)
                                                    : "hex " + Hex(bytes));
    if (number == 2 && !value.is_null())
        line += "  (expires " +
                (value.at("expires").is_null() ? std::string("?")
                                               : value.at("expires").get<std::string>()) +
                ", service code " + value.at("service_code").get<std::string>() + ")";
    return line + "\n";
}

} // namespace tool
