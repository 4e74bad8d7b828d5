// One call of the library, its golden answers, and what must hold for every damaged one of them:
//   - the call comes back, and within its limit plus 50 ms of the clock
//   - it writes nothing behind what it reports, and nothing beside the room that its header asks
//   for
//   - the library's own fixed areas are as they were, or hold what belongs there
//   - what it gives does not depend on what the stack held before
//   - the next call, answered as it should be, gives what it always gives
//
//     Subject subject;
//     subject.name = "IC_PowerOn";
//     subject.rows = {{"6002E10182" ETX, "6004003B65003A" ETX}};
//     subject.call = [](Outputs *out) { ... };
//     DamageEveryAnswer(subject);
#pragma once

#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "damage/bench/line.h"
#include "damage/bench/scheme.h"
#include "support/reader_script.h"

namespace damage_testing
{

using testing_support::FromHex;
using testing_support::ReaderScript;

constexpr unsigned char kUntouched = 0xEE;

// The caller's buffers of one call: each has exactly the room that the call's header asks for, is
// filled with EE, and lies between guards.
struct Outputs
{
    Outputs() = default;
    Outputs(const Outputs &) = delete;
    Outputs &operator=(const Outputs &) = delete;
    ~Outputs()
    {
        Reset();
    }

    unsigned char *Bytes(size_t room);
    char *Text(size_t room);       // the same
    char *ZeroedText(size_t room); // for the calls that ask for zero bytes before
    template <typename Number>
    Number *Value(Number before)
    {
        unsigned char *place = Bytes(sizeof before);
        memcpy(place, &before, sizeof before);
        Used(place, sizeof before);
        return reinterpret_cast<Number *>(place);
    }

    // So many bytes of that buffer may have been written; 0 when nothing is said. The rest must be
    // as it was.
    void Used(const void *buffer, size_t count);
    void UsedText(const char *text); // up to its NUL, as far as it was written at all

    // Between two calls.
    void Reset();
    std::string Problem() const; // "" when all is well
    std::string Given() const;   // what the call gave, to compare with another time

    struct Area
    {
        unsigned char *start;
        size_t room;
        size_t used;
        unsigned char fill;
    };
    std::vector<Area> areas;
    size_t taken = 0; // of the memory that they all lie in
};

struct Subject
{
    std::string name;
    std::vector<GoldenExchange> rows;
    std::function<int(Outputs *)> call;
    int result = 0;              // of the call with the golden answers
    uint32_t limitMs = 3000;     // what a reader that falls silent in the middle may cost
    uint32_t pauseMs = 900;      // of waits between attempts
    int framing = 0;             // "Iccmd"
    bool opensTheReader = false; // the call opens and closes it; else it is open
    bool hasFixedLength = false; // the answer: a surplus byte makes all answers behind it lag
    bool usb = false;
    std::function<void()> prepare; // of the library's variables, before the golden state is kept
};

// With every answer of the rows damaged in every way, on the wire and behind a frame that is right.
void DamageEveryAnswer(const Subject &subject);

// Over USB: with every input report of the answers damaged.
void DamageEveryReport(Subject subject);

} // namespace damage_testing
