// The library's log without what changes from run to run.
#pragma once

#include <string>

namespace testing_support
{

// "Info(2024-03-07 10:11:12):Cancel!\r\n" becomes "Info:Cancel!\r\n", line by line.
inline std::string LogMessages(const std::string &log)
{
    std::string messages;
    for (size_t start = 0; start < log.size();)
    {
        const size_t end = log.find("\r\n", start) + 2;
        const std::string line = log.substr(start, end - start);
        messages += line.substr(0, line.find('(')) + line.substr(line.find("):") + 1);
        start = end;
    }
    return messages;
}

} // namespace testing_support
