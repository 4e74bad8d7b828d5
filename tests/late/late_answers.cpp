// Counts what becomes of answers that come late, over a pseudo-terminal and over USB (the stand-in
// for libusb): commands that time out, whose answers come 1, 10 and 100 ms after that, and commands
// that follow before and after such an answer has come.
//
//   late_answers [ROUNDS]     each line, each lateness: so many rounds (10000), the links by turns
//
// A round:
//   1. a command times out; its answer is on the way
//   2. after a pause of random length a command that is answered at once: is that its answer?
//   3. without a pause another one
//   4. when the reader has nothing more to say, a last one
// Exit status 1 when an answer was taken for another command's although it was there before that
// command was written, or after the reader had fallen silent.
#include "late/reader_end.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <poll.h>
#include <random>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "standins/usb/usb_standin.h"
#include "support/pty_line.h"
#include "support/scratch.h"
#include "vantor/link.h"
#include "vantor/support.h"
#include "vantor/transport.h"

using late::Link;
using late::Number;
using late::ReaderEnd;

namespace
{

constexpr int kLines = 2;
constexpr int kLatenesses = 3;
constexpr int kLinks = 4;
constexpr int kLatenessMs[kLatenesses] = {1, 10, 100};
// Of the command that is not answered in time. A read over USB looks at the clock every 10 ms.
constexpr int kTimeoutMs[kLines] = {4, 10};
constexpr unsigned char kAtOnce = 4; // first byte of a number: answered without delay
constexpr int kWorkers = 12;         // they wait, most of the time

// The library expects a late answer for ten seconds; a round that took nearly as long says nothing.
constexpr uint64_t kTrustedMs = 8000;

const char *const kLineNames[kLines] = {"tty", "USB"};
const char *const kLinkNames[kLinks] = {"KrelIc", "Union_", "identity", "stripe"};

struct Counts
{
    std::atomic<int> rounds;
    std::atomic<int> voided;      // this machine was too busy to keep the times of the round
    std::atomic<int> before;      // at step 2 the late answer was there already ...
    std::atomic<int> beforeTaken; // ... and was taken for the answer
    std::atomic<int> after;       // it came only then ...
    std::atomic<int> afterTaken;
    std::atomic<int> thenTaken;    // step 3 got the answer of step 2
    std::atomic<int> settledWrong; // step 4 got another command's
    std::atomic<int> failed;       // steps 2 to 4: no answer at all
};

Counts *g_counts; // [line][lateness][link], shared by the workers

// ---- The host's side ----

struct Line
{
    testing_support::Scratch settings;
    ReaderEnd reader;
    DEVCONTEXT host{};

    int timeoutMs;

    explicit Line(int lineIndex) : timeoutMs(kTimeoutMs[lineIndex])
    {
        for (int i = 0; i < kLatenesses; i++)
            reader.delaysMs[static_cast<size_t>(i)] = timeoutMs + kLatenessMs[i];
        testing_support::WriteFile(settings.path + "/config.ini", "[devcfg]\ndevtype=0\n");
        GSetConfigFilePath((settings.path + "/config.ini").c_str());
    }
    virtual ~Line() = default;
    // All that the reader has said so far has reached the host's side.
    virtual bool HasArrived() = 0;
};

struct SerialLine : Line
{
    testing_support::PtyLine terminal;
    std::atomic<bool> ends{false};
    std::thread ear;

    SerialLine() : Line(0)
    {
        reader.say = [this](const std::string &answer) {
            terminal.Write({answer.begin(), answer.end()});
        };
        GSetComName(3, terminal.name.c_str());
        DC_SetInterfaceType(&host, "com");
        DC_SetCOMParams(&host, 3, 9600);
        if (COMM_Open(&host) != 0)
            abort();
        ear = std::thread(&SerialLine::Listen, this);
    }
    ~SerialLine() override
    {
        ends = true;
        ear.join();
        COMM_Close(&host);
    }
    void Listen()
    {
        while (!ends)
        {
            char bytes[256];
            pollfd waits{terminal.master, POLLIN, 0};
            if (poll(&waits, 1, 50) <= 0)
                continue;
            const ssize_t count = read(terminal.master, bytes, sizeof bytes);
            if (count > 0)
                reader.Hear(std::string(bytes, static_cast<size_t>(count)));
        }
    }
    bool HasArrived() override
    {
        return true; // the kernel hands on what was written before a select looks
    }
};

struct UsbLine : Line
{
    int device = usb_standin::Plug(usb_standin::ReaderModel(), 1, 2);
    std::atomic<size_t> reports{0};

