#include "standins/calls/watch.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <stdexcept>

#include "standins/calls/redirection.h"

namespace library_calls
{

namespace
{

// No work of this library makes as many: one that does goes round in circles.
constexpr uint64_t kMostCalls = 3000000;

const Row *FindRow(const std::string &name)
{
    for (const Row *row : Rows())
        if (name == row->name)
            return row;
    return nullptr;
}

const Fault *FindFault(const std::string &name, const std::string &label)
{
    const Row *row = FindRow(name);
    if (row != nullptr)
        for (const Fault &fault : row->faults)
            if (fault.label == label)
                return &fault;
    throw std::runtime_error("no such fault: " + name + " " + label);
}

} // namespace

// Never destroyed: the library's destructors come after those of this program.
Watch &TheWatch()
{
    static Watch *watch = new Watch;
    return *watch;
}

HeldLocks &HeldHere()
{
    static thread_local HeldLocks held;
    return held;
}

const Fault *Enter(const Row &row)
{
    Watch &watch = TheWatch();
    const std::lock_guard<std::mutex> guard(watch.mutex);
    if (!watch.always.empty())
        if (const auto found = watch.always.find(row.name); found != watch.always.end())
            return found->second;
    if (!watch.running || row.faults.empty())
        return nullptr;
    if (watch.met == &row && watch.order.lasting && watch.fault->lasting)
        return watch.fault;
    const bool isHost = pthread_equal(pthread_self(), watch.host) != 0;
    if ((watch.order.who == Who::Host) != isHost)
        return nullptr;
    if (++watch.count > kMostCalls)
    {
        std::fprintf(stderr, "a call that never ends: still in %s\n", row.name);
        abort();
    }
    if (watch.order.call == 0)
    {
        std::vector<bool> lasting;
        for (const Fault &fault : row.faults)
            lasting.push_back(fault.lasting);
        watch.outcome.noted.push_back({row.name, row.faults.size(), lasting});
    }
    if (watch.count != watch.order.call)
        return nullptr;
    watch.met = &row;
    watch.fault = &row.faults[std::min(watch.order.fault, row.faults.size() - 1)];
    watch.outcome.met = std::string(row.name) + ": " + watch.fault->label;
    return watch.fault;
}

void Redirect(void *library)
{
    for (const Import &import : ImportsOf(library))
    {
        const Row *row = FindRow(import.name);
        if (row != nullptr && row->stands != nullptr)
            SetSlot(import.slot, row->stands);
    }
}

std::vector<std::string> Unknown(void *library)
{
    std::vector<std::string> unknown;
    for (const Import &import : ImportsOf(library))
        if (FindRow(import.name) == nullptr)
            unknown.push_back(import.name);
    return unknown;
}

bool CanFail(const std::string &name)
{
    const Row *row = FindRow(name);
    return row != nullptr && !row->faults.empty();
}

void Begin(const Order &order)
{
    Watch &watch = TheWatch();
    const std::lock_guard<std::mutex> guard(watch.mutex);
    watch.host = pthread_self();
    watch.order = order;
    watch.count = 0;
    watch.met = nullptr;
    watch.fault = nullptr;
    watch.outcome = {};
    watch.running = true;
}

Outcome End()
{
    Watch &watch = TheWatch();
    const std::lock_guard<std::mutex> guard(watch.mutex);
    watch.running = false;
    return watch.outcome;
}

void Always(const std::string &name, const std::string &fault)
{
    Watch &watch = TheWatch();
    const std::lock_guard<std::mutex> guard(watch.mutex);
    watch.always[name] = FindFault(name, fault);
}

void NoNewFiles(const std::string &fault)
{
    Watch &watch = TheWatch();
    const std::lock_guard<std::mutex> guard(watch.mutex);
    watch.noNewFiles = FindFault("open", fault);
}

void AllWell()
{
    Watch &watch = TheWatch();
    const std::lock_guard<std::mutex> guard(watch.mutex);
    watch.always.clear();
    watch.noNewFiles = nullptr;
}

// ---- What the library holds ----

void NoteMemory(void *memory, void *site)
{
    Watch &watch = TheWatch();
    const std::lock_guard<std::mutex> guard(watch.mutex);
    if (memory != nullptr)
        watch.live[memory] = site;
}

void ForgetMemory(void *memory)
{
    Watch &watch = TheWatch();
    const std::lock_guard<std::mutex> guard(watch.mutex);
    watch.live.erase(memory);
}

void NoteLogTrouble()
{
    Watch &watch = TheWatch();
    const std::lock_guard<std::mutex> guard(watch.mutex);
    watch.outcome.openedLog = false;
}

void NoteEndlessWait()
{
    Watch &watch = TheWatch();
    const std::lock_guard<std::mutex> guard(watch.mutex);
    watch.outcome.waitsForEver = true;
}

std::vector<Allocation> Live()
{
    std::unordered_map<void *, void *> live;
    {
        Watch &watch = TheWatch();
        const std::lock_guard<std::mutex> guard(watch.mutex);
        live = watch.live;
    }
    std::vector<Allocation> list;
    for (const auto &[memory, site] : live)
    {
        Dl_info info = {};
        const bool named = dladdr(site, &info) != 0 && info.dli_sname != nullptr;
        list.push_back({memory, named ? info.dli_sname : ""});
    }
    return list;
}

void Release(const Allocation &allocation)
{
    ForgetMemory(allocation.memory);
    free(allocation.memory);
}

std::vector<void *> LocksHeld()
{
    const HeldLocks &held = HeldHere();
    return {held.locks, held.locks + held.count};
}

void LetGo(void *lock)
{
    HeldLocks &held = HeldHere();
    int kept = 0;
    for (int i = 0; i < held.count; ++i)
        if (held.locks[i] != lock)
        {
            held.locks[kept] = held.locks[i];
            held.taken[kept++] = held.taken[i];
        }
        else if (held.taken[i])
            pthread_mutex_unlock(static_cast<pthread_mutex_t *>(lock));
    held.count = kept;
}

// ---- The line and the clock ----

void PlayLine(const std::string &path, std::function<void(const Bytes &bytes)> hear)
{
    Watch &watch = TheWatch();
    const std::lock_guard<std::mutex> guard(watch.mutex);
    watch.line = {};
    watch.line.path = path;
    watch.line.hear = std::move(hear);
}

void StopPlaying()
{
    PlayLine("", nullptr);
    WatchUsb(-1);
}

void Say(const Bytes &bytes)
{
    Watch &watch = TheWatch();
    const std::lock_guard<std::mutex> guard(watch.mutex);
    watch.line.said.insert(watch.line.said.end(), bytes.begin(), bytes.end());
}

void Silence()
{
    Watch &watch = TheWatch();
    const std::lock_guard<std::mutex> guard(watch.mutex);
    watch.line.said.clear();
}

void NumberLine(int descriptor)
{
    Watch &watch = TheWatch();
    const std::lock_guard<std::mutex> guard(watch.mutex);
    watch.line.number = descriptor;
}

void WatchUsb(int device)
{
    Watch &watch = TheWatch();
    const std::lock_guard<std::mutex> guard(watch.mutex);
    watch.usbDevice = device;
}

uint64_t Milliseconds()
{
    return static_cast<uint64_t>(TheWatch().now.load() / 1000000);
}

} // namespace library_calls
