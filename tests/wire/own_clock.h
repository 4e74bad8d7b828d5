// A clock of the test's own: usleep and time of the C library, for the code under test that is
// linked into this program. Include it in one file of a program only.
#pragma once

#include <cstdint>
#include <ctime>
#include <functional>
#include <unistd.h>

namespace wire_testing
{

struct Clock
{
    int64_t microseconds = 0;
    int pauses = 0;
    bool onlyTenths = true; // every pause was one of 100 ms
    std::function<void(int pause)> onPause;
};

inline Clock g_clock;

} // namespace wire_testing

extern "C" int usleep(useconds_t microseconds)
{
    wire_testing::Clock &clock = wire_testing::g_clock;
    clock.microseconds += microseconds;
    clock.pauses++;
    clock.onlyTenths = clock.onlyTenths && microseconds == 100000;
    if (clock.onPause)
        clock.onPause(clock.pauses);
    return 0;
}

extern "C" time_t time(time_t *result) noexcept
{
    const time_t now = static_cast<time_t>(wire_testing::g_clock.microseconds / 1000000);
    if (result != nullptr)
        *result = now;
    return now;
}
