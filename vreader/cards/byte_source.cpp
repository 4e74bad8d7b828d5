#include "vreader/cards/byte_source.h"

#include "vreader/cards/profile_files.h"

namespace vreader
{

namespace
{

constexpr int kPortraitSide = 32;

// Whether a point lies in an ellipse; all in half pixels, so that the middle can lie between two.
bool InEllipse(int x, int y, int middleX, int middleY, int radiusX, int radiusY)
{
    const int dx = (2 * x - middleX) * radiusY;
    const int dy = (2 * y - middleY) * radiusX;
    return dx * dx + dy * dy <= radiusX * radiusX * radiusY * radiusY;
}

// A face shows at a glance whether a picture stands upside down or has its rows slipped.
uint8_t PortraitPixel(int x, int y)
{
    const bool eye = (y == 11 || y == 12) && (x == 12 || x == 13 || x == 18 || x == 19);
    const bool mouth = y == 17 && x >= 13 && x <= 18;
    if (eye)
        return 0x10;
    if (mouth)
        return 0x60;
    if (InEllipse(x, y, 31, 26, 13, 17))
        return y < 8 ? 0x20 : 0xC0; // hair, face
    if (InEllipse(x, y, 31, 66, 27, 22))
        return 0x50; // shoulders
    return 0xE8;
}

Bytes Portrait(size_t size)
{
    Bytes picture;
    for (size_t i = 0; i < size; ++i)
    {
        const int pixel = static_cast<int>(i % (kPortraitSide * kPortraitSide));
        picture.push_back(PortraitPixel(pixel % kPortraitSide, pixel / kPortraitSide));
    }
    return picture;
}

Bytes Ramp(size_t size)
{
    Bytes ramp;
    for (size_t i = 0; i < size; ++i)
        ramp.push_back(static_cast<uint8_t>(i));
    return ramp;
}

std::string WithoutBlanks(const std::string &text)
{
    std::string rest;
    for (const char character : text)
        if (std::string(" \t\r\n").find(character) == std::string::npos)
            rest += character;
    return rest;
}

std::optional<Bytes> BytesFromBase64(const std::string &text)
{
    static constexpr std::string_view kDigits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    Bytes bytes;
    const size_t end = text.find_last_not_of('=') + 1;
    if (text.size() % 4 != 0 || text.size() - end > 2)
        return std::nullopt;
    unsigned collected = 0;
    unsigned bits = 0;
    for (size_t i = 0; i < end; ++i)
    {
        const size_t digit = kDigits.find(text[i]);
        if (digit == std::string_view::npos)
            return std::nullopt;
        collected = (collected << 6 | static_cast<unsigned>(digit)) & 0xFFFF;
        bits += 6;
        if (bits < 8)
            continue;
        bits -= 8;
        bytes.push_back(static_cast<uint8_t>(collected >> bits));
    }
    return bytes;
}

struct Source
{
    const char *prefix;
    bool isFile;
    std::optional<Bytes> (*read)(const std::string &text, size_t size);
};

std::optional<Bytes> ReadBase64(const std::string &text, size_t)
{
    return BytesFromBase64(WithoutBlanks(text));
}

std::optional<Bytes> ReadHex(const std::string &text, size_t)
{
    return BytesFromHex(WithoutBlanks(text));
}

std::optional<Bytes> ReadRaw(const std::string &text, size_t)
{
    return BytesFromText(text);
}

std::optional<Bytes> ReadFill(const std::string &text, size_t size)
{
    const std::optional<Bytes> byte = BytesFromHex(text);
    if (!byte || byte->size() != 1)
        return std::nullopt;
    return Bytes(size, byte->front());
}

std::optional<Bytes> ReadPattern(const std::string &text, size_t size)
{
    if (text == "portrait")
        return Portrait(size);
    if (text == "ramp")
        return Ramp(size);
    return std::nullopt;
}

constexpr Source kSources[] = {
    {"base64:", false, ReadBase64}, {"file:", true, ReadRaw},
    {"hexfile:", true, ReadHex},    {"base64file:", true, ReadBase64},
    {"fill:", false, ReadFill},     {"pattern:", false, ReadPattern},
    {"", false, ReadHex}, // the last, since it fits every text
};

} // namespace

Bytes BytesFrom(const Place &place, const std::string &directory, size_t size)
{
    const std::string text = Text(place);
    if (Failed(place))
        return {};
    for (const Source &source : kSources)
    {
        const std::string prefix = source.prefix;
        if (text.compare(0, prefix.size(), prefix) != 0)
            continue;
        std::string contents = text.substr(prefix.size());
        if (source.isFile)
        {
            const std::optional<std::string> file = ReadProfileFile(directory, contents);
            if (!file)
            {
                Complain(place, "cannot read \"" + contents + "\"");
                return {};
            }
            contents = *file;
        }
        const std::optional<Bytes> bytes = source.read(contents, size);
        if (bytes)
            return *bytes;
        break;
    }
    Expected(place, "hexadecimal digits, or base64:, file:, hexfile:, base64file:, fill:XX, "
                    "pattern:portrait or pattern:ramp with what belongs to it");
    return {};
}

} // namespace vreader
