// The library's side of a scripted line: a device context on the line, and settings of its own.
#pragma once

#include <string>

#include "support/golden_line.h"
#include "support/scratch.h"
#include "vantor/support.h"
#include "vantor/transport.h"

namespace wire_testing
{

struct LineHost
{
    testing_support::Scratch directory;
    DEVCONTEXT device{};

    // The context is that of serial port 3, not open. `settings`: lines of [devcfg].
    LineHost(const std::string &terminal, const std::string &settings)
    {
        Settings(settings);
        GSetComName(3, terminal.c_str());
        DC_SetInterfaceType(&device, "com");
        DC_SetCOMParams(&device, 3, 9600);
    }
    LineHost(const testing_support::GoldenLine &line, const std::string &settings)
        : LineHost(line.path, settings)
    {
    }
    ~LineHost()
    {
        GSetLogLevel(0); // the log file goes with the directory
    }
    LineHost(const LineHost &) = delete;
    LineHost &operator=(const LineHost &) = delete;

    void Settings(const std::string &settings) const
    {
        const std::string path = directory.path + "/config.ini";
        testing_support::WriteFile(path, "[devcfg]\n" + settings);
        GSetConfigFilePath(path.c_str());
    }
    void LogAt(int level) const
    {
        GSetLogFilePath((directory.path + "/wire.log").c_str());
        GSetLogLevel(level);
    }
    std::string Log() const
    {
        return testing_support::ReadFile(directory.path + "/wire.log");
    }
};

// A terminal that cannot be opened: a call that gets as far as opening it returns -2.
inline const char *const kNoTerminal = "/nonexistent/terminal";

} // namespace wire_testing
