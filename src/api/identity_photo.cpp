#include "api/identity_photo.h"

#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include "api/identity_text.h"
#include "support/fixed_text.h"
#include "vantor/business.h"
#include "vantor/identity_operations.h"
#include "vantor/support.h"

namespace
{

constexpr int kNoConverter = -1009;
constexpr int kNoConverterEntry = -1010;
constexpr int kCannotWrite = -3;

constexpr int kPhotoOffset = 256;
constexpr int kConverterQuality = 60;

// Nothing for the owner, all for the rest of the world. Deliberate: so these directories have
// always been made.
constexpr mode_t kDirectoryMode = 07;

const char kTemporaryName[] = "temp.bmp";
const char *const kConvertedEndings[] = {".jpg", ".png", ".gif"};

using BmpToJpg = int (*)(const char *bmpPath, const char *targetPath, int quality);

struct Path
{
    char text[kLongestPhotoPath + 96]; // and room for what is put behind
};

bool Holds(const char *path, const char *ending)
{
    return std::strstr(path, ending) != nullptr;
}

// The directory of a BMP file ends at the last backslash, and only without one at the last slash.
int WriteBmpFile(const unsigned char *photo, const char *path)
{
    Path directory = {};
    CopyText(directory.text, sizeof directory.text, path);
    char *end = std::strrchr(directory.text, '\\');
    if (end == nullptr)
        end = std::strrchr(directory.text, '/');
    if (end != nullptr) // without any, the file goes to the working directory
    {
        *end = '\0';
        mkdir(directory.text, kDirectoryMode);
    }
    return BO_GetErrorCode(ID_GetBmpFile(photo, path));
}

// The converter's result stands as it is.
int Convert(const char *bmpPath, const char *targetPath)
{
    void *library = dlopen("./libPicConvert.so", RTLD_NOW);
    if (library == nullptr)
        return kNoConverter;
    const BmpToJpg convert = reinterpret_cast<BmpToJpg>(dlsym(library, "BmpToJpg"));
    if (convert == nullptr)
    {
        dlclose(library);
        return kNoConverterEntry;
    }
    GLogI("BmpToJpg szBmpFile = %s, szJpgFile = %s\r\n", bmpPath, targetPath);
    const int result = convert(bmpPath, targetPath, kConverterQuality);
    dlclose(library);
    std::remove(bmpPath);
    return result;
}

int WriteConvertedFile(const unsigned char *photo, const char *path)
{
    Path bmp = {};
    CopyText(bmp.text, sizeof bmp.text, path);
    char *end = std::strrchr(bmp.text, '/');
    std::memcpy(end == nullptr ? bmp.text : end + 1, kTemporaryName, sizeof kTemporaryName);
    // A directory of the photo's own name is made, and goes again: the converter needs the name.
    if (mkdir(path, kDirectoryMode) == 0)
        rmdir(path);
    const int result = ID_GetBmpFile(photo, bmp.text);
    GLogI("ID_GetBmpFile ret = %d\r\n", result);
    if (result != 0)
        return BO_GetErrorCode(result);
    return Convert(bmp.text, path);
}

// Named after the number on the card, which must not lead out of the directory.
int WriteNumberedFile(const unsigned char *record, const char *directory)
{
    char number[kIdentityFieldSize] = {};
    if (IdentityCardKind(record) == 'I')
        ID_GetCardNumber_Foreign(record, number);
    else
        ID_GetCardNumber(record, number);
    mkdir(directory, kDirectoryMode);
    if (std::strchr(number, '/') != nullptr)
        return BO_GetErrorCode(kCannotWrite);
    Path path = {};
    std::snprintf(path.text, sizeof path.text, "%.260s/%.72s.bmp", directory, number);
    return BO_GetErrorCode(ID_GetBmpFile(record + kPhotoOffset, path.text));
}

} // namespace

int WriteIdentityPhoto(const unsigned char *record, const char *path)
{
    if (path == nullptr || *path == '\0')
        return 0;
    if (Holds(path, ".bmp"))
        return WriteBmpFile(record + kPhotoOffset, path);
    for (const char *ending : kConvertedEndings)
        if (Holds(path, ending))
            return WriteConvertedFile(record + kPhotoOffset, path);
    return WriteNumberedFile(record, path);
}
