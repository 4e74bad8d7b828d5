#include "social_security.h"

#include "presentation.h"

namespace tool
{

enum class Form
{
    kDigits,
    kDate,
    kVersion, // characters, given as hexadecimal digits
    kNumber,  // a text that --mask hides
    kText,
    kSex,
};

static const struct
{
    const char *tag;
    const char *key;
    const char *name;
    Form form;
} kElements[] = {
    {"01", "card_identifier", "Card identifier", Form::kDigits},
    {"02", "card_type", "Card type", Form::kDigits},
    {"03", "version", "Version", Form::kVersion},
    {"04", "issuer", "Issuer", Form::kDigits},
    {"05", "issued", "Issued", Form::kDate},
    {"06", "expires", "Expires", Form::kDate},
    {"07", "card_number", "Card number", Form::kNumber},
    {"08", "social_security_number", "Social security number", Form::kNumber},
    {"09", "name", "Name", Form::kText},
    {"0A", "sex", "Sex", Form::kSex},
    {"0B", "nation", "Nation", Form::kDigits},
    {"0C", "birthplace", "Birthplace", Form::kDigits},
    {"0D", "birth_date", "Birth date", Form::kDate},
};

static std::vector<std::string_view> Split(std::string_view text)
{
    std::vector<std::string_view> parts;
    for (size_t bar; (bar = text.find('|')) != std::string_view::npos;)
    {
        parts.push_back(text.substr(0, bar));
        text.remove_prefix(bar + 1);
    }
    parts.push_back(text);
    return parts;
}

static bool IsRaw(Form form)
{
    return form == Form::kNumber || form == Form::kText || form == Form::kSex;
}

static std::string DateText(std::string_view digits)
{
    const bool isDate = digits.size() == 8 && IsoDate(digits.substr(2));
    return isDate ? std::string(digits.substr(0, 4)) + "-" + std::string(digits.substr(4, 2)) +
                        "-" + std::string(digits.substr(6))
                  : "";
}

static std::string SexText(const std::string &code)
{
    static const char *const kNames[] = {"unknown", "male", "female"};
    return code.size() == 1 && code[0] >= '0' && code[0] <= '2'
               ? code + " (" + kNames[code[0] - '0'] + ")"
               : code;
}

static CardField Element(size_t index, std::string_view value, bool mask)
{
    const auto &known = kElements[index];
    CardField field{0, known.tag, known.key, known.name, "", "", nullptr};
    if (value.empty())
        return field;
    const bool secret = mask && known.form == Form::kNumber;
    if (!secret)
        field.raw = IsRaw(known.form) || !IsHexText(value) ? Hex(value) : std::string(value);
    field.text = IsRaw(known.form) ? TextOrHex(value) : std::string(value);
    if (!IsRaw(known.form) && !IsHexText(value))
        field.text = "not hexadecimal: " + Hex(value);
    else if (known.form == Form::kVersion)
        field.text = TextOrHex(Bytes(value));
    else if (known.form == Form::kDate && !DateText(value).empty())
        field.text = DateText(value);
    else if (known.form == Form::kSex)
        field.text = SexText(field.text);
    if (secret)
        field.text = Masked(field.text);
    field.value = field.text;
    return field;
}

SocialSecurityFields ReadSocialSecurity(std::string_view text, bool mask)
{
    SocialSecurityFields list;
    const std::vector<std::string_view> parts = Split(text);
    if (parts.size() != std::size(kElements))
    {
        list.error = "it has " + std::to_string(parts.size()) + " elements instead of 13";
        return list;
    }
    for (size_t i = 0; i < parts.size(); i++)
        list.fields.push_back(Element(i, parts[i], mask));
    return list;
}

std::string SocialSecurityText(const SocialSecurityFields &list)
{
    std::string text;
    for (const CardField &field : list.fields)
    {
        std::string line = std::string(field.tag) + "  " + field.name;
        line.resize(30, ' ');
        text += line + (field.text.empty() ? "-" : field.text) + "\n";
    }
    return text;
}

Json SocialSecurityJson(const SocialSecurityFields &list)
{
    Json object = Json::object();
    for (const CardField &field : list.fields)
        object[field.key] = {{"tag", field.tag},
                             {"raw", field.raw.empty() ? Json(nullptr) : Json(field.raw)},
                             {"value", field.value}};
    return object;
}

} // namespace tool
