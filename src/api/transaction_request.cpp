// BO_ICGenARQC and BO_ICGenARQC_YC: the first half of an online transaction, from power-on to the
// data that go to the issuer.
#include <algorithm>
#include <cstring>

#include "api/card_elements.h"
#include "api/card_opening.h"
#include "api/hex_text.h"
#include "api/kept_application_data.h"
#include "api/transaction_input.h"
#include "vantor/transactions.h"
#include "vantor/transport.h"

namespace
{

constexpr int kBadParameter = -1007;
constexpr uint8_t kRequestCryptogram = 0x80; // reference control: ARQC
constexpr int kLongestValue = 255;           // a length is one byte here, also above 127

constexpr Tag kInterchangeProfile = {{0x82}, 1};
constexpr Tag kFirstList = {{0x8C}, 1};  // CDOL1
constexpr Tag kSecondList = {{0x8D}, 1}; // CDOL2
constexpr Tag kTerminalCapabilities = {{0x9F, 0x33}, 2};
constexpr uint8_t kCapabilities[] = {0x20, 0xA1, 0x00};

// What the variant call adds of the card's; zero bytes where the card has none.
const struct
{
    Tag tag;
    Source source;
    int absentLength;
} kCardObjects[] = {
    {{{0x9F, 0x13}, 2}, Source::kGetData, 1}, // last online transaction counter
    {{{0x5A}, 1}, Source::kRecords, 10},      // primary account number
    {{{0x5F, 0x34}, 2}, Source::kRecords, 2}, // its sequence number
};

int ReadFields(CardSession *card)
{
    return ReadTransactionInput(card->transactionText);
}

int ReadVariantFields(CardSession *card)
{
    ReadVariantRequestInput(card->transactionText);
    return 0;
}

int DrawNumber(CardSession * /*card*/)
{
    DrawUnpredictableNumber();
    return 0;
}

// A profile that has not its two bytes finds no object of its length and changes nothing.
int StoreProfile(CardSession *card)
{
    PBOC_SetTxDataTagValue(kInterchangeProfile.bytes, kInterchangeProfile.length, card->aip,
                           card->aipLength);
    return 0;
}

int KeepRecords(CardSession *card)
{
    KeepApplicationData(card->aid, card->aidLength, card->applicationData,
                        card->applicationDataLength);
    return 0;
}

// A card without CDOL2 leaves the host's text empty.
int GiveSecondList(CardSession *card)
{
    uint8_t list[kResponseArea] = {};
    const int length = ReadElement(*card, kSecondList, Source::kRecords, list);
    const HexText text = ToHexText(list, std::max(length, 0));
    strcpy(card->secondListText, text.characters);
    GLogI("szIccAppdata = %s\r\n", text.characters);
    return 0;
}

int TakeFirstList(CardSession *card)
{
    card->listLength = ReadElement(*card, kFirstList, Source::kRecords, card->list);
    return card->listLength < 0 ? kNotFound : 0;
}

int GenerateCryptogram(CardSession *card)
{
    const int result =
        PBOC_GenerateAC(&context, card->cardType, kRequestCryptogram, card->listData,
                        card->listDataLength, card->cryptogram, &card->cryptogramLength);
    if (result != 0)
        return result;
    GLogI("szTempData = %s\r\n", ToHexText(card->cryptogram, card->cryptogramLength).characters);
    return 0;
}

constexpr FlowStep kKeepRecords = {KeepRecords, nullptr, kOwnCode};
constexpr FlowStep kTakeFirstList = {TakeFirstList, "GetTag 8C Error!\r\n", -4105};
constexpr FlowStep kGenerateAc = {GenerateCryptogram, "PBOC_GenerateAC Error!\r\n", -4107};

const FlowStep kAskSteps[] = {kGetAppData, kKeepRecords, kTakeFirstList, kBuildDol, kGenerateAc};

const FlowStep kVariantAskSteps[] = {
    kGetAppData,    kKeepRecords, {GiveSecondList, nullptr, kOwnCode},
    kTakeFirstList, kBuildDol,    kGenerateAc};

// A contactless card may have answered the processing options with its cryptogram; then there are
// no records to read and nothing is left to ask for.
template <size_t count>
int ObtainCryptogram(const FlowStep (&askSteps)[count], CardSession *card)
{
    if (!AnsweredWithData(*card))
        return RunSteps(askSteps, card);
    UseAnswerAsData(card);
    memcpy(card->cryptogram, card->afl, static_cast<size_t>(card->aflLength));
    card->cryptogramLength = card->aflLength;
    GLogI("szRecData = %s, iRecLen = %d\r\n",
          ToHexText(card->cryptogram, card->cryptogramLength).characters, card->cryptogramLength);
    return 0;
}

int TakeCryptogram(CardSession *card)
{
    return ObtainCryptogram(kAskSteps, card);
}

int TakeVariantCryptogram(CardSession *card)
{
    return ObtainCryptogram(kVariantAskSteps, card);
}

int BuildIssuerData(CardSession *card)
{
    return PBOC_BuildARQCBack(card->cryptogram, card->cryptogramLength, card->issuerData,
                              &card->issuerDataLength);
}

void AppendObject(CardSession *card, const Tag &tag, const uint8_t *value, int length)
{
    length = std::min(length, kLongestValue);
    uint8_t *out = card->issuerData + card->issuerDataLength;
    memcpy(out, tag.bytes, static_cast<size_t>(tag.length));
    out[tag.length] = static_cast<uint8_t>(length);
    memcpy(out + tag.length + 1, value, static_cast<size_t>(length));
    card->issuerDataLength += tag.length + 1 + length;
}

int AppendCardObjects(CardSession *card)
{
    AppendObject(card, kTerminalCapabilities, kCapabilities, sizeof kCapabilities);
    for (const auto &object : kCardObjects)
    {
        uint8_t value[kResponseArea] = {};
        const int length = ReadElement(*card, object.tag, object.source, value);
        AppendObject(card, object.tag, value, length < 0 ? object.absentLength : length);
    }
    return 0;
}

constexpr FlowStep kStoreProfile = {StoreProfile, nullptr, kOwnCode};
constexpr FlowStep kDrawNumber = {DrawNumber, nullptr, kOwnCode};
constexpr FlowStep kBuildArqcBack = {BuildIssuerData, "PBOC_BuildARQCBack Error!\r\n", -4108};

const FlowStep kSteps[] = {kSelectPse,    kGetAid,
                           kSelectAid,    {ReadFields, nullptr, kOwnCode},
                           kDrawNumber,   kTakePdol,
                           kBuildDol,     kGetProcOptions,
                           kStoreProfile, {TakeCryptogram, nullptr, kOwnCode},
                           kBuildArqcBack};

// The number is drawn before the fields are read: a host may give its own.
const FlowStep kVariantSteps[] = {kSelectPse,
                                  kGetAid,
                                  kSelectAid,
                                  kDrawNumber,
                                  {ReadVariantFields, nullptr, kOwnCode},
                                  kRequirePdol,
                                  kBuildDol,
                                  kGetProcOptions,
                                  kStoreProfile,
                                  {TakeVariantCryptogram, nullptr, kOwnCode},
                                  kBuildArqcBack,
                                  {AppendCardObjects, nullptr, kOwnCode}};

} // namespace

