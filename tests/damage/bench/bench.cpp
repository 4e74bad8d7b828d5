#include "damage/bench/bench.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "vantor/business.h"
#include "vantor/identity_operations.h"
#include "vantor/link.h"
#include "vantor/operations.h"
#include "vantor/pboc.h"
#include "vantor/support.h"
#include "vantor/transport.h"

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/asan_interface.h>
#endif

namespace damage_testing
{

namespace
{

constexpr size_t kGuard = 64;
constexpr unsigned char kGuardByte = 0xA7;
constexpr int64_t kGraceMs = 50;
constexpr size_t kMostReported = 5; // failures of one subject that are printed
constexpr size_t kWholeNextCall = 16;
constexpr size_t kSecondLook = 4;
constexpr size_t kFewRows = 3;

alignas(16) unsigned char g_memory[256 * 1024];

struct Untouched
{
    std::array<unsigned char, 64 * 1024> filled;
    std::array<unsigned char, 64 * 1024> zeroed{};
    std::array<unsigned char, kGuard> guard;
    Untouched()
    {
        filled.fill(kUntouched);
        guard.fill(kGuardByte);
    }
};

const Untouched kPattern;

struct Tally
{
    uint64_t tried = 0; // damaged answers
    uint64_t calls = 0;
    ~Tally()
    {
        if (tried > 0)
            printf("[ DAMAGED  ] %llu damaged answers, %llu calls\n",
                   static_cast<unsigned long long>(tried), static_cast<unsigned long long>(calls));
    }
};

Tally g_tally;

// ---- The library's own areas ----

struct Variables
{
    DEVCONTEXT device;
    uint32_t slot;
    int32_t icType;
    unsigned char txData[sizeof g_szTxData];
    unsigned char appInitData[sizeof g_szAppInitData];
    unsigned char exData[sizeof g_szExData];
    int32_t lengths[3];
    char iccAppData[sizeof g_IccAppData];
    char comNames[sizeof g_szComName];
    struct termio settings[2];
    int32_t bp;
    uint8_t modeId;
    int64_t devBaud;
    void *sdtDll;
};

void Load(Variables *kept)
{
    memset(static_cast<void *>(kept), 0, sizeof *kept);
    kept->device = context;
    kept->slot = g_Slot;
    kept->icType = g_IcType;
    memcpy(kept->txData, g_szTxData, sizeof g_szTxData);
    memcpy(kept->appInitData, g_szAppInitData, sizeof g_szAppInitData);
    memcpy(kept->exData, g_szExData, sizeof g_szExData);
    kept->lengths[0] = g_iTxDataLen;
    kept->lengths[1] = g_iAppInitDataLen;
    kept->lengths[2] = g_iExDataLen;
    memcpy(kept->iccAppData, g_IccAppData, sizeof g_IccAppData);
    memcpy(kept->comNames, g_szComName, sizeof g_szComName);
    kept->settings[0] = oterm_attr;
    kept->settings[1] = term_attr;
    kept->bp = g_Bp;
    kept->modeId = g_mode_id;
    kept->devBaud = g_DevBaud;
    kept->sdtDll = g_hSdtDll;
}

void Restore(const Variables &kept)
{
    context = kept.device;
    g_Slot = kept.slot;
    g_IcType = kept.icType;
    memcpy(g_szTxData, kept.txData, sizeof g_szTxData);
    memcpy(g_szAppInitData, kept.appInitData, sizeof g_szAppInitData);
    memcpy(g_IccAppData, kept.iccAppData, sizeof g_IccAppData);
    g_Bp = kept.bp;
    g_mode_id = kept.modeId;
    g_DevBaud = kept.devBaud;
}

// The tags and lengths of a store of one-byte lengths stay where they are, and nothing stands
// behind its last object.
bool KeepsItsForm(const unsigned char *before, const unsigned char *after, size_t size)
{
    size_t at = 0;
    while (at + 1 < size)
    {
        const size_t head = (before[at] & 0x1F) == 0x1F ? 3 : 2;
        if (memcmp(before + at, after + at, head) != 0)
            return false;
        at += head + before[at + head - 1];
    }
    return at == size - 1 && after[at] == before[at];
}

// Nothing, or six digits of length and zero bytes behind so many.
bool IsKeptData(const char *kept)
{
    const std::string digits(kept, 6);
    if (kept[0] == '\0')
        return std::all_of(kept, kept + sizeof g_IccAppData, [](char byte) { return byte == 0; });
    if (digits.find_first_not_of("0123456789") != std::string::npos)
        return false;
    const size_t end = 6 + static_cast<size_t>(std::stoi(digits));
    return end <= sizeof g_IccAppData &&
           std::all_of(kept + end, kept + sizeof g_IccAppData, [](char byte) { return byte == 0; });
}

template <typename Field>
bool IsSame(const Field &before, const Field &after)
{
    return memcmp(&before, &after, sizeof before) == 0;
}

std::string ProblemOf(const Variables &before, const Variables &after, bool opensTheReader)
{
    DEVCONTEXT device = opensTheReader ? DEVCONTEXT() : before.device;
    if (strcmp(device.interfaceType, "hid") == 0) // each link has its own mode
        device.parameters.usb.modeId = after.device.parameters.usb.modeId;
    if (!IsSame(device, after.device))
        return "the device context is not as it was";
    const size_t firstName = opensTheReader ? 2 * sizeof g_szComName[0] : 0; // port 1 gets a name
    if (memcmp(before.comNames + firstName, after.comNames + firstName,
               sizeof before.comNames - firstName) != 0)
        return "a port's name has changed";
    if (!KeepsItsForm(before.txData, after.txData, sizeof before.txData))
        return "g_szTxData has lost its form";
    if (!KeepsItsForm(before.appInitData, after.appInitData, sizeof before.appInitData))
        return "g_szAppInitData has lost its form";
    if (!IsKeptData(after.iccAppData))
        return "g_IccAppData has lost its form";
    if (!IsSame(before.exData, after.exData) || !IsSame(before.lengths, after.lengths) ||
        !IsSame(before.slot, after.slot) || !IsSame(before.settings, after.settings) ||
        !IsSame(before.sdtDll, after.sdtDll))
        return "a variable has changed that no call changes";
    return after.icType == 0 || after.icType == 1 ? "" : "g_IcType is neither 0 nor 1";
}

// What a call finds where it puts its own variables.
__attribute__((noinline)) void FillStack(int byte)
{
    unsigned char below[48 * 1024];
    memset(below, byte, sizeof below);
    __asm__ volatile("" : : "r"(below) : "memory");
}

// ---- One subject ----

struct Trial
{
    const Subject &subject;
    Outputs outputs;
    Variables golden;
    std::string goldenGiven;
    int goldenResult = 0;
    std::vector<GoldenExchange> lightRows;
    size_t failures = 0;
    size_t stride = 1;
    size_t made = 0;
    size_t tried = 0;

