#include "damage/bench/bench.h"

#include <cstdio>
#include <cstring>

#include "damage/bench/variables.h"
#include "vantor/link.h"
#include "vantor/operations.h"
#include "vantor/support.h"

namespace damage_testing
{

namespace
{

constexpr int64_t kGraceMs = 50;
constexpr size_t kMostReported = 5; // failures of one subject that are printed
constexpr size_t kWholeNextCall = 16;
constexpr size_t kSecondLook = 4;
constexpr size_t kFewRows = 3;

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

void Script(const Trial &trial, const Damaged &damaged)
{
    Rewind(trial.subject.rows);
    LeaveAlone();
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
// answer from another's, so the next call may take it for its own; it does no harm, and the call
// behind that one finds the line in order again.
void TryNextCall(Trial *trial, const Damaged &damaged)
{
    if (!g_line.waiting.empty() || !g_line.reports.empty())
    {
        MakeNextCall(trial, damaged, false);
        if (trial->subject.hasFixedLength)
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
