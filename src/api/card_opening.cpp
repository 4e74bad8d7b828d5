#include "api/card_opening.h"

#include <cstring>

#include "api/hex_text.h"
#include "pboc/data_object_list.h"
#include "vantor/support.h"
#include "vantor/transport.h"

namespace
{

const char kPaymentEnvironment[] = "1PAY.SYS.DDF01";

constexpr int kLongestAid = 256;

constexpr Tag kPdol = {{0x9F, 0x38}, 2};
constexpr Tag kTemplate77 = {{0x77}, 1};

int PowerOn(int mode, int timeoutSeconds, CardSession *card)
{
    char atrText[512] = {};
    int32_t atrTextLength = 0;
    return BO_IcPowerOn(mode, sizeof atrText, atrText, &atrTextLength, &card->cardType,
                        timeoutSeconds);
}

} // namespace

int PowerOnCard(int mode, int timeoutSeconds, CardSession *card)
{
    return BO_GetErrorCode(PowerOn(mode, timeoutSeconds, card));
}

// Any failure changes the setting, be it a wait that was cancelled; and with a setting that names
// no command set the call goes on with a card that has no power. Both deliberate.
int PowerOnWithEitherSet(int mode, int timeoutSeconds, CardSession *card)
{
    if (PowerOn(mode, timeoutSeconds, card) == 0)
        return 0;
    int commandSet = 0;
    GGetConfigInt("devcfg", "Iccmd", 0, &commandSet);
    if (commandSet != 0 && commandSet != 1)
        return 0;
    GSetConfigString("devcfg", "Iccmd", commandSet == 0 ? "1" : "0");
    return PowerOnCard(mode, timeoutSeconds, card);
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
    if (card->wantedAid == nullptr || card->wantedAid[0] == '\0')
        return PBOC_GetAID(&context, card->cardType, card->directory, card->directoryLength,
                           card->aid, &card->aidLength);
    const size_t length = strnlen(card->wantedAid, 2 * kLongestAid);
    card->aidLength = GHex2Byte(card->wantedAid, static_cast<int>(length), card->aid, kLongestAid);
    return 0;
}

int SelectApplication(CardSession *card)
{
    return PBOC_SelectAID(&context, card->cardType, card->aid, card->aidLength, card->fci,
                          &card->fciLength);
}

int RequirePdol(CardSession *card)
{
    return CopyFromFci(*card, kPdol, card->list, sizeof card->list, &card->listLength) ? 0
                                                                                       : kNotFound;
}

// A card without a PDOL gets no data.
int TakePdol(CardSession *card)
{
    RequirePdol(card);
    return 0;
}

int BuildCardListData(CardSession *card)
{
    card->listDataLength = 0;
    return BuildListData(card->list, card->listLength, card->listData, sizeof card->listData,
                         &card->listDataLength);
}

int GetProcessingOptions(CardSession *card)
{
    return PBOC_GetProcOptions(&context, card->cardType, card->listData, card->listDataLength,
                               card->aip, &card->aipLength, card->afl, &card->aflLength);
}

bool AnsweredWithData(const CardSession &card)
{
    TlvObject contents{};
    return FindObject(kTemplate77, card.afl, card.aflLength, &contents);
}

void UseAnswerAsData(CardSession *card)
{
    memcpy(card->applicationData, card->afl, static_cast<size_t>(card->aflLength));
    card->applicationDataLength = card->aflLength;
}

int TakeApplicationData(CardSession *card)
{
    if (!AnsweredWithData(*card))
        return PBOC_GetAppData(&context, card->cardType, card->afl, card->aflLength,
                               card->applicationData, &card->applicationDataLength);
    UseAnswerAsData(card);
    const HexText text = ToHexText(card->applicationData, card->applicationDataLength);
    GLogI("szTempData = %s, iTagValueLen = %d\r\n", text.characters, card->applicationDataLength);
    GLogI("szAppData = %s, iAppDataLen = %d\r\n", text.characters, card->applicationDataLength);
    return 0;
}