    UsbLine() : Line(1)
    {
        reader.say = [this](const std::string &answer)
        {
            usb_standin::Bytes report(64);
            std::copy(answer.begin(), answer.end(), report.begin() + 2);
            ++reports;
            usb_standin::SendReport(device, report);
        };
        usb_standin::OnOutReport(
            device, [this](const usb_standin::Bytes &report)
            { reader.Hear(std::string(report.begin() + 2, report.begin() + 2 + report[1])); });
        DC_SetInterfaceType(&host, "hid");
        DC_AddUsbParams(&host, 0x1BC3, 0x0151);
        if (COMM_Open(&host) != 0)
            abort();
    }
    ~UsbLine() override
    {
        usb_standin::OnOutReport(device, nullptr);
        COMM_Close(&host);
        usb_standin::Unplug(device);
    }
    // The read thread queues a report and submits its transfer again.
    bool HasArrived() override
    {
        const size_t submissions = reports + 1;
        while (!usb_standin::WaitForSubmissions(device, submissions))
            ; // a busy machine
        return true;
    }
};

// One exchange: whether it was answered, and with which number.
bool Ask(DEVCONTEXT *host, Link link, const Number &number, int timeoutMs, Number *answer)
{
    const auto limit = static_cast<uint32_t>(timeoutMs);
    unsigned char response[256] = {};
    unsigned char stripe[7] = {0x1B, 'n'};
    int result = -1;
    size_t at = 0;
    unsigned char base = 0;
    switch (link)
    {
    case Link::kKrel:
        result = KrelIc_SendCmd(host, number.data(), 5, response, sizeof response, limit);
        at = 1; // behind the status
        break;
    case Link::kUnion:
        result = Union_SendCmd(host, number.data(), 5, response, sizeof response, limit);
        at = 2;
        break;
    case Link::kIdentity:
        result = ID_SendCmd(host, number.data(), 5, response, sizeof response, limit);
        at = 3;
        break;
    case Link::kStripe:
        base = 'A' - 1;
        for (size_t i = 0; i < number.size(); i++)
            stripe[i + 2] = static_cast<unsigned char>(base + number[i]);
        result =
            RAWC_SendCmd(host, stripe, sizeof stripe, response, sizeof response, "?\x1C", limit);
        at = 2;
        break;
    }
    for (size_t i = 0; i < answer->size(); i++)
        (*answer)[i] = static_cast<unsigned char>(response[at + i] - base);
    return result > 0;
}

// ---- A round ----

struct Worker
{
    Line *line;
    int latenessIndex;
    std::mt19937 random;
    unsigned asked = 0;

    // Numbers of the same kind come back after 26 to the fourth commands.
    Number NewNumber(unsigned char kind)
    {
        Number number = {kind};
        unsigned rest = asked++;
        for (size_t i = 1; i < number.size(); i++, rest /= 26)
            number[i] = static_cast<unsigned char>(1 + rest % 26);
        return number;
    }

    // A command that is answered at once; true when the answer is its own.
    bool AskAtOnce(Link link, Counts *counts, Number *number)
    {
        *number = NewNumber(kAtOnce);
        Number answer;
        const bool answered = Ask(&line->host, link, *number, 20000, &answer);
        counts->failed += answered ? 0 : 1;
        return answered && answer == *number;
    }

