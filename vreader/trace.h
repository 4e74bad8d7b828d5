// What happened, as records that carry their kind; turning one into a line is the printer's work.
#pragma once

#include "vreader/modules/request.h"

#include <chrono>
#include <deque>

namespace vreader
{

enum class EventKind
{
    command,    // understood and served
    notSpoken,  // a command in a framing that the reader is told not to speak
    wrongCheck, // a command that is not carried out for its check byte
    garbage,    // bytes that are no command
    answer,
    noAnswer, // withheld, dropped, or not foreseen
    remark    // everything that is not on the wire
};

struct TraceEvent
{
    EventKind kind = EventKind::remark;
    std::chrono::system_clock::time_point time;
    uint64_t number = 0; // from 1
    Request request;     // the command; for an answer, the command it belongs to
    Reply reply;
    Bytes bytes;            // answers: the payload; garbage: its beginning
    size_t byteCount = 0;   // garbage: how much it was
    bool forced = false;    // the payload comes from a fault and not from the module
    uint8_t check = 0;      // wrongCheck: as received
    uint8_t rightCheck = 0; // and as it should be
    std::string text;       // remarks; for answers, the faults they suffered from
};

constexpr size_t kTraceKept = 10000;
constexpr size_t kGarbageShown = 32;

struct TraceLog
{
    std::deque<TraceEvent> events;
    uint64_t last = 0; // number of the last event ever
};

// Numbers and stamps the event and keeps it; the oldest goes when there are too many.
void Record(TraceLog *log, TraceEvent event);

// One line, without its end: time, direction, framing, meaning, and the bytes in hexadecimal.
std::string TraceLine(const TraceEvent &event);

// The same line with a long hexadecimal text cut to its first and last bytes.
std::string Shortened(const std::string &traceLine);

} // namespace vreader
