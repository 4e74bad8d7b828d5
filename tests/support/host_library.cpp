#include "support/host_library.h"

#include <cstring>
#include <dlfcn.h>
#include <filesystem>
#include <stdexcept>
#include <vector>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

namespace testing_support
{

namespace fs = std::filesystem;

#ifdef __SANITIZE_ADDRESS__

namespace
{

// The leak check tells the leaks on purpose by the names of functions, for which it needs the
// library in memory and its file on the disk. So both stay to the end of the process, and the check
// is made there before they go.
std::vector<std::string> *g_keptDirectories = new std::vector<std::string>;

__attribute__((destructor)) void CheckLeaksAndRemoveKeptDirectories()
{
    __lsan_do_leak_check();
    std::error_code ignored;
    for (const std::string &path : *g_keptDirectories)
        fs::remove_all(path, ignored);
    delete g_keptDirectories;
}

} // namespace

UnnamedLeaks::UnnamedLeaks()
{
    __lsan_disable();
}

UnnamedLeaks::~UnnamedLeaks()
{
    __lsan_enable();
}

HostLibrary::~HostLibrary()
{
    if (handle == nullptr)
        return;
    g_keptDirectories->push_back(directory.path);
    directory.path.clear();
}

#else

UnnamedLeaks::UnnamedLeaks() = default;

UnnamedLeaks::~UnnamedLeaks() = default;

HostLibrary::~HostLibrary()
{
    Unload();
}

#endif

HostLibrary::HostLibrary(const std::string &configIni)
{
    const std::string copy = directory.path + "/libvantor.so";
    fs::copy_file(VANTOR_LIBRARY, copy);
    WriteFile(ConfigPath(), configIni.empty() ? ShippedConfig() : configIni);
    handle = dlopen(copy.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr)
        throw std::runtime_error(dlerror());
}

void *HostLibrary::Symbol(const char *name) const
{
    void *symbol = dlsym(handle, name);
    if (symbol == nullptr)
        throw std::runtime_error(std::string("not exported: ") + name);
    return symbol;
}

void HostLibrary::Unload()
{
    if (handle != nullptr)
        dlclose(handle);
    handle = nullptr;
}

std::string HostLibrary::ConfigPath() const
{
    return directory.path + "/config.ini";
}

std::string HostLibrary::Config() const
{
    return ReadFile(ConfigPath());
}

std::string HostLibrary::Log() const
{
    std::string text;
    const fs::path log = directory.path + "/log";
    if (fs::exists(log))
        for (const fs::directory_entry &entry : fs::directory_iterator(log))
            text += ReadFile(entry.path());
    return text;
}

std::string ShippedConfig()
{
    return ReadFile(std::string(VANTOR_SOURCE_DIR) + "/config/config.ini");
}

std::string WithSetting(std::string configIni, const std::string &key, const std::string &value)
{
    const std::string line = "\n" + key + "=";
    const size_t start = configIni.find(line);
    if (start == std::string::npos)
        throw std::runtime_error("no such setting: " + key);
    const size_t end = configIni.find('\n', start + 1);
    return configIni.replace(start, end - start, line + value);
}

} // namespace testing_support
