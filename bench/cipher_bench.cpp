// DES, MD5 and Base64 against OpenSSL, which does the same work: a key set for each block, a digest
// written as text, a result in memory of its own. Both sides take turns, so that whatever else the
// machine does meets both, and their medians count.

// OpenSSL's one-block and one-digest functions are marked as old; nothing it has is quicker.
#define OPENSSL_SUPPRESS_DEPRECATED

#include <algorithm>
#include <array>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <openssl/des.h>
#include <openssl/evp.h>
#include <openssl/md5.h>
#include <string>
#include <vector>

#include "vantor/ciphers.h"

namespace
{

[[noreturn]] void Fail(const char *what)
{
    std::fprintf(stderr, "cipher_bench: %s\n", what);
    std::exit(1);
}

// ---- Keys in turn, so that nobody lives on the table entries of one ----

constexpr size_t kKeys = 64;

struct TripleKey
{
    unsigned char bytes[24];
};

std::array<TripleKey, kKeys> MakeKeys()
{
    std::array<TripleKey, kKeys> keys;
    unsigned number = 1;
    for (TripleKey &key : keys)
        for (unsigned char &byte : key.bytes)
        {
            number = number * 1664525 + 1013904223;
            byte = static_cast<unsigned char>(number >> 24);
        }
    return keys;
}

const std::array<TripleKey, kKeys> kKeyRing = MakeKeys();

// ---- The work: each gives what the other side must give too ----

// Each block is the cipher text of the one before.
template <typename Encrypt>
std::string EncryptUnderAllKeys(Encrypt encrypt)
{
    unsigned char block[8] = {};
    for (const TripleKey &key : kKeyRing)
        encrypt(key.bytes, block);
    return std::string(reinterpret_cast<const char *>(block), sizeof block);
}

std::string DesOurs()
{
    return EncryptUnderAllKeys([](const unsigned char *key, unsigned char *block)
                               { GDesEncrypt(block, key, block); });
}

template <int keyLength>
std::string Des3Ours()
{
    return EncryptUnderAllKeys([](const unsigned char *key, unsigned char *block)
                               { G3DesEncrypt(block, key, block, keyLength); });
}

void SetKey(const unsigned char *bytes, DES_key_schedule *schedule)
{
    DES_set_key_unchecked(reinterpret_cast<const_DES_cblock *>(const_cast<unsigned char *>(bytes)),
                          schedule);
}

std::string DesReference()
{
    return EncryptUnderAllKeys(
        [](const unsigned char *key, unsigned char *block)
        {
            DES_key_schedule schedule;
            SetKey(key, &schedule);
            auto *const bytes = reinterpret_cast<DES_cblock *>(block);
            DES_ecb_encrypt(bytes, bytes, &schedule, DES_ENCRYPT);
        });
}

template <int keyLength>
std::string Des3Reference()
{
    return EncryptUnderAllKeys(
        [](const unsigned char *key, unsigned char *block)
        {
            DES_key_schedule schedules[3];
            for (int i = 0; i < keyLength / 8; i++)
                SetKey(key + 8 * i, &schedules[i]);
            auto *const bytes = reinterpret_cast<DES_cblock *>(block);
            DES_ecb3_encrypt(bytes, bytes, &schedules[0], &schedules[1],
                             &schedules[keyLength == 24 ? 2 : 0], DES_ENCRYPT);
        });
}

const std::string kMebibyte(1048576, 'q');

template <size_t size>
std::string Md5Ours()
{
    char text[33];
    GMd5Encode(kMebibyte.data(), size, text, sizeof text);
    return text;
}

// The digits one by one: the quickest plain way to the text.
template <size_t size>
std::string Md5Reference()
{
    static const char kDigits[] = "0123456789ABCDEF";
    MD5_CTX md5;
    unsigned char digest[16];
    MD5_Init(&md5);
    MD5_Update(&md5, kMebibyte.data(), size);
    MD5_Final(digest, &md5);
    char text[33];
    for (int i = 0; i < 16; i++)
    {
        text[2 * i] = kDigits[digest[i] >> 4];
        text[2 * i + 1] = kDigits[digest[i] & 15];
    }
    text[32] = '\0';
    return text;
}

constexpr int kBase64Bytes = 4095; // no padding: OpenSSL gives it as zero bytes
constexpr int kBase64Characters = 5460;

struct Sample
{
    unsigned char bytes[kBase64Bytes];
    unsigned char text[kBase64Characters + 1];

