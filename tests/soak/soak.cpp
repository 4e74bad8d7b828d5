// A host that never ends: a million exchanges, ten thousand openings and closings, ten thousand
// readers pulled out and put back, over each kind of line. Between the warm mark and the end the
// memory of the process stays within 64 KiB and its descriptors and threads are the same.
//
//     soak            all of it, some minutes
//     soak --short    a few seconds of each
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

#include "soak/reader_process.h"
#include "standins/calls/calls.h"
#include "standins/calls/quick_reader.h"
#include "standins/calls/redirection.h"
#include "standins/usb/usb_standin.h"
#include "support/host_library.h"
#include "support/pty_line.h"

using testing_support::HostLibrary;
using testing_support::ShippedConfig;
using testing_support::WithSetting;

namespace
{

constexpr int kPort = 3;
constexpr long kGrowthAllowed = 64; // KiB

// ---- What the process holds ----

struct Stock
{
    long residentKib;
    long descriptors;
    long threads;
};

long CountEntries(const char *directory)
{
    namespace fs = std::filesystem;
    return std::distance(fs::directory_iterator(directory), fs::directory_iterator());
}

// A thread that has been joined can still be listed for a moment.
long CountThreads()
{
    long threads = CountEntries("/proc/self/task");
    for (int turn = 0; turn < 20; ++turn)
    {
        usleep(1000);
        threads = std::min(threads, CountEntries("/proc/self/task"));
    }
    return threads;
}

Stock TakeStock()
{
    long pages = 0;
    long resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    return {resident * (sysconf(_SC_PAGESIZE) / 1024), CountEntries("/proc/self/fd"),
            CountThreads()};
}

// ---- The host ----

void Require(bool condition, const std::string &what)
{
    if (!condition)
        throw std::runtime_error(what);
}

int NoPause(useconds_t)
{
    return 0;
}

std::string ConfigOfLevel(const char *level)
{
    return WithSetting(ShippedConfig(), "loglevel", level);
}

// A fresh copy of the library. Each closing waits 200 ms for calls of other threads, of which there
// are none here: these pauses, and nothing else, are left out.
struct Host
{
    HostLibrary library;

    explicit Host(const std::string &configIni = ConfigOfLevel("0")) : library(configIni)
    {
        for (const library_calls::Import &import : library_calls::ImportsOf(library.handle))
            if (import.name == "usleep")
                library_calls::SetSlot(import.slot, reinterpret_cast<void *>(&NoPause));
    }

    void Open(int port) const
    {
        Require(CALL(library, BO_Open)(port, 9600, 0) == 0, "the reader cannot be opened");
    }
    void OpenLine(const std::string &path) const
    {
        CPP_CALL(library, GSetComName, "_Z11GSetComNameiPKc")(kPort, path.c_str());
        Open(kPort);
    }
    void Close() const
    {
        CALL(library, BO_Close)();
    }
    int Information() const
    {
        unsigned char information[256];
        uint32_t length = 0;
        return CALL(library, BO_GetDevInfo)(0, information, &length);
    }
    void PowerOn() const
    {
        char atr[512];
        int32_t length = 0;
        int32_t cardType = 0;
        Require(CALL(library, BO_IcPowerOn)(0, sizeof atr, atr, &length, &cardType, 5) == 0,
                "the card has no power");
    }
    // An APDU, and every fourth time the reader's information.
    void Exchange(long number) const
    {
        if (number % 4 == 3)
        {
            Require(Information() == 0, "no information");
            return;
        }
        static const char kSelect[] = "00A404000E315041592E5359532E4444463031";
        char response[2048];
        int32_t length = 0;
        const int result =
            CALL(library, BO_IcAPDU)(0, kSelect, sizeof kSelect - 1, 0, response, &length);
        Require(result == 0 && length > 4 && memcmp(response + length - 4, "9000", 4) == 0,
                "an APDU gave " + std::to_string(result));
    }
};

// ---- The lines ----

// The virtual reader on the stand-in for libusb.
struct UsbBus
{
    QuickReader reader{"default"};
    uint8_t modeId = 0;
    int device;

