#include "session.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <glob.h>
#include <mutex>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <thread>
#include <unistd.h>

#include "advice.h"
#include "vantor.h"

namespace tool
{

// Serial ports are named by number in the library; the tool uses this one and gives it its path.
static const int kSerialPort = 1;
static const unsigned char kNoPassThrough = '0';

static std::atomic<bool> g_cancelled{false};

bool IsCancelled()
{
    return g_cancelled;
}

std::string ErrorText(int code)
{
    char message[64] = {};
    int32_t length = 0;
    BO_GetErrInfo(code, 0, message, &length);
    return message;
}

int ConfiguredCommandSet()
{
    int iccmd = 0;
    GGetConfigInt("devcfg", "Iccmd", 0, &iccmd);
    return iccmd;
}

std::string SettingsPath()
{
    char directory[1024] = {};
    GGetDllPath(nullptr, directory);
    char *plain = realpath(directory, nullptr); // the loader's form: /opt/vantor/bin/../lib
    const std::string path = plain == nullptr ? directory : plain;
    free(plain);
    return path + "/config.ini";
}

// The library waits for ever at its second log line when the first could not be written, such as
// for a user who may not write beside an installed library: it gets another place to write to.
void GiveLogAPlace()
{
    const std::string settings = SettingsPath();
    const std::string directory = settings.substr(0, settings.rfind('/')) + "/log";
    const time_t now = time(nullptr);
    struct tm local = {};
    localtime_r(&now, &local);
    char name[32];
    strftime(name, sizeof name, "/qz_%Y%m%d.log", &local);
    const std::string file = directory + name;
    const bool isThere = access(file.c_str(), F_OK) == 0;
    const bool writable = isThere ? access(file.c_str(), R_OK | W_OK) == 0
                                  : access(directory.c_str(), W_OK | X_OK) == 0;
    if (writable)
        return;
    GSetLogFilePath("/dev/null");
    fprintf(stderr, "note: no log is written, %s does not let this user\n",
            (isThere ? file : directory).c_str());
}

// ---- Ctrl-C ----

static sigset_t CancelSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    struct sigaction hangUp = {};
    if (sigaction(SIGHUP, nullptr, &hangUp) != 0 || hangUp.sa_handler != SIG_IGN) // nohup
        sigaddset(&signals, SIGHUP);
    return signals;
}

// The number of the signal that waits; 0 when none comes in time.
static uint32_t TakeSignal(int signalDescriptor, int timeoutMs)
{
    pollfd wait = {signalDescriptor, POLLIN, 0};
    signalfd_siginfo information;
    if (poll(&wait, 1, timeoutMs) <= 0 ||
        read(signalDescriptor, &information, sizeof information) !=
            static_cast<ssize_t>(sizeof information))
        return 0;
    return information.ssi_signo;
}

[[noreturn]] static void EndAtOnce()
{
    static const char kMessage[] = "\nended at once\n";
    if (write(STDERR_FILENO, kMessage, sizeof kMessage - 1) < 0)
        _exit(kFailed + 1);
    _exit(kFailed);
}

// The first signal asks for a cancel, a second one for the end. The same signal twice in a moment
// is one wish: timeout(1) sends it to its child and then to the child's group.
static void TakeWish(int signalDescriptor)
{
    static const int kEchoMs = 50;
    const uint32_t signal = TakeSignal(signalDescriptor, 0);
    if (signal == 0)
        return;
    if (g_cancelled.exchange(true))
        EndAtOnce();
    const uint32_t next = TakeSignal(signalDescriptor, kEchoMs);
    if (next != 0 && next != signal)
        EndAtOnce();
}

// A cancel that comes between two reads, or just before a waiting loop clears its flag, is lost:
// it is repeated until the work has seen it.
static void WatchForCancel(int signalDescriptor, int stopDescriptor)
{
    static const int kRepeatMs = 300;
    pollfd waits[2] = {{signalDescriptor, POLLIN, 0}, {stopDescriptor, POLLIN, 0}};
    for (;;)
    {
        if (poll(waits, 2, g_cancelled ? kRepeatMs : -1) < 0 && errno != EINTR)
            return;
        if ((waits[0].revents & POLLIN) != 0)
            TakeWish(signalDescriptor);
        if ((waits[1].revents & POLLIN) != 0)
            return;
        if (g_cancelled)
        {
            BO_CancelWait();
            BO_Cancel();
        }
    }
}

// ---- Waiting ----

struct Countdown
{
    std::mutex lock;
    std::condition_variable ended;
    bool isEnded = false;
};

