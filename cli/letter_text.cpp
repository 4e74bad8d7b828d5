#include "letter_text.h"

#include "presentation.h"

namespace tool
{

static const size_t kLengthDigits = 3;

static std::string At(size_t offset)
{
    return "at offset " + std::to_string(offset) + ": ";
}

static size_t Number(std::string_view digits)
{
    size_t value = 0;
    for (const char digit : digits)
        value = value * 10 + static_cast<size_t>(digit - '0');
    return value;
}

const std::string *FindItem(const LetterItems &list, char letter)
{
    for (const LetterItem &item : list.items)
        if (item.letter == letter)
            return &item.value;
    return nullptr;
}

LetterItems ParseItems(std::string_view area)
{
    LetterItems list;
    size_t at = 0;
    while (at < area.size() && area[at] != '\0')
    {
        const char letter = area[at];
        if (letter < 'A' || letter > 'Z')
        {
            list.error = At(at) + "a letter was expected, not the byte " + Hex(area.substr(at, 1));
            return list;
        }
        const std::string name = std::string("item ") + letter;
        if (FindItem(list, letter) != nullptr)
        {
            list.error = At(at) + name + " occurs twice";
            return list;
        }
        const std::string_view digits = area.substr(at + 1, kLengthDigits);
        if (digits.size() != kLengthDigits || !IsDigits(digits))
        {
            list.error = At(at) + name + " has no length of three digits";
            return list;
        }
        const size_t length = Number(digits);
        const size_t start = at + 1 + kLengthDigits;
        if (length > area.size() - start)
        {
            list.error = At(at) + name + " says " + std::to_string(length) + " characters, " +
                         std::to_string(area.size() - start) + " follow";
            return list;
        }
        list.items.push_back({letter, std::string(area.substr(start, length))});
        at = start + length;
    }
    return list;
}

LetterRecords ParseRecords(std::string_view area)
{
    LetterRecords list;
    size_t header = 0;
    while (header < area.size() && area[header] >= '0' && area[header] <= '9')
        header++;
    if (header != 5 && header != 6) // the count is written with "%02d" and grows from 100 on
    {
        list.error = "the record count and length are missing";
        return list;
    }
    const size_t count = Number(area.substr(0, header - kLengthDigits));
    const size_t length = Number(area.substr(header - kLengthDigits, kLengthDigits));
    if (count * length > area.size() - header)
    {
        list.error = std::to_string(count) + " records of " + std::to_string(length) +
                     " characters do not fit into the " + std::to_string(area.size() - header) +
                     " that follow";
        return list;
    }
    for (size_t i = 0; i < count; i++)
    {
        list.records.push_back(ParseItems(area.substr(header + i * length, length)));
        if (!list.records.back().error.empty())
        {
            list.error = "record " + std::to_string(i + 1) + ", " + list.records.back().error;
            return list;
        }
    }
    const size_t end = header + count * length;
    if (end < area.size() && area[end] != '\0')
        list.error = At(end) + "more text than the records announced";
    return list;
}

} // namespace tool
