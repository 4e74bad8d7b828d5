// The tool beside a library of its own, as an installation has them: DIR/bin/vantor finds
// DIR/lib/libvantor.so, which finds DIR/lib/config.ini.
#pragma once

#include <string>
#include <vector>

#include "child.h"
#include "support/scratch.h"
#include "vreader/virtual_reader.h"

struct ToolDirectory
{
    testing_support::Scratch scratch;
    explicit ToolDirectory(const std::string &configIni = ""); // empty: the shipped one
    std::string ConfigPath() const;
    std::vector<std::string> Command(const std::vector<std::string> &arguments) const;
    ChildResult Run(const std::vector<std::string> &arguments,
                    const ChildOptions &options = {}) const;
};

// A virtual reader for one test; its terminal as --port takes it.
struct TestReader
{
    vreader::RunningReader *reader;
    explicit TestReader(const std::string &profileText = ""); // empty: the default profile
    ~TestReader();
    TestReader(const TestReader &) = delete;
    TestReader &operator=(const TestReader &) = delete;
    std::string Port() const;
    std::string Control(const std::string &line) const; // fails the test on "error: ..."
};