int BO_ICGenARQC(int mode, const char *transactionText, int outSize, char *arqcHex,
                 int32_t *cardType, int timeoutSeconds)
{
    if (!IsTransactionText(transactionText))
        return Fail("szTxdata Error!\r\n", kBadParameter);
    if (outSize < 1 || arqcHex == nullptr || cardType == nullptr)
        return kBadParameter;
    return WithCardLeftPowered(PowerOnCard, mode, timeoutSeconds,
                               [&](CardSession *card)
                               {
                                   *cardType = card->cardType;
                                   card->transactionText = transactionText;
                                   const int result = RunSteps(kSteps, card);
                                   if (result == 0)
                                       WriteHexText(card->issuerData, card->issuerDataLength,
                                                    arqcHex, outSize);
                                   return result;
                               });
}

int BO_ICGenARQC_YC(int32_t *cardType, const char *aidHex, const char *transactionText,
                    int arqcSize, char *arqcHex, int timeoutSeconds, char *applicationDataHex)
{
    if (arqcSize > 0 && arqcHex != nullptr)
        arqcHex[0] = '\0';
    if (applicationDataHex != nullptr)
        applicationDataHex[0] = '\0';
    if (!IsTransactionText(transactionText))
        return Fail("szTxdata Error!\r\n", kBadParameter);
    if (cardType == nullptr || arqcSize < 1 || arqcHex == nullptr || applicationDataHex == nullptr)
        return kBadParameter;
    return WithCardLeftPowered(PowerOnWithEitherSet, *cardType, timeoutSeconds,
                               [&](CardSession *card)
                               {
                                   card->wantedAid = aidHex;
                                   card->transactionText = transactionText;
                                   card->secondListText = applicationDataHex;
                                   const int result = RunSteps(kVariantSteps, card);
                                   if (result != 0)
                                       return result;
                                   WriteHexText(card->issuerData, card->issuerDataLength, arqcHex,
                                                arqcSize);
                                   *cardType = card->cardType;
                                   return 0;
                               });
}
