// Between the sources of the stand-in for calls.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <pthread.h>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "standins/calls/calls.h"

namespace library_calls
{

enum class Manner
{
    Instead, // the call is not made
    After,   // it is made, and its result is another: closing closes all the same
    Short,   // less is done than was asked for
};

struct Fault
{
    std::string label; // "EIO"
    Manner manner = Manner::Instead;
    long result = 0;
    int errorNumber = 0;
    bool lasting = false; // may go on for ever: a full disk, not a signal
};

struct Row
{
    const char *name;
    void *stands; // what is called in its place; null: it is let through
    std::vector<Fault> faults;
};

// table.cpp
const std::vector<Row *> &Rows();

// The fault that this call of the row is to have, or null.
const Fault *Enter(const Row &row);

struct Line
{
    std::string path;
    std::function<void(const Bytes &)> hear;
    std::set<int> descriptors;
    std::deque<uint8_t> said;
    int number = 0;
};

struct Watch
{
    std::mutex mutex;
    std::map<std::string, const Fault *> always;
    const Fault *noNewFiles = nullptr;
    bool running = false;
    pthread_t host = {};
    Order order;
    uint64_t count = 0;
    const Row *met = nullptr;
    const Fault *fault = nullptr;
    Outcome outcome;
    std::unordered_map<void *, void *> live; // memory, and where it was asked for
    Line line;
    int usbDevice = -1;
    std::atomic<int64_t> now{0}; // nanoseconds
};

Watch &TheWatch();

void NoteMemory(void *memory, void *site);
void ForgetMemory(void *memory);
void NoteLogTrouble();
void NoteEndlessWait();

// The locks of one thread. Plain: the library's destructors run after a thread's own objects went.
struct HeldLocks
{
    void *locks[32];
    bool taken[32]; // false: it was held already, and waited for in vain
    int count;
};

HeldLocks &HeldHere();

} // namespace library_calls
