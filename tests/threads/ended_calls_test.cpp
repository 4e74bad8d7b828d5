// One thread is in a call, another one cancels, closes, resets or disconnects: at every moment of
// the call. The call must end in time with one of its codes, and the next call must work.
// VANTOR_SWEEP_STEPS in the environment says at how many moments (16).
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <gmock/gmock.h>
#include <mutex>
#include <thread>
#include <vector>

#include "threads/desk.h"
#include "threads/short_pauses.h"
#include "usb/usb_bench.h"

using testing_support::HostLibrary;
using testing_support::ShippedConfig;
using testing_support::WithSetting;
using threads_testing::Desk;
using threads_testing::Line;

namespace
{

using std::chrono::duration_cast;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

// ---- What ends a call ----

struct Ending
{
    const char *name; // all of them take nothing and give an int
    bool closes;      // the connection is gone afterwards
};

const Ending kEndings[] = {
    {"BO_Cancel", false}, {"BO_CancelWait", false}, {"BO_Reset", false},
    {"BO_Close", true},   {"BO_DisConnect", true},
};

void End(const HostLibrary &library, const Ending &ending)
{
    reinterpret_cast<int (*)(void)>(library.Symbol(ending.name))();
}

// ---- The calls ----

struct Family
{
    const char *name;
    const char *profile;
    std::vector<std::string> preparation; // in the reader's control language
    int (*call)(const Desk &desk);
    std::vector<int> results; // beside those that any call may have when the line is taken from it
    bool opens = false;       // the call opens the reader itself
};

// No device, not opened, time-out, cancelled, bad message, general failure.
const std::vector<int> kLineResults = {-1003, -1000, -1004, -1006, -1013, -1014};

int PowerOnWait(const Desk &desk)
{
    char atr[512];
    int32_t length = 0;
    int32_t type = 0;
    return CALL(desk.library, BO_IcPowerOn)(2, sizeof atr, atr, &length, &type, 1);
}

int Apdus(const Desk &desk)
{
    char response[2049];
    int32_t length = 0;
    int32_t type = 0;
    int result = CALL(desk.library, BO_IcPowerOn)(0, sizeof response, response, &length, &type, 1);
    for (int i = 0; i < 5 && result == 0; i++)
        result = CALL(desk.library, BO_IcAPDU)(0, "00A4040000", 10, 0, response, &length);
    return result;
}

int CardInformation(const Desk &desk)
{
    char info[8000];
    return CALL(desk.library, BO_ICGetInfo)(0, "ABCDE", 0, info, 1);
}

int MagneticWait(const Desk &desk)
{
    char tracks[3][256];
    uint32_t lengths[3];
    return CALL(desk.library, BO_ReadMagCard)(0, 123, 256, tracks[0], &lengths[0], 256, tracks[1],
                                              &lengths[1], 256, tracks[2], &lengths[2], 1);
}

int IdentityRead(const Desk &desk)
{
    char info[600];
    uint32_t length = 0;
    return CALL(desk.library, BO_ReadIdInfo_Pic)(nullptr, 0, info, &length, 1);
}

int MemoryCardWait(const Desk &desk)
{
    char id[64];
    int32_t length = 0;
    return CALL(desk.library, BO_M1Powerup)(sizeof id, id, &length, 1);
}

int TerminalCall(const Desk &desk)
{
    char info[8000];
    int32_t type = 1;
    int32_t length = sizeof info;
    return CALL(desk.library, IC_GetInfo)(desk.PortName().c_str(), nullptr, 9600, 1, &type, "",
                                          "ABCDE", &length, info);
}

int Opening(const Desk &desk)
{
    return desk.Open();
}

const Family kOpening = {"opening", "empty", {}, Opening, {0}, true};
const Family kPowerOn = {
    "power-on wait", "empty", {}, PowerOnWait, {-4000, -4001, -4005, -4100, -4105}};
const Family kApdus = {
    "APDU exchanges", "pboc-debit", {"fault delay 5 count 0"}, Apdus, {0, -4000, -4006}};
const Family kInformation = {
    "card information", "pboc-debit", {}, CardInformation, {0, -4000, -4100, -4101, -4102, -4104}};
const Family kMagnetic = {"magnetic wait", "empty", {}, MagneticWait, {-2000}};
const Family kIdentityWait = {"identity wait", "empty", {}, IdentityRead, {-3000, -3001, -3002}};
const Family kIdentityRead = {
    "identity read", "identity-cards", {}, IdentityRead, {0, -3000, -3001, -3002, -3003}};
const Family kMemoryCard = {
    "memory card wait", "empty", {}, MemoryCardWait, {-4000, -4001, -4005, -5000, -5001}};
// Numbered otherwise: not opened, no reader, bad answer, cancelled, no power, PSE, application,
// GPO.
const Family kTerminal = {"terminal call",
                          "pboc-debit",
                          {},
                          TerminalCall,
                          {0, -3, -9, -11, -23, -25, -26, -27, -28},
                          true};

// ---- The sweep ----

int Moments()
{
    const char *steps = getenv("VANTOR_SWEEP_STEPS");
    return steps != nullptr ? atoi(steps) : 16;
}

// A time-out of the family's calls, a second of waiting, and what a busy machine adds.
constexpr milliseconds kLongest(9000);

struct Sweeper
{
    const Family &family;
    const Ending &ending;
    Desk desk;

