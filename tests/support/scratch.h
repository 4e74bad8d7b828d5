// A directory of its own for one test, gone when the test ends.
#pragma once

#include <string>

namespace testing_support
{

struct Scratch
{
    std::string path;
    Scratch();
    ~Scratch();
    Scratch(const Scratch &) = delete;
    Scratch &operator=(const Scratch &) = delete;
};

void WriteFile(const std::string &path, const std::string &text);
std::string ReadFile(const std::string &path);

} // namespace testing_support
