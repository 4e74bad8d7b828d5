// Memory cards, seen without a reader: where blocks lie, what they hold, how keys are given.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tool
{

// ---- Mifare Classic ----

constexpr int kBlockSize = 16;
constexpr int kKeyA = 0;
constexpr int kKeyB = 1;
constexpr int kAnySector = -1;

// Sectors and blocks count from 0, as the card's data sheet has them.
int SectorOf(int block);
int FirstBlockOf(int sector);
int BlocksOf(int sector); // 4, from sector 32 on 16
bool IsTrailer(int block);

// Why one should think twice before this block is written; "" for a block of the user's own.
std::string BlockWarning(int block);

// The bytes 6 to 8 of a trailer hold every condition twice, once inverted. A trailer whose copies
// contradict each other locks its sector for ever.
bool HasSoundAccessBits(std::string_view trailer);

// The value of a value block: three copies of it, four of the address byte.
std::optional<int32_t> ValueOf(std::string_view block);

// The reader takes and gives values least significant byte first.
int32_t ValueFromBytes(std::string_view bytes);
std::string BytesOfValue(int32_t value);

struct MemoryKey
{
    int sector = kAnySector;
    int type = kKeyA;
    std::string key; // twelve upper-case hexadecimal digits
};

const char *KeyName(int type); // "A", "B"

// A file of keys: one a line, "SECTOR A KEY" or "* B KEY", # begins a comment. Gives what is wrong,
// or "".
std::string ReadKeys(const std::string &text, std::vector<MemoryKey> *keys);

// ---- Ultralight C ----

constexpr int kPageSize = 4;
constexpr int kPages = 0x30;
constexpr int kLastReadablePage = 0x2B; // behind it lies the key
constexpr int kUltralightKeySize = 16;

std::string PageName(int page);                  // "2C"
std::optional<int> PageNumber(std::string text); // two hexadecimal digits, "2C", "0x2c"
const char *PageMeaning(int page);               // "AUTH0", or "" for a page of the user's own

// Why one should think twice before this page is written; "" for a page of the user's own.
std::string PageWarning(int page);

std::string NewKeyWarning();

// The four bytes that page i of the key's order (2D, 2C, 2F, 2E) holds: a part of the key,
// reversed.
constexpr int kKeyPages[] = {0x2D, 0x2C, 0x2F, 0x2E};
std::string KeyPageBytes(std::string_view key, size_t i);

// ---- Both ----

// Blanks between bytes and lower case are fine.
bool ToDigits(const std::string &text, size_t bytes, std::string *digits);

// What --mask hides of some bytes.
struct Hidden
{
    size_t from = 0;
    size_t count = 0;
};
Hidden HiddenInBlock(int block);                                      // serial number, keys
Hidden HiddenInPage(int page);                                        // serial number
std::string HexWithout(std::string_view bytes, const Hidden &hidden); // "5A1B****"
std::string HexAndText(std::string_view bytes, const Hidden &hidden); // "5A 1B ** **  Z.**"
std::string MaskedIdentification(std::string_view identification);

} // namespace tool