    Sweeper(const Family &swept, const Ending &by, Line line, uint8_t number)
        : family(swept), ending(by),
          desk(line, swept.profile, number, WithSetting(ShippedConfig(), "IdBaud", "19200"))
    {
        for (const std::string &command : family.preparation)
            desk.Control(command);
    }

    // How long the call takes when nobody ends it.
    microseconds Length()
    {
        if (!family.opens)
        {
            EXPECT_EQ(desk.Open(), 0);
        }
        const auto start = steady_clock::now();
        family.call(desk);
        return duration_cast<microseconds>(steady_clock::now() - start);
    }

    // A reader that has answered all that it was asked is understood at once: what of it still
    // waits is dropped. One that a busy machine held up answers the ended call only after the
    // question.
    std::string InformationOnceSettled()
    {
        std::string first;
        for (int attempt = 0; attempt < 4 && first != "Virtual reader V1.0"; attempt++)
        {
            std::this_thread::sleep_for(milliseconds(20));
            first = desk.Information();
        }
        return first == "Virtual reader V1.0" ? desk.Information() : first; // and it stays so
    }

    void EndAfter(microseconds delay)
    {
        std::atomic<bool> begun{false};
        int result = 1;
        steady_clock::duration took{};
        std::thread caller(
            [&]
            {
                const auto start = steady_clock::now();
                begun = true;
                result = family.call(desk);
                took = steady_clock::now() - start;
            });
        while (!begun)
            std::this_thread::yield();
        std::this_thread::sleep_for(delay);
        End(desk.library, ending);
        caller.join();
        const std::string when = std::string(family.name) + ", " + ending.name + " after " +
                                 std::to_string(delay.count()) + " us";
        EXPECT_LT(took, kLongest) << when;
        std::vector<int> allowed = family.results;
        allowed.insert(allowed.end(), kLineResults.begin(), kLineResults.end());
        EXPECT_THAT(allowed, testing::Contains(result)) << when;
        if (ending.closes || family.opens)
        {
            EXPECT_EQ(desk.Open(), 0) << when;
        }
        EXPECT_EQ(InformationOnceSettled(), "Virtual reader V1.0") << when;
        if (family.opens)
            CALL(desk.library, BO_Close)();
    }

    void Sweep()
    {
        const microseconds length = std::min(Length(), microseconds(200000));
        const int moments = Moments();
        for (int moment = 0; moment <= moments; moment++)
            EndAfter(length * moment / moments);
    }
};

long OpenDescriptors()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                         std::filesystem::directory_iterator());
}

// Each ending at a desk of its own, all at once.
void SweepAtOnce(const Family &family, Line line)
{
    std::vector<std::unique_ptr<Sweeper>> sweepers;
    for (const Ending &ending : kEndings)
    {
        if (family.call == MagneticWait && std::string(ending.name) == "BO_CancelWait")
            continue; // it ends no read, and the wait for a swipe is one
        sweepers.push_back(
            std::make_unique<Sweeper>(family, ending, line, static_cast<uint8_t>(sweepers.size())));
    }
    std::vector<std::thread> threads;
    for (const std::unique_ptr<Sweeper> &sweeper : sweepers)
        threads.emplace_back(&Sweeper::Sweep, sweeper.get());
    for (std::thread &thread : threads)
        thread.join();
}

void SweepAll(const Family &family, Line line)
{
    const long descriptors = OpenDescriptors();
    if (line == Line::kSerial || !family.opens)
        SweepAtOnce(family, line);
    else
    {
        for (const Ending &ending : kEndings) // these calls find one reader on USB only
            Sweeper(family, ending, line, 0).Sweep();
    }
    // BO_DisConnect drops a serial line without closing it: its descriptors stay, on purpose.
    const long dropped = line == Line::kSerial ? Moments() + 1 : 0;
    EXPECT_LE(OpenDescriptors(), descriptors + dropped);
}

using EndedOverSerial = testing::TestWithParam<const Family *>;

struct EndedOverUsb : UsbBench, testing::WithParamInterface<const Family *>
{
};

TEST_P(EndedOverSerial, AtEveryMoment)
{
    SweepAll(*GetParam(), Line::kSerial);
}

TEST_P(EndedOverUsb, AtEveryMoment)
{
    SweepAll(*GetParam(), Line::kUsb);
}

std::string NameOf(const testing::TestParamInfo<const Family *> &info)
{
    std::string name;
    for (const char character : std::string(info.param->name))
        if (isalpha(static_cast<unsigned char>(character)))
            name += character;
    return name;
}

INSTANTIATE_TEST_SUITE_P(Calls, EndedOverSerial,
                         testing::Values(&kOpening, &kPowerOn, &kApdus, &kInformation, &kMagnetic,
                                         &kIdentityWait, &kIdentityRead, &kMemoryCard, &kTerminal),
                         NameOf);
// Without the read of an identity card: the stand-in brings its 38 reports in no time, which is
// more than the channel queues.
INSTANTIATE_TEST_SUITE_P(Calls, EndedOverUsb,
                         testing::Values(&kOpening, &kPowerOn, &kApdus, &kInformation, &kMagnetic,
                                         &kIdentityWait, &kMemoryCard, &kTerminal),
                         NameOf);

} // namespace
