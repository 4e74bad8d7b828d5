// DES, triple DES, MD5 and Base64: published vectors (tests/data/ciphers names their sources), the
// calling forms, and what bad arguments do.
#include "vantor/ciphers.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/pboc_data.h"
#include "unit/in_child.h"
#include "vantor/support.h"

using testing_support::BytesOf;
using testing_support::HexOf;
using testing_support::ResultInChild;
using Bytes = std::vector<uint8_t>;

// Every allocation of this program comes by here (the linker wraps malloc); one that is chosen
// fails.
extern "C" void *__real_malloc(size_t size);

namespace
{

bool g_noMemory = false;

} // namespace

extern "C" void *__wrap_malloc(size_t size)
{
    return g_noMemory ? nullptr : __real_malloc(size);
}

namespace
{

nlohmann::json Vectors(const char *list)
{
    std::ifstream file(VANTOR_SOURCE_DIR "/tests/data/ciphers/vectors.json");
    return nlohmann::json::parse(file).at(list);
}

const Bytes kPlain = BytesOf("0123456789ABCDEF");
const Bytes kK1 = BytesOf("133457799BBCDFF1");
const Bytes kK2 = BytesOf("FEDCBA9876543210");
const Bytes kK3 = BytesOf("89ABCDEF01234567");

Bytes operator+(const Bytes &first, const Bytes &second)
{
    Bytes both = first;
    both.insert(both.end(), second.begin(), second.end());
    return both;
}

// The last of these bytes is behind the block and must stay.
struct Out
{
    std::array<uint8_t, 9> bytes;
    Out()
    {
        bytes.fill(0xEE);
    }
    std::string Hex() const
    {
        EXPECT_EQ(0xEE, bytes[8]);
        return HexOf(bytes.data(), 8);
    }
};

const char kUntouched[] = "EEEEEEEEEEEEEEEE";

using Core = void (*)(const unsigned char *, const unsigned char *, unsigned char *);
using Core3 = void (*)(const unsigned char *, int, const unsigned char *, unsigned char *);

std::string RunCore(Core core, const Bytes &key, const Bytes &data)
{
    Out out;
    core(key.data(), data.data(), out.bytes.data());
    return out.Hex();
}

std::string RunCore3(Core3 core, const Bytes &key, const Bytes &data)
{
    Out out;
    const Bytes exact = key; // its storage ends where the key ends: a sanitizer sees any byte more
    core(exact.data(), static_cast<int>(exact.size()), data.data(), out.bytes.data());
    return out.Hex();
}

std::string Triple(int (*call)(const unsigned char *, const unsigned char *, unsigned char *, int),
                   const Bytes &key, const Bytes &data)
{
    Out out;
    EXPECT_EQ(0, call(data.data(), key.data(), out.bytes.data(), static_cast<int>(key.size())));
    return out.Hex();
}

} // namespace

// ---- DES ----

TEST(Des, EveryPublishedVectorInBothDirections)
{
    int checked = 0;
    for (const auto &row : Vectors("des"))
    {
        SCOPED_TRACE(row.at("source").get<std::string>());
        if (row.at("op") != "des-ecb")
            continue;
        const Bytes key = BytesOf(row.at("key"));
        const Bytes plain = BytesOf(row.at("plain"));
        const Bytes cipher = BytesOf(row.at("cipher"));
        for (size_t at = 0; at < plain.size(); at += 8, checked++)
        {
            const auto step = static_cast<std::ptrdiff_t>(at);
            const Bytes in(plain.begin() + step, plain.begin() + step + 8);
            const Bytes out(cipher.begin() + step, cipher.begin() + step + 8);
            Out encrypted;
            EXPECT_EQ(0, GDesEncrypt(in.data(), key.data(), encrypted.bytes.data()));
            EXPECT_EQ(HexOf(out), encrypted.Hex());
            Out decrypted;
            EXPECT_EQ(0, GDesDecrypt(out.data(), key.data(), decrypted.bytes.data()));
            EXPECT_EQ(HexOf(in), decrypted.Hex());
            EXPECT_EQ(HexOf(out), RunCore(DES, key, in));
            EXPECT_EQ(HexOf(in), RunCore(_DES, key, out));
        }
    }
    EXPECT_GE(checked, 63);
}

