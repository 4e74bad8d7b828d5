// The library's log in a file of this test's own, for tests that link the floors.
#pragma once

#include <string>

#include "support/log_messages.h"
#include "support/scratch.h"
#include "vantor/support.h"

namespace testing_support
{

struct LogCapture
{
    Scratch directory;

    explicit LogCapture(int level = 2)
    {
        WriteFile(directory.path + "/test.log", "");
        GSetLogFilePath((directory.path + "/test.log").c_str());
        GSetLogLevel(level);
    }
    ~LogCapture()
    {
        GSetLogLevel(0); // nothing is written once the directory is gone
    }

    std::string Lines() const
    {
        return LogMessages(ReadFile(directory.path + "/test.log"));
    }
};

} // namespace testing_support
