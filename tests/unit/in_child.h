// Work that must not touch the test's own process: a lock that stays held, another user, limits.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace testing_support
{

// Runs the work in a child process and gives what waitpid tells of its end. A child that hangs is
// killed by its alarm.
inline int StatusOfChild(const std::function<int()> &work)
{
    const pid_t child = fork();
    if (child == 0)
    {
        alarm(60);
        int result = 255;
        try
        {
            result = work();
        }
        catch (const std::exception &)
        {
            result = 254;
        }
        _exit(result);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child)
        throw std::runtime_error("no child process");
    return status;
}

// What the work returns in the child, 0 to 255; -1 when a signal ended it.
inline int ResultInChild(const std::function<int()> &work)
{
    const int status = StatusOfChild(work);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// The same without the rights of the superuser, for whom no permission bit counts.
inline int ResultWithoutRights(const std::function<int()> &work)
{
    constexpr uid_t kNobody = 65534;
    return ResultInChild(
        [&work]
        {
            if (geteuid() == 0 && (setegid(kNobody) != 0 || seteuid(kNobody) != 0))
                return 253;
            return work();
        });
}

} // namespace testing_support
