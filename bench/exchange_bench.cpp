// What an exchange over the serial line costs above the system calls that it cannot do without.
#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <string>
#include <sys/select.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "support/pty_line.h"
#include "support/scratch.h"
#include "support/system_calls.h"
#include "vantor/operations.h"
#include "vantor/support.h"

using testing_support::Bytes;
using testing_support::PtyLine;

namespace
{

// SELECT "1PAY.SYS.DDF01" and a card's answer to it, as they travel.
const unsigned char kApdu[] = {0x00, 0xA4, 0x04, 0x00, 0x0E, '1', 'P', 'A', 'Y', '.',
                               'S',  'Y',  'S',  '.',  'D',  'D', 'F', '0', '1'};
const std::string kCommand = "6015E30100A404000E315041592E5359532E44444630315E\x03";
const std::string kAnswer = "601F006F1A840E315041592E5359532E4444463031A5088801015F2D027A689000"
                            "30\x03";
const uint32_t kResponseLength = 30;

[[noreturn]] void Fail(const char *what)
{
    std::fprintf(stderr, "exchange_bench: %s\n", what);
    std::exit(1);
}

double Seconds(clockid_t clock)
{
    timespec now;
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// An open serial context on a pseudo-terminal, and the settings that every command reads.
struct Reader
{
    PtyLine line;
    testing_support::Scratch directory;
    std::string config;
    DEVCONTEXT record;
    int fd;

    Reader()
    {
        config = directory.path + "/config.ini";
        const std::string shipped = std::string(VANTOR_SOURCE_DIR) + "/config/config.ini";
        testing_support::WriteFile(config, testing_support::ReadFile(shipped));
        GSetConfigFilePath(config.c_str());
        GSetComName(1, line.name.c_str());
        DC_Init(&record);
        DC_SetInterfaceType(&record, "com");
        DC_SetCOMParams(&record, 1, 115200);
        if (COMM_Open(&record) != 0)
            Fail("no line");
        fd = *static_cast<int32_t *>(record.device);
    }

    ~Reader()
    {
        COMM_Close(&record);
    }
};

void SendApdu(Reader *reader, uint32_t timeoutMs, int expected)
{
    unsigned char response[4096];
    uint32_t length = 0;
    const int result = IC_APDU(&reader->record, kApdu, sizeof(kApdu), response, &length, timeoutMs);
    if (result != expected || (result == 0 && length != kResponseLength))
        Fail("an exchange went wrong");
}

void ReadConfigBare(const Reader &reader)
{
    char text[4096];
    const int fd = open(reader.config.c_str(), O_RDWR | O_CLOEXEC); // settings must be writable
    if (read(fd, text, sizeof(text)) <= 0)
        Fail("no settings");
    close(fd);
}

void WriteBare(const Reader &reader)
{
    if (write(reader.fd, kCommand.data(), kCommand.size()) != static_cast<ssize_t>(kCommand.size()))
        Fail("a write went wrong");
}

// One step of ten microseconds, as the library's.
size_t StepBare(const Reader &reader, char *bytes, size_t capacity)
{
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(reader.fd, &readable);
    timeval limit{0, 10};
    if (select(reader.fd + 1, &readable, nullptr, nullptr, &limit) <= 0)
        return 0;
    const ssize_t got = read(reader.fd, bytes, capacity);
    return got > 0 ? static_cast<size_t>(got) : 0;
}

bool ReadBare(const Reader &reader, uint32_t timeoutMs)
{
    char bytes[2048];
    size_t count = 0;
    const uint64_t start = GetTickCount();
    while (GetTickCount() - start < timeoutMs)
    {
        count += StepBare(reader, bytes + count, sizeof(bytes) - count);
        if (std::memchr(bytes, 0x03, count) != nullptr)
            return count == kAnswer.size();
    }
    return false;
}

// ---- Pairs: the library's exchange and the bare one, by turns in one loop ----

enum Side
{
    kOurs,
    kReference
};

void Exchange(Reader *reader, Side side, bool readsConfig)
{
    if (side == kOurs)
    {
        SendApdu(reader, 1000, 0);
        return;
    }
    if (readsConfig)
        ReadConfigBare(*reader);
    WriteBare(*reader);
    if (!ReadBare(*reader, 1000))
        Fail("a bare exchange went wrong");
}

double TimeExchange(Reader *reader, Side side, bool readsConfig)
{
    const double start = Seconds(CLOCK_MONOTONIC);
    Exchange(reader, side, readsConfig);
    return Seconds(CLOCK_MONOTONIC) - start;
}

double Median(std::vector<double> *samples)
{
    const auto middle = samples->begin() + static_cast<std::ptrdiff_t>(samples->size() / 2);
    std::nth_element(samples->begin(), middle, samples->end());
    return *middle;
}

// An exchange takes some microseconds: one interruption outweighs hundreds of them, and what else
// the machine does changes from second to second. So both sides take turns and their medians count.
struct PairTimes
{
    std::vector<double> seconds[2];
};

void AddToPair(benchmark::State &state, PairTimes *times, Side counted, const double (&took)[2])
{
    for (const Side side : {kOurs, kReference})
        times->seconds[side].push_back(took[side]);
    state.SetIterationTime(took[counted]);
}

void ReportPair(benchmark::State &state, PairTimes *times)
{
    state.counters["ours_ns"] = Median(&times->seconds[kOurs]) * 1e9;
    state.counters["reference_ns"] = Median(&times->seconds[kReference]) * 1e9;
}

// The answer lies in the terminal already when the command is sent.
void WaitingAnswer(benchmark::State &state, Side counted)
{
    Reader reader;
    const Bytes answer(kAnswer.begin(), kAnswer.end());
    PairTimes times;
    for (auto _ : state)
    {
        double took[2];
        for (const Side side : {kOurs, kReference})
        {
            reader.line.Write(answer);
            took[side] = TimeExchange(&reader, side, true);
            if (reader.line.Read(kCommand.size()).size() != kCommand.size())
                Fail("no command");
        }
        AddToPair(state, &times, counted, took);
    }
    ReportPair(state, &times);
    reader.line.Write(answer);
    const auto calls = testing_support::SystemCallsOf([&] { Exchange(&reader, counted, true); });
    state.counters["system_calls"] = static_cast<double>(calls.size());
}

// Answers each message that ends in 0x03, until one consists of that byte alone.
void AnswerCommands(const PtyLine &line)
{
    const Bytes answer(kAnswer.begin(), kAnswer.end());
    size_t count = 0;
    for (;;)
    {
        char bytes[256];
        const ssize_t got = read(line.master, bytes, sizeof(bytes));
        if (got <= 0)
            Fail("the line ended");
        count += static_cast<size_t>(got);
        if (bytes[got - 1] != 0x03)
            continue;
        if (count == 1)
            return;
        count = 0;
        line.Write(answer);
    }
}

// A peer answers each command; the bare loop reads no settings.
void RoundTrip(benchmark::State &state, Side counted)
{
    Reader reader;
    std::thread peer([&] { AnswerCommands(reader.line); });
    PairTimes times;
    for (auto _ : state)
    {
        double took[2];
        for (const Side side : {kOurs, kReference})
            took[side] = TimeExchange(&reader, side, false);
        AddToPair(state, &times, counted, took);
    }
    ReportPair(state, &times);
    if (write(reader.fd, "\x03", 1) != 1)
        Fail("the peer does not end");
    peer.join();
}

// ---- Processor time of a wait of one second for an answer that does not come ----

template <typename Wait>
void RunLateAnswer(benchmark::State &state, Wait wait)
{
    for (auto _ : state)
    {
        const double start = Seconds(CLOCK_THREAD_CPUTIME_ID);
        wait();
        state.SetIterationTime(Seconds(CLOCK_THREAD_CPUTIME_ID) - start);
    }
}

void LateAnswerOurs(benchmark::State &state)
{
    Reader reader;
    RunLateAnswer(state, [&] { SendApdu(&reader, 1000, -74); });
}

void LateAnswerReference(benchmark::State &state)
{
    Reader reader;
    RunLateAnswer(state,
                  [&]
                  {
                      WriteBare(reader);
                      if (ReadBare(reader, 1000))
                          Fail("an answer from nowhere");
                  });
}

BENCHMARK_CAPTURE(WaitingAnswer, ours, kOurs)->Name("apdu_waiting_answer/ours")->UseManualTime();
BENCHMARK_CAPTURE(WaitingAnswer, reference, kReference)
    ->Name("apdu_waiting_answer/reference")
    ->UseManualTime();
BENCHMARK_CAPTURE(RoundTrip, ours, kOurs)->Name("pty_round_trip/ours")->UseManualTime();
BENCHMARK_CAPTURE(RoundTrip, reference, kReference)
    ->Name("pty_round_trip/reference")
    ->UseManualTime();
BENCHMARK(LateAnswerOurs)->Name("late_answer_cpu/ours")->UseManualTime()->Iterations(1);
BENCHMARK(LateAnswerReference)->Name("late_answer_cpu/reference")->UseManualTime()->Iterations(1);

} // namespace

BENCHMARK_MAIN();