TEST(Des, EveryPublishedTripleVectorInBothDirections)
{
    int checked = 0;
    for (const auto &row : Vectors("des"))
    {
        SCOPED_TRACE(row.at("source").get<std::string>());
        if (row.at("op") == "des-ecb")
            continue;
        const Bytes key = BytesOf(row.at("key"));
        const Bytes plain = BytesOf(row.at("plain"));
        const Bytes cipher = BytesOf(row.at("cipher"));
        const bool chained = row.at("op") == "3des-cbc";
        Bytes chain = chained ? BytesOf(row.at("iv")) : Bytes(8);
        for (size_t at = 0; at < plain.size(); at += 8, checked++)
        {
            const auto step = static_cast<std::ptrdiff_t>(at);
            Bytes in(plain.begin() + step, plain.begin() + step + 8);
            const Bytes out(cipher.begin() + step, cipher.begin() + step + 8);
            for (size_t i = 0; i < 8; i++)
                in[i] ^= chain[i];
            EXPECT_EQ(HexOf(out), Triple(G3DesEncrypt, key, in));
            EXPECT_EQ(HexOf(in), Triple(G3DesDecrypt, key, out));
            EXPECT_EQ(HexOf(out), RunCore3(DES3, key, in));
            EXPECT_EQ(HexOf(in), RunCore3(_DES3, key, out));
            if (chained)
                chain = out;
        }
    }
    EXPECT_GE(checked, 24);
}

// R. L. Rivest, "Testing implementations of DES", 1985: any single wrong entry of any table shows.
TEST(Des, RivestsChainEndsAsPublished)
{
    Bytes block = BytesOf("9474B8E8C73BCA7D");
    for (int i = 0; i < 16; i++)
    {
        const Bytes before = block;
        (i % 2 == 0 ? DES : _DES)(before.data(), before.data(), block.data());
        EXPECT_EQ(i == 0, HexOf(block) == "8DA744E0C94E5E17");
    }
    EXPECT_EQ("1B1A2DDB4C642438", HexOf(block));
}

TEST(Des, ParityBitsOfTheKeyDoNotCount)
{
    Bytes other = kK1;
    for (uint8_t &byte : other)
        byte ^= 0x01;
    EXPECT_EQ("85E813540F0AB405", RunCore(DES, kK1, kPlain));
    EXPECT_EQ("85E813540F0AB405", RunCore(DES, other, kPlain));
    EXPECT_EQ(Triple(G3DesEncrypt, kK1 + kK2, kPlain), Triple(G3DesEncrypt, other + kK2, kPlain));
}

TEST(Des, EveryOtherBitOfTheKeyCounts)
{
    for (size_t bit = 0; bit < 64; bit++)
    {
        if (bit % 8 == 0)
            continue;
        Bytes other = kK1;
        other[bit / 8] = static_cast<uint8_t>(other[bit / 8] ^ 1 << (bit % 8));
        EXPECT_NE("85E813540F0AB405", RunCore(DES, other, kPlain)) << "bit " << bit;
    }
}

TEST(Des, TheResultMayTakeTheDatasPlace)
{
    Bytes block = kPlain;
    GDesEncrypt(block.data(), kK1.data(), block.data());
    EXPECT_EQ("85E813540F0AB405", HexOf(block));
    GDesDecrypt(block.data(), kK1.data(), block.data());
    EXPECT_EQ(kPlain, block);
    Bytes key = kK1;
    DES(key.data(), kPlain.data(), key.data());
    EXPECT_EQ("85E813540F0AB405", HexOf(key));
}

TEST(Des, NullPointersAreRefused)
{
    Out out;
    for (const auto call : {GDesEncrypt, GDesDecrypt})
    {
        EXPECT_EQ(-22, call(nullptr, kK1.data(), out.bytes.data()));
        EXPECT_EQ(-22, call(kPlain.data(), nullptr, out.bytes.data()));
        EXPECT_EQ(-22, call(kPlain.data(), kK1.data(), nullptr));
    }
    for (const auto call : {G3DesEncrypt, G3DesDecrypt})
    {
        EXPECT_EQ(-22, call(nullptr, kK1.data(), out.bytes.data(), 16));
        EXPECT_EQ(-22, call(kPlain.data(), nullptr, out.bytes.data(), 16));
        EXPECT_EQ(-22, call(kPlain.data(), kK1.data(), nullptr, 16));
    }
    EXPECT_EQ(kUntouched, out.Hex());
}

