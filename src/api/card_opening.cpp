#include "api/card_opening.h"

#include <cstring>

#include "pboc/data_object_list.h"
#include "vantor/support.h"
#include "vantor/transport.h"

namespace
{

const char kPaymentEnvironment[] = "1PAY.SYS.DDF01";

constexpr Tag kPdol = {{0x9F, 0x38}, 2};
constexpr Tag kTemplate77 = {{0x77}, 1};

void LogApplicationData(const CardSession &card)
{
    char text[2 * kResponseArea + 1] = {};
    GByte2Hex(card.applicationData, card.applicationDataLength, text, sizeof text - 1);
    GLogI("szTempData = %s, iTagValueLen = %d\r\n", text, card.applicationDataLength);
    GLogI("szAppData = %s, iAppDataLen = %d\r\n", text, card.applicationDataLength);
}

} // namespace

int Fail(const char *message, int code)
{
    GLogE("%s", message);
    return code;
}

int RunSteps(const FlowStep *steps, size_t count, CardSession *card)
{
    for (size_t i = 0; i < count; i++)
        if (steps[i].run(card) != 0)
            return Fail(steps[i].message, steps[i].code);
    return 0;
}

int PowerOnCard(int mode, int timeoutSeconds, CardSession *card)
{
    char atrText[512] = {};
    int32_t atrTextLength = 0;
    return BO_GetErrorCode(BO_IcPowerOn(mode, sizeof atrText, atrText, &atrTextLength,
                                        &card->cardType, timeoutSeconds));
}

bool CopyFromFci(const CardSession &card, const Tag &tag, uint8_t *value, int capacity, int *length)
{
    TlvObject object{};
    const int fciLength = card.fciLength - 2; // the status bytes are no part of the objects
    if (!FindObject(tag, card.fci, fciLength, &object))
        return false;
    *length = CopyValue(tag, card.fci, fciLength, value, capacity);
    return true;
}

// An invalidated or locked environment (a positive result) is no obstacle: the call goes on without
// a directory.
int SelectEnvironment(CardSession *card)
{
    const int result = PBOC_SelectPSE(
        &context, card->cardType, reinterpret_cast<const unsigned char *>(kPaymentEnvironment),
        sizeof kPaymentEnvironment - 1, card->directory, &card->directoryLength);
    return result < 0 ? result : 0;
}

int TakeApplicationId(CardSession *card)
{
    return PBOC_GetAID(&context, card->cardType, card->directory, card->directoryLength, card->aid,
                       &card->aidLength);
}

int SelectApplication(CardSession *card)
{
    return PBOC_SelectAID(&context, card->cardType, card->aid, card->aidLength, card->fci,
                          &card->fciLength);
}

// A card without a PDOL gets no data.
int BuildPdolData(CardSession *card)
{
    uint8_t list[kResponseArea] = {};
    int listLength = 0;
    CopyFromFci(*card, kPdol, list, sizeof list, &listLength);
    return BuildListData(list, listLength, card->listData, sizeof card->listData,
                         &card->listDataLength);
}

int GetProcessingOptions(CardSession *card)
{
    return PBOC_GetProcOptions(&context, card->cardType, card->listData, card->listDataLength,
                               card->aip, &card->aipLength, card->afl, &card->aflLength);
}

// A contactless card may have answered the processing options with its data at once.
int TakeApplicationData(CardSession *card)
{
    TlvObject contents{};
    if (!FindObject(kTemplate77, card->afl, card->aflLength, &contents))
        return PBOC_GetAppData(&context, card->cardType, card->afl, card->aflLength,
                               card->applicationData, &card->applicationDataLength);
    memcpy(card->applicationData, card->afl, static_cast<size_t>(card->aflLength));
    card->applicationDataLength = card->aflLength;
    LogApplicationData(*card);
    return 0;
}
