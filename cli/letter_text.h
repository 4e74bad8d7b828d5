// Letter-coded text: items of one upper-case letter, three decimal digits of length, the value.
//
//     A0166210948000000011B004ZHANC000
//
// The library's calls hand it over in an area without telling its length. Values that are "the
// bytes as they are" may hold NUL bytes, so the whole zero-filled area is read: the text ends
// where a NUL stands in place of an item's letter. It comes from a card, so nothing in it is
// believed: a list with an `error` says where and why it is wrong, and gives what came before.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tool
{

struct LetterItem
{
    char letter;
    std::string value;
};

struct LetterItems
{
    std::vector<LetterItem> items;
    std::string error; // "" when the whole text was well formed
};

// Two decimal digits of record count (three from 100 records on), three digits of one record's
// length, the records.
struct LetterRecords
{
    std::vector<LetterItems> records;
    std::string error;
};

LetterItems ParseItems(std::string_view area);
LetterRecords ParseRecords(std::string_view area);

// The value of the item with this letter; null when there is none.
const std::string *FindItem(const LetterItems &list, char letter);

} // namespace tool