TEST(TripleDes, OnlyKeysOf16And24BytesAreTaken)
{
    const Bytes key(64, 0x5A);
    for (int length = -1; length <= 40; length++)
        for (const auto call : {G3DesEncrypt, G3DesDecrypt})
        {
            Out out;
            const bool good = length == 16 || length == 24;
            EXPECT_EQ(good ? 0 : -22, call(kPlain.data(), key.data(), out.bytes.data(), length))
                << length;
            EXPECT_EQ(good, out.Hex() != kUntouched) << length;
        }
}

TEST(TripleDes, IsEncryptDecryptEncryptWithTheKeysInTurn)
{
    const Bytes one = BytesOf(RunCore(DES, kK1, kPlain));
    const Bytes two = BytesOf(RunCore(_DES, kK2, one));
    EXPECT_EQ(RunCore(DES, kK3, two), Triple(G3DesEncrypt, kK1 + kK2 + kK3, kPlain));
    EXPECT_EQ(RunCore(DES, kK1, two), Triple(G3DesEncrypt, kK1 + kK2, kPlain));
    const Bytes three = BytesOf(RunCore(_DES, kK3, kPlain));
    const Bytes four = BytesOf(RunCore(DES, kK2, three));
    EXPECT_EQ(RunCore(_DES, kK1, four), Triple(G3DesDecrypt, kK1 + kK2 + kK3, kPlain));
}

TEST(TripleDes, AKeyOf16BytesIsTheKeyK1K2K1)
{
    EXPECT_EQ(Triple(G3DesEncrypt, kK1 + kK2 + kK1, kPlain),
              Triple(G3DesEncrypt, kK1 + kK2, kPlain));
    EXPECT_EQ(Triple(G3DesDecrypt, kK1 + kK2 + kK1, kPlain),
              Triple(G3DesDecrypt, kK1 + kK2, kPlain));
}

TEST(TripleDes, TheCoreTakesAKeyOfAnyLength)
{
    const Bytes all = kK1 + kK2 + kK3 + Bytes(16, 0x77);
    for (size_t length = 0; length <= 40; length++)
    {
        SCOPED_TRACE(length);
        Bytes given = all;
        given.resize(length);
        Bytes padded = given; // what the key stands for
        padded.resize(length <= 8 ? 8 : length <= 16 ? 16 : 24);
        const std::string expected = padded.size() == 8 ? RunCore(DES, padded, kPlain)
                                                        : Triple(G3DesEncrypt, padded, kPlain);
        EXPECT_EQ(expected, RunCore3(DES3, given, kPlain));
        EXPECT_EQ(HexOf(kPlain), RunCore3(_DES3, given, BytesOf(expected)));
    }
    Out out;
    DES3(kK1.data(), -5, kPlain.data(), out.bytes.data());
    EXPECT_EQ(RunCore(DES, Bytes(8), kPlain), out.Hex());
}

// ---- MD5 ----

namespace
{

std::string DigestOf(const Bytes &data, size_t piece)
{
    MD5CONTEXT md5;
    MD5Init(&md5);
    for (size_t at = 0; at < data.size(); at += piece)
        MD5Update(&md5, data.data() + at, static_cast<unsigned>(std::min(piece, data.size() - at)));
    unsigned char digest[16];
    MD5Final(digest, &md5);
    return HexOf(digest, sizeof digest);
}

std::string Encoded(const std::string &text)
{
    char out[33] = "";
    EXPECT_EQ(0, GMd5Encode(text.data(), static_cast<int>(text.size()), out, sizeof out));
    return out;
}

} // namespace

TEST(Md5, EveryPublishedVector)
{
    for (const auto &row : Vectors("md5"))
    {
        const std::string text = row.at("text");
        EXPECT_EQ(row.at("md5"), DigestOf(Bytes(text.begin(), text.end()), 100)) << text;
        if (!text.empty())
        {
            EXPECT_EQ(row.at("md5"), Encoded(text)) << text;
        }
    }
    EXPECT_EQ("900150983CD24FB0D6963F7D28E17F72", Encoded("abc"));
}

