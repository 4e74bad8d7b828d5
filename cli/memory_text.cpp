#include "memory_text.h"

#include <algorithm>
#include <cstring>
#include <sstream>

#include "presentation.h"

namespace tool
{

// ---- Mifare Classic ----

static const int kSmallSectors = 32; // of four blocks; those behind have sixteen
static const int kSmallBlocks = 4;
static const int kLargeBlocks = 16;

int SectorOf(int block)
{
    const int largeFrom = kSmallSectors * kSmallBlocks;
    return block < largeFrom ? block / kSmallBlocks
                             : kSmallSectors + (block - largeFrom) / kLargeBlocks;
}

int BlocksOf(int sector)
{
    return sector < kSmallSectors ? kSmallBlocks : kLargeBlocks;
}

int FirstBlockOf(int sector)
{
    return sector < kSmallSectors
               ? sector * kSmallBlocks
               : kSmallSectors * kSmallBlocks + (sector - kSmallSectors) * kLargeBlocks;
}

bool IsTrailer(int block)
{
    const int sector = SectorOf(block);
    return block == FirstBlockOf(sector) + BlocksOf(sector) - 1;
}

std::string BlockWarning(int block)
{
    if (!IsTrailer(block))
        return "";
    return "block " + std::to_string(block) + " is the trailer of sector " +
           std::to_string(SectorOf(block)) +
           ": both keys and the access bits are written, and a sector whose keys are not known is "
           "lost";
}

// Byte 6: C2 and C1 inverted, byte 7: C1, C3 inverted, byte 8: C3, C2; four bits each.
bool HasSoundAccessBits(std::string_view trailer)
{
    const unsigned six = ByteAt(trailer, 6);
    const unsigned seven = ByteAt(trailer, 7);
    const unsigned eight = ByteAt(trailer, 8);
    return ((six & 0x0F) ^ (seven >> 4)) == 0x0F && ((six >> 4) ^ (eight & 0x0F)) == 0x0F &&
           ((seven & 0x0F) ^ (eight >> 4)) == 0x0F;
}

int32_t ValueFromBytes(std::string_view bytes)
{
    uint32_t value = 0;
    for (size_t i = 0; i < sizeof value; i++)
        value |= static_cast<uint32_t>(ByteAt(bytes, i)) << (8 * i);
    return static_cast<int32_t>(value);
}

std::string BytesOfValue(int32_t value)
{
    std::string bytes;
    for (size_t i = 0; i < sizeof value; i++)
        bytes += static_cast<char>(static_cast<uint32_t>(value) >> (8 * i));
    return bytes;
}

std::optional<int32_t> ValueOf(std::string_view block)
{
    if (block.size() != kBlockSize)
        return std::nullopt;
    for (size_t i = 0; i < 4; i++)
        if (block[i] != block[8 + i] || (ByteAt(block, i) ^ ByteAt(block, 4 + i)) != 0xFF)
            return std::nullopt;
    if (block[12] != block[14] || block[13] != block[15] ||
        (ByteAt(block, 12) ^ ByteAt(block, 13)) != 0xFF)
        return std::nullopt;
    return ValueFromBytes(block);
}

const char *KeyName(int type)
{
    return type == kKeyA ? "A" : "B";
}

static bool ReadKeyLine(const std::string &line, MemoryKey *key)
{
    static const int kMostSectors = 40;
    std::istringstream words(line);
    std::string sector, type, digits, more;
    if (!(words >> sector >> type >> digits) || (words >> more))
        return false;
    key->sector = kAnySector;
    if (sector != "*")
    {
        if (!IsDigits(sector) || sector.size() > 2 || std::stoi(sector) >= kMostSectors)
            return false;
        key->sector = std::stoi(sector);
    }
    key->type = type == "B" || type == "b" ? kKeyB : kKeyA;
    return (key->type == kKeyB || type == "A" || type == "a") && ToDigits(digits, 6, &key->key);
}

std::string ReadKeys(const std::string &text, std::vector<MemoryKey> *keys)
{
    std::istringstream lines(text);
    std::string line;
    for (int number = 1; std::getline(lines, line); number++)
    {
        line = line.substr(0, line.find('#'));
        if (line.find_first_not_of(" \t\r") == std::string::npos)
            continue;
        MemoryKey key;
        if (!ReadKeyLine(line, &key))
            return "line " + std::to_string(number) +
                   " of the key file is not like \"1 A FFFFFFFFFFFF\" or \"* B FFFFFFFFFFFF\"";
        keys->push_back(key);
    }
    return "";
}

// ---- Ultralight C ----

std::string PageName(int page)
{
    return Hex(std::string(1, static_cast<char>(page)));
}

std::optional<int> PageNumber(std::string text)
{
    if (text.substr(0, 2) == "0x")
        text = text.substr(2);
    if (text.size() == 1)
        text = "0" + text;
    std::string digits;
    if (!ToDigits(text, 1, &digits))
        return std::nullopt;
    const int page = static_cast<int>(ByteAt(Bytes(digits), 0));
    return page < kPages ? std::optional(page) : std::nullopt;
}

const char *PageMeaning(int page)
{
    switch (page)
    {
    case 0x00:
    case 0x01:
        return "serial number";
    case 0x02:
        return "check byte, internal, lock bytes 0 and 1";
    case 0x03:
        return "OTP";
    case 0x28:
        return "lock bytes 2 and 3";
    case 0x29:
        return "counter";
    case 0x2A:
        return "AUTH0";
    case 0x2B:
        return "AUTH1";
    default:
        return page > kLastReadablePage ? "key" : "";
    }
}

std::string PageWarning(int page)
{
    const std::string what = "page " + PageName(page) + " holds ";
    switch (page)
    {
    case 0x02:
    case 0x28:
        return what + "lock bits: what they lock stays locked for ever";
    case 0x03:
        return what + "one-time bits: none can be cleared again";
    case 0x29:
        return what + "the counter: it never counts back";
    case 0x2A:
        return what + "AUTH0: from the page that it names on the card asks for its key";
    case 0x2B:
        return what + "AUTH1: it decides whether reading asks for the key";
    default:
        return page > kLastReadablePage
                   ? what + "a part of the key: a card whose key is not known is lost"
                   : "";
    }
}

std::string NewKeyWarning()
{
    return "the card's key is overwritten and cannot be read back: a card whose key is not known "
           "is lost";
}

std::string KeyPageBytes(std::string_view key, size_t i)
{
    std::string bytes(key.substr(kPageSize * i, kPageSize));
    std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

// ---- Both ----

bool ToDigits(const std::string &text, size_t bytes, std::string *digits)
{
    digits->clear();
    for (const char character : text)
        if (character != ' ')
            *digits += static_cast<char>(toupper(static_cast<unsigned char>(character)));
    return IsHexText(*digits) && digits->size() == 2 * bytes;
}

Hidden HiddenInBlock(int block)
{
    static const Hidden kSerialNumber = {0, kBlockSize};
    static const Hidden kSecondKey = {10, 6}; // the first one is never read
    return block == 0 ? kSerialNumber : IsTrailer(block) ? kSecondKey : Hidden{};
}

Hidden HiddenInPage(int page)
{
    return page < 2 ? Hidden{0, kPageSize} : page == 2 ? Hidden{0, 1} : Hidden{};
}

static bool IsHidden(size_t at, const Hidden &hidden)
{
    return at >= hidden.from && at - hidden.from < hidden.count;
}

std::string HexWithout(std::string_view bytes, const Hidden &hidden)
{
    std::string text = Hex(bytes);
    for (size_t i = 0; i < text.size(); i++)
        if (IsHidden(i / 2, hidden))
            text[i] = '*';
    return text;
}

std::string HexAndText(std::string_view bytes, const Hidden &hidden)
{
    std::string text;
    for (size_t i = 0; i < bytes.size(); i++)
        text += IsHidden(i, hidden) ? '*' : bytes[i] >= 0x20 && bytes[i] < 0x7F ? bytes[i] : '.';
    return SpacedHex(HexWithout(bytes, hidden)) + "  " + text;
}

// Answer to request and select acknowledge stay; the serial number goes.
std::string MaskedIdentification(std::string_view identification)
{
    static const size_t kShown = 6;
    std::string text(identification);
    std::fill(text.begin() + static_cast<ptrdiff_t>(std::min(kShown, text.size())), text.end(),
              '*');
    return text;
}

} // namespace tool
