// BO_ICGetInfo: chosen data elements of a bank card, picked by letters.
#include <cstring>

#include "api/card_opening.h"
#include "api/letter_items.h"
#include "vantor/business.h"
#include "vantor/transport.h"

namespace
{

enum class Source
{
    kRecords, // the application data read before
    kGetData, // asked of the card
};

using AppendValue = char *(*)(char *out, char letter, const uint8_t *bytes, int count);

struct Element
{
    char letter;
    Tag tag;
    Source source;
    AppendValue append;
};

char *AppendBytesItem(char *out, char letter, const uint8_t *bytes, int count)
{
    return AppendItem(out, letter, reinterpret_cast<const char *>(bytes), count);
}

// In the order of the answer.
const Element kElements[] = {
    {'A', {{0x5A}, 1}, Source::kRecords, AppendDigitsItem},      // primary account number
    {'B', {{0x5F, 0x20}, 2}, Source::kRecords, AppendBytesItem}, // cardholder name
    {'C', {{0x9F, 0x62}, 2}, Source::kRecords, AppendHexItem},   // identity document type
    {'D', {{0x9F, 0x61}, 2}, Source::kRecords, AppendBytesItem}, // identity document number
    {'E', {{0x57}, 1}, Source::kRecords, AppendDigitsItem},      // track 2 equivalent data
    {'F', {{0x9F, 0x1F}, 2}, Source::kRecords, AppendHexItem},   // track 1 discretionary data
    {'G', {{0x9F, 0x79}, 2}, Source::kGetData, AppendHexItem},   // electronic cash balance
    {'H', {{0x9F, 0x77}, 2}, Source::kGetData, AppendHexItem},   // its limit
    {'I', {{0x5F, 0x24}, 2}, Source::kRecords, AppendHexItem},   // expiration date
    {'J', {{0x5F, 0x34}, 2}, Source::kRecords, AppendHexItem},   // PAN sequence number
    {'K', {{0x9F, 0x6D}, 2}, Source::kGetData, AppendHexItem},   // electronic cash reset threshold
    {'L', {{0x9F, 0x78}, 2}, Source::kGetData, AppendHexItem},   // its single transaction limit
    {'M', {{0x5F, 0x25}, 2}, Source::kRecords, AppendHexItem},   // effective date
    {'N', {{0x9F, 0x63}, 2}, Source::kRecords, AppendBytesItem}, // card product information
};

const FlowStep kSteps[] = {kSelectPse, kGetAid,         kSelectAid,
                           kBuildDol,  kGetProcOptions, kGetAppData};

// The element's value; 0 bytes when the card has none.
int ReadElement(const CardSession &card, const Element &element, uint8_t (&value)[kResponseArea])
{
    if (element.source == Source::kRecords)
        return CopyValue(element.tag, card.applicationData, card.applicationDataLength, value,
                         sizeof value);
    int32_t length = 0;
    PBOC_GetData(&context, card.cardType, element.tag.bytes, element.tag.length, value, &length);
    return length;
}

void WriteInformation(const CardSession &card, const char *tagList, char *info)
{
    for (const Element &element : kElements)
        if (strchr(tagList, element.letter) != nullptr)
        {
            uint8_t value[kResponseArea] = {};
            const int length = ReadElement(card, element, value);
            info = element.append(info, element.letter, value, length);
        }
    *info = '\0';
}

} // namespace

int BO_ICGetInfo(int mode, const char *tagList, int /*reserved*/, char *info, int timeoutSeconds)
{
    constexpr int kBadParameter = -1007;
    if (!IsTagListValue(tagList))
        return Fail("TagList Error!\r\n", kBadParameter);
    if (info == nullptr)
        return kBadParameter;
    return WithPoweredCard(mode, timeoutSeconds,
                           [&](CardSession *card)
                           {
                               const int result = RunSteps(kSteps, card);
                               if (result == 0)
                                   WriteInformation(*card, tagList, info);
                               return result;
                           });
}