    void Round(Link link, Counts *counts)
    {
        const int latenessMs = kLatenessMs[latenessIndex];
        const uint64_t begun = GetTickCount();
        Number answer;
        if (Ask(&line->host, link, NewNumber(static_cast<unsigned char>(1 + latenessIndex)),
                line->timeoutMs, &answer))
        {
            ++counts->voided; // answered in time after all
            return;
        }
        std::uniform_int_distribution<useconds_t> pause(
            0, static_cast<useconds_t>(2 * latenessMs + 2) * 1000);
        usleep(pause(random));
        const bool isThere = line->reader.Answered() == asked && line->HasArrived();
        Number second;
        Number third;
        const bool secondIsOwn = AskAtOnce(link, counts, &second);
        const bool thirdIsOwn = AskAtOnce(link, counts, &third);
        line->reader.AwaitAnswers(asked);
        line->HasArrived();
        Number last;
        const bool lastIsOwn = AskAtOnce(link, counts, &last);
        if (GetTickCount() - begun > kTrustedMs)
        {
            ++counts->voided;
            return;
        }

        ++counts->rounds;
        ++(isThere ? counts->before : counts->after);
        if (!secondIsOwn)
            ++(isThere ? counts->beforeTaken : counts->afterTaken);
        counts->thenTaken += thirdIsOwn ? 0 : 1;
        counts->settledWrong += lastIsOwn ? 0 : 1;
    }
};

void Work(int lineIndex, int latenessIndex, int rounds, unsigned seed)
{
    std::unique_ptr<Line> line;
    if (lineIndex == 0)
        line = std::make_unique<SerialLine>();
    else
        line = std::make_unique<UsbLine>();
    Worker worker{line.get(), latenessIndex, std::mt19937(seed)};
    for (int round = 0; round < rounds; round++)
    {
        const int link = (round + static_cast<int>(seed)) % kLinks;
        worker.Round(static_cast<Link>(link),
                     &g_counts[(lineIndex * kLatenesses + latenessIndex) * kLinks + link]);
    }
}

// A process a worker: the library knows one line at a time.
bool RunWorkers(int lineIndex, int latenessIndex, int rounds)
{
    std::vector<pid_t> workers;
    for (int i = 0; i < kWorkers && i < rounds; i++)
    {
        const int share = rounds / kWorkers + (i < rounds % kWorkers ? 1 : 0);
        const pid_t pid = fork();
        if (pid == 0)
        {
            Work(lineIndex, latenessIndex, share, static_cast<unsigned>(i));
            fflush(nullptr);
            _exit(0);
        }
        workers.push_back(pid);
    }
    bool good = true;
    for (const pid_t pid : workers)
    {
        int status = 0;
        good = waitpid(pid, &status, 0) == pid && status == 0 && good;
    }
    return good;
}

// ---- The table ----

bool ShowRow(int lineIndex, int latenessIndex, int link)
{
    const Counts &counts = g_counts[(lineIndex * kLatenesses + latenessIndex) * kLinks + link];
    printf("%-5s %-9s %4d ms %7d %9d %6d %9d %6d %9d %9d %7d\n", kLineNames[lineIndex],
           kLinkNames[link], kLatenessMs[latenessIndex], counts.rounds.load(), counts.before.load(),
           counts.beforeTaken.load(), counts.after.load(), counts.afterTaken.load(),
           counts.thenTaken.load(), counts.settledWrong.load(), counts.failed.load());
    return counts.beforeTaken == 0 && counts.settledWrong == 0 && counts.failed == 0;
}

} // namespace

int main(int argumentCount, char **arguments)
{
    const int rounds = argumentCount > 1 ? atoi(arguments[1]) : 10000;
    const size_t size = sizeof(Counts) * kLines * kLatenesses * kLinks;
    void *shared = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (rounds < 1 || shared == MAP_FAILED)
    {
        fprintf(stderr, "usage: late_answers [ROUNDS]\n");
        return 2;
    }
    g_counts = static_cast<Counts *>(shared); // zeroes, as the kernel gives it
    printf("%-5s %-9s %7s %7s %16s %16s %9s %9s %7s\n", "", "", "", "", "came before next",
           "came after it", "taken one", "taken in", "not");
    printf("%-5s %-9s %7s %7s %9s %6s %9s %6s %9s %9s %7s\n", "line", "link", "late", "rounds",
           "answers", "taken", "answers", "taken", "later", "silence", "answered");
    fflush(stdout); // before the workers inherit it
    bool good = true;
    for (int line = 0; line < kLines; line++)
        for (int lateness = 0; lateness < kLatenesses; lateness++)
        {
            good = RunWorkers(line, lateness, rounds) && good;
            for (int link = 0; link < kLinks; link++)
                good = ShowRow(line, lateness, link) && good;
            fflush(stdout);
        }
    return good ? 0 : 1;
}
