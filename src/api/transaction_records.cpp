// BO_ICGetDetail, BO_ICGetDetail_YC and BO_ICGetCircllog: the card's transaction log and its load
// log.
#include <cstdio>
#include <cstring>

#include "api/card_opening.h"
#include "api/hex_text.h"
#include "api/letter_items.h"
#include "vantor/business.h"
#include "vantor/support.h"
#include "vantor/transactions.h"
#include "vantor/transport.h"

namespace
{

constexpr int kBadParameter = -1007;
constexpr int kMerchantLength = 20;
constexpr int kUsualHead = 5; // of the answer: two digits of count, three of length

using AppendField = char *(*)(char *out, char letter, const uint8_t *bytes, int count);

struct RecordField
{
    char letter;
    int offset; // within the record
    int length;
    AppendField append; // null: the merchant name, in the form that the layout gives it
};

struct LogLayout
{
    Tag entry; // of the FCI: the file's short identifier and the number of records
    const char *missing;
    int missingCode;
    const RecordField *fields;
    size_t fieldCount;
    AppendField appendMerchant;
    bool logsAnswer;
};

// The bytes as they are, up to the first 00; spaces from there on.
char *AppendFilledMerchant(char *out, char letter, const uint8_t *bytes, int count)
{
    char name[kMerchantLength];
    memset(name, ' ', sizeof name);
    const size_t length = strnlen(reinterpret_cast<const char *>(bytes), sizeof name);
    memcpy(name, bytes, length);
    return AppendItem(out, letter, name, count);
}

// Which balance was loaded: its tag begins with 9F, or not.
char *AppendLoadedElement(char *out, char letter, const uint8_t *bytes, int count)
{
    return AppendItem(out, letter, bytes[0] == 0x9F ? "1" : "2", count);
}

// 106 characters a record.
constexpr RecordField kTransactionFields[] = {
    {'P', 6, 6, AppendHexItem},          // amount, authorised
    {'Q', 12, 6, AppendHexItem},         // amount, other
    {'R', 20, 2, AppendHexItem},         // currency code
    {'S', 0, 3, AppendHexItem},          // date
    {'T', 42, 1, AppendHexItem},         // transaction type
    {'U', 3, 3, AppendHexItem},          // time
    {'V', 18, 2, AppendHexItem},         // terminal country code
    {'W', 22, kMerchantLength, nullptr}, // merchant name
    {'X', 43, 2, AppendHexItem},         // application transaction counter
};

// 97 characters a record.
constexpr RecordField kLoadFields[] = {
    {'O', 0, 1, AppendLoadedElement},    // first byte of the loaded element's tag
    {'P', 2, 6, AppendHexItem},          // value before
    {'Q', 8, 6, AppendHexItem},          // value after
    {'S', 14, 3, AppendHexItem},         // date
    {'U', 17, 3, AppendHexItem},         // time
    {'V', 20, 2, AppendHexItem},         // country code
    {'W', 22, kMerchantLength, nullptr}, // merchant name
    {'X', 42, 2, AppendHexItem},         // application transaction counter
};

constexpr LogLayout kTransactionLog = {{{0x9F, 0x4D}, 2},
                                       "GetTag 9F4D Error!\r\n",
                                       -4117,
                                       kTransactionFields,
                                       sizeof kTransactionFields / sizeof kTransactionFields[0],
                                       AppendFilledMerchant,
                                       false};

// The merchant name as the card has it, 00 bytes included.
constexpr LogLayout kVariantTransactionLog = {kTransactionLog.entry,       kTransactionLog.missing,
                                              kTransactionLog.missingCode, kTransactionLog.fields,
                                              kTransactionLog.fieldCount,  AppendBytesItem,
                                              kTransactionLog.logsAnswer};

constexpr LogLayout kLoadLog = {{{0xDF, 0x4D}, 2},
                                "GetTag DF4D Error!\r\n",
                                -4103,
                                kLoadFields,
                                sizeof kLoadFields / sizeof kLoadFields[0],
                                AppendFilledMerchant,
                                true};

const FlowStep kSteps[] = {kSelectPse, kGetAid, kSelectAid};

// Of all records, in the caller's room.
struct RecordTexts
{
    char *characters; // end in a NUL
    int length;       // a merchant name may hold 00 bytes
    int count;
};

// Reads records until one fails. A record shorter than its layout reads as zero bytes behind its
// end.
void ReadRecords(const CardSession &card, const LogLayout &layout, uint8_t sfi, int count,
                 RecordTexts *texts)
{
    char *out = texts->characters;
    for (int number = 1; number <= count; number++)
    {
        uint8_t record[kResponseArea] = {};
        int32_t length = 0;
        if (PBOC_ReadRecord(&context, card.cardType, static_cast<uint8_t>(number), sfi, record,
                            &length) != 0)
            break;
        for (size_t i = 0; i < layout.fieldCount; i++)
        {
            const RecordField &field = layout.fields[i];
            const AppendField append =
                field.append != nullptr ? field.append : layout.appendMerchant;
            out = append(out, field.letter, record + field.offset, field.length);
        }
        texts->count++;
    }
    *out = '\0';
    texts->length = static_cast<int>(out - texts->characters);
}

void WriteAnswer(const LogLayout &layout, const RecordTexts &texts, char *detail)
{
    const int recordLength = texts.count == 0 ? 0 : texts.length / texts.count;
    if (layout.logsAnswer)
    {
        GLogI("nDetailNum = %d\r\n", texts.count);
        GLogI("iDetailLen = %d\r\n", recordLength);
        GLogI("szTxData = %s\r\n", texts.characters);
    }
    char head[16];
    const int headLength = snprintf(head, sizeof head, "%02d%03d", texts.count, recordLength);
    memmove(detail + headLength, texts.characters, static_cast<size_t>(texts.length) + 1);
    memcpy(detail, head, static_cast<size_t>(headLength));
}

int ReadLog(const CardSession &card, const LogLayout &layout, char *detail)
{
    uint8_t entry[kResponseArea] = {};
    int entryLength = 0;
    if (!CopyFromFci(card, layout.entry, entry, sizeof entry, &entryLength))
        return Fail(layout.missing, layout.missingCode);
    GLogI("szRecord = %s\r\n", ToHexText(entry, entryLength).characters);

    RecordTexts texts = {detail + kUsualHead, 0, 0};
    ReadRecords(card, layout, entry[0], entry[1], &texts);
    WriteAnswer(layout, texts, detail);
    return 0;
}

int GiveLog(CardSession *card, const LogLayout &layout, char *detail)
{
    const int result = RunSteps(kSteps, card);
    return result != 0 ? result : ReadLog(*card, layout, detail);
}

int GiveLogOf(int mode, const LogLayout &layout, char *detail, int timeoutSeconds)
{
    if (detail == nullptr)
        return kBadParameter;
    return WithPoweredCard(PowerOnCard, mode, timeoutSeconds,
                           [&](CardSession *card) { return GiveLog(card, layout, detail); });
}

} // namespace

int BO_ICGetDetail(int mode, int /*reserved*/, char *detail, int timeoutSeconds)
{
    return GiveLogOf(mode, kTransactionLog, detail, timeoutSeconds);
}

int BO_ICGetCircllog(int mode, int /*reserved*/, char *detail, int timeoutSeconds)
{
    return GiveLogOf(mode, kLoadLog, detail, timeoutSeconds);
}

int BO_ICGetDetail_YC(int32_t *cardType, const char *aidHex, int /*capacity*/, char *detail,
                      int timeoutSeconds)
{
    if (detail != nullptr)
        detail[0] = '\0';
    if (cardType == nullptr || detail == nullptr)
        return kBadParameter;
    return WithPoweredCard(PowerOnWithEitherSet, *cardType, timeoutSeconds,
                           [&](CardSession *card)
                           {
                               card->wantedAid = aidHex;
                               const int result = GiveLog(card, kVariantTransactionLog, detail);
                               if (result == 0)
                                   *cardType = card->cardType;
                               return result;
                           });
}
