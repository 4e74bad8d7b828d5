// The entry of the library: which format, and the file.
#include <cstdio>
#include <cstring>
#include <exception>
#include <strings.h>

#include "picture.h"

namespace
{

int EncodeJpegAt(const Picture &picture, int quality, std::vector<uint8_t> *file)
{
    return EncodeJpeg(picture, quality, file);
}

int EncodePngAt(const Picture &picture, int, std::vector<uint8_t> *file)
{
    return EncodePng(picture, file);
}

int EncodeGifAt(const Picture &picture, int, std::vector<uint8_t> *file)
{
    return EncodeGif(picture, file);
}

using Encode = int (*)(const Picture &picture, int quality, std::vector<uint8_t> *file);

const struct
{
    const char *ending;
    Encode encode;
} kFormats[] = {
    {".jpg", EncodeJpegAt}, {".jpeg", EncodeJpegAt}, {".png", EncodePngAt}, {".gif", EncodeGifAt}};

Encode FormatOf(const char *path)
{
    const char *ending = std::strrchr(path, '.');
    for (const auto &format : kFormats)
        if (ending != nullptr && strcasecmp(ending, format.ending) == 0)
            return format.encode;
    return nullptr;
}

int WriteFile(const char *path, const std::vector<uint8_t> &bytes)
{
    FILE *file = std::fopen(path, "wbe");
    if (file == nullptr)
        return kNotWritten;
    const size_t written = std::fwrite(bytes.data(), 1, bytes.size(), file);
    if (std::fclose(file) == 0 && written == bytes.size())
        return 0;
    std::remove(path); // half a picture is none
    return kNotWritten;
}

int Convert(const char *bmpPath, const char *targetPath, int quality)
{
    const Encode encode = FormatOf(targetPath);
    if (encode == nullptr)
        return kUnknownFormat;
    Picture picture;
    int result = ReadBmp(bmpPath, &picture);
    if (result != 0)
        return result;
    std::vector<uint8_t> file;
    result = encode(picture, quality, &file);
    return result != 0 ? result : WriteFile(targetPath, file);
}

} // namespace

extern "C" __attribute__((visibility("default"))) int BmpToJpg(const char *bmpPath,
                                                               const char *targetPath, int quality)
{
    if (bmpPath == nullptr || targetPath == nullptr)
        return kMissingPath;
    try
    {
        return Convert(bmpPath, targetPath, quality);
    }
    catch (const std::exception &) // no memory
    {
        return kNotEncoded;
    }
}
