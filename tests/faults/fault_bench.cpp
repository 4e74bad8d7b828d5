#include "faults/fault_bench.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <map>
#include <sstream>
#include <unistd.h>

namespace faults
{

using library_calls::Order;
using library_calls::Outcome;
using library_calls::Who;
using testing_support::ShippedConfig;
using testing_support::WithSetting;

namespace
{

constexpr int kSerialPort = 3;

struct Tally
{
    uint64_t faults = 0;
    uint64_t calls = 0;
    uint64_t functions = 0;
};

Tally s_tally;

// "key=value" lines, each in the place of the shipped one.
std::string Settings(const std::string &lines)
{
    std::string config = WithSetting(ShippedConfig(), "loglevel", "0");
    std::istringstream stream(lines);
    for (std::string line; std::getline(stream, line);)
        config =
            WithSetting(config, line.substr(0, line.find('=')), line.substr(line.find('=') + 1));
    return config;
}

// ---- What a process holds ----

struct Stock
{
    std::map<std::string, int> descriptors; // what each leads to
    long threads = 0;
    size_t allocations = 0;
};

Stock TakeStock()
{
    namespace fs = std::filesystem;
    Stock stock;
    std::error_code gone; // the listing's own descriptor
    for (const fs::directory_entry &entry : fs::directory_iterator("/proc/self/fd"))
        if (const std::string target = fs::read_symlink(entry.path(), gone).string(); !gone)
            ++stock.descriptors[target];
    stock.threads =
        std::distance(fs::directory_iterator("/proc/self/task"), fs::directory_iterator());
    stock.allocations = library_calls::Live().size();
    return stock;
}

std::string Difference(const Stock &before, const Stock &now)
{
    std::string text;
    for (const auto &[target, count] : now.descriptors)
        if (const auto found = before.descriptors.find(target);
            count > (found == before.descriptors.end() ? 0 : found->second))
            text += " a descriptor is left: " + target;
    if (now.threads != before.threads)
        text += " " + std::to_string(now.threads - before.threads) + " threads";
    if (now.allocations != before.allocations)
    {
        text += " " + std::to_string(now.allocations) + " allocations, " +
                std::to_string(before.allocations) + " before:";
        for (const library_calls::Allocation &allocation : library_calls::Live())
            text += " " + allocation.site;
    }
    return text;
}

// The two leaks that are documented: the text of a log line; the cell and the descriptor of a
// serial port that could not be opened or set. One that could is kept by nobody.
void ReleaseDocumentedLeaks(const Outcome &outcome)
{
    const bool portFails =
        outcome.met.rfind("open: ", 0) == 0 || outcome.met.rfind("ioctl: ", 0) == 0;
    for (const library_calls::Allocation &allocation : library_calls::Live())
    {
        const bool isPort = portFails && allocation.site == "GOpenCom";
        if (isPort)
        {
            const int descriptor = *static_cast<int32_t *>(allocation.memory);
            if (descriptor >= 0)
                close(descriptor);
        }
        if (isPort || allocation.site == "_Safe_vasprintf")
            library_calls::Release(allocation);
    }
}

// ---- One try ----

struct Try
{
    Host *host;
    const Scenario *scenario;
    Stock before;
    std::string trouble;
};

void Prepare(Host *host, const Scenario &scenario, std::string *trouble)
{
    host->reader.Restart();
    if (scenario.opens && scenario.line != Line::None && host->Open() != 0)
        *trouble += " the device cannot be opened;";
    if (scenario.prepare)
        scenario.prepare(*host);
}

void Finish(Host *host, const Scenario &scenario)
{
    if (scenario.finish)
        scenario.finish(*host);
    // What a call that failed left on its way is the business of other tests: here it is over.
    library_calls::Silence();
    if (host->usbDevice >= 0)
        usb_standin::Forget(host->usbDevice);
    if (!scenario.forgets || host->handle == nullptr)
        return;
    if (host->line == Line::Serial)
        CALL(host->library, COM_close)(host->handle);
    else
        CALL(host->library, hid_close)(static_cast<hid_device *>(host->handle));
    host->handle = nullptr;
}

void CheckLocks(Host *host, const Outcome &outcome, std::string *trouble)
{
    void *const logLock = &VARIABLE(host->library, fileMutex);
    bool logLockIsHeld = false;
    for (void *lock : library_calls::LocksHeld())
    {
        if (lock == logLock)
            logLockIsHeld = true;
        else
            *trouble += " a lock is held;";
        library_calls::LetGo(lock);
    }
    // A log file that could not be opened keeps the log's lock, and the next line waits for ever.
    if (logLockIsHeld != !outcome.openedLog)
        *trouble += " the log's lock is not as documented;";
    if (outcome.waitsForEver && outcome.openedLog)
        *trouble += " it waits for ever;";
}

void CheckUsb(std::string *trouble)
{
    if (!(usb_standin::Count() == usb_standin::kNothingHeld))
        *trouble += " something of libusb is held;";
    for (const std::string &entry : usb_standin::Misuse())
        *trouble += " misuse of libusb: " + entry + ";";
}

// A signal never makes a call fail; anything else may.
bool MayGive(const Scenario &scenario, const Outcome &outcome, int result)
{
    if (result == scenario.expected)
        return true;
    const bool isSignal = outcome.met.find(": EINTR") != std::string::npos &&
                          outcome.met.find("behind it") == std::string::npos;
    return !outcome.met.empty() && !isSignal && scenario.failures.count(result) != 0;
}

// The read thread has ended: libusb said that the device is gone, or nothing but errors. As after
// an unplugging the host closes and opens.
bool LosesTheDevice(const Order &order, const Outcome &outcome)
{
    const bool submits = outcome.met.rfind("libusb_submit_transfer", 0) == 0;
    const bool handles = outcome.met.rfind("libusb_handle_events_completed", 0) == 0;
    const bool isGone = outcome.met.find("libusb's -4") != std::string::npos;
    return (submits && (isGone || order.lasting)) || (handles && order.lasting);
}

// The call with the fault, the same without one, and everything put away.
Outcome Attempt(Try *attempt, const Order &order)
{
    Host *host = attempt->host;
    const Scenario &scenario = *attempt->scenario;
    std::string *trouble = &attempt->trouble;
    trouble->clear();
    Prepare(host, scenario, trouble);
    library_calls::Begin(order);
    const int result = scenario.call(*host);
    const Outcome outcome = library_calls::End();
    CheckLocks(host, outcome, trouble);
    if (!MayGive(scenario, outcome, result))
        *trouble += " the result is " + std::to_string(result) + ";";
    Finish(host, scenario);

    if (LosesTheDevice(order, outcome))
        CALL(host->library, BO_Close)();
    Prepare(host, scenario, trouble);
    const int next = scenario.call(*host);
    if (next != scenario.expected)
        *trouble += " the next call gives " + std::to_string(next) + ";";
    Finish(host, scenario);

    if (scenario.line != Line::None)
        CALL(host->library, BO_Close)();
    ReleaseDocumentedLeaks(outcome);
    Stock now = TakeStock();
    // A thread that has been joined can still be listed for a moment.
    for (int turn = 0; turn < 2000 && now.threads > attempt->before.threads; ++turn)
    {
        usleep(1000);
        now = TakeStock();
    }
    *trouble += Difference(attempt->before, now);
    CheckUsb(trouble);
    return outcome;
}

std::string Describe(const Order &order, const Outcome &outcome)
{
    return std::string(order.who == Who::Host ? "call " : "call of its thread ") +
           std::to_string(order.call) + ", " + outcome.met + (order.lasting ? " from then on" : "");
}

// All faults of the calls that this thread makes; false when enough has gone wrong.
bool TryCallsOf(Who who, Try *attempt)
{
    Order order;
    order.who = who;
    const std::vector<library_calls::Noted> noted = Attempt(attempt, order).noted;
    if (!attempt->trouble.empty())
        ADD_FAILURE() << "without a fault:" << attempt->trouble;
    int wrong = attempt->trouble.empty() ? 0 : 1;
    bool reached = true;
    for (order.call = 1; reached && wrong < 5; ++order.call)
    {
        // Threads take turns as they like: a call that was not noted has one fault at least.
        const bool isNoted = order.call <= noted.size();
        const size_t faults = isNoted ? noted[order.call - 1].faults : 1;
        reached = false;
        for (order.fault = 0; order.fault < faults && wrong < 5; ++order.fault)
            for (const bool lasting : {false, true})
            {
                order.lasting = lasting;
                if (lasting && (!isNoted || !noted[order.call - 1].lasting[order.fault]))
                    continue;
                const Outcome outcome = Attempt(attempt, order);
                s_tally.faults += outcome.met.empty() ? 0 : 1;
                reached = reached || !outcome.met.empty();
                if (attempt->trouble.empty())
                    continue;
                ADD_FAILURE() << Describe(order, outcome) << ":" << attempt->trouble;
                ++wrong;
            }
        s_tally.calls += reached ? 1 : 0;
    }
    return wrong == 0;
}

// What was tried, printed at the end for whoever wants the figures.
struct PrintTally : testing::Environment
{
    void TearDown() override
    {
        if (s_tally.faults > 0)
            printf("%llu faults in %llu calls of %llu functions\n",
                   static_cast<unsigned long long>(s_tally.faults),
                   static_cast<unsigned long long>(s_tally.calls),
                   static_cast<unsigned long long>(s_tally.functions));
    }
};

testing::Environment *const s_printTally =
    testing::AddGlobalTestEnvironment(new PrintTally); // gtest owns it

} // namespace

// ---- The host ----

Host::Host(Line chosenLine, const std::string &configIni, const std::string &profile,
           const std::string &swiped)
    : library(configIni), reader(profile, swiped), line(chosenLine)
{
    library_calls::Redirect(library.handle);
    usb_standin::Reset();
    path = library.directory.path + "/file";
    CPP_CALL(library, GSetComName, "_Z11GSetComNameiPKc")(kSerialPort, terminal.name.c_str());
    reader.send = [this](const vreader::Bytes &bytes) { Answer(bytes); };
    library_calls::PlayLine(terminal.name,
                            [this](const library_calls::Bytes &bytes) { reader.Hear(bytes); });
    if (line != Line::Usb)
        return;
    reader.reader.modeAnswer = {'O', 'K'}; // over USB the mode sequences are answered
    usbDevice = usb_standin::Plug(usb_standin::ReaderModel(), 1, 2);
    library_calls::WatchUsb(usbDevice);
    usb_standin::OnOutReport(
        usbDevice,
        [this](const usb_standin::Bytes &report)
        {
            modeId = report.at(0);
            const size_t count = std::min<size_t>(report.at(1), 62);
            reader.Hear({report.begin() + 2, report.begin() + 2 + static_cast<long>(count)});
        });
}

Host::~Host()
{
    if (usbDevice >= 0)
        usb_standin::OnOutReport(usbDevice, nullptr);
    library_calls::StopPlaying();
}

int Host::Open() const
{
    return CALL(library, BO_Open)(line == Line::Usb ? 0 : kSerialPort, 9600, 0);
}

DEVCONTEXT *Host::Device() const
{
    return &VARIABLE(library, context);
}

std::string Host::PortName() const
{
    return line == Line::Usb ? "USB" : terminal.name.substr(strlen("/dev/"));
}

void Host::Answer(const vreader::Bytes &bytes) const
{
    if (line != Line::Usb)
        return library_calls::Say(bytes);
    for (size_t done = 0; done < bytes.size(); done += 62)
    {
        const size_t count = std::min<size_t>(62, bytes.size() - done);
        usb_standin::Bytes report(64);
        report[0] = modeId;
        report[1] = static_cast<uint8_t>(count);
        std::copy_n(bytes.begin() + static_cast<long>(done), count, report.begin() + 2);
        usb_standin::SendReport(usbDevice, report);
    }
}

// ---- Scenarios ----

Scenario Make(const char *name, Line line, const std::function<int(Host &)> &call,
              const std::set<int> &failures)
{
    Scenario scenario;
    scenario.name = name;
    scenario.line = line;
    scenario.call = call;
    scenario.failures = failures;
    return scenario;
}

Scenario Alone(Scenario scenario)
{
    scenario.opens = false;
    return scenario;
}

Scenario With(Scenario scenario, const std::string &settings)
{
    scenario.settings = settings;
    return scenario;
}

Scenario Expecting(Scenario scenario, int result)
{
    scenario.expected = result;
    return scenario;
}

Scenario After(Scenario scenario, const Step &prepare)
{
    scenario.prepare = prepare;
    return scenario;
}

Scenario On(Scenario scenario, const std::string &profile)
{
    scenario.profile = profile;
    return scenario;
}

Scenario Denying(Scenario scenario, const std::string &function, const std::string &fault)
{
    scenario.call = [call = scenario.call, function, fault](Host &host)
    {
        library_calls::Always(function, fault);
        const int result = call(host);
        library_calls::AllWell();
        return result;
    };
    return scenario;
}

std::string TestName(const Scenario &scenario)
{
    std::string name = scenario.name;
    if (scenario.line == Line::Usb)
        name += " over usb";
    for (char &character : name)
        if (isalnum(static_cast<unsigned char>(character)) == 0)
            character = '_';
    return name;
}

Scenario WithLog(Scenario scenario)
{
    scenario.name += " with log";
    scenario.settings += "loglevel=2\n";
    return scenario;
}

void TryEveryFault(const Scenario &scenario)
{
    Host host(scenario.line, Settings(scenario.settings), scenario.profile, scenario.swiped);
    Try attempt{&host, &scenario, TakeStock(), ""};
    Attempt(&attempt, {}); // the first one fills what is kept for good
    attempt.before = TakeStock();
    ++s_tally.functions;
    TryCallsOf(Who::Host, &attempt);
    if (scenario.line == Line::Usb)
        TryCallsOf(Who::LibraryThread, &attempt);
}

} // namespace faults
