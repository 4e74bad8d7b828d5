// The clock: it stands still but for what waits are put to its account.
#include <algorithm>
#include <unistd.h>

#include "standins/calls/rows.h"

namespace library_calls
{

void PassTime(int64_t nanoseconds)
{
    TheWatch().now += std::max<int64_t>(nanoseconds, 0);
}

namespace
{

// 7 March 2024, so that no date rule of the library meets the present day.
constexpr int64_t kBeginning = 1709800000;

timespec Now(clockid_t clock)
{
    const int64_t now = TheWatch().now + (clock == CLOCK_REALTIME ? kBeginning * kSecond : 0);
    return {now / kSecond, now % kSecond};
}

} // namespace

int64_t Until(const timespec &deadline, clockid_t clock)
{
    const timespec now = Now(clock);
    return (deadline.tv_sec - now.tv_sec) * kSecond + (deadline.tv_nsec - now.tv_nsec);
}

namespace
{

int ClockGettime(clockid_t clock, timespec *time)
{
    PassTime(1000); // so that a loop that only looks at the clock ends
    *time = Now(clock);
    return 0;
}

time_t Time(time_t *time)
{
    const time_t now = Now(CLOCK_REALTIME).tv_sec;
    if (time != nullptr)
        *time = now;
    return now;
}

Row s_usleep;

int Usleep(useconds_t microseconds)
{
    if (const Fault *fault = Enter(s_usleep))
        return Spoiled<int>(*fault);
    PassTime(int64_t{microseconds} * 1000);
    return 0;
}

} // namespace

void AddClock(RowList *rows)
{
    rows->insert(rows->end(),
                 {
                     Special(&s_usleep, "usleep", Address(&Usleep), {Fails(-1, EINTR)}),
                     Alias("clock_gettime", Address(&ClockGettime)),
                     Alias("time", Address(&Time)),
                     Passes<&localtime_r>("localtime_r", {Fails(0, EOVERFLOW)}),
                 });
}

} // namespace library_calls
