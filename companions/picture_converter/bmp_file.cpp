#include "picture.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace
{

constexpr int32_t kLargestSide = 4096;
constexpr size_t kHeadSize = 54; // file header of 14 bytes, information header of 40
constexpr size_t kLargestFile = 64u * 1024 * 1024;

struct CloseFile
{
    void operator()(FILE *file) const
    {
        std::fclose(file);
    }
};

// Up to the largest file and one byte.
bool ReadWhole(const char *path, std::vector<uint8_t> *bytes)
{
    const std::unique_ptr<FILE, CloseFile> file(std::fopen(path, "rbe"));
    if (!file)
        return false;
    uint8_t block[8192];
    size_t count;
    while (bytes->size() <= kLargestFile &&
           (count = std::fread(block, 1, sizeof block, file.get())) > 0)
        bytes->insert(bytes->end(), block, block + count);
    return std::ferror(file.get()) == 0;
}

uint32_t Word(const std::vector<uint8_t> &bytes, size_t offset)
{
    return static_cast<uint32_t>(bytes[offset]) | static_cast<uint32_t>(bytes[offset + 1]) << 8 |
           static_cast<uint32_t>(bytes[offset + 2]) << 16 |
           static_cast<uint32_t>(bytes[offset + 3]) << 24;
}

bool IsSupported(const std::vector<uint8_t> &bytes)
{
    return bytes.size() >= kHeadSize && bytes[0] == 'B' && bytes[1] == 'M' &&
           Word(bytes, 14) >= 40 &&             // an information header
           bytes[26] == 1 && bytes[27] == 0 &&  // one plane
           bytes[28] == 24 && bytes[29] == 0 && // bits of a pixel
           Word(bytes, 30) == 0;                // not compressed
}

} // namespace

int ReadBmp(const char *path, Picture *picture)
{
    std::vector<uint8_t> bytes;
    if (!ReadWhole(path, &bytes))
        return kUnreadable;
    if (!IsSupported(bytes))
        return kNotAPicture;
    const auto width = static_cast<int32_t>(Word(bytes, 18));
    const auto signedHeight = static_cast<int32_t>(Word(bytes, 22)); // negative: top row first
    if (width < 1 || width > kLargestSide || signedHeight == 0 || signedHeight > kLargestSide ||
        signedHeight < -kLargestSide)
        return kNotAPicture;
    const int32_t height = std::abs(signedHeight);
    const size_t rowBytes = static_cast<size_t>(width) * 3;
    const size_t stride = (rowBytes + 3) / 4 * 4;
    const size_t start = Word(bytes, 10);
    if (start < kHeadSize || start > bytes.size() ||
        bytes.size() - start < stride * static_cast<size_t>(height))
        return kNotAPicture;

    picture->width = width;
    picture->height = height;
    picture->pixels.resize(rowBytes * static_cast<size_t>(height));
    for (int32_t row = 0; row < height; row++)
    {
        const int32_t stored = signedHeight > 0 ? height - 1 - row : row;
        const uint8_t *from = bytes.data() + start + stride * static_cast<size_t>(stored);
        uint8_t *to = picture->pixels.data() + rowBytes * static_cast<size_t>(row);
        for (size_t i = 0; i < rowBytes; i += 3)
        {
            to[i] = from[i + 2];
            to[i + 1] = from[i + 1];
            to[i + 2] = from[i];
        }
    }
    return 0;
}
