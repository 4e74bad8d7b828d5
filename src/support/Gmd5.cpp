// MD5 (RFC 1321) and its text, of a buffer and of a file.
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <endian.h>

#include "vantor/ciphers.h"

namespace
{

constexpr int kBadArgument = -22;
constexpr int kFailure = -99;
constexpr int kTextLength = 32;
constexpr char kHexDigits[] = "0123456789ABCDEF";
constexpr size_t kBlockSize = 64;
constexpr size_t kLengthSize = 8; // of the number of bits that ends the last block
constexpr size_t kFilePiece = 4096;
constexpr int kReadBinary = 1; // of GOpenFile

// The integer parts of 2^32 times the absolute sine of 1, 2, 3 ... 64.
constexpr uint32_t kSines[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391,
};

// The functions of the four rounds, in forms that wait for their newest argument, b, the least.
struct F
{
    static uint32_t Of(uint32_t b, uint32_t c, uint32_t d)
    {
        return ((c ^ d) & b) ^ d;
    }
};

struct G
{
    static uint32_t Of(uint32_t b, uint32_t c, uint32_t d)
    {
        return (c & ~d) + (b & d); // no bit is in both
    }
};

struct H
{
    static uint32_t Of(uint32_t b, uint32_t c, uint32_t d)
    {
        return (c ^ d) ^ b;
    }
};

struct I
{
    static uint32_t Of(uint32_t b, uint32_t c, uint32_t d)
    {
        return (~d | b) ^ c;
    }
};

inline uint32_t TurnLeft(uint32_t word, int bits)
{
    return word << bits | word >> (32 - bits);
}

template <typename Function>
inline uint32_t Step(uint32_t a, uint32_t b, uint32_t c, uint32_t d, uint32_t added, int turns)
{
    return b + TurnLeft(a + added + Function::Of(b, c, d), turns);
}

// Which word of the block each step of a round adds: the first, and how far it is to the next.
struct Order
{
    unsigned first;
    unsigned step;
};

template <typename Function>
inline void Round(uint32_t (&state)[4], const uint32_t (&words)[16], const uint32_t *sines,
                  Order order, const int (&turns)[4])
{
    auto [a, b, c, d] = state;
    unsigned at = order.first;
#pragma GCC unroll 4
    for (int i = 0; i < 16; i += 4, at += 4 * order.step)
    {
        a = Step<Function>(a, b, c, d, words[at % 16] + sines[i], turns[0]);
        d = Step<Function>(d, a, b, c, words[(at + order.step) % 16] + sines[i + 1], turns[1]);
        c = Step<Function>(c, d, a, b, words[(at + 2 * order.step) % 16] + sines[i + 2], turns[2]);
        b = Step<Function>(b, c, d, a, words[(at + 3 * order.step) % 16] + sines[i + 3], turns[3]);
    }
    state[0] = a;
    state[1] = b;
    state[2] = c;
    state[3] = d;
}

inline uint32_t Load(const unsigned char *bytes)
{
    uint32_t word;
    memcpy(&word, bytes, sizeof word);
    return le32toh(word);
}

inline void Store(uint32_t word, unsigned char *bytes)
{
    word = htole32(word);
    memcpy(bytes, &word, sizeof word);
}

void AddBlock(uint32_t (&state)[4], const unsigned char *block)
{
    uint32_t words[16];
    for (int i = 0; i < 16; i++)
        words[i] = Load(block + 4 * i);
    uint32_t mixed[4] = {state[0], state[1], state[2], state[3]};
    Round<F>(mixed, words, kSines, {0, 1}, {7, 12, 17, 22});
    Round<G>(mixed, words, kSines + 16, {1, 5}, {5, 9, 14, 20});
    Round<H>(mixed, words, kSines + 32, {5, 3}, {4, 11, 16, 23});
    Round<I>(mixed, words, kSines + 48, {0, 7}, {6, 10, 15, 21});
    for (int i = 0; i < 4; i++)
        state[i] += mixed[i];
}

uint64_t BitsSoFar(const MD5CONTEXT &md5)
{
    return uint64_t{md5.count[1]} << 32 | md5.count[0];
}

size_t BufferedBytes(const MD5CONTEXT &md5)
{
    return md5.count[0] / 8 % kBlockSize;
}

int FinishText(MD5CONTEXT *md5, char *text, int capacity)
{
    unsigned char digest[16];
    MD5Final(digest, md5);
    return MD5Result(digest, text, capacity) != nullptr ? 0 : kFailure;
}

} // namespace