    UsbBus()
    {
        usb_standin::Reset();
        usb_standin::NoteNothing();
        reader.reader.modeAnswer = {'O', 'K'};
        reader.send = [this](const vreader::Bytes &bytes) { Answer(bytes); };
        device = usb_standin::Plug(usb_standin::ReaderModel(), 1, 2);
        usb_standin::OnOutReport(
            device,
            [this](const usb_standin::Bytes &report)
            {
                modeId = report.at(0);
                reader.Hear({report.begin() + 2, report.begin() + 2 + report.at(1)});
            });
    }
    ~UsbBus()
    {
        usb_standin::Reset();
    }

    void Answer(const vreader::Bytes &bytes) const
    {
        for (size_t done = 0; done < bytes.size(); done += 62)
        {
            const size_t count = std::min<size_t>(62, bytes.size() - done);
            usb_standin::Bytes report(64);
            report[0] = modeId;
            report[1] = static_cast<uint8_t>(count);
            std::copy_n(bytes.begin() + static_cast<long>(done), count, report.begin() + 2);
            usb_standin::SendReport(device, report);
        }
    }
};

// ---- The work ----

struct Work
{
    const char *what;
    const char *line;
    long times;
    long shortTimes;
    bool judgesMemory;
    // Prepares, and gives what is done each time.
    std::function<std::function<void(long number)>()> prepare;
};

struct PtyWork
{
    ReaderProcess reader;
    Host host;

    explicit PtyWork(const char *level = "0") : host(ConfigOfLevel(level))
    {
    }
};

struct UsbWork
{
    UsbBus bus;
    Host host;
};

// The line and the clock are played, every call of the library is looked at, and every allocation
// is accounted for.
struct PlayedWork
{
    testing_support::PtyLine terminal;
    QuickReader reader{"default"};
    HostLibrary library{ConfigOfLevel("0")};
    size_t live = 0;

