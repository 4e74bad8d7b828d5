// Data elements of a bank card: from the records that were read, or asked of the card; and the
// letter-coded text of chosen ones.
#pragma once

#include <cstddef>
#include <cstdint>

#include "api/card_opening.h"
#include "pboc/tlv.h"

enum class Source
{
    kRecords, // the application data read before
    kGetData, // asked of the card
};

// The element's value, cut at kResponseArea bytes. -1 when the card does not have it; an empty
// answer to GET DATA counts as none.
int ReadElement(const CardSession &card, const Tag &tag, Source source,
                uint8_t (&value)[kResponseArea]);

struct Element
{
    char letter;
    Tag tag;
    Source source;
    char *(*append)(char *out, char letter, const uint8_t *bytes, int count);
};

// The elements whose letters are in the list, in the order of the table, and a NUL. An element that
// the card does not have is empty.
void WriteElements(const CardSession &card, const Element *elements, size_t count,
                   const char *tagList, char *info);
