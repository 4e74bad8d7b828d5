#include "identity_text.h"

#include <optional>

#include "presentation.h"

namespace tool
{

static const size_t kFieldCount = 14;
static const size_t kKindField = 9; // counted from 0

// ---- GB18030, a character at a time ----

static unsigned ByteOf(std::string_view text, size_t at)
{
    return static_cast<unsigned char>(text[at]);
}

static bool IsBetween(unsigned byte, unsigned first, unsigned last)
{
    return byte >= first && byte <= last;
}

// Of the character in front: 1, 2 or 4 bytes. The second byte of a character may be a "|".
static size_t CharacterSize(std::string_view text)
{
    if (text.size() < 2 || !IsBetween(ByteOf(text, 0), 0x81, 0xFE))
        return 1;
    if (IsBetween(ByteOf(text, 1), 0x30, 0x39))
        return text.size() < 4 ? 1 : 4;
    return IsBetween(ByteOf(text, 1), 0x40, 0xFE) ? 2 : 1;
}

// Codes of four bytes follow one another without a gap.
static unsigned Position(std::string_view code)
{
    return ((ByteOf(code, 0) * 10 + ByteOf(code, 1)) * 126 + ByteOf(code, 2)) * 10 +
           ByteOf(code, 3);
}

static std::string ThreeByteUtf8(unsigned code)
{
    return {static_cast<char>(0xE0 | code >> 12), static_cast<char>(0x80 | (code >> 6 & 0x3F)),
            static_cast<char>(0x80 | (code & 0x3F))};
}

// The library writes the first edition of the standard (2000). The system's converter knows a later
// one, in which these codes have moved to two bytes.
static std::optional<std::string> FromFirstEdition(std::string_view code)
{
    static const struct
    {
        std::string_view first;
        unsigned count;
        unsigned unicode;
    } kMoved[] = {
        {"\x81\x35\xF4\x37", 1, 0x1E3F},
        {"\x82\x35\x90\x37", 8, 0x9FB4},
        {"\x84\x31\x82\x36", 10, 0xFE10},
    };
    if (code.size() == 4)
        for (const auto &moved : kMoved)
            if (Position(code) - Position(moved.first) < moved.count)
                return ThreeByteUtf8(moved.unicode + Position(code) - Position(moved.first));
    return std::nullopt;
}

// Nothing for a character that is none or would steer a terminal.
static std::optional<std::string> CharacterText(std::string_view code)
{
    if (code == "\xFF") // the library's mark for a character that the standard does not have
        return "\xEF\xBF\xBD";
    const std::optional<std::string> moved = FromFirstEdition(code);
    return moved ? moved : TextFromGb(code);
}

static std::optional<std::string> FieldText(std::string_view bytes)
{
    std::string text;
    while (!bytes.empty())
    {
        const size_t size = CharacterSize(bytes);
        const std::optional<std::string> character = CharacterText(bytes.substr(0, size));
        if (!character)
            return std::nullopt;
        text += *character;
        bytes.remove_prefix(size);
    }
    return text;
}

static std::vector<std::string> Split(std::string_view text)
{
    std::vector<std::string> parts(1);
    while (!text.empty())
    {
        const size_t size = CharacterSize(text);
        if (text[0] == '|')
            parts.emplace_back();
        else
            parts.back() += text.substr(0, size);
        text.remove_prefix(size);
    }
    return parts;
}

// ---- The fields ----

enum class Meaning
{
    kText,
    kDate,  // YYYYMMDD; anything else is shown as it is
    kNumber // kept back under --mask
};

static const struct
{
    size_t position; // in the text, counted from 0
    const char *key;
    const char *name;
    std::string_view kinds; // that have the field
    Meaning meaning;
} kFields[] = {
    {0, "name", "Name", "NJI", Meaning::kText},
    {10, "chinese_name", "Chinese name", "I", Meaning::kText},
    {1, "sex", "Sex", "NJI", Meaning::kText},
    {2, "nation", "Nation", "NI", Meaning::kText},
    {3, "birth", "Birth", "NJI", Meaning::kDate},
    {4, "address", "Address", "NJ", Meaning::kText},
    {5, "number", "Number", "NJI", Meaning::kNumber},
    {12, "pass_number", "Pass number", "J", Meaning::kNumber},
    {13, "issue_count", "Issue count", "J", Meaning::kText},
    {6, "authority", "Authority", "NJI", Meaning::kText},
    {7, "valid_from", "Valid from", "NJI", Meaning::kDate},
    {8, "valid_to", "Valid to", "NJI", Meaning::kDate},
    {11, "version", "Card version", "I", Meaning::kText},
};

static const struct
{
    const char *letter;
    const char *key;
    const char *name;
} kKinds[] = {
    {"N", "resident", "resident identity card"},
    {"J", "gat", "residence card (Hong Kong, Macau, Taiwan)"},
    {"I", "foreign", "foreign permanent resident card"},
};

static std::optional<std::string> LongDate(const std::string &text)
{
    if (text.size() != 8)
        return std::nullopt;
    const std::optional<std::string> date = IsoDate(std::string_view(text).substr(2));
    if (!date || !IsDigits(text))
        return std::nullopt;
    return text.substr(0, 4) + date->substr(4); // with the century of the card
}

static void FillField(std::string_view part, Meaning meaning, bool mask, IdentityField *field)
{
    const std::string_view bytes = WithoutPadding(part); // a blank field comes as its blanks
    if (bytes.empty())
        return;
    const bool isSecret = mask && meaning == Meaning::kNumber;
    const std::optional<std::string> text = FieldText(bytes);
    field->text = text.value_or("hex " + Hex(bytes));
    if (meaning == Meaning::kDate)
        field->text = LongDate(field->text).value_or(field->text);
    if (isSecret)
        field->text = Masked(field->text);
    if (text)
        field->value = field->text;
    if (!isSecret)
        field->raw = Hex(bytes);
}

IdentityCard ParseIdentityCard(std::string_view text, bool mask)
{
    IdentityCard card = {};
    const std::vector<std::string> parts = Split(text);
    if (parts.size() != kFieldCount)
    {
        card.error = std::to_string(parts.size()) + " fields where 14 are expected";
        return card;
    }
    card.kind = TextOrHex(parts[kKindField]);
    for (const auto &kind : kKinds)
        if (card.kind == kind.letter)
            card.kindName = kind.key;
    // A letter that is not known counts as a resident card, for the library too.
    const std::string letter = card.kindName != nullptr ? card.kind : "N";
    for (const auto &known : kFields)
    {
        IdentityField field{
            known.key, known.name, known.kinds.find(letter) != std::string_view::npos,
            "",        nullptr,    nullptr};
        FillField(parts[known.position], known.meaning, mask, &field);
        card.fields.push_back(field);
    }
    return card;
}

Json IdentityCardJson(const IdentityCard &card)
{
    Json fields = Json::object();
    for (const IdentityField &field : card.fields)
        fields[field.key] = {{"raw", field.raw}, {"value", field.value}};
    return {{"kind",
             {{"code", card.kind},
              {"name", card.kindName == nullptr ? Json(nullptr) : Json(card.kindName)}}},
            {"fields", fields}};
}

std::string IdentityCardText(const IdentityCard &card)
{
    std::string text = "card of kind " + card.kind + ", read as a resident identity card\n";
    for (const auto &kind : kKinds)
        if (card.kind == kind.letter)
            text = std::string(kind.name) + "\n";
    for (const IdentityField &field : card.fields)
    {
        if (!field.isShown)
            continue;
        std::string name = field.name;
        name.resize(16, ' ');
        text += "  " + name + (field.text.empty() ? "-" : field.text) + "\n";
    }
    return text;
}

} // namespace tool