TEST(Md5, LengthsAroundABlockAndItsPadding)
{
    const struct
    {
        size_t length;
        const char *digest; // of so many "a"
    } rows[] = {
        {55, "EF1772B6DFF9A122358552954AD0DF65"},  {56, "3B0C8AC703F828B04C6C197006D17218"},
        {57, "652B906D60AF96844EBD21B674F35E93"},  {63, "B06521F39153D618550606BE297466D5"},
        {64, "014842D480B571495A4A0363793F7367"},  {65, "C743A45E0D2E6A95CB859ADAE0248435"},
        {119, "8A7BD0732ED6A28CE75F6DABC90E1613"}, {120, "5F61C0CCAD4CAC44C75FF505E1F1E537"},
        {128, "E510683B3F5FFE4093D021808BC6FF70"}, {10000, "0D0C9C4DB6953FEE9E03F528CAFD7D3E"},
    };
    for (const auto &row : rows)
    {
        EXPECT_EQ(row.digest, Encoded(std::string(row.length, 'a'))) << row.length;
        for (size_t piece : {1, 7, 63, 64, 65})
            EXPECT_EQ(row.digest, DigestOf(Bytes(row.length, 'a'), piece)) << row.length;
    }
}

TEST(Md5, APieceOfNothingAddsNothing)
{
    MD5CONTEXT md5;
    MD5Init(&md5);
    MD5Update(&md5, nullptr, 0);
    MD5Update(&md5, reinterpret_cast<const unsigned char *>("ab"), 2);
    MD5Update(&md5, nullptr, 0);
    MD5Update(&md5, reinterpret_cast<const unsigned char *>("c"), 1);
    unsigned char digest[16];
    MD5Final(digest, &md5);
    EXPECT_EQ("900150983CD24FB0D6963F7D28E17F72", HexOf(digest, sizeof digest));
}

TEST(Md5, TheNumberOfBitsCarriesIntoItsHighWord)
{
    MD5CONTEXT md5;
    MD5Init(&md5);
    md5.count[0] = 0xFFFFFE00; // as if 2^29 - 64 bytes had gone before
    const Bytes block(128, 'a');
    MD5Update(&md5, block.data(), 128);
    EXPECT_EQ(0x200U, md5.count[0]);
    EXPECT_EQ(1U, md5.count[1]);
    MD5Update(&md5, block.data(), 1);
    unsigned char digest[16];
    MD5Final(digest, &md5);

    // The same by hand: the last block holds the byte, the one bit, and all 64 bits of the number.
    MD5CONTEXT last;
    MD5Init(&last);
    MD5Update(&last, block.data(), 128);
    unsigned char padded[64] = {'a', 0x80};
    padded[56] = 0x08;
    padded[57] = 0x02;
    padded[60] = 0x01;
    MD5Update(&last, padded, 64);
    EXPECT_EQ(0, memcmp(digest, last.state, sizeof digest)) << "words stand low byte first here";
}

TEST(Md5, TheRecordIsWipedAtTheEnd)
{
    MD5CONTEXT md5;
    memset(&md5, 0xEE, sizeof md5);
    MD5Init(&md5);
    MD5Update(&md5, reinterpret_cast<const unsigned char *>("secret"), 6);
    unsigned char digest[16];
    MD5Final(digest, &md5);
    const Bytes record(reinterpret_cast<const uint8_t *>(&md5),
                       reinterpret_cast<const uint8_t *>(&md5) + sizeof md5);
    EXPECT_EQ(Bytes(sizeof md5), record);
}

TEST(Md5, TheTextFillsTheWholeCapacityWithZeroBytes)
{
    char out[60];
    memset(out, '#', sizeof out);
    EXPECT_EQ(0, GMd5Encode("abc", 3, out, 50));
    EXPECT_STREQ("900150983CD24FB0D6963F7D28E17F72", out);
    EXPECT_EQ(std::string(18, '\0') + std::string(10, '#'), std::string(out + 32, 28));
}

TEST(Md5, ACapacityOf32GetsItsNulBehindIt)
{
    char out[40];
    memset(out, '#', sizeof out);
    EXPECT_EQ(0, GMd5Encode("abc", 3, out, 32));
    EXPECT_STREQ("900150983CD24FB0D6963F7D28E17F72", out);
    EXPECT_EQ("#######", std::string(out + 33, 7));
}

