// Identity card calls.
#include "vantor/identity_cards.h"

#include <algorithm>
#include <cstring>

#include "api/identity_photo.h"
#include "api/identity_sequence.h"
#include "api/identity_text.h"
#include "vantor/business.h"
#include "vantor/identity_operations.h"
#include "vantor/support.h"
#include "vantor/transport.h"

namespace
{

constexpr int kBadParameter = -1007;
constexpr uint32_t kCommandTimeoutMs = 1000;
constexpr int kOwnSize = kIdentityTextSize; // of a host's buffer whose size is not told

// What a read checks before it touches the reader, in this order. A null path is none.
struct ReadRequest
{
    int timeoutSeconds;
    const char *path;
    const char *pathMessage;
    char *info;
    int infoSize;
    uint32_t *infoLength;
    const IdentityLayouts &layouts;
    AfterFailedSelection afterFailedSelection;
};

int Refuse(const char *message)
{
    GLogE("%s", message);
    return kBadParameter;
}

int CheckRequest(const ReadRequest &request)
{
    if (request.timeoutSeconds < 0)
        return Refuse("Timeout Error!\r\n");
    if (request.path != nullptr && strnlen(request.path, kLongestPhotoPath + 1) > kLongestPhotoPath)
        return Refuse(request.pathMessage);
    if (request.info == nullptr || request.infoSize < 1 || request.infoLength == nullptr)
        return kBadParameter;
    return 0;
}

void GiveText(const IdentityText &text, char *info, int size, uint32_t *length)
{
    const int given = std::min(text.length, size - 1);
    std::memcpy(info, text.characters, static_cast<size_t>(given));
    info[given] = '\0';
    *length = static_cast<uint32_t>(given);
}

// Reads a card and gives its text.
int ReadCard(const ReadRequest &request, IdentityRecord *record)
{
    const int refused = CheckRequest(request);
    if (refused != 0)
        return refused;
    const int result =
        ReadIdentityRecord(request.timeoutSeconds, request.afterFailedSelection, record);
    if (result == 0)
        GiveText(MakeIdentityText(record->bytes, request.layouts), request.info, request.infoSize,
                 request.infoLength);
    return BO_GetErrorCode(result);
}

// The field is GB18030 and the text UTF-8: no valid card meets it. Deliberate; hosts set the flag
// to 1 before the call and count on it.
void ClearLongTermFlag(const IdentityRecord &record, int32_t *longTermFlag)
{
    char validEnd[kIdentityFieldSize] = {};
    ID_GetValidEnd(record.bytes, validEnd);
    if (longTermFlag != nullptr && std::strcmp(validEnd, "长期") == 0)
        *longTermFlag = 0;
}

// A step that delivers nothing, between its two lines of the log.
void TakePhotoData(const IdentityRecord &record, uint32_t capacity, unsigned char *data,
                   const uint32_t *length)
{
    if (data == nullptr || length == nullptr)
        return;
    unsigned char photo[1024];
    ID_GetPhotoInfo(record.bytes, photo);
    uint32_t given = 0;
    GLogI("ID_GetBmpData start\r\n");
    const int result = ID_GetBmpData(photo, capacity, data, &given);
    GLogI("ID_GetBmpData end, iPbLen = %d, ret = %d\r\n", static_cast<int>(given), result);
}

constexpr size_t kEndingLength = 4;

const char *EndingOf(const char *path, size_t length)
{
    static const char *const kEndings[] = {".jpg", ".bmp", ".png", ".gif"};
    if (length > kEndingLength)
        for (const char *ending : kEndings)
            if (std::memcmp(path + length - kEndingLength, ending, kEndingLength) == 0)
                return ending;
    return nullptr;
}

// The length of the path's directory, and how the name ends; false when it gives none.
bool TakeDirectory(const char *path, size_t *length, const char **ending)
{
    *length = path != nullptr ? strnlen(path, kLongestPhotoPath + 1) : 0;
    if (*length == 0 || *length > kLongestPhotoPath)
        return false;
    *ending = EndingOf(path, *length);
    if (*ending == nullptr)
    {
        *ending = ".bmp";
        return true;
    }
    const void *separator = memrchr(path, '\\', *length);
    if (separator == nullptr)
        return false;
    *length = static_cast<size_t>(static_cast<const char *>(separator) - path);
    return true;
}

} // namespace