    explicit Trial(const Subject &asked) : subject(asked)
    {
        size_t count = 0;
        for (const GoldenExchange &row : subject.rows)
        {
            Frame frame;
            std::string payload;
            count += CountOfDamage(row.answer.size());
            if (!subject.usb && TakeFrameOff(row.answer, &frame, &payload))
                count += CountOfDamage(payload.size());
        }
        stride = StrideFor(count);
    }
};

struct Damaged
{
    size_t row;
    const std::string *answer;
    const std::vector<std::string> *reports;
};

int Call(Trial *trial)
{
    trial->outputs.Reset();
    ++g_tally.calls;
    return trial->subject.call(&trial->outputs);
}

std::string Described(const Damaged &damaged)
{
    std::string text = "answer " + std::to_string(damaged.row) + " is ";
    if (damaged.reports == nullptr)
        return text + testing_support::ToHex(*damaged.answer);
    for (const std::string &report : *damaged.reports)
        text += "[" + testing_support::ToHex(report) + "]";
    return text;
}

void Fail(Trial *trial, const Damaged &damaged, const std::string &problem)
{
    if (++trial->failures <= kMostReported)
        ADD_FAILURE() << trial->subject.name << ": " << problem << "\n  " << Described(damaged);
}

void EmptyLine()
{
    g_line.waiting.clear();
    g_line.reports.clear();
    g_line.firstReport = 0;
}

void Script(const Trial &trial, const Damaged &damaged)
{
    Rewind(trial.subject.rows);
    EmptyLine();
    g_line.damagedRow = damaged.row;
    g_line.damaged = damaged.answer;
    g_line.damagedReports = damaged.reports;
    SetSetting("Iccmd", trial.subject.framing);
    Restore(trial.golden);
}

std::string ProblemOfTime(const Subject &subject)
{
    const int64_t waited = (g_line.microseconds - g_line.paused) / 1000;
    if (waited > subject.limitMs + kGraceMs)
        return "took " + std::to_string(waited) + " ms, its limit is " +
               std::to_string(subject.limitMs);
    if (g_line.paused / 1000 > subject.pauseMs + kGraceMs)
        return "paused for " + std::to_string(g_line.paused / 1000) + " ms";
    return "";
}

void TryCall(Trial *trial, const Damaged &damaged)
{
    Script(*trial, damaged);
    FillStack(0x00);
    const int result = Call(trial);
    Variables after;
    Load(&after);
    for (const std::string &problem :
         {trial->outputs.Problem(), ProblemOf(trial->golden, after, trial->subject.opensTheReader),
          ProblemOfTime(trial->subject)})
        if (!problem.empty())
            Fail(trial, damaged, problem);
    if (trial->tried % kSecondLook != 0)
        return;
    const std::string given = trial->outputs.Given();
    Script(*trial, damaged);
    FillStack(0xFF);
    const int again = Call(trial);
    Variables afterAgain;
    Load(&afterAgain);
    if (result != again || given != trial->outputs.Given() || !IsSame(after, afterAgain))
        Fail(trial, damaged, "what it gives depends on what the stack held");
}

// The next call: the same one, or any other exchange of the open reader where that takes long.
void MakeNextCall(Trial *trial, const Damaged &damaged, bool mustWork)
{
    const Subject &subject = trial->subject;
    SetSetting("Iccmd", subject.framing);
    if (!trial->lightRows.empty() && trial->tried % kWholeNextCall != 0)
    {
        Rewind(trial->lightRows);
        const unsigned char challenge[] = {0x00, 0x84, 0x00, 0x00, 0x02};
        unsigned char response[4096];
        uint32_t length = 0;
        ++g_tally.calls;
        const int result = IC_APDU(&context, challenge, 5, response, &length, 3000);
        if (mustWork &&
            (result != 0 || length != 4 || memcmp(response, "\x11\x22\x90\x00", 4) != 0))
            Fail(trial, damaged, "the next exchange failed: " + std::to_string(result));
        return;
    }
    if (subject.prepare)
        subject.prepare(); // the host's own part
    Rewind(subject.rows);
    const int result = Call(trial);
    const std::string problem = trial->outputs.Problem();
    if (!problem.empty())
        Fail(trial, damaged, "the next call " + problem);
    if (mustWork && (result != trial->goldenResult || !g_line.inOrder ||
                     trial->outputs.Given() != trial->goldenGiven))
        Fail(trial, damaged, "the next call gave " + std::to_string(result));
}

// What was said behind a whole answer lies on the line still. No protocol here tells a command's
// answer from another's, so the next call may take it for its own; it does no harm, and once the
// line is empty all is well again.
void TryNextCall(Trial *trial, const Damaged &damaged)
{
    if (!g_line.waiting.empty() || !g_line.reports.empty())
    {
        MakeNextCall(trial, damaged, false);
        EmptyLine();
    }
    MakeNextCall(trial, damaged, true);
    EmptyLine();
}

// Whether the next damaged answer is one that is tried.
bool IsDue(Trial *trial)
{
    return trial->failures <= kMostReported && trial->made++ % trial->stride == 0;
}

void Try(Trial *trial, const Damaged &damaged)
{
    ++g_tally.tried;
    TryCall(trial, damaged);
    TryNextCall(trial, damaged);
    ++trial->tried;
}

void TryGolden(Trial *trial)
{
    const Subject &subject = trial->subject;
    Rewind(subject.rows);
    Load(&trial->golden);
    trial->goldenResult = Call(trial);
    trial->goldenGiven = trial->outputs.Given();
    Variables after;
    Load(&after);
    EXPECT_EQ(subject.result, trial->goldenResult) << subject.name;
    EXPECT_TRUE(g_line.inOrder && g_line.next == subject.rows.size())
        << subject.name << ": the golden answers were not asked for in order, next is "
        << g_line.next;
    EXPECT_EQ("", trial->outputs.Problem()) << subject.name;
    EXPECT_EQ("", ProblemOf(trial->golden, after, subject.opensTheReader)) << subject.name;
    EXPECT_EQ("", ProblemOfTime(subject)) << subject.name;
}

void Plug(const Subject &subject)
{
    g_line = Line();
    g_line.plugged = true;
    g_line.usb = subject.usb;
    ClearSettings();
    SetSetting("Iccmd", subject.framing);
    GSetLogLevel(2); // the texts of the log are formatted too
    if (!subject.opensTheReader)
    {
        ASSERT_EQ(0, Vantor_Open(&context, subject.usb ? 0 : 3, 9600, 0));
    }
    if (subject.prepare)
        subject.prepare();
}

void Unplug(const Trial &trial)
{
    Restore(trial.golden);
    if (!trial.subject.opensTheReader)
        Vantor_Close(&context);
    g_line = Line();
}

void PrepareNextCall(Trial *trial)
{
    const Subject &subject = trial->subject;
    if (subject.opensTheReader || subject.rows.size() <= kFewRows)
        return;
    ReaderScript script;
    script.united = subject.framing == 1;
    script.Apdu("0084000002", "11229000");
    trial->lightRows = script.rows;
}

} // namespace

unsigned char *Outputs::Bytes(size_t room)
{
    const size_t rounded = (room + 15) / 16 * 16;
    unsigned char *const start = g_memory + taken + kGuard;
    taken += kGuard + rounded;
    memcpy(start, kPattern.filled.data(), room);
#ifndef __SANITIZE_ADDRESS__
    memcpy(start - kGuard, kPattern.guard.data(), kGuard);
    memcpy(start + room, kPattern.guard.data(), kGuard);
#else
    ASAN_POISON_MEMORY_REGION(start - kGuard, kGuard);
    ASAN_POISON_MEMORY_REGION(start + room, kGuard);
#endif
    areas.push_back({start, room, 0, kUntouched});
    return start;
}

char *Outputs::Text(size_t room)
{
    return reinterpret_cast<char *>(Bytes(room));
}

char *Outputs::ZeroedText(size_t room)
{
    char *text = Text(room);
    memset(text, 0, room);
    areas.back().fill = 0;
    return text;
}

void Outputs::Used(const void *buffer, size_t count)
{
    for (Area &area : areas)
        if (area.start == buffer)
            area.used = std::min(count, area.room);
}

void Outputs::UsedText(const char *text)
{
    for (const Area &area : areas)
        if (area.start == reinterpret_cast<const unsigned char *>(text))
        {
            const size_t length = strnlen(text, area.room);
            Used(text, length == area.room && area.start[0] == area.fill ? 0 : length + 1);
        }
}

void Outputs::Reset()
{
#ifdef __SANITIZE_ADDRESS__
    ASAN_UNPOISON_MEMORY_REGION(g_memory, taken + 2 * kGuard);
#endif
    areas.clear();
    taken = 0;
}

std::string Outputs::Problem() const
{
    for (const Area &area : areas)
    {
#ifndef __SANITIZE_ADDRESS__
        if (memcmp(area.start - kGuard, kPattern.guard.data(), kGuard) != 0 ||
            memcmp(area.start + area.room, kPattern.guard.data(), kGuard) != 0)
            return "wrote beside a buffer of " + std::to_string(area.room) + " bytes";
#endif
        const auto &before = area.fill == 0 ? kPattern.zeroed : kPattern.filled;
        if (memcmp(area.start + area.used, before.data(), area.room - area.used) != 0)
            return "wrote behind the " + std::to_string(area.used) + " bytes that it reports of " +
                   std::to_string(area.room);
    }
    return "";
}

std::string Outputs::Given() const
{
    std::string given;
    for (const Area &area : areas)
        given.append(reinterpret_cast<const char *>(area.start), area.used);
    return given;
}

void DamageEveryAnswer(const Subject &subject)
{
    Plug(subject);
    Trial trial(subject);
    TryGolden(&trial);
    PrepareNextCall(&trial);
    for (size_t row = 0; row < subject.rows.size() && !testing::Test::HasFailure(); row++)
    {
        const std::string &answer = subject.rows[row].answer;
        ForEachDamage(answer,
                      [&](const std::string &damaged)
                      {
                          if (IsDue(&trial))
                              Try(&trial, {row, &damaged, nullptr});
                      });
        Frame frame;
        std::string payload;
        if (!TakeFrameOff(answer, &frame, &payload))
            continue;
        EXPECT_EQ(answer, PutFrameAround(frame, payload)) << subject.name;
        ForEachDamage(payload,
                      [&](const std::string &damaged)
                      {
                          if (!IsDue(&trial))
                              return;
                          const std::string framed = PutFrameAround(frame, damaged);
                          if (!framed.empty())
                              Try(&trial, {row, &framed, nullptr});
                      });
    }
    Unplug(trial);
}

void DamageEveryReport(Subject subject)
{
    subject.usb = true;
    Plug(subject);
    Trial trial(subject);
    TryGolden(&trial);
    PrepareNextCall(&trial);
    for (size_t row = 0; row < subject.rows.size() && !testing::Test::HasFailure(); row++)
    {
        std::vector<std::string> reports = InReports(subject.rows[row].answer);
        for (std::string &report : reports)
        {
            const std::string good = report;
            ForEachDamage(good,
                          [&](const std::string &damaged)
                          {
                              if (!IsDue(&trial))
                                  return;
                              report = damaged;
                              Try(&trial, {row, nullptr, &reports});
                          });
            report = good;
        }
    }
    Unplug(trial);
}

} // namespace damage_testing
