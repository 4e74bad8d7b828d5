#include "picture.h"

#include <algorithm>
#include <array>
#include <gif_lib.h>

namespace
{

constexpr size_t kLargestPalette = 256;

using Colour = std::array<uint8_t, 3>;

// A range of the pixels in order of colour: the stuff of one palette entry.
struct Box
{
    size_t start;
    size_t end;
    int channel; // the one in which the colours lie farthest apart
    int spread;
};

struct Palette
{
    std::vector<Colour> colours;
    std::vector<uint8_t> indexes; // one a pixel
};

Box MakeBox(const std::vector<Colour> &colours, const std::vector<uint32_t> &order, size_t start,
            size_t end)
{
    Box box = {start, end, 0, 0};
    for (size_t channel = 0; channel < 3; channel++)
    {
        int low = 255;
        int high = 0;
        for (size_t i = start; i < end; i++)
        {
            low = std::min<int>(low, colours[order[i]][channel]);
            high = std::max<int>(high, colours[order[i]][channel]);
        }
        if (high - low > box.spread)
        {
            box.spread = high - low;
            box.channel = static_cast<int>(channel);
        }
    }
    return box;
}

// Median cut: the box with the widest spread is cut at the middle of its pixels, but never between
// two that have the same value there.
std::vector<Box> CutIntoBoxes(const std::vector<Colour> &colours, std::vector<uint32_t> *order)
{
    std::vector<Box> boxes = {MakeBox(colours, *order, 0, order->size())};
    while (boxes.size() < kLargestPalette)
    {
        const auto widest = std::max_element(boxes.begin(), boxes.end(),
                                             [](const Box &left, const Box &right)
                                             { return left.spread < right.spread; });
        if (widest->spread == 0)
            break;
        const Box box = *widest;
        const auto channel = static_cast<size_t>(box.channel);
        const auto value = [&colours, channel](uint32_t pixel) { return colours[pixel][channel]; };
        const auto begin = order->begin();
        const auto first = begin + static_cast<std::ptrdiff_t>(box.start);
        const auto last = begin + static_cast<std::ptrdiff_t>(box.end);
        std::sort(first, last,
                  [&value](uint32_t left, uint32_t right) { return value(left) < value(right); });
        const uint8_t middle = value(*(first + (last - first) / 2));
        auto cut =
            std::find_if(first, last, [&](uint32_t pixel) { return value(pixel) >= middle; });
        if (cut == first)
            cut = std::find_if(first, last, [&](uint32_t pixel) { return value(pixel) > middle; });
        const auto at = static_cast<size_t>(cut - begin);
        *widest = MakeBox(colours, *order, box.start, at);
        boxes.push_back(MakeBox(colours, *order, at, box.end));
    }
    return boxes;
}

Colour MeanColour(const std::vector<Colour> &colours, const std::vector<uint32_t> &order,
                  const Box &box)
{
    std::array<uint64_t, 3> sums = {};
    for (size_t i = box.start; i < box.end; i++)
        for (size_t channel = 0; channel < 3; channel++)
            sums[channel] += colours[order[i]][channel];
    const uint64_t count = box.end - box.start;
    Colour mean;
    for (size_t channel = 0; channel < 3; channel++)
        mean[channel] = static_cast<uint8_t>((sums[channel] + count / 2) / count);
    return mean;
}

Palette MakePalette(const Picture &picture)
{
    const size_t count = picture.pixels.size() / 3;
    std::vector<Colour> colours(count);
    std::vector<uint32_t> order(count);
    for (size_t i = 0; i < count; i++)
    {
        std::copy_n(picture.pixels.begin() + static_cast<std::ptrdiff_t>(3 * i), 3,
                    colours[i].begin());
        order[i] = static_cast<uint32_t>(i);
    }
    Palette palette;
    palette.indexes.resize(count);
    for (const Box &box : CutIntoBoxes(colours, &order))
    {
        for (size_t i = box.start; i < box.end; i++)
            palette.indexes[order[i]] = static_cast<uint8_t>(palette.colours.size());
        palette.colours.push_back(MeanColour(colours, order, box));
    }
    return palette;
}

int Collect(GifFileType *gif, const GifByteType *bytes, int count)
{
    auto *file = static_cast<std::vector<uint8_t> *>(gif->UserData);
    file->insert(file->end(), bytes, bytes + count);
    return count;
}

bool WriteGif(GifFileType *gif, const Picture &picture, Palette *palette, const ColorMapObject *map)
{
    if (EGifPutScreenDesc(gif, picture.width, picture.height, map->BitsPerPixel, 0, map) ==
            GIF_ERROR ||
        EGifPutImageDesc(gif, 0, 0, picture.width, picture.height, false, nullptr) == GIF_ERROR)
        return false;
    for (int row = 0; row < picture.height; row++)
    {
        const size_t start = static_cast<size_t>(row) * static_cast<size_t>(picture.width);
        if (EGifPutLine(gif, palette->indexes.data() + start, picture.width) == GIF_ERROR)
            return false;
    }
    return true;
}

} // namespace

int EncodeGif(const Picture &picture, std::vector<uint8_t> *file)
{
    Palette palette = MakePalette(picture);
    // The format knows palettes of a power of two, from two colours on.
    const int bits = std::max(GifBitSize(static_cast<int>(palette.colours.size())), 1);
    ColorMapObject *map = GifMakeMapObject(1 << bits, nullptr);
    int error = 0;
    GifFileType *gif = EGifOpen(file, Collect, &error);
    bool done = false;
    if (map != nullptr && gif != nullptr)
    {
        for (size_t i = 0; i < palette.colours.size(); i++)
            map->Colors[i] = {palette.colours[i][0], palette.colours[i][1], palette.colours[i][2]};
        done = WriteGif(gif, picture, &palette, map);
    }
    if (gif != nullptr)
        done = EGifCloseFile(gif, &error) != GIF_ERROR && done;
    GifFreeMapObject(map);
    return done ? 0 : kNotEncoded;
}
