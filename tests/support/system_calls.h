// Which system calls a piece of work makes, watched from outside with ptrace.
#pragma once

#include <functional>
#include <vector>

namespace testing_support
{

// Runs the work in a child process and gives the numbers of its system calls in order (SYS_read
// ...). Calls that only read the clock are left out: most machines serve them without the kernel.
std::vector<long> SystemCallsOf(const std::function<void()> &work);

} // namespace testing_support
