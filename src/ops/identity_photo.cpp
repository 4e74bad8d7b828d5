// The photo of an identity card as a BMP file. Decoding is the work of a library that the site
// provides in the working directory.
#include "vantor/identity_operations.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <memory>

#include "vantor/support.h"

namespace
{

constexpr int kNoDecoder = -1;
constexpr int kNoEntry = -2;
constexpr int kNoPicture = -3;

constexpr int kDecoderOption = 788;
constexpr int kDecodedSize = 40960;

constexpr int kWidth = 102;
constexpr int kHeight = 126;
constexpr int kPixelSize = 3;
constexpr int kRowPadding = 2; // rows are a multiple of four bytes: 308
constexpr int kPixelOffset = 54;
constexpr int kFileSize = kPixelOffset + kHeight * (kWidth * kPixelSize + kRowPadding);
static_assert(kFileSize == 38862);

using Unpack = int (*)(const unsigned char *photo, unsigned char *pixels, int option);

struct Decoded
{
    unsigned char pixels[kDecodedSize];
};

struct BmpFile
{
    unsigned char bytes[kFileSize];
};

// Too large for the stacks that hosts give their threads.
struct Picture
{
    Decoded decoded;
    BmpFile file;
};

void StoreWord(unsigned char *bytes, unsigned value)
{
    for (int i = 0; i < 4; i++)
        bytes[i] = static_cast<unsigned char>(value >> 8 * i);
}

int Decode(const unsigned char *photo, Decoded *decoded)
{
    void *library = dlopen("./libwlt.so", RTLD_NOW);
    if (library == nullptr)
    {
        GLogE("dlopen libwlt.so error, dlerror = %s\r\n", dlerror());
        return kNoDecoder;
    }
    dlerror();
    const Unpack unpack = reinterpret_cast<Unpack>(dlsym(library, "unpack"));
    if (dlerror() != nullptr || unpack == nullptr)
        return kNoEntry; // the library stays open. Deliberate
    const int result = unpack(photo, decoded->pixels, kDecoderOption);
    dlclose(library);
    return result < 0 ? kNoPicture : 0;
}

// The decoder's pixels in their order, each with its bytes turned round.
void MakeBmp(const Decoded &decoded, BmpFile *file)
{
    std::memset(file->bytes, 0, kPixelOffset);
    file->bytes[0] = 'B';
    file->bytes[1] = 'M';
    StoreWord(file->bytes + 2, kFileSize);
    StoreWord(file->bytes + 10, kPixelOffset);
    StoreWord(file->bytes + 14, 40); // size of the information header
    StoreWord(file->bytes + 18, kWidth);
    StoreWord(file->bytes + 22, kHeight);
    file->bytes[26] = 1;  // planes
    file->bytes[28] = 24; // bits of a pixel
    const unsigned char *pixel = decoded.pixels;
    unsigned char *out = file->bytes + kPixelOffset;
    for (int row = 0; row < kHeight; row++)
    {
        for (int column = 0; column < kWidth; column++, pixel += kPixelSize)
            for (int i = kPixelSize - 1; i >= 0; i--)
                *out++ = pixel[i];
        for (int i = 0; i < kRowPadding; i++)
            *out++ = 0xFF;
    }
}

int WriteBmp(const BmpFile &file, const char *path)
{
    FILE *stream = std::fopen(path, "wb+");
    if (stream == nullptr)
        return kNoPicture;
    const size_t written = std::fwrite(file.bytes, 1, sizeof file.bytes, stream);
    const int closed = std::fclose(stream);
    return written == sizeof file.bytes && closed == 0 ? 0 : kNoPicture;
}

} // namespace

int ID_GetBmpFile(const unsigned char *photo, const char *path)
{
    if (photo == nullptr || path == nullptr)
        return kNoPicture;
    const std::unique_ptr<Picture, decltype(&free)> picture(
        static_cast<Picture *>(calloc(1, sizeof(Picture))), free);
    if (picture == nullptr)
        return kNoPicture;
    const int result = Decode(photo, &picture->decoded);
    if (result != 0)
        return result;
    MakeBmp(picture->decoded, &picture->file);
    return WriteBmp(picture->file, path);
}
