// The pauses of the code under test take a twentieth of their time: usleep and time of the C
// library, for every library in this process. So a pause no longer hides what it only covers, and
// a wait of a second ends after 50 ms. Include it in one file of a program only; such a program
// exports its symbols.
#pragma once

#include <ctime>
#include <unistd.h>

namespace threads_testing
{

constexpr int kQuicker = 20;

inline timespec Monotonic()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now;
}

} // namespace threads_testing

extern "C" int usleep(useconds_t microseconds)
{
    const long nanoseconds = static_cast<long>(microseconds) * 1000 / threads_testing::kQuicker;
    timespec rest = {nanoseconds / 1000000000, nanoseconds % 1000000000};
    return nanosleep(&rest, nullptr);
}

extern "C" time_t time(time_t *result) noexcept
{
    const timespec now = threads_testing::Monotonic();
    const time_t seconds =
        now.tv_sec * threads_testing::kQuicker +
        static_cast<time_t>(now.tv_nsec / (1000000000 / threads_testing::kQuicker));
    if (result != nullptr)
        *result = seconds;
    return seconds;
}