    Sample()
    {
        for (int i = 0; i < kBase64Bytes; i++)
            bytes[i] = static_cast<unsigned char>(i * i * 37 + i);
        if (EVP_EncodeBlock(text, bytes, kBase64Bytes) != kBase64Characters)
            Fail("Base64 of another length");
    }
};

const Sample kSample;

// The first and last bytes tell enough; copying all would weigh on both sides.
std::string Ends(void *allocated, int count)
{
    const char *bytes = static_cast<const char *>(allocated);
    std::string ends = {bytes[0], bytes[1], bytes[2], bytes[count - 2], bytes[count - 1]};
    std::free(allocated);
    return ends;
}

std::string EncodeOurs()
{
    return Ends(base64_encode(kSample.bytes, kBase64Bytes), kBase64Characters);
}

std::string EncodeReference()
{
    auto *const text = static_cast<unsigned char *>(std::malloc(kBase64Characters + 1));
    EVP_EncodeBlock(text, kSample.bytes, kBase64Bytes);
    return Ends(text, kBase64Characters);
}

std::string DecodeOurs()
{
    int length = 0;
    return Ends(
        base64_decode(reinterpret_cast<const char *>(kSample.text), kBase64Characters, &length),
        kBase64Bytes);
}

std::string DecodeReference()
{
    auto *const bytes = static_cast<unsigned char *>(std::malloc(kBase64Bytes + 1));
    EVP_DecodeBlock(bytes, kSample.text, kBase64Characters);
    return Ends(bytes, kBase64Bytes);
}

// ---- The pairs ----

struct Pair
{
    const char *name;
    std::string (*sides[2])(); // ours, reference
    int repeats;               // of the work in one turn
    double calls;              // of the measured function in one piece of work
};

const Pair kPairs[] = {
    {"des", {DesOurs, DesReference}, 1, kKeys},
    {"des3_two_keys", {Des3Ours<16>, Des3Reference<16>}, 1, kKeys},
    {"des3_three_keys", {Des3Ours<24>, Des3Reference<24>}, 1, kKeys},
    {"md5_64_bytes", {Md5Ours<64>, Md5Reference<64>}, 32, 1},
    {"md5_4_kib", {Md5Ours<4096>, Md5Reference<4096>}, 1, 1},
    {"md5_1_mib", {Md5Ours<1048576>, Md5Reference<1048576>}, 1, 1},
    {"base64_encode", {EncodeOurs, EncodeReference}, 16, 1},
    {"base64_decode", {DecodeOurs, DecodeReference}, 16, 1},
};

double Nanoseconds()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

double Median(std::vector<double> *samples)
{
    const auto middle = samples->begin() + static_cast<std::ptrdiff_t>(samples->size() / 2);
    std::nth_element(samples->begin(), middle, samples->end());
    return *middle;
}

void TakeTurns(benchmark::State &state, const Pair &pair, int counted)
{
    if (pair.sides[0]() != pair.sides[1]())
        Fail("the two sides differ");
    std::vector<double> samples[2];
    for (auto _ : state)
        for (int side = 0; side < 2; side++)
        {
            const double start = Nanoseconds();
            for (int i = 0; i < pair.repeats; i++)
                benchmark::DoNotOptimize(pair.sides[side]());
            const double took = Nanoseconds() - start;
            samples[side].push_back(took / (pair.repeats * pair.calls));
            if (side == counted)
                state.SetIterationTime(took / 1e9);
        }
    state.counters["ours_ns"] = Median(&samples[0]);
    state.counters["reference_ns"] = Median(&samples[1]);
}

} // namespace

int main(int argc, char **argv)
{
    for (const Pair &pair : kPairs)
        for (int side = 0; side < 2; side++)
        {
            const std::string name = std::string(pair.name) + (side == 0 ? "/ours" : "/reference");
            benchmark::RegisterBenchmark(name.c_str(), TakeTurns, pair, side)->UseManualTime();
        }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
