// The card commands that come before a cryptogram: SELECT, READ RECORD, GET PROCESSING OPTIONS,
// GET DATA, and the walks over the directory and over the application file locator.
#include "vantor/pboc.h"

#include <cstring>

#include "pboc/card_command.h"
#include "pboc/tlv.h"

namespace
{

constexpr int kLastRecord = 255;  // P1 is one byte
constexpr int kMostRecords = 255; // that a walk asks for; a locator may name more than 32,000
constexpr int kMostFailures = 8;  // exchanges in a row: each may cost a time-out
constexpr int kProfileLength = 2; // the AIP

constexpr Tag kDirectoryFileId = {{0x88}, 1};
constexpr Tag kApplicationId = {{0x4F}, 1};
constexpr Tag kFormat1 = {{0x80}, 1};
constexpr Tag kFormat2 = {{0x77}, 1};
constexpr Tag kInterchangeProfile = {{0x82}, 1};
constexpr Tag kFileLocator = {{0x94}, 1};

// SELECT; the whole response, status bytes included, is what the caller gets.
int Select(DEVCONTEXT *deviceContext, int cardType, uint8_t p1, const uint8_t *data, int dataLength,
           uint8_t *answer, int32_t *answerLength)
{
    CardCommand command;
    CardResponse response;
    if (answer == nullptr || answerLength == nullptr ||
        !MakeCommand(&command, {0x00, 0xA4, p1, 0x00}, data, dataLength))
        return kCommandFailed;
    const int result = Transmit(deviceContext, cardType, &command, &response);
    if (result != 0)
        return result;
    memcpy(answer, response.bytes, static_cast<size_t>(response.length));
    *answerLength = response.length;
    return 0;
}

// Format 1: the profile and the file locator one behind the other. Format 2: each under its tag.
int TakeProcessingOptions(const uint8_t *answer, int answerLength, uint8_t *aip, int32_t *aipLength,
                          uint8_t *afl, int32_t *aflLength)
{
    TlvObject object{};
    if (FindObject(kFormat1, answer, answerLength, &object))
    {
        if (object.length < kProfileLength)
            return kCommandFailed;
        const uint8_t *value = answer + object.offset;
        memcpy(aip, value, kProfileLength);
        *aipLength = kProfileLength;
        *aflLength = object.length - kProfileLength;
        memcpy(afl, value + kProfileLength, static_cast<size_t>(*aflLength));
        return 0;
    }
    if (!FindObject(kFormat2, answer, answerLength, &object))
        return kCommandFailed;
    const uint8_t *contents = answer + object.offset;
    const int contentsLength = answerLength - object.offset;
    if (PBOC_GetTagValue(kInterchangeProfile.bytes, kInterchangeProfile.length, contents,
                         contentsLength, aip, aipLength) < 0)
        return kCommandFailed;
    if (PBOC_GetTagValue(kFileLocator.bytes, kFileLocator.length, contents, contentsLength, afl,
                         aflLength) < 0)
    {
        // A contactless card that gave its cryptogram at once: the caller finds the template here.
        memcpy(afl, answer, static_cast<size_t>(answerLength));
        *aflLength = answerLength;
    }
    return 0;
}

// Whether a walk over records has met too many failed exchanges in a row: the card or the reader is
// gone, and every record that is left would be waited for. A status, be it a refusal, is an answer.
bool IsGone(int result, int *failures)
{
    const bool answered = result == 0 || result == kCommandFailed || result == kSpecialStatus;
    *failures = answered ? 0 : *failures + 1;
    return *failures == kMostFailures;
}

} // namespace

int PBOC_SelectPSE(DEVCONTEXT *deviceContext, int cardType, const unsigned char *name,
                   int nameLength, unsigned char *sfi, int32_t *sfiLength)
{
    CardCommand command;
    CardResponse response;
    if (sfi == nullptr || sfiLength == nullptr ||
        !MakeCommand(&command, {0x00, 0xA4, 0x04, 0x00}, name, nameLength))
        return kCommandFailed;
    const int result = Transmit(deviceContext, cardType, &command, &response);
    if (StatusWord(response.bytes, response.length) == 0x9303)
        return kSpecialStatus; // application permanently locked: the callers note it and go on
    if (result != 0)
        return result;
    return PBOC_GetTagValue(kDirectoryFileId.bytes, kDirectoryFileId.length, response.bytes,
                            DataLength(response), sfi, sfiLength) < 0
               ? kCommandFailed
               : 0;
}

// The record number runs on from file to file, and the last look-up stands: a card with several
// applications yields the last one, a last record without an identifier yields none.
int PBOC_GetAID(DEVCONTEXT *deviceContext, int cardType, const unsigned char *sfiList, int sfiCount,
                unsigned char *aid, int32_t *aidLength)
{
    int record = 1;
    int failures = 0;
    if (aid == nullptr || aidLength == nullptr || (sfiList == nullptr && sfiCount > 0))
        return 0;
    *aidLength = 0;
    for (int i = 0; i < sfiCount; i++)
        for (; record <= kLastRecord; record++)
        {
            uint8_t data[kResponseArea] = {};
            int32_t dataLength = 0;
            const int result =
                PBOC_ReadRecord(deviceContext, cardType, static_cast<uint8_t>(record), sfiList[i],
                                data, &dataLength);
            if (IsGone(result, &failures))
                return 0;
            if (result != 0)
                break;
            PBOC_GetTagValue(kApplicationId.bytes, kApplicationId.length, data, dataLength, aid,
                             aidLength);
        }
    return 0;
}

