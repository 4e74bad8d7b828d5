// Threads and locks. A wait for a report of the USB reader is over as soon as none is on its way.
#include <algorithm>
#include <pthread.h>

#include "standins/calls/rows.h"
#include "standins/usb/usb_standin.h"

namespace library_calls
{

namespace
{

// A recursive lock can be taken by its holder; of any other one it would wait for ever.
int MutexLock(pthread_mutex_t *mutex)
{
    HeldLocks &held = HeldHere();
    void **end = held.locks + held.count;
    const bool isHeld = std::find(held.locks, end, mutex) != end;
    if (!isHeld)
        pthread_mutex_lock(mutex);
    const bool taken = !isHeld || pthread_mutex_trylock(mutex) == 0;
    if (!taken)
        NoteEndlessWait(); // and go on, so that the rest of the call is seen
    held.taken[held.count] = taken;
    held.locks[held.count++] = mutex;
    return 0;
}

int MutexUnlock(pthread_mutex_t *mutex)
{
    HeldLocks &held = HeldHere();
    int last = held.count - 1;
    while (last >= 0 && held.locks[last] != mutex)
        --last;
    if (last < 0)
        return pthread_mutex_unlock(mutex);
    const bool taken = held.taken[last];
    for (--held.count; last < held.count; ++last)
    {
        held.locks[last] = held.locks[last + 1];
        held.taken[last] = held.taken[last + 1];
    }
    return taken ? pthread_mutex_unlock(mutex) : 0;
}

Row s_condWait;
Row s_condTimedwait;
Row s_condClockwait;

int CondWait(pthread_cond_t *condition, pthread_mutex_t *mutex)
{
    const Fault *fault = Enter(s_condWait);
    return fault != nullptr ? Spoiled<int>(*fault) : pthread_cond_wait(condition, mutex);
}

bool ReportsAreUnderWay()
{
    Watch &watch = TheWatch();
    const std::lock_guard<std::mutex> guard(watch.mutex);
    return watch.usbDevice >= 0 && !usb_standin::IsQuiet(watch.usbDevice);
}

// A wait for a report: as long as one is on its way through libusb and the read thread it is
// really waited for, and not a moment longer.
int WaitForReports(pthread_cond_t *condition, pthread_mutex_t *mutex, const timespec &deadline,
                   clockid_t clock)
{
    for (int turn = 0; turn < 10000 && ReportsAreUnderWay(); ++turn)
    {
        timespec soon;
        clock_gettime(CLOCK_MONOTONIC, &soon);
        soon.tv_nsec += 1000000;
        if (soon.tv_nsec >= kSecond)
        {
            soon.tv_nsec -= kSecond;
            ++soon.tv_sec;
        }
        if (pthread_cond_clockwait(condition, mutex, CLOCK_MONOTONIC, &soon) == 0)
            return 0;
    }
    PassTime(Until(deadline, clock));
    return ETIMEDOUT;
}

int CondTimedwait(pthread_cond_t *condition, pthread_mutex_t *mutex, const timespec *deadline)
{
    if (const Fault *fault = Enter(s_condTimedwait))
        return Spoiled<int>(*fault);
    return WaitForReports(condition, mutex, *deadline, CLOCK_REALTIME);
}

// The read thread's pause behind failures.
int CondClockwait(pthread_cond_t *, pthread_mutex_t *mutex, clockid_t clock,
                  const timespec *deadline)
{
    if (const Fault *fault = Enter(s_condClockwait))
        return Spoiled<int>(*fault);
    PassTime(Until(*deadline, clock));
    MutexUnlock(mutex);
    MutexLock(mutex);
    return ETIMEDOUT;
}

} // namespace

void AddThreads(RowList *rows)
{
    const std::vector<Fault> spurious = {GivesZero("wakes without a cause")};
    rows->insert(
        rows->end(),
        {
            Alias("pthread_mutex_lock", Address(&MutexLock)),
            Alias("pthread_mutex_unlock", Address(&MutexUnlock)),
            Special(&s_condWait, "pthread_cond_wait", Address(&CondWait), spurious),
            Special(&s_condTimedwait, "pthread_cond_timedwait", Address(&CondTimedwait), spurious),
            Special(&s_condClockwait, "pthread_cond_clockwait", Address(&CondClockwait), spurious),
            Passes<&pthread_create>("pthread_create", {Gives(EAGAIN)}),
            Passes<&pthread_barrier_init>("pthread_barrier_init", {Gives(ENOMEM)}),
            Passes<&pthread_mutex_init>("pthread_mutex_init", {Gives(ENOMEM)}),
            Passes<&pthread_cond_init>("pthread_cond_init", {Gives(ENOMEM)}),
            Passes<&pthread_setname_np>("pthread_setname_np", {Gives(ENOENT)}),
        });
}

} // namespace library_calls
