#include "card_fields.h"

#include "presentation.h"

namespace tool
{

// A decoder fills text and value from the value's characters; an empty text means "shown as it is".
using Decoder = void (*)(std::string_view value, bool mask, CardField *field);

static void DecodePan(std::string_view value, bool mask, CardField *field)
{
    field->text = mask ? Masked(value) : std::string(value);
    field->value = field->text;
}

static void DecodeText(std::string_view value, bool, CardField *field)
{
    field->text = TextOrHex(value);
    const std::optional<std::string> text = TextFromGb(WithoutPadding(value));
    if (text)
        field->value = *text;
}

static void DecodeIdNumber(std::string_view value, bool mask, CardField *field)
{
    DecodeText(value, mask, field);
    if (!mask)
        return;
    field->text = Masked(field->text);
    field->value = field->text;
}

static void DecodeIdType(std::string_view value, bool, CardField *field)
{
    static const struct
    {
        const char *code;
        const char *name;
    } kTypes[] = {
        {"00", "identity card"}, {"01", "military officer card"},   {"02", "passport"},
        {"03", "entry permit"},  {"04", "temporary identity card"}, {"05", "other"},
    };
    const std::string code(value);
    field->text = code;
    field->value = {{"code", code}, {"name", nullptr}};
    for (const auto &type : kTypes)
    {
        if (code != type.code)
            continue;
        field->text = code + " (" + type.name + ")";
        field->value["name"] = type.name;
    }
}

// Account number, 'D', expiry YYMM, three digits of service code, the issuer's own digits; where
// the call leaves it in place, a filling F.
static void DecodeTrack2(std::string_view value, bool mask, CardField *field)
{
    value = value.substr(0, value.find('F'));
    const size_t separator = value.find('D');
    if (separator == std::string_view::npos || value.size() < separator + 8)
    {
        field->text = mask ? std::string(value.size(), '*') : std::string(value);
        return;
    }
    const std::string pan =
        mask ? Masked(value.substr(0, separator)) : std::string(value.substr(0, separator));
    const std::string expiry(value.substr(separator + 1, 4));
    const std::string service(value.substr(separator + 5, 3));
    std::string discretionary(value.substr(separator + 8));
    if (mask)
        discretionary.assign(discretionary.size(), '*');
    const std::optional<std::string> month = IsoMonth(expiry);
    field->text = pan + "D" + expiry + service + discretionary + "  (expires " +
                  month.value_or(expiry) + ", service code " + service + ")";
    field->value = {{"card_number", pan},
                    {"expires", month ? Json(*month) : Json(nullptr)},
                    {"service_code", service},
                    {"discretionary", discretionary}};
}

static void DecodeTrack1(std::string_view value, bool mask, CardField *field)
{
    if (mask)
    {
        field->text = std::string(value.size(), '*'); // issuers repeat the card number here
        return;
    }
    DecodeText(Bytes(value), mask, field);
}

static void DecodeMoney(std::string_view value, bool, CardField *field)
{
    const std::optional<uint64_t> cents = MinorUnits(value);
    if (!cents)
        return;
    field->text = Money(*cents, 2) + " yuan";
    field->value = {{"cents", *cents}, {"yuan", Money(*cents, 2)}};
}

static void DecodeDate(std::string_view value, bool, CardField *field)
{
    const std::optional<std::string> date = IsoDate(value);
    if (!date)
        return;
    field->text = *date;
    field->value = *date;
}

static void DecodeCounter(std::string_view value, bool, CardField *field)
{
    if (value.size() != 4)
        return;
    const int counter = std::stoi(std::string(value), nullptr, 16);
    field->text = std::to_string(counter);
    field->value = counter;
}

static void DecodeSequence(std::string_view value, bool, CardField *field)
{
    field->text = std::string(value);
    field->value = field->text;
}

enum class Characters
{
    kHexDigits,      // hexadecimal text
    kHexUntilFiller, // the same, cut before the first 'F': may be an odd number of digits
    kBytes,          // the bytes as they are
};

static const struct KnownField
{
    char letter;         // in the main interface; 0: not there
    char terminalLetter; // in the terminal interface
    const char *tag;
    const char *key;
    const char *name;
    Characters characters;
    bool secret; // raw is kept back under --mask
    Decoder decode;
} kFields[] = {
    {'A', 'A', "5A", "card_number", "Card number", Characters::kHexUntilFiller, true, DecodePan},
    {'B', 'K', "5F20", "cardholder_name", "Cardholder name", Characters::kBytes, false, DecodeText},
    {'C', 'I', "9F62", "id_type", "ID type", Characters::kHexDigits, false, DecodeIdType},
    {'D', 'J', "9F61", "id_number", "ID number", Characters::kBytes, true, DecodeIdNumber},
    {'E', 'B', "57", "track2", "Track 2", Characters::kHexUntilFiller, true, DecodeTrack2},
    {'F', 0, "9F1F", "track1_data", "Track 1 data", Characters::kHexDigits, true, DecodeTrack1},
    {'G', 'C', "9F79", "ec_balance", "EC balance", Characters::kHexDigits, false, DecodeMoney},
    {'H', 'D', "9F77", "ec_balance_limit", "EC balance limit", Characters::kHexDigits, false,
     DecodeMoney},
    {'I', 'E', "5F24", "expires", "Expires", Characters::kHexDigits, false, DecodeDate},
    {'J', 'G', "5F34", "card_sequence_number", "Card sequence number", Characters::kHexDigits,
     false, DecodeSequence},
    {'K', 0, "9F6D", "ec_reset_threshold", "EC reset threshold", Characters::kHexDigits, false,
     DecodeMoney},
    {'L', 'F', "9F78", "ec_single_limit", "EC single payment limit", Characters::kHexDigits, false,
     DecodeMoney},
    {'M', 0, "5F25", "valid_from", "Valid from", Characters::kHexDigits, false, DecodeDate},
    {'N', 0, "9F63", "product_information", "Product information", Characters::kBytes, false,
     DecodeText},
    {0, 'H', "9F36", "atc", "Transaction counter", Characters::kHexDigits, false, DecodeCounter},
    {0, 'L', "9F0B", "cardholder_name_extended", "Cardholder name, rest", Characters::kBytes, false,
     DecodeText},
};

static char LetterOf(const KnownField &field, CallSet callSet)
{
    return callSet == CallSet::kMain ? field.letter : field.terminalLetter;
}

static const KnownField *FindField(char letter, CallSet callSet)
{
    for (const KnownField &field : kFields)
        if (LetterOf(field, callSet) == letter)
            return &field;
    return nullptr;
}

std::string KnownCardLetters(CallSet callSet)
{
    std::string letters;
    for (char letter = 'A'; letter <= 'Z'; letter++)
        if (FindField(letter, callSet) != nullptr)
            letters += letter;
    return letters;
}

static bool IsHexDigits(std::string_view text)
{
    return text.find_first_not_of("0123456789ABCDEF") == std::string_view::npos;
}

static CardField ReadField(const KnownField &known, char letter, const std::string *value,
                           bool mask)
{
    CardField field{letter, known.tag, known.key, known.name, "", "", nullptr};
    if (value == nullptr || value->empty())
        return field;
    const bool isHex = known.characters != Characters::kBytes;
    if (isHex && !IsHexDigits(*value))
        field.text = "not hexadecimal: " + Hex(*value);
    else
        known.decode(*value, mask, &field);
    if (field.text.empty())
        field.text = isHex ? *value : "hex " + Hex(*value);
    if (!mask || !known.secret)
        field.raw = isHex && IsHexDigits(*value) ? *value : Hex(*value);
    return field;
}

std::vector<CardField> CardFields(const LetterItems &answer, const std::string &letters, bool mask,
                                  CallSet callSet)
{
    std::vector<CardField> fields;
    for (const char letter : KnownCardLetters(callSet))
        if (letters.find(letter) != std::string::npos)
            fields.push_back(
                ReadField(*FindField(letter, callSet), letter, FindItem(answer, letter), mask));
    return fields;
}

Json CardFieldsJson(const std::vector<CardField> &fields)
{
    Json object = Json::object();
    for (const CardField &field : fields)
        object[field.key] = {{"letter", std::string(1, field.letter)},
                             {"tag", field.tag},
                             {"raw", field.raw.empty() ? Json(nullptr) : Json(field.raw)},
                             {"value", field.value}};
    return object;
}

std::string CardFieldsText(const std::vector<CardField> &fields)
{
    std::string text;
    for (const CardField &field : fields)
    {
        std::string line = std::string(1, field.letter) + "  " + field.name;
        line.resize(29, ' ');
        text += line + (field.text.empty() ? "-" : field.text) + "\n";
    }
    return text;
}

} // namespace tool