int PBOC_SelectAID(DEVCONTEXT *deviceContext, int cardType, const unsigned char *aid, int aidLength,
                   unsigned char *fci, int32_t *fciLength)
{
    return Select(deviceContext, cardType, 0x04, aid, aidLength, fci, fciLength);
}

int PBOC_SelectFile(DEVCONTEXT *deviceContext, int cardType, unsigned char p1,
                    const unsigned char *data, int dataLength, unsigned char *response,
                    int32_t *responseLength)
{
    return Select(deviceContext, cardType, p1, data, dataLength, response, responseLength);
}

int PBOC_ReadRecord(DEVCONTEXT *deviceContext, int cardType, unsigned char record,
                    unsigned char sfi, unsigned char *data, int32_t *dataLength)
{
    CardCommand command = {{
                               0x00,                              // CLA
                               0xB2,                              // INS: READ RECORD
                               record,                            // P1: record number
                               static_cast<uint8_t>(sfi * 8 + 4), // P2: file in the high five bits
                               0x00,                              // Le: all there is
                           },
                           5};
    CardResponse response;
    if (data == nullptr || dataLength == nullptr)
        return kCommandFailed;
    const int result = Transmit(deviceContext, cardType, &command, &response);
    if (result != 0)
        return result;
    GiveData(response, data, dataLength);
    return 0;
}

int PBOC_GetProcOptions(DEVCONTEXT *deviceContext, int cardType, const unsigned char *pdolData,
                        int pdolLength, unsigned char *aip, int32_t *aipLength, unsigned char *afl,
                        int32_t *aflLength)
{
    CardCommand command;
    CardResponse response;
    uint8_t data[kLongestCommandData] = {0x83}; // the command template, its length, the PDOL data
    if (pdolLength < 0 || pdolLength > kLongestCommandData - 2 ||
        (pdolData == nullptr && pdolLength > 0) || aip == nullptr || aipLength == nullptr ||
        afl == nullptr || aflLength == nullptr)
        return kCommandFailed;
    data[1] = static_cast<uint8_t>(pdolLength);
    if (pdolLength > 0)
        memcpy(data + 2, pdolData, static_cast<size_t>(pdolLength));
    MakeCommand(&command, {0x80, 0xA8, 0x00, 0x00}, data, pdolLength + 2);
    const int result = Transmit(deviceContext, cardType, &command, &response);
    if (result != 0)
        return result == kSpecialStatus ? result : 0; // lenient on purpose: no data, no failure
    return TakeProcessingOptions(response.bytes, DataLength(response), aip, aipLength, afl,
                                 aflLength);
}

int PBOC_GetAppData(DEVCONTEXT *deviceContext, int cardType, const unsigned char *afl,
                    int aflLength, unsigned char *data, int32_t *dataLength)
{
    int asked = 0;
    int failures = 0;
    if (data == nullptr || dataLength == nullptr || (afl == nullptr && aflLength > 0))
        return 0;
    *dataLength = 0;
    for (int offset = 0; offset + 4 <= aflLength; offset += 4)
    {
        const uint8_t sfi = afl[offset] >> 3;
        for (int record = afl[offset + 1]; record <= afl[offset + 2]; record++)
        {
            uint8_t area[kResponseArea] = {};
            int32_t length = 0;
            const int result = PBOC_ReadRecord(deviceContext, cardType,
                                               static_cast<uint8_t>(record), sfi, area, &length);
            if (IsGone(result, &failures))
                return 0;
            const int room = VANTOR_APP_DATA_SIZE - *dataLength;
            const int copied = result != 0 ? 0 : length < room ? length : room;
            memcpy(data + *dataLength, area, static_cast<size_t>(copied));
            *dataLength += copied;
            if (++asked == kMostRecords)
                return 0;
        }
    }
    return 0;
}

int PBOC_GetData(DEVCONTEXT *deviceContext, int cardType, const unsigned char *tag, int tagLength,
                 unsigned char *value, int32_t *valueLength)
{
    CardCommand command = {{0x80, 0xCA}, 2}; // GET DATA; a two-byte tag is P1 P2
    CardResponse response;
    if (tag == nullptr || tagLength < 1 || tagLength > 2 || value == nullptr ||
        valueLength == nullptr)
        return kCommandFailed;
    memcpy(command.bytes + 2, tag, static_cast<size_t>(tagLength));
    command.length += tagLength;
    const int result = Transmit(deviceContext, cardType, &command, &response);
    if (result != 0)
        return result;
    PBOC_GetTagValue(tag, tagLength, response.bytes, DataLength(response), value, valueLength);
    return 0; // also when the response does not hold the tag: the value then is empty
}
