// The helpers that lie on every exchange: a setting, hex in both directions, the check value. Each
// against the least that it can cost, or against what others do for the same result.
#include <algorithm>
#include <array>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <openssl/crypto.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "support/scratch.h"
#include "vantor/support.h"

namespace
{

constexpr int kBytes = 200;
constexpr int kCharacters = 2 * kBytes;

[[noreturn]] void Fail(const char *what)
{
    std::fprintf(stderr, "support_bench: %s\n", what);
    std::exit(1);
}

struct Sample
{
    unsigned char bytes[kBytes];
    char text[kCharacters + 1] = {};

    Sample()
    {
        for (int i = 0; i < kBytes; i++)
            bytes[i] = static_cast<unsigned char>(i * 37 + 11);
        GByte2Hex(bytes, kBytes, text, kCharacters);
    }
};

const Sample kSample;

// ---- A setting: against opening, reading and closing the file ----

double Nanoseconds()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

void ReadSetting(const std::string &)
{
    int value = 0;
    GGetConfigInt("devcfg", "IdChange", 99, &value);
    if (value != 1)
        Fail("the setting is not there");
}

void ReadBare(const std::string &path)
{
    char text[4096];
    const int file = open(path.c_str(), O_RDWR | O_CLOEXEC); // settings must be writable
    if (read(file, text, sizeof(text)) <= 0)
        Fail("no settings");
    close(file);
}

double Median(std::vector<double> *samples)
{
    const auto middle = samples->begin() + static_cast<std::ptrdiff_t>(samples->size() / 2);
    std::nth_element(samples->begin(), middle, samples->end());
    return *middle;
}

// Both sides take turns, so that whatever else the machine does meets both, and medians count.
void ConfigInt(benchmark::State &state, int counted)
{
    constexpr int kCalls = 8; // in one turn
    void (*const sides[])(const std::string &) = {ReadSetting, ReadBare};
    const testing_support::Scratch directory;
    const std::string path = directory.path + "/config.ini";
    testing_support::WriteFile(
        path, testing_support::ReadFile(std::string(VANTOR_SOURCE_DIR) + "/config/config.ini"));
    GSetConfigFilePath(path.c_str());
    std::vector<double> samples[2];
    for (auto _ : state)
        for (int side = 0; side < 2; side++)
        {
            const double start = Nanoseconds();
            for (int call = 0; call < kCalls; call++)
                sides[side](path);
            const double took = (Nanoseconds() - start) / kCalls;
            samples[side].push_back(took);
            if (side == counted)
                state.SetIterationTime(took / 1e9);
        }
    state.counters["ours_ns"] = Median(&samples[0]);
    state.counters["reference_ns"] = Median(&samples[1]);
}

// ---- Hex: against OpenSSL's conversions ----

void HexEncodeOurs(benchmark::State &state)
{
    char text[kCharacters];
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(GByte2Hex(kSample.bytes, kBytes, text, kCharacters));
        benchmark::ClobberMemory();
    }
    if (memcmp(text, kSample.text, kCharacters) != 0)
        Fail("wrong hex");
}

void HexEncodeReference(benchmark::State &state)
{
    char text[kCharacters + 1];
    size_t length;
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(
            OPENSSL_buf2hexstr_ex(text, sizeof(text), &length, kSample.bytes, kBytes, '\0'));
        benchmark::ClobberMemory();
    }
    if (memcmp(text, kSample.text, kCharacters) != 0)
        Fail("the reference gives other hex");
}

void HexDecodeOurs(benchmark::State &state)
{
    unsigned char bytes[kBytes];
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(GHex2Byte(kSample.text, kCharacters, bytes, kBytes));
        benchmark::ClobberMemory();
    }
    if (memcmp(bytes, kSample.bytes, kBytes) != 0)
        Fail("wrong bytes");
}

void HexDecodeReference(benchmark::State &state)
{
    unsigned char bytes[kBytes];
    size_t length;
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(
            OPENSSL_hexstr2buf_ex(bytes, sizeof(bytes), &length, kSample.text, '\0'));
        benchmark::ClobberMemory();
    }
    if (memcmp(bytes, kSample.bytes, kBytes) != 0)
        Fail("the reference gives other bytes");
}

// ---- CRC-16: against one table and a byte at a time ----

std::array<uint16_t, 256> MakeTable()
{
    std::array<uint16_t, 256> table;
    for (unsigned byte = 0; byte < 256; byte++)
    {
        unsigned crc = byte << 8;
        for (int bit = 0; bit < 8; bit++)
            crc = (crc & 0x8000) != 0 ? (crc << 1) ^ 0x1021 : crc << 1;
        table[byte] = static_cast<uint16_t>(crc);
    }
    return table;
}

const std::array<uint16_t, 256> kTable = MakeTable();

[[gnu::noinline]] uint16_t CrcByByte(const unsigned char *bytes, int length)
{
    uint16_t crc = 0;
    for (int i = 0; i < length; i++)
        crc = static_cast<uint16_t>((crc << 8) ^ kTable[(crc >> 8) ^ bytes[i]]);
    return crc;
}

void Crc(benchmark::State &state, uint16_t (*calculate)(const unsigned char *, int))
{
    if (calculate(reinterpret_cast<const unsigned char *>("123456789"), 9) != 0x31C3)
        Fail("wrong CRC");
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(calculate(kSample.bytes, kBytes));
        benchmark::ClobberMemory();
    }
}

} // namespace

BENCHMARK_CAPTURE(ConfigInt, ours, 0)->Name("config_int/ours")->UseManualTime();
BENCHMARK_CAPTURE(ConfigInt, reference, 1)->Name("config_int/reference")->UseManualTime();
BENCHMARK(HexEncodeOurs)->Name("hex_encode/ours");
BENCHMARK(HexEncodeReference)->Name("hex_encode/reference");
BENCHMARK(HexDecodeOurs)->Name("hex_decode/ours");
BENCHMARK(HexDecodeReference)->Name("hex_decode/reference");
BENCHMARK_CAPTURE(Crc, ours, GCalCRC16)->Name("crc16/ours");
BENCHMARK_CAPTURE(Crc, reference, CrcByByte)->Name("crc16/reference");

BENCHMARK_MAIN();