TEST(Md5, BadArgumentsAreRefused)
{
    char out[40];
    memset(out, '#', sizeof out);
    EXPECT_EQ(-22, GMd5Encode(nullptr, 3, out, 33));
    EXPECT_EQ(-22, GMd5Encode("abc", 3, nullptr, 33));
    EXPECT_EQ(-22, GMd5Encode("abc", 0, out, 33));
    EXPECT_EQ(-22, GMd5Encode("abc", -1, out, 33));
    for (int capacity : {31, 0, -1})
        EXPECT_EQ(-22, GMd5Encode("abc", 3, out, capacity));
    const unsigned char digest[16] = {};
    EXPECT_EQ(nullptr, MD5Result(digest, out, 31));
    EXPECT_EQ(nullptr, MD5Result(digest, nullptr, 33));
    EXPECT_EQ(nullptr, MD5Result(nullptr, out, 33));
    EXPECT_EQ(std::string(40, '#'), std::string(out, 40));
}

TEST(Md5, TheResultIsTheTextThatWasGiven)
{
    char out[33];
    const Bytes digest = BytesOf("000102030405060708090A0B0C0D0EFF");
    EXPECT_EQ(out, MD5Result(digest.data(), out, sizeof out));
    EXPECT_STREQ("000102030405060708090A0B0C0D0EFF", out);
}

// ---- Base64 ----

namespace
{

struct Release
{
    void operator()(void *memory) const
    {
        free(memory);
    }
};

std::string Encode(const Bytes &data)
{
    const Bytes exact = data;
    const std::unique_ptr<char, Release> text(
        base64_encode(exact.data(), static_cast<int>(exact.size())));
    return text.get();
}

// The whole allocation, as far as the length tells.
std::string Decode(const std::string &text)
{
    int length = -7;
    const Bytes exact(text.begin(), text.end());
    const std::unique_ptr<unsigned char, Release> bytes(base64_decode(
        reinterpret_cast<const char *>(exact.data()), static_cast<int>(exact.size()), &length));
    return HexOf(bytes.get(), static_cast<size_t>(length));
}

} // namespace

TEST(Base64, EveryPublishedVectorInBothDirections)
{
    for (const auto &row : Vectors("base64"))
    {
        const std::string text = row.at("text");
        const Bytes data(text.begin(), text.end());
        EXPECT_EQ(row.at("base64"), Encode(data));
        std::string allocation = HexOf(data);
        allocation.resize(2 * row.at("decode_length").get<size_t>(), '0');
        EXPECT_EQ(allocation, Decode(row.at("base64")));
    }
    EXPECT_EQ("TWE=", Encode({0x4D, 0x61}));
}

TEST(Base64, EveryByteValue)
{
    Bytes all;
    for (int i = 0; i < 256; i++)
        all.push_back(static_cast<uint8_t>(i));
    const std::string text =
        "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8gISIjJCUmJygpKissLS4vMDEyMzQ1Njc4OTo7PD0+P0BBQk"
        "NERUZHSElKS0xNTk9QUVJTVFVWV1hZWltcXV5fYGFiY2RlZmdoaWprbG1ub3BxcnN0dXZ3eHl6e3x9fn+AgYKDhIWG"
        "h4iJiouMjY6PkJGSk5SVlpeYmZqbnJ2en6ChoqOkpaanqKmqq6ytrq+wsbKztLW2t7i5uru8vb6/wMHCw8TFxsfIyc"
        "rLzM3Oz9DR0tPU1dbX2Nna29zd3t/g4eLj5OXm5+jp6uvs7e7v8PHy8/T19vf4+fr7/P3+/w==";
    EXPECT_EQ(text, Encode(all));
    EXPECT_EQ(HexOf(all), Decode(text).substr(0, 512));
}

TEST(Base64, EveryLengthComesBack)
{
    for (size_t length = 0; length <= 300; length++)
    {
        Bytes data;
        for (size_t i = 0; i < length; i++)
            data.push_back(static_cast<uint8_t>(i * 151 + length * 7));
        const std::string text = Encode(data);
        ASSERT_EQ((length + 2) / 3 * 4, text.size());
        ASSERT_EQ(HexOf(data), Decode(text).substr(0, 2 * length)) << length;
    }
}

