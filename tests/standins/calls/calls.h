// Stands between a loaded library and everything it calls: lets a chosen call fail, counts, keeps
// account of memory and locks, and lets time pass at once where the library waits.
//
//     library_calls::Redirect(library.handle);
//     library_calls::Begin({Who::Host, 3, 0, false}); // this thread's third call fails
//     const int result = BO_Open(3, 9600, 0);
//     const Outcome outcome = library_calls::End();   // "open: EMFILE"
//
// The serial line and the clock are played here: what the library writes to the terminal goes to a
// function, what that answers lies ready for the next read, and a wait without anything to come is
// over at once, with the clock put forward. Everything else is done by who is called.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace library_calls
{

using Bytes = std::vector<uint8_t>;

// ---- Redirection ----

// From now on all calls of this library go through here. One library at a time.
void Redirect(void *library);
// What it calls and the table does not know.
std::vector<std::string> Unknown(void *library);
// Whether that call can be made to fail.
bool CanFail(const std::string &name);

// ---- Failures ----

// The thread that called Begin, or one that the library started.
enum class Who
{
    Host,
    LibraryThread
};

struct Order
{
    Who who = Who::Host;
    uint64_t call = 0;    // from 1 on; 0: none, the calls are noted
    size_t fault = 0;     // which of the ways in which that call fails
    bool lasting = false; // and every later call of the same function
};

struct Noted
{
    std::string name;
    size_t faults;             // in how many ways it fails
    std::vector<bool> lasting; // which of them can go on
};

struct Outcome
{
    std::string met;           // "write: EIO"; empty: the work was done without that many calls
    bool openedLog = true;     // false: a file to append to could not be opened
    bool waitsForEver = false; // a lock that this thread holds was asked for again
    std::vector<Noted> noted;  // of an order without a call
};

void Begin(const Order &order);
Outcome End();

// Every call of that function fails so ("write", "ENOSPC"), in all threads, until AllWell.
void Always(const std::string &name, const std::string &fault);
// The same for opens that would make a file.
void NoNewFiles(const std::string &fault);
void AllWell();

// ---- What the library holds ----

struct Allocation
{
    void *memory;
    std::string site; // the exported function that asked for it, or ""
};

std::vector<Allocation> Live();
// Frees it as the library would.
void Release(const Allocation &allocation);

// The locks that this thread has taken in the library and not let go.
std::vector<void *> LocksHeld();
void LetGo(void *lock);

// ---- The line and the clock ----

// A terminal that the library may open; what it writes there goes to `hear`, in its own thread.
void PlayLine(const std::string &path, std::function<void(const Bytes &bytes)> hear);
void Say(const Bytes &bytes); // what the line's far end says
void Silence();               // what was said and not read is gone
void StopPlaying();
// The number that the terminal's descriptor gets; 0: as it comes.
void NumberLine(int descriptor);

// The device on the virtual bus that is waited for; -1 for none.
void WatchUsb(int device);

// Milliseconds that have passed for the library.
uint64_t Milliseconds();

} // namespace library_calls
