// BO_ICGetInfo and BO_ICGetInfo_YC: chosen data elements of a bank card, picked by letters.
#include "api/card_elements.h"
#include "api/card_opening.h"
#include "api/letter_items.h"
#include "vantor/business.h"
#include "vantor/transactions.h"

namespace
{

constexpr int kBadParameter = -1007;

// Tables in the order of the answer.
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

const Element kVariantElements[] = {
    {'A', {{0x5A}, 1}, Source::kRecords, AppendDigitsItem},      // primary account number
    {'B', {{0x57}, 1}, Source::kRecords, AppendHexItem},         // track 2, its padding included
    {'C', {{0x9F, 0x79}, 2}, Source::kGetData, AppendHexItem},   // electronic cash balance
    {'D', {{0x9F, 0x77}, 2}, Source::kGetData, AppendHexItem},   // its limit
    {'E', {{0x5F, 0x24}, 2}, Source::kRecords, AppendHexItem},   // expiration date
    {'F', {{0x9F, 0x78}, 2}, Source::kGetData, AppendHexItem},   // single transaction limit
    {'G', {{0x5F, 0x34}, 2}, Source::kRecords, AppendHexItem},   // PAN sequence number
    {'H', {{0x9F, 0x36}, 2}, Source::kGetData, AppendHexItem},   // transaction counter
    {'I', {{0x9F, 0x62}, 2}, Source::kRecords, AppendHexItem},   // identity document type
    {'J', {{0x9F, 0x61}, 2}, Source::kRecords, AppendBytesItem}, // identity document number
    {'K', {{0x5F, 0x20}, 2}, Source::kRecords, AppendBytesItem}, // cardholder name
    {'L', {{0x9F, 0x0B}, 2}, Source::kRecords, AppendBytesItem}, // cardholder name, extended
};

const FlowStep kSteps[] = {kSelectPse, kGetAid,         kSelectAid, kTakePdol,
                           kBuildDol,  kGetProcOptions, kGetAppData};

// A card without a PDOL is refused.
const FlowStep kVariantSteps[] = {kSelectPse, kGetAid,         kSelectAid, kRequirePdol,
                                  kBuildDol,  kGetProcOptions, kGetAppData};

template <size_t stepCount, size_t elementCount>
int GiveElements(const FlowStep (&steps)[stepCount], const Element (&elements)[elementCount],
                 const char *tagList, char *info, CardSession *card)
{
    const int result = RunSteps(steps, card);
    if (result == 0)
        WriteElements(*card, elements, elementCount, tagList, info);
    return result;
}

} // namespace

int BO_ICGetInfo(int mode, const char *tagList, int /*reserved*/, char *info, int timeoutSeconds)
{
    if (!IsTagListValue(tagList))
        return Fail("TagList Error!\r\n", kBadParameter);
    if (info == nullptr)
        return kBadParameter;
    return WithPoweredCard(PowerOnCard, mode, timeoutSeconds,
                           [&](CardSession *card)
                           { return GiveElements(kSteps, kElements, tagList, info, card); });
}

int BO_ICGetInfo_YC(int32_t *cardType, const char *aidHex, const char *tagList, int /*capacity*/,
                    char *info, int timeoutSeconds)
{
    if (info != nullptr)
        info[0] = '\0';
    if (!IsTagListValue(tagList))
        return Fail("TagList Error!\r\n", kBadParameter);
    if (cardType == nullptr || info == nullptr)
        return kBadParameter;
    return WithPoweredCard(PowerOnWithEitherSet, *cardType, timeoutSeconds,
                           [&](CardSession *card)
                           {
                               card->wantedAid = aidHex;
                               const int result = GiveElements(kVariantSteps, kVariantElements,
                                                               tagList, info, card);
                               if (result == 0)
                                   *cardType = card->cardType;
                               return result;
                           });
}