static void ShowCountdown(Countdown *countdown, const Options &options, const char *awaited)
{
    using namespace std::chrono;
    const auto start = steady_clock::now();
    auto next = start + milliseconds(500); // a card that is there already makes no flicker
    std::unique_lock<std::mutex> hold(countdown->lock);
    bool shown = false;
    while (!countdown->ended.wait_until(hold, next, [&] { return countdown->isEnded; }))
    {
        const auto passed = duration_cast<seconds>(steady_clock::now() - start).count();
        const long left = std::max(0L, options.timeoutSeconds - static_cast<long>(passed));
        if (options.timeoutSeconds == 0)
            fprintf(stderr, "\r\033[Kwaiting for %s: %ld s, no limit (Ctrl-C cancels)", awaited,
                    static_cast<long>(passed));
        else
            fprintf(stderr, "\r\033[Kwaiting for %s: %ld s left (Ctrl-C cancels)", awaited, left);
        fflush(stderr);
        shown = true;
        next = start + seconds(passed + 1);
    }
    if (shown)
        fputs("\r\033[K", stderr);
}

int WaitingForCard(const Options &options, const std::function<int()> &call, const char *awaited)
{
    if (isatty(STDERR_FILENO) == 0)
        return call();
    Countdown countdown;
    std::thread display(ShowCountdown, &countdown, options, awaited);
    const int code = call();
    {
        const std::lock_guard<std::mutex> hold(countdown.lock);
        countdown.isEnded = true;
    }
    countdown.ended.notify_one();
    display.join();
    return code;
}

// ---- Failures ----

static std::string SerialPortsHere()
{
    glob_t found = {};
    const char *kPatterns[] = {"/dev/ttyS[0-3]", "/dev/ttyAMA*", "/dev/ttyUSB*", "/dev/ttyACM*"};
    for (const char *pattern : kPatterns)
        glob(pattern, found.gl_pathv == nullptr ? 0 : GLOB_APPEND, nullptr, &found);
    std::string names;
    for (size_t i = 0; i < found.gl_pathc; i++)
        names += std::string(" ") + found.gl_pathv[i];
    globfree(&found);
    return names.empty() ? "no serial ports" : "the serial ports" + names;
}

// Why a port does not open, asked of the system itself: the library's code does not tell.
static std::string PortAdvice(const std::string &port)
{
    if (port == "USB")
        return "is the reader plugged in (lsusb -d 1bc3:0151), may this user open it (udev rule), "
               "and is no other program holding it? A serial reader needs --port ttyS0";
    const int descriptor = open(port.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    const int error = errno;
    if (descriptor >= 0)
    {
        const bool isTerminal = isatty(descriptor) == 1;
        close(descriptor);
        return port + (isTerminal ? " opens, but its settings could not be changed"
                                  : " is not a serial line");
    }
    if (error == ENOENT)
        return "there is no " + port + "; this machine has " + SerialPortsHere();
    if (error == EACCES)
        return "this user may not open " + port + "; join the group that owns it (often dialout)";
    return port + ": " + strerror(error);
}

bool Failed(const Options &options, Report *report, const char *call, int code)
{
    if (code == 0 && !IsCancelled())
        return false;
    if (IsCancelled())
    {
        report->cancelled = true;
        return true;
    }
    const Surroundings surroundings = {options.port, ConfiguredCommandSet()};
    const bool terminal = IsTerminalCall(call);
    Advice advice =
        terminal ? FindTerminalAdvice(code, surroundings) : FindAdvice(call, code, surroundings);
    if (code == (terminal ? -3 : -1000))
        advice.advice = PortAdvice(options.port);
    report->failure =
        Failure{call, code, terminal ? "" : ErrorText(code), advice.meaning, advice.advice};
    return true;
}

// ---- Connection ----

int OpenReader(const Options &options)
{
    if (options.port != "USB")
        GSetComName(kSerialPort, options.port.c_str());
    return BO_Open(options.port == "USB" ? 0 : kSerialPort, options.baud, kNoPassThrough);
}

// Runs `work` with the watch for Ctrl-C beside it.
static void WithWatch(const std::function<void()> &work)
{
    const sigset_t signals = CancelSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    const int signalDescriptor = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    const int stopDescriptor = eventfd(0, EFD_CLOEXEC);
    std::thread watch(WatchForCancel, signalDescriptor, stopDescriptor);
    work();
    eventfd_write(stopDescriptor, 1);
    watch.join();
    close(stopDescriptor);
    close(signalDescriptor);
}

void WithReader(const Options &options, Report *report, const std::function<void()> &work)
{
    WithWatch(
        [&]
        {
            BO_SetSlot(options.slot);
            if (!Failed(options, report, "BO_Open", OpenReader(options)))
                work();
        });
    // After the watch has ended: a cancel repeated into the close would cut off the reader's
    // answers.
    BO_Close();
}

// The variant calls behind this interface try the other command set when no card answers, and keep
// it.
static void SayWhenCommandSetChanged(int before)
{
    const int after = ConfiguredCommandSet();
    if (after != before)
        fprintf(stderr, "note: Iccmd in %s is now %d, it was %d\n", SettingsPath().c_str(), after,
                before);
}

void WithCallSet(const Options &options, Report *report, const std::function<void()> &work)
{
    if (options.callSet == CallSet::kMain)
    {
        WithReader(options, report, work);
        return;
    }
    const int commandSet = ConfiguredCommandSet();
    BO_SetSlot(options.slot);
    WithWatch(work);
    SayWhenCommandSetChanged(commandSet);
}

} // namespace tool