    PlayedWork()
    {
        library_calls::Redirect(library.handle);
        reader.send = [](const vreader::Bytes &bytes) { library_calls::Say(bytes); };
        library_calls::PlayLine(terminal.name,
                                [this](const library_calls::Bytes &bytes) { reader.Hear(bytes); });
        CPP_CALL(library, GSetComName, "_Z11GSetComNameiPKc")(kPort, terminal.name.c_str());
    }
    ~PlayedWork()
    {
        library.Unload();
        library_calls::StopPlaying();
    }
};

std::function<void(long)> PtyExchanges(const char *level)
{
    auto work = std::make_shared<PtyWork>(level);
    work->host.OpenLine(work->reader.terminal);
    work->host.PowerOn();
    return [work](long number) { work->host.Exchange(number); };
}

std::function<void(long)> UsbExchanges()
{
    auto work = std::make_shared<UsbWork>();
    work->host.Open(0);
    work->host.PowerOn();
    return [work](long number) { work->host.Exchange(number); };
}

std::function<void(long)> PtyOpenings()
{
    auto work = std::make_shared<PtyWork>();
    return [work](long)
    {
        work->host.OpenLine(work->reader.terminal);
        Require(work->host.Information() == 0, "no information");
        work->host.Close();
    };
}

std::function<void(long)> UsbOpenings()
{
    auto work = std::make_shared<UsbWork>();
    return [work](long)
    {
        work->host.Open(0);
        Require(work->host.Information() == 0, "no information");
        work->host.Close();
    };
}

std::function<void(long)> PtyUnpluggings()
{
    auto work = std::make_shared<PtyWork>();
    return [work](long)
    {
        work->host.OpenLine(work->reader.terminal);
        Require(work->host.Information() == 0, "no information");
        work->reader.Control("unplug");
        Require(work->host.Information() != 0, "information of a reader that is not there");
        work->host.Close();
        work->reader.Control("plug");
    };
}

// A host that closes and one that forgets, by turns.
std::function<void(long)> UsbUnpluggings()
{
    auto work = std::make_shared<UsbWork>();
    return [work](long number)
    {
        work->host.Open(0);
        Require(work->host.Information() == 0, "no information");
        usb_standin::Unplug(work->bus.device);
        Require(work->host.Information() != 0, "information of a reader that is not there");
        if (number % 2 == 0)
            work->host.Close();
        else
            CALL(work->host.library, BO_DisConnect)();
        usb_standin::Replug(work->bus.device, static_cast<uint8_t>(2 + number % 100));
    };
}

std::function<void(long)> PlayedCounterDays()
{
    auto work = std::make_shared<PlayedWork>();
    return [work](long number)
    {
        HostLibrary &library = work->library;
        char info[4500];
        Require(CALL(library, BO_Open)(kPort, 9600, 0) == 0, "the line cannot be opened");
        Require(CALL(library, BO_ICGetInfo)(0, "ABEGI", 0, info, 5) == 0, "no card information");
        CALL(library, BO_Close)();
        const size_t live = library_calls::Live().size();
        Require(number == 0 || live == work->live, "allocations are left");
        work->live = live;
    };
}

std::vector<Work> AllWork()
{
    return {
        {"exchanges", "pty", 1000000, 10000, true, [] { return PtyExchanges("0"); }},
        {"exchanges", "usb", 1000000, 10000, true, UsbExchanges},
        {"openings and closings", "pty", 10000, 100, true, PtyOpenings},
        {"openings and closings", "usb", 10000, 100, true, UsbOpenings},
        {"unpluggings", "pty", 10000, 100, true, PtyUnpluggings},
        {"unpluggings", "usb", 10000, 100, true, UsbUnpluggings},
        {"cards read, open to close", "played", 10000, 300, true, PlayedCounterDays},
        {"exchanges with the log", "pty", 10000, 300, false, [] { return PtyExchanges("2"); }},
    };
}

// ---- The table ----

void PrintHead()
{
    printf("%-26s %-7s %9s %8s %9s  %-22s %-11s %s\n", "what", "line", "times", "seconds",
           "a second", "resident KiB", "descriptors", "threads");
}

bool Run(const Work &work, bool isShort)
{
    using Clock = std::chrono::steady_clock;
    const long times = isShort ? work.shortTimes : work.times;
    const std::function<void(long)> step = work.prepare();
    const Clock::time_point start = Clock::now();
    Stock warm = {};
    for (long i = 0; i < times; ++i)
    {
        if (i == times / 10) // what is kept for good is there by now
            warm = TakeStock();
        step(i);
    }
    const Stock end = TakeStock();
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    const long growth = end.residentKib - warm.residentKib;
    const bool kept = (!work.judgesMemory || growth <= kGrowthAllowed) &&
                      end.descriptors == warm.descriptors && end.threads == warm.threads;
    printf("%-26s %-7s %9ld %8.1f %9.0f  %6ld %6ld %+6ld   %4ld %4ld   %3ld %3ld%s%s\n", work.what,
           work.line, times, seconds, static_cast<double>(times) / seconds, warm.residentKib,
           end.residentKib, growth, warm.descriptors, end.descriptors, warm.threads, end.threads,
           work.judgesMemory ? "" : "  (texts are kept)", kept ? "" : "  NOT KEPT");
    fflush(stdout);
    return kept;
}

} // namespace

int main(int count, char **words)
{
    const bool isShort = count == 2 && strcmp(words[1], "--short") == 0;
    if (count > 1 && !isShort)
    {
        fprintf(stderr, "usage: soak [--short]\n");
        return 2;
    }
    bool kept = true;
    PrintHead();
    for (const Work &work : AllWork())
    {
        try
        {
            kept = Run(work, isShort) && kept;
        }
        catch (const std::exception &problem)
        {
            printf("%-26s %-7s %s\n", work.what, work.line, problem.what());
            kept = false;
        }
    }
    printf(kept ? "memory within %ld KiB between the warm mark (a tenth) and the end, descriptors "
                  "and threads the same\n"
                : "more than %ld KiB, a descriptor or a thread was not given back\n",
           kGrowthAllowed);
    return kept ? 0 : 1;
}
