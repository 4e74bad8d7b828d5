// A fresh copy of the library in a directory of its own, loaded as a host application loads it.
#pragma once

#include <string>

#include "support/scratch.h"
#include "vantor.h"

namespace testing_support
{

struct HostLibrary
{
    Scratch directory;
    void *handle = nullptr;

    // Copies the library, writes config.ini beside it (the shipped one when none is given), loads.
    explicit HostLibrary(const std::string &configIni = "");
    ~HostLibrary();
    HostLibrary(const HostLibrary &) = delete;
    HostLibrary &operator=(const HostLibrary &) = delete;

    void *Symbol(const char *name) const; // fails the test when it is not exported
    void Unload();
    std::string ConfigPath() const;
    std::string Config() const;
    std::string Log() const; // everything in today's log file; "" when there is none
};

// For a test that unloads the library under the leak check: what a library that is gone kept on
// purpose cannot be told by name any more. Nothing that is allocated in its scope is checked.
struct UnnamedLeaks
{
    UnnamedLeaks();
    ~UnnamedLeaks();
};

// The shipped config.ini with one "key=value" line replaced; keys as in the file.
std::string ShippedConfig();
std::string WithSetting(std::string configIni, const std::string &key, const std::string &value);

} // namespace testing_support

// CALL(library, BO_Open)(1, 9600, 0): the exported function under the type the header gives it.
#define CALL(library, name) (reinterpret_cast<decltype(&::name)>((library).Symbol(#name)))
// The same for a call that is exported under its C++ symbol.
#define CPP_CALL(library, name, symbol)                                                            \
    (reinterpret_cast<decltype(&::name)>((library).Symbol(symbol)))
#define VARIABLE(library, name) (*reinterpret_cast<decltype(&::name)>((library).Symbol(#name)))
