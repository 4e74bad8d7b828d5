// Faults that the next answers suffer from.
#pragma once

#include "vreader/wire/frame.h"

#include <optional>
#include <string>

namespace vreader
{

enum class FaultKind
{
    silence,
    delay,
    noise,
    cut,
    truncate,
    check,
    status,
    raw,
    flood,
    unplug
};

struct Fault
{
    FaultKind kind = FaultKind::silence;
    std::string text;         // as it was set: "delay 200"
    unsigned long number = 0; // delay, cut, truncate, flood
    Bytes bytes;              // noise, status, raw
    unsigned long count = 1;  // answers left; 0: all
    unsigned long after = 0;  // answers that pass before
};

// "KIND [argument] [count N] [after N]"; nothing and a text when it is wrong.
std::optional<Fault> ParseFault(const std::string &words, std::string *problem);

// What is to become of one answer.
struct AnswerFaults
{
    bool silence = false;
    bool unplug = false;
    bool wrongCheck = false;
    unsigned long delayMs = 0;
    Bytes noise;
    unsigned long pieceSize = 0; // 0: in one piece
    bool truncate = false;
    unsigned long truncateTo = 0; // 0: all but the end byte
    std::optional<Bytes> payload;
    std::optional<Bytes> raw;
    std::string text; // all that are due, for the trace
};

// The faults that are due for the answer at hand; counts them down and drops those that are used
// up.
AnswerFaults TakeDueFaults(std::vector<Fault> *faults);

// The wire bytes with noise, truncation and raw or flooding bytes applied, cut into pieces.
std::vector<Bytes> Spoiled(const AnswerFaults &faults, Bytes wire);

} // namespace vreader
