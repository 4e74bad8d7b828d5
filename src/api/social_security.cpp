// BO_SSCReadInfo: the basic data of a social security card.
#include <cstring>

#include "api/card_opening.h"
#include "pboc/card_exchange.h"
#include "pboc/tlv.h"
#include "vantor/pboc.h"
#include "vantor/support.h"
#include "vantor/transactions.h"
#include "vantor/transport.h"

namespace
{

// "sx1.sh." and the first characters of the application's name in UTF-8. The last of them is cut
// in two: the name is sent in fifteen bytes and not one more. Deliberate.
constexpr uint8_t kDirectoryName[15] = {0x73, 0x78, 0x31, 0x2E, 0x73, 0x68, 0x2E, 0xE7,
                                        0xA4, 0xBE, 0xE4, 0xBC, 0x9A, 0xE4, 0xBF};

constexpr int kBadParameter = -1007;
constexpr int kLongestElement = 64; // characters
constexpr int kElements = 13;
constexpr int kLongestInfo = kElements * kLongestElement + (kElements - 1);

// Record n of a file holds the element whose tag is `firstTag` + n - 1.
struct ElementFile
{
    uint8_t fileId[2];
    uint8_t firstTag;
    uint8_t records;
};

constexpr ElementFile kFiles[] = {
    {{0xEF, 0x05}, 0x01, 7},
    {{0xEF, 0x06}, 0x08, 6},
};

// Built aside, so that a failure leaves the caller's text alone.
struct Information
{
    char text[kLongestInfo + 1];
    size_t length;
};

// 07 to 0A hold characters, which cards pad with zero bytes; the others digits and numbers.
bool IsText(uint8_t tag)
{
    return tag >= 0x07 && tag <= 0x0A;
}

void AppendElement(Information *information, uint8_t tag, const uint8_t *record, int recordLength)
{
    uint8_t value[kLongestElement] = {};
    const int length = CopyValue({{tag}, 1}, record, recordLength, value, sizeof value);
    if (tag != kFiles[0].firstTag)
        information->text[information->length++] = '|';
    char *end = information->text + information->length;
    if (IsText(tag))
    {
        const size_t characters =
            strnlen(reinterpret_cast<const char *>(value), static_cast<size_t>(length));
        memcpy(end, value, characters);
        information->length += characters;
        return;
    }
    const int characters = GByte2Hex(value, length, end, kLongestElement);
    information->length += characters > 0 ? static_cast<size_t>(characters) : 0;
}

// The card's short file identifier is 0: the file that is selected.
int ReadFile(int cardType, const ElementFile &file, Information *information)
{
    uint8_t area[kResponseArea] = {};
    int32_t length = 0;
    if (PBOC_SelectFile(&context, cardType, 0x00, file.fileId, sizeof file.fileId, area, &length) !=
        0)
        return Fail("PBOC_SelectFile Error!\r\n", -4100);
    for (uint8_t i = 0; i < file.records; i++)
    {
        const uint8_t record = static_cast<uint8_t>(i + 1);
        const int result = PBOC_ReadRecord(&context, cardType, record, 0, area, &length);
        if (result != 0)
            return result;
        AppendElement(information, static_cast<uint8_t>(file.firstTag + i), area, length);
    }
    return 0;
}

// An invalidated directory (a positive result) is no obstacle.
int ReadCard(int cardType, Information *information)
{
    uint8_t directory[kResponseArea] = {};
    int32_t directoryLength = 0;
    if (PBOC_SelectPSE(&context, cardType, kDirectoryName, sizeof kDirectoryName, directory,
                       &directoryLength) < 0)
        return Fail("PBOC_SelectPSE Error!\r\n", -4100);
    for (const ElementFile &file : kFiles)
    {
        const int result = ReadFile(cardType, file, information);
        if (result != 0)
            return result;
    }
    return 0;
}

} // namespace

int BO_SSCReadInfo(int mode, char *info, int timeoutSeconds)
{
    CardSession card{};
    Information information{};
    if (info == nullptr)
        return kBadParameter;
    int result = PowerOnCard(mode, timeoutSeconds, &card);
    if (result != 0)
        return result;
    result = ReadCard(card.cardType, &information);
    if (result != 0)
        BO_IcPowerOff(card.cardType);
    else
        memcpy(info + strlen(info), information.text, information.length + 1);
    return result;
}