int BO_IdReset(void)
{
    const int64_t baud = SwitchToIdentity();
    const int result = ID_ResetCard(&context, kCommandTimeoutMs);
    if (result != 0)
        GLogE("ID_ResetCard Error!\r\n");
    SwitchBack(baud);
    return BO_GetErrorCode(result);
}

int BO_SetIdBaud(int baud)
{
    const int64_t baudBefore = SwitchToIdentity();
    const int result = ID_SetIdBaud(&context, baud, kCommandTimeoutMs);
    SwitchBack(baudBefore);
    return BO_GetErrorCode(result);
}

int BO_GetIdRawData(void * /*reserved1*/, void * /*reserved2*/, void * /*reserved3*/,
                    void * /*reserved4*/, void * /*reserved5*/, void * /*reserved6*/,
                    int timeoutSeconds)
{
    if (timeoutSeconds < 0)
        return Refuse("Timeout Error!\r\n");
    IdentityRecord record = {};
    return BO_GetErrorCode(
        ReadIdentityRecord(timeoutSeconds, AfterFailedSelection::kSpeedBefore, &record));
}

int BO_ReadIdInfo(const char *photoPath, int /*reserved*/, char *info, uint32_t *infoLength,
                  int32_t *longTermFlag, uint32_t photoCapacity, unsigned char *photoData,
                  uint32_t *photoLength, int timeoutSeconds)
{
    IdentityRecord record = {};
    const int result = ReadCard({timeoutSeconds, photoPath, "szBmpPath Error!\r\n", info, kOwnSize,
                                 infoLength, kAllFields, AfterFailedSelection::kSpeedBefore},
                                &record);
    if (result != 0)
        return result;
    ClearLongTermFlag(record, longTermFlag);
    TakePhotoData(record, photoCapacity, photoData, photoLength);
    return WriteIdentityPhoto(record.bytes, photoPath);
}

int BO_ReadIdInfo_Pic(const char *picturePath, int /*reserved*/, char *info, uint32_t *infoLength,
                      int timeoutSeconds)
{
    IdentityRecord record = {};
    return ReadCard({timeoutSeconds, picturePath, "szPicPath Error!\r\n", info, kOwnSize,
                     infoLength, kPictureFields, AfterFailedSelection::kSpeedBefore},
                    &record);
}

// The line's speed after a failed selection differs from all other calls. Deliberate.
int BO_ReadIdInfo_Pic_FB(const char *headPath, const char * /*reserved1*/,
                         const char * /*reserved2*/, const char * /*reserved3*/, char *info,
                         uint32_t *infoLength, void * /*reserved4*/, void * /*reserved5*/,
                         int timeoutSeconds)
{
    IdentityRecord record = {};
    return ReadCard({timeoutSeconds, headPath, "szHeadPath Error!\r\n", info, kOwnSize, infoLength,
                     kPictureFieldsByCode, AfterFailedSelection::kUsualSpeed},
                    &record);
}

int BO_ReadIdInfo_Pic_YC(const char *headPath, const char * /*facePath*/, const char * /*backPath*/,
                         const char * /*cardPath*/, int capacity, char *info, uint32_t *infoLength,
                         int timeoutSeconds)
{
    IdentityRecord record = {};
    const int result = ReadCard({timeoutSeconds, headPath, "szHeadPath Error!\r\n", info, capacity,
                                 infoLength, kVariantFields, AfterFailedSelection::kSpeedBefore},
                                &record);
    if (result != 0)
        return result;
    GLogI("BO_ReadIdInfo_Pic_YC szIdInfo = %s\r\n", info);
    return WriteIdentityPhoto(record.bytes, headPath);
}

int BO_ModifyIdPath_YC(int kind, const char *name, const char *path, char *out)
{
    static const char *const kSuffixes[] = {"", "_1", "_2", "_3"};
    if (kind < 0 || kind > 3 || out == nullptr)
        return 0;
    size_t length = 0;
    const char *ending = nullptr;
    if (!TakeDirectory(path, &length, &ending))
    {
        *out = '\0';
        return 0;
    }
    // The name first: path and name may lie where the result goes.
    const size_t nameLength = name != nullptr ? std::strlen(name) : 0;
    char *const base = out + length + 1;
    if (nameLength > 0)
        std::memmove(base, name, nameLength);
    std::memmove(out, path, length);
    out[length] = '\\';
    char *const end = base + nameLength;
    const size_t suffixLength = std::strlen(kSuffixes[kind]);
    std::memcpy(end, kSuffixes[kind], suffixLength);
    std::memcpy(end + suffixLength, ending, kEndingLength + 1);
    return 0;
}
