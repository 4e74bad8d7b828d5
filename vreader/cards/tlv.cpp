#include "vreader/cards/tlv.h"

#include <algorithm>

namespace vreader
{

namespace
{

int HexDigit(char character)
{
    if (character >= '0' && character <= '9')
        return character - '0';
    if (character >= 'A' && character <= 'F')
        return character - 'A' + 10;
    if (character >= 'a' && character <= 'f')
        return character - 'a' + 10;
    return -1;
}

Bytes TagBytes(Tag tag)
{
    Bytes bytes;
    if (tag > 0xFFFF)
        bytes.push_back(static_cast<uint8_t>(tag >> 16));
    if (tag > 0xFF)
        bytes.push_back(static_cast<uint8_t>(tag >> 8));
    bytes.push_back(static_cast<uint8_t>(tag));
    return bytes;
}

// A place in a run of bytes, and the reads that move it; a read past the end gives nothing.
struct Cursor
{
    const Bytes *bytes;
    size_t at;
    size_t end;
};

std::optional<uint8_t> NextByte(Cursor *cursor)
{
    if (cursor->at >= cursor->end)
        return std::nullopt;
    return (*cursor->bytes)[cursor->at++];
}

std::optional<Tag> NextTag(Cursor *cursor)
{
    std::optional<uint8_t> byte = NextByte(cursor);
    if (!byte)
        return std::nullopt;
    Tag tag = *byte;
    const bool isLong = (*byte & 0x1F) == 0x1F;
    for (int more = 0; isLong && more < 2; ++more)
    {
        byte = NextByte(cursor);
        if (!byte)
            return std::nullopt;
        tag = tag << 8 | *byte;
        if ((*byte & 0x80) == 0)
            break;
    }
    return tag;
}

std::optional<size_t> NextLength(Cursor *cursor)
{
    const std::optional<uint8_t> first = NextByte(cursor);
    if (!first || *first < 0x80)
        return first;
    size_t length = 0;
    for (int count = *first & 0x7F; count > 0; --count)
    {
        const std::optional<uint8_t> byte = NextByte(cursor);
        if (!byte || length > kLargestTlvValue)
            return std::nullopt;
        length = length << 8 | *byte;
    }
    return length;
}

} // namespace

std::optional<Bytes> FindObject(const Bytes &objects, Tag wanted)
{
    // Stepping into constructed objects instead of over them makes one flat walk of the tree.
    Cursor cursor{&objects, 0, objects.size()};
    while (cursor.at < cursor.end)
    {
        const std::optional<Tag> tag = NextTag(&cursor);
        const std::optional<size_t> length = tag ? NextLength(&cursor) : std::nullopt;
        if (!length || *length > cursor.end - cursor.at)
            return std::nullopt;
        const auto value = objects.begin() + static_cast<std::ptrdiff_t>(cursor.at);
        if (*tag == wanted)
            return Bytes(value, value + static_cast<std::ptrdiff_t>(*length));
        if (!IsConstructed(*tag))
            cursor.at += *length;
    }
    return std::nullopt;
}

std::vector<ListEntry> ListEntries(const Bytes &dataObjectList)
{
    Cursor cursor{&dataObjectList, 0, dataObjectList.size()};
    std::vector<ListEntry> entries;
    while (cursor.at < cursor.end)
    {
        const std::optional<Tag> tag = NextTag(&cursor);
        const std::optional<size_t> length = tag ? NextLength(&cursor) : std::nullopt;
        if (!length)
            break;
        entries.push_back({*tag, *length});
    }
    return entries;
}

size_t RequestedLength(const Bytes &dataObjectList)
{
    size_t total = 0;
    for (const ListEntry &entry : ListEntries(dataObjectList))
        total += entry.length;
    return total;
}

std::optional<std::vector<DataObject>> ObjectsIn(const Bytes &run, std::string *error)
{
    Cursor cursor{&run, 0, run.size()};
    std::vector<DataObject> objects;
    while (cursor.at < cursor.end)
    {
        const std::string place =
            "at byte " + std::to_string(cursor.at + 1) + " of " + std::to_string(run.size()) + ": ";
        const std::optional<Tag> tag = NextTag(&cursor);
        const std::optional<size_t> length = tag ? NextLength(&cursor) : std::nullopt;
        if (!length)
        {
            *error = place + "the bytes end within " + (tag ? "a length" : "a tag");
            return std::nullopt;
        }
        if (*length > cursor.end - cursor.at)
        {
            *error = place + TagText(*tag) + " claims " + std::to_string(*length) + " bytes, " +
                     std::to_string(cursor.end - cursor.at) + " follow";
            return std::nullopt;
        }
        if (IsConstructed(*tag))
            continue;
        const auto value = run.begin() + static_cast<std::ptrdiff_t>(cursor.at);
        const auto isSame = [&tag](const DataObject &other) { return other.tag == *tag; };
        if (std::none_of(objects.begin(), objects.end(), isSame))
            objects.push_back({*tag, Bytes(value, value + static_cast<std::ptrdiff_t>(*length))});
        cursor.at += *length;
    }
    return objects;
}

std::optional<Tag> TagFromText(std::string_view text)
{
    const std::optional<Bytes> bytes = BytesFromHex(text);
    if (!bytes || bytes->empty() || bytes->size() > 3)
        return std::nullopt;
    // Five set low bits announce a second byte; from then on the high bit announces the next.
    const bool isLong = (bytes->front() & 0x1F) == 0x1F;
    if (isLong != (bytes->size() > 1))
        return std::nullopt;
    for (size_t i = 1; i < bytes->size(); ++i)
    {
        const bool announcesMore = ((*bytes)[i] & 0x80) != 0;
        if (announcesMore != (i + 1 < bytes->size()))
            return std::nullopt;
    }
    Tag tag = 0;
    for (const uint8_t byte : *bytes)
        tag = tag << 8 | byte;
    if (tag == 0)
        return std::nullopt;
    return tag;
}

std::string TagText(Tag tag)
{
    return HexText(TagBytes(tag));
}

bool IsConstructed(Tag tag)
{
    return (TagBytes(tag).front() & 0x20) != 0;
}

void AppendBytes(Bytes *out, const Bytes &bytes)
{
    out->insert(out->end(), bytes.begin(), bytes.end());
}

void AppendTag(Bytes *out, Tag tag)
{
    AppendBytes(out, TagBytes(tag));
}

void AppendTlv(Bytes *out, Tag tag, const Bytes &value)
{
    const size_t length = std::min(value.size(), kLargestTlvValue);
    AppendTag(out, tag);
    if (length > 0xFF)
    {
        out->push_back(0x82);
        out->push_back(static_cast<uint8_t>(length >> 8));
    }
    else if (length > 0x7F)
    {
        out->push_back(0x81);
    }
    out->push_back(static_cast<uint8_t>(length));
    out->insert(out->end(), value.begin(), value.begin() + static_cast<std::ptrdiff_t>(length));
}

Bytes Tlv(Tag tag, const Bytes &value)
{
    Bytes object;
    AppendTlv(&object, tag, value);
    return object;
}

std::optional<Bytes> BytesFromHex(std::string_view text)
{
    Bytes bytes;
    size_t at = 0;
    while (at < text.size())
    {
        if (text[at] == ' ')
        {
            ++at;
            continue;
        }
        const int high = HexDigit(text[at]);
        const int low = at + 1 < text.size() ? HexDigit(text[at + 1]) : -1;
        if (high < 0 || low < 0)
            return std::nullopt;
        bytes.push_back(static_cast<uint8_t>(high << 4 | low));
        at += 2;
    }
    return bytes;
}

std::string HexText(const Bytes &bytes)
{
    static const char kDigits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const uint8_t byte : bytes)
    {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0x0F];
    }
    return text;
}

Bytes BytesFromText(std::string_view text)
{
    return Bytes(text.begin(), text.end());
}

Bytes WithStatus(Bytes data, uint16_t statusWord)
{
    data.push_back(static_cast<uint8_t>(statusWord >> 8));
    data.push_back(static_cast<uint8_t>(statusWord));
    return data;
}

} // namespace vreader