TEST(Base64, TheLengthToldIsThatOfTheAllocation)
{
    const struct
    {
        const char *text;
        size_t length;
    } rows[] = {
        {"", 4},          {"T", 4},        {"TW", 4},       {"TWE", 4},       {"TWEQ", 7},
        {"TWE=", 7},      {"TW==", 6},     {"T===", 5},     {"=", 4},         {"==", 3},
        {"===", 2},       {"====", 5},     {"TWEQT", 7},    {"TWEQTW", 7},    {"TWEQTWE", 7},
        {"TWE=TWE=", 10}, {"TWEQTW==", 9}, {"TWEQT===", 8}, {"TWEQTWE==", 9}, {"TWEQ=", 7},
        {"TWEQTW=", 7},   {"TWEQ===", 5},
    };
    for (const auto &row : rows)
        EXPECT_EQ(row.length, Decode(row.text).size() / 2) << row.text;
}

TEST(Base64, AShortLastGroupGivesAByteForEachCharacter)
{
    EXPECT_EQ("4C000000", Decode("T"));
    EXPECT_EQ("4D600000", Decode("TW")); // the second character's low bits make a byte
    EXPECT_EQ("4D614000", Decode("TWF"));
    EXPECT_EQ("4D600000"
              "0000",
              Decode("TW=="));
    EXPECT_EQ("4D614000000000", Decode("TWF="));
    EXPECT_EQ("0000004D600000", Decode("AAAATW"));
}

TEST(Base64, CharactersOutsideTheAlphabetCountAsZeroBits)
{
    const std::string zero = Decode("TWAA");
    EXPECT_EQ("4D600000000000", zero);
    for (int character = 0; character < 256; character++)
    {
        const char other = static_cast<char>(character);
        if (strchr("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/", other) !=
                nullptr &&
            other != '\0')
            continue;
        EXPECT_EQ(zero, Decode(std::string("TW") + other + "A")) << character;
    }
    EXPECT_EQ("000041", Decode("=ABB").substr(0, 6)) << "padding elsewhere";
    EXPECT_EQ("0000000000", Decode("====")) << "three are padding, one is not";
    EXPECT_EQ("4C000000", Decode("T====").substr(0, 8));
}

TEST(Base64, WhatIsNoInputGivesNothing)
{
    EXPECT_EQ(nullptr, base64_encode(nullptr, 1));
    EXPECT_EQ(nullptr, base64_encode(kPlain.data(), -1));
    int length = -7;
    EXPECT_EQ(nullptr, base64_decode(nullptr, 1, &length));
    EXPECT_EQ(nullptr, base64_decode("TWE=", -1, &length));
    EXPECT_EQ(-7, length);
    const std::unique_ptr<char, Release> text(base64_encode(nullptr, 0));
    EXPECT_STREQ("", text.get());
    const std::unique_ptr<unsigned char, Release> bytes(base64_decode(nullptr, 0, nullptr));
    EXPECT_EQ(0, bytes.get()[0]);
}

TEST(Base64, WithoutMemoryTheProcessEndsWithStatus0)
{
    const auto endsWith = [](auto call)
    {
        return ResultInChild(
            [&]
            {
                std::atexit([] { g_noMemory = false; }); // for what the process writes at its end
                g_noMemory = true;
                call();
                g_noMemory = false;
                return 7; // it went on
            });
    };
    EXPECT_EQ(7, endsWith([] {}));
    EXPECT_EQ(0, endsWith([] { return base64_encode(kPlain.data(), 8); }));
    EXPECT_EQ(0, endsWith([] { return base64_decode("TWE=", 4, nullptr); }));
}

// ---- CRC-16 ----

TEST(Crc16, EveryPublishedVector)
{
    for (const auto &row : Vectors("crc16"))
    {
        const Bytes data = BytesOf(row.at("bytes"));
        const uint16_t crc = GCalCRC16(data.data(), static_cast<int>(data.size()));
        const uint8_t bytes[] = {static_cast<uint8_t>(crc >> 8), static_cast<uint8_t>(crc)};
        EXPECT_EQ(row.at("crc"), HexOf(bytes, 2));
    }
}
