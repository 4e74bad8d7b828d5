// The time that bytes take on a line: ten bit times each, one after the other.
#pragma once

#include "vreader/cards/card.h"

#include <chrono>
#include <deque>

namespace vreader
{

using Clock = std::chrono::steady_clock;
using TimePoint = Clock::time_point;

Clock::duration ByteTime(unsigned baud);

// Bytes that the host has handed to the line and that are still on their way.
struct Arrivals
{
    std::deque<uint8_t> bytes;
    TimePoint next; // when the first of them has arrived
};

void Depart(Arrivals *arrivals, const uint8_t *bytes, size_t count, unsigned baud, TimePoint now);
// The bytes that have arrived by now.
Bytes Arrived(Arrivals *arrivals, unsigned baud, TimePoint now);
// When it is worth looking again: the next end byte's arrival, or the last byte's. Not for an empty
// line.
TimePoint NextArrival(const Arrivals &arrivals, unsigned baud);

// A sender's allowance: how many of `rest` bytes have had their time by now. `next` is when the
// first of them has left, and is carried on.
size_t Allowance(TimePoint *next, size_t rest, unsigned baud, TimePoint now);
// When it is worth looking again: about a millisecond's bytes later, or the rest's end.
TimePoint NextAllowance(TimePoint next, size_t rest, unsigned baud);

} // namespace vreader