void MD5Init(MD5CONTEXT *md5)
{
    *md5 = {{0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476}, {0, 0}, {}};
}

void MD5Update(MD5CONTEXT *md5, const unsigned char *data, unsigned int length)
{
    size_t left = length;
    const size_t buffered = BufferedBytes(*md5);
    const uint64_t bits = BitsSoFar(*md5) + uint64_t{length} * 8;
    md5->count[0] = static_cast<uint32_t>(bits);
    md5->count[1] = static_cast<uint32_t>(bits >> 32);
    if (buffered > 0)
    {
        const size_t taken = std::min(left, kBlockSize - buffered);
        if (taken > 0)
            memcpy(md5->buffer + buffered, data, taken);
        if (buffered + taken < kBlockSize)
            return;
        AddBlock(md5->state, md5->buffer);
        data += taken;
        left -= taken;
    }
    for (; left >= kBlockSize; left -= kBlockSize, data += kBlockSize)
        AddBlock(md5->state, data);
    if (left > 0)
        memcpy(md5->buffer, data, left);
}

// Behind the data come one bit, zero bits, and in the last 8 bytes of a block the number of bits.
void MD5Final(unsigned char digest[16], MD5CONTEXT *md5)
{
    size_t used = BufferedBytes(*md5);
    md5->buffer[used++] = 0x80;
    if (used > kBlockSize - kLengthSize)
    {
        memset(md5->buffer + used, 0, kBlockSize - used);
        AddBlock(md5->state, md5->buffer);
        used = 0;
    }
    memset(md5->buffer + used, 0, kBlockSize - kLengthSize - used);
    Store(md5->count[0], md5->buffer + kBlockSize - 8);
    Store(md5->count[1], md5->buffer + kBlockSize - 4);
    AddBlock(md5->state, md5->buffer);
    for (int i = 0; i < 4; i++)
        Store(md5->state[i], digest + 4 * i);
    explicit_bzero(md5, sizeof *md5);
}

// The NUL lies behind a capacity of 32. Deliberate: 32 is not refused, and texts need their end.
char *MD5Result(const unsigned char digest[16], char *text, int capacity)
{
    if (digest == nullptr || text == nullptr || capacity < kTextLength)
        return nullptr;
    memset(text, 0, static_cast<size_t>(capacity));
    for (int i = 0; i < kTextLength / 2; i++) // quicker for so few than GByte2Hex
    {
        text[2 * i] = kHexDigits[digest[i] >> 4];
        text[2 * i + 1] = kHexDigits[digest[i] & 0x0F];
    }
    text[kTextLength] = '\0';
    return text;
}

int GMd5Encode(const char *data, int length, char *text, int capacity)
{
    if (data == nullptr || text == nullptr || length <= 0 || capacity < kTextLength)
        return kBadArgument;
    MD5CONTEXT md5;
    MD5Init(&md5);
    MD5Update(&md5, reinterpret_cast<const unsigned char *>(data), static_cast<unsigned>(length));
    return FinishText(&md5, text, capacity);
}

int GGetFileMd5(const char *path, char *text, int capacity)
{
    if (path == nullptr || text == nullptr || capacity < kTextLength)
        return kBadArgument;
    const int64_t size = GGetFileSize(path);
    FILE *file = GOpenFile(path, kReadBinary);
    if (file == nullptr)
        return kFailure;
    MD5CONTEXT md5;
    MD5Init(&md5);
    unsigned char piece[kFilePiece];
    int64_t total = 0;
    do
    {
        const size_t count = fread(piece, 1, sizeof piece, file);
        if (count == 0)
            break;
        MD5Update(&md5, piece, static_cast<unsigned>(count));
        total += static_cast<int64_t>(count);
    } while (total < size);
    // A digest of less than the file would look like that of another file. A directory gives no
    // data, and the digest of none. Deliberate.
    const bool unread = ferror(file) != 0 && errno != EISDIR;
    GCloseFile(file);
    if (unread)
        return kFailure;
    return FinishText(&md5, text, capacity);
}
