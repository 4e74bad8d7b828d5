// How the sources that stand in the place of calls are written: the faults that a call has, and calls
// that are only passed on.
#pragma once

#include <cerrno>
#include <ctime>
#include <string>
#include <type_traits>
#include <vector>

#include "standins/calls/watch.h"

// The attributes of the C library's functions mean nothing for what stands in their place.
#pragma GCC diagnostic ignored "-Wignored-attributes"

namespace library_calls
{

// ---- Faults: table.cpp ----

Fault Fails(long result, int errorNumber);
// It does what it is to do and says that it has not: closing, above all.
Fault FailsAfter(long result, int errorNumber);
Fault Gives(int errorNumber); // the error number is the result
Fault GivesZero(const char *label);
Fault Short();
Fault Usb(int libusbError);
Fault UsbAfter(int libusbError);

// ---- Rows ----

template <typename Result>
Result As(long value)
{
    if constexpr (std::is_pointer_v<Result>)
        return reinterpret_cast<Result>(value);
    else
        return static_cast<Result>(value);
}

// What a call with a fault gives, errno set.
template <typename Result>
Result Spoiled(const Fault &fault)
{
    if (fault.errorNumber != 0)
        errno = fault.errorNumber;
    return As<Result>(fault.result);
}

template <typename Function>
struct Bare;
template <typename Result, typename... Arguments>
struct Bare<Result (*)(Arguments...)>
{
    using Type = Result (*)(Arguments...);
};
template <typename Result, typename... Arguments>
struct Bare<Result (*)(Arguments...) noexcept>
{
    using Type = Result (*)(Arguments...);
};

template <auto kFunction, typename Type = typename Bare<decltype(kFunction)>::Type>
struct Plain;
template <auto kFunction, typename Result, typename... Arguments>
struct Plain<kFunction, Result (*)(Arguments...)>
{
    static inline Row row = {};

    static Result Stand(Arguments... arguments)
    {
        const Fault *fault = Enter(row);
        if (fault == nullptr)
            return kFunction(arguments...);
        if (fault->manner == Manner::After)
            (void)kFunction(arguments...);
        return Spoiled<Result>(*fault);
    }
};

template <auto kFunction>
Row *Passes(const char *name, const std::vector<Fault> &faults)
{
    Row *row = &Plain<kFunction>::row;
    *row = {name, reinterpret_cast<void *>(&Plain<kFunction>::Stand), faults};
    return row;
}

inline Row *Special(Row *row, const char *name, void *stands, const std::vector<Fault> &faults)
{
    *row = {name, stands, faults};
    return row;
}

// A second entry to a call: what a hardened build calls in its place.
Row *Alias(const char *name, void *stands);

template <typename Function>
void *Address(Function *function)
{
    return reinterpret_cast<void *>(function);
}

using RowList = std::vector<Row *>;

// Each source's part of the table.
void AddClock(RowList *rows);
void AddLineAndFiles(RowList *rows);
void AddStreamsAndDirectories(RowList *rows);
void AddMemory(RowList *rows);
void AddThreads(RowList *rows);
void AddUsb(RowList *rows);

// ---- The clock: clock_calls.cpp ----

constexpr int64_t kSecond = 1000000000;

void PassTime(int64_t nanoseconds);
int64_t Until(const timespec &deadline, clockid_t clock); // nanoseconds

} // namespace library_calls
