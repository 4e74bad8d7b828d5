// The data that go to the issuer: the card's cryptogram and what it was computed over.
#include <cstring>

#include "pboc/card_exchange.h"
#include "pboc/terminal_data.h"
#include "pboc/tlv.h"
#include "vantor/pboc.h"

namespace
{

constexpr int kTerminal = -1;        // the value comes from the transaction data
constexpr int kRest = -1;            // the value goes on to the end
constexpr int kShortestFormat1 = 11; // information data 1, counter 2, cryptogram 8
constexpr int kLongestValue = 255;   // a length is one byte here, also above 127

constexpr Tag kCryptogram = {{0x9F, 0x26}, 2};

// An object of the result, and where a format 1 value holds it.
struct ResultRow
{
    Tag tag;
    int offset;
    int length;
};

// In the order of the result.
constexpr ResultRow kRows[] = {
    {kCryptogram, 3, 8},
    {{{0x9F, 0x27}, 2}, 0, 1},         // cryptogram information data
    {{{0x9F, 0x10}, 2}, 11, kRest},    // issuer application data
    {{{0x9F, 0x37}, 2}, kTerminal, 0}, // unpredictable number
    {{{0x9F, 0x36}, 2}, 1, 2},         // application transaction counter
    {{{0x95}, 1}, kTerminal, 0},       // terminal verification results
    {{{0x9A}, 1}, kTerminal, 0},       // transaction date
    {{{0x9C}, 1}, kTerminal, 0},       // transaction type
    {{{0x9F, 0x02}, 2}, kTerminal, 0}, // amount, authorised
    {{{0x5F, 0x2A}, 2}, kTerminal, 0}, // transaction currency
    {{{0x82}, 1}, kTerminal, 0},       // application interchange profile
    {{{0x9F, 0x1A}, 2}, kTerminal, 0}, // terminal country
    {{{0x9F, 0x03}, 2}, kTerminal, 0}, // amount, other
};

struct Result
{
    uint8_t bytes[kResponseArea];
    int length;
    bool fits;
};

void Put(Result *result, const uint8_t *bytes, int count)
{
    result->fits = result->fits && count <= kResponseArea - result->length;
    if (!result->fits)
        return;
    memcpy(result->bytes + result->length, bytes, static_cast<size_t>(count));
    result->length += count;
}

void PutValue(Result *result, const uint8_t *value, int length)
{
    const uint8_t lengthByte = static_cast<uint8_t>(length);
    result->fits = result->fits && length <= kLongestValue;
    Put(result, &lengthByte, 1);
    Put(result, value, length);
}

// The tag stands there also when the store, which a host may change, does not hold it. Deliberate.
void PutTerminalObject(Result *result, const Tag &tag)
{
    TlvObject object{};
    Put(result, tag.bytes, tag.length);
    if (FindTransactionValue(tag, &object))
        PutValue(result, g_szTxData + object.offset, object.length);
}

void PutCardObject(Result *result, const Tag &tag, const uint8_t *answer, int answerLength)
{
    TlvObject object{};
    if (!FindObject(tag, answer, answerLength, &object))
        return;
    Put(result, tag.bytes, tag.length);
    PutValue(result, answer + object.offset, object.length);
}

// A part of a format 1 value; an empty rest is left out.
void PutPart(Result *result, const ResultRow &row, const uint8_t *value, int valueLength)
{
    const int length = row.length == kRest ? valueLength - row.offset : row.length;
    if (length == 0)
        return;
    Put(result, row.tag.bytes, row.tag.length);
    PutValue(result, value + row.offset, length);
}

} // namespace

int PBOC_BuildARQCBack(const unsigned char *answer, int answerLength, unsigned char *result,
                       int32_t *resultLength)
{
    if (answer == nullptr || result == nullptr || resultLength == nullptr)
        return kNotFound;
    TlvObject cryptogram{};
    const bool hasTags = FindObject(kCryptogram, answer, answerLength, &cryptogram);
    if (!hasTags && answerLength < kShortestFormat1)
        return kNotFound;
    Result built{{}, 0, true};
    for (const ResultRow &row : kRows)
        if (row.offset == kTerminal)
            PutTerminalObject(&built, row.tag);
        else if (hasTags)
            PutCardObject(&built, row.tag, answer, answerLength);
        else
            PutPart(&built, row, answer, answerLength);
    if (!built.fits)
        return kNotFound;
    memcpy(result, built.bytes, static_cast<size_t>(built.length));
    *resultLength = built.length;
    return 0;
}
