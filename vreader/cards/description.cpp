#include "vreader/cards/description.h"

#include "vreader/cards/profile_files.h"

#include <algorithm>

namespace vreader
{

using nlohmann::json;

namespace
{

constexpr unsigned kDeepestNesting = 16;
constexpr size_t kLongestQuote = 40;

std::string Quoted(const json &value)
{
    if (value.is_object())
        return "an object";
    if (value.is_array())
        return "an array";
    std::string text = value.dump(-1, ' ', true, json::error_handler_t::replace);
    if (text.size() > kLongestQuote)
        text = text.substr(0, kLongestQuote) + "...";
    return text;
}

Bytes DataObjectList(const Place &place, std::string_view text)
{
    Bytes list;
    bool wantsLength = false;
    size_t at = 0;
    while (true)
    {
        at = text.find_first_not_of(" ,", at);
        if (at == std::string_view::npos)
            break;
        const size_t end = std::min(text.find_first_of(" ,", at), text.size());
        const std::string word(text.substr(at, end - at));
        at = end;
        if (wantsLength)
        {
            const std::optional<unsigned> length = KeyNumber(word, 0, 255);
            if (!length)
            {
                Expected(place, "a length from 0 to 255 behind each tag of the data-object list");
                return {};
            }
            // A DOL length is a plain byte up to 127 and takes the 81 form beyond.
            if (*length > 0x7F)
                list.push_back(0x81);
            list.push_back(static_cast<uint8_t>(*length));
        }
        else
        {
            const std::optional<Tag> tag = TagFromText(word);
            if (!tag)
            {
                Expected(place, "a data-object list such as \"dol:9F02 6, 9F37 4\"");
                return {};
            }
            AppendTag(&list, *tag);
        }
        wantsLength = !wantsLength;
    }
    if (wantsLength)
        Expected(place, "a length behind the last tag of the data-object list");
    return list;
}

Bytes NestedObjects(const Place &place, unsigned depth);

void AppendObjectsOf(Bytes *out, const Place &place, unsigned depth)
{
    for (const auto &[key, value] : place.value->items())
    {
        (void)value;
        if (key == "note")
            continue;
        const Place below = Below(place, key);
        const std::optional<Tag> tag = TagFromText(key);
        if (!tag)
        {
            Complain(below, "is no tag (one to three bytes in hexadecimal digits)");
            return;
        }
        const Bytes contents = IsConstructed(*tag) ? NestedObjects(below, depth + 1) : Value(below);
        if (contents.size() > kLargestTlvValue)
            Complain(below, "is longer than 65535 bytes");
        if (Failed(place))
            return;
        AppendTlv(out, *tag, contents);
    }
}

Bytes NestedObjects(const Place &place, unsigned depth)
{
    Bytes list;
    if (depth > kDeepestNesting)
        Complain(place, "is nested too deeply");
    else if (place.value->is_string())
        return Hex(place);
    else if (place.value->is_object())
        AppendObjectsOf(&list, place, depth);
    else if (!place.value->is_array())
        Expected(place,
                 "data objects as {\"TAG\": VALUE}, an array of them, or hexadecimal digits");
    else
        for (size_t i = 0; i < place.value->size() && !Failed(place); ++i)
        {
            const Place element = Element(place, i);
            if (element.value->is_object())
                AppendObjectsOf(&list, element, depth);
            else
                Expected(element, "data objects as {\"TAG\": VALUE}");
        }
    return list;
}

} // namespace

bool Failed(const Place &place)
{
    return !place.problem->empty();
}

void Complain(const Place &place, const std::string &text)
{
    if (place.problem->empty())
        *place.problem = (place.path.empty() ? "the description" : place.path) + ": " + text;
}

void Expected(const Place &place, const std::string &what)
{
    Complain(place, "expected " + what + ", found " + Quoted(*place.value));
}

Place Below(const Place &place, const std::string &key)
{
    const std::string separator = place.path.empty() ? "" : ".";
    return {&place.value->at(key), place.path + separator + key, place.problem};
}

Place Element(const Place &place, size_t index)
{
    return {&place.value->at(index), place.path + "[" + std::to_string(index) + "]", place.problem};
}

std::optional<Place> Find(const Place &place, const char *key)
{
    if (!place.value->is_object() || !place.value->contains(key))
        return std::nullopt;
    return Below(place, key);
}

bool IsObjectOf(const Place &place, std::initializer_list<const char *> keys)
{
    if (!place.value->is_object())
    {
        Expected(place, "an object");
        return false;
    }
    std::string known;
    for (const char *key : keys)
        known += (known.empty() ? "" : ", ") + std::string(key);
    for (const auto &[key, value] : place.value->items())
    {
        (void)value;
        const bool isKnown = key == "note" || std::any_of(keys.begin(), keys.end(),
                                                          [&key = key](const char *candidate)
                                                          { return key == candidate; });
        if (isKnown)
            continue;
        Complain(Below(place, key), "unknown key; known here are " + known);
        return false;
    }
    return true;
}

bool IsArray(const Place &place, const char *what)
{
    if (place.value->is_array())
        return true;
    Expected(place, what);
    return false;
}

bool FlagAt(const Place &place, const char *key, bool otherwise)
{
    const std::optional<Place> found = Find(place, key);
    if (!found)
        return otherwise;
    if (!found->value->is_boolean())
    {
        Expected(*found, "true or false");
        return otherwise;
    }
    return found->value->get<bool>();
}

unsigned NumberAt(const Place &place, const char *key, unsigned least, unsigned most,
                  unsigned otherwise)
{
    const std::optional<Place> found = Find(place, key);
    if (!found)
        return otherwise;
    const json &value = *found->value;
    if (!value.is_number_unsigned() || value.get<uint64_t>() < least ||
        value.get<uint64_t>() > most)
    {
        Expected(*found, "a number from " + std::to_string(least) + " to " + std::to_string(most));
        return otherwise;
    }
    return static_cast<unsigned>(value.get<uint64_t>());
}

std::string TextAt(const Place &place, const char *key, const std::string &otherwise)
{
    const std::optional<Place> found = Find(place, key);
    return found ? Text(*found) : otherwise;
}

Bytes HexAt(const Place &place, const char *key, const Bytes &otherwise)
{
    const std::optional<Place> found = Find(place, key);
    return found ? Hex(*found) : otherwise;
}

std::string Text(const Place &place)
{
    if (place.value->is_string())
        return place.value->get<std::string>();
    Expected(place, "a text");
    return {};
}

Bytes Hex(const Place &place)
{
    std::optional<Bytes> bytes;
    if (place.value->is_string())
        bytes = BytesFromHex(place.value->get_ref<const std::string &>());
    if (!bytes)
        Expected(place, "hexadecimal digits in pairs");
    return bytes.value_or(Bytes{});
}

uint16_t StatusWord(const Place &place)
{
    std::optional<Bytes> bytes;
    if (place.value->is_string())
        bytes = BytesFromHex(place.value->get_ref<const std::string &>());
    if (bytes && bytes->size() == 2)
        return static_cast<uint16_t>((*bytes)[0] << 8 | (*bytes)[1]);
    Expected(place, "a status word of four hexadecimal digits");
    return 0;
}

std::optional<unsigned> KeyNumber(const std::string &key, unsigned least, unsigned most)
{
    const bool isNumber =
        !key.empty() && key.size() <= 3 && key.find_first_not_of("0123456789") == std::string::npos;
    if (!isNumber)
        return std::nullopt;
    unsigned number = 0;
    for (const char digit : key)
        number = number * 10 + static_cast<unsigned>(digit - '0');
    if (number < least || number > most)
        return std::nullopt;
    return number;
}

json FileContents(const Place &place, const std::string &directory)
{
    const std::string name = Text(place);
    if (Failed(place))
        return {};
    const std::optional<std::string> text = ReadProfileFile(directory, name);
    if (!text)
    {
        Complain(place, "cannot read \"" + name + "\"");
        return {};
    }
    try
    {
        return json::parse(*text);
    }
    catch (const json::exception &exception)
    {
        Complain(place, "\"" + name + "\" is no JSON: " + exception.what());
        return {};
    }
}

Bytes Value(const Place &place)
{
    if (place.value->is_string())
    {
        const std::string_view text = place.value->get_ref<const std::string &>();
        if (text.substr(0, 5) == "text:")
            return BytesFromText(text.substr(5));
        if (text.substr(0, 4) == "dol:")
            return DataObjectList(place, text.substr(4));
        if (const std::optional<Bytes> bytes = BytesFromHex(text))
            return *bytes;
    }
    Expected(place, "hexadecimal digits in pairs, \"text:...\" or \"dol:TAG LENGTH ...\"");
    return {};
}

Bytes DataObjects(const Place &place)
{
    return NestedObjects(place, 0);
}

} // namespace vreader
