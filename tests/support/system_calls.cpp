#include "support/system_calls.h"

#include <csignal>
#include <stdexcept>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace testing_support
{

namespace
{

// A call that no work makes marks its beginning and its end.
const long kMarker = SYS_getpriority;

void RunMarked(const std::function<void()> &work)
{
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    raise(SIGSTOP);
    syscall(kMarker, 0, 0);
    work();
    syscall(kMarker, 0, 0);
    _exit(0);
}

// Lets the child run to its next stop; the number of the call it enters there, -1 for other stops.
long NextCall(pid_t child, int *status)
{
    ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
    if (waitpid(child, status, 0) != child)
        throw std::runtime_error("the traced child is gone");
    if (!WIFSTOPPED(*status) || WSTOPSIG(*status) != (SIGTRAP | 0x80))
        return -1;
    __ptrace_syscall_info info;
    if (ptrace(PTRACE_GET_SYSCALL_INFO, child, reinterpret_cast<void *>(sizeof(info)), &info) <= 0)
        throw std::runtime_error("system calls cannot be watched here");
    return info.op == PTRACE_SYSCALL_INFO_ENTRY ? static_cast<long>(info.entry.nr) : -1;
}

} // namespace

std::vector<long> SystemCallsOf(const std::function<void()> &work)
{
    const pid_t child = fork();
    if (child == 0)
        RunMarked(work);
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child || !WIFSTOPPED(status) ||
        ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL) != 0)
        throw std::runtime_error("a child cannot be traced here");

    std::vector<long> calls;
    int markers = 0;
    while (!WIFEXITED(status) && !WIFSIGNALED(status))
    {
        const long call = NextCall(child, &status);
        if (call == kMarker)
            ++markers;
        else if (markers == 1 && call >= 0 && call != SYS_clock_gettime)
            calls.push_back(call);
    }
    if (markers != 2)
        throw std::runtime_error("the traced work did not come to its end");
    return calls;
}

} // namespace testing_support
