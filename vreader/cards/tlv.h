// BER-TLV data objects as a card writes them.
#pragma once

#include "vreader/cards/card.h"

#include <optional>
#include <string_view>

namespace vreader
{

// A tag of one to three bytes as a number: 0x5A, 0x9F02, 0xDF8129.
using Tag = uint32_t;

// The longest value that the length forms up to 82 can announce.
constexpr size_t kLargestTlvValue = 0xFFFF;

// "9F02" as a tag; nothing when the text is no well-formed tag of one to three bytes.
std::optional<Tag> TagFromText(std::string_view text);
std::string TagText(Tag tag);
bool IsConstructed(Tag tag);

void AppendBytes(Bytes *out, const Bytes &bytes);
void AppendTag(Bytes *out, Tag tag);
// Tag, length in its shortest form (one byte, 81 or 82) and value; values end at kLargestTlvValue.
void AppendTlv(Bytes *out, Tag tag, const Bytes &value);
Bytes Tlv(Tag tag, const Bytes &value);

// The value of the first object with this tag, at any depth; nothing when there is none before the
// objects end or contradict their lengths.
std::optional<Bytes> FindObject(const Bytes &objects, Tag tag);

// One line of a data-object list: which object, and how many bytes of it.
struct ListEntry
{
    Tag tag;
    size_t length;
};

// The entries of a data-object list; what is no list gives those up to the mistake.
std::vector<ListEntry> ListEntries(const Bytes &dataObjectList);
// How many bytes of data a data-object list asks for; what is no list counts up to the mistake.
size_t RequestedLength(const Bytes &dataObjectList);

// Every object of a run of objects that is not constructed, at any depth, the first of each tag;
// nothing (and where it went wrong) when the run contradicts its own lengths.
struct DataObject
{
    Tag tag;
    Bytes value;
};
std::optional<std::vector<DataObject>> ObjectsIn(const Bytes &run, std::string *error);

// Hexadecimal digits in pairs, spaces between the pairs allowed; nothing when it is anything else.
std::optional<Bytes> BytesFromHex(std::string_view text);
std::string HexText(const Bytes &bytes);
Bytes BytesFromText(std::string_view text);

// Appends a status word to response data.
Bytes WithStatus(Bytes data, uint16_t statusWord);

} // namespace vreader
