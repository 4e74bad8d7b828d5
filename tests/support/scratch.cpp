#include "support/scratch.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "support/log_secrets.h"

namespace testing_support
{

Scratch::Scratch()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "vantor-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr)
        throw std::runtime_error("no scratch directory at " + pattern);
    path = pattern;
}

// Every log of a test ends here, so here all of them are searched.
Scratch::~Scratch()
{
    const std::string secret = LineWithSecretBelow(path);
    if (!secret.empty())
    {
        std::fprintf(stderr, "a secret in a log: %s\n", secret.c_str());
        std::abort();
    }
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

void WriteFile(const std::string &path, const std::string &text)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    if (!(file << text).flush())
        throw std::runtime_error("cannot write " + path);
}

std::string ReadFile(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw std::runtime_error("cannot read " + path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

} // namespace testing_support
