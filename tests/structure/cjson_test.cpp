// The library's own symbol table holds all cJSON functions, and they reach libcjson's code.
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "support/host_library.h"

using testing_support::HostLibrary;

namespace
{

struct Hooks
{
    void *(*allocate)(size_t);
    void (*release)(void *);
};

int g_allocations = 0;

void *CountingAllocate(size_t size)
{
    g_allocations++;
    return std::malloc(size);
}

template <typename Function>
Function *Lookup(void *handle, const char *name)
{
    return reinterpret_cast<Function *>(dlsym(handle, name));
}

std::string FileOf(void *symbol)
{
    Dl_info info{};
    return symbol != nullptr && dladdr(symbol, &info) != 0 ? info.dli_fname : "";
}

} // namespace

TEST(CjsonForwarding, FunctionsAreFoundOnTheLibrarysHandleInTheLibraryItself)
{
    HostLibrary library;
    for (const char *name : {"cJSON_Parse", "cJSON_Print", "cJSON_CreateObject", "cJSON_Delete",
                             "cJSON_AddItemToObject", "cJSON_Version"})
        EXPECT_EQ(library.directory.path + "/libvantor.so", FileOf(library.Symbol(name))) << name;
}

TEST(CjsonForwarding, ForwardedCallsRunLibcjsonsOwnCode)
{
    HostLibrary library;
    void *libcjson = dlopen("libcjson.so.1", RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD);
    ASSERT_NE(nullptr, libcjson) << "libcjson is loaded with the library";

    // Hooks set through our symbol are seen by libcjson's own cJSON_Parse: one code, one state.
    Hooks hooks{CountingAllocate, std::free};
    Lookup<void(Hooks *)>(library.handle, "cJSON_InitHooks")(&hooks);
    g_allocations = 0;
    auto *parse = Lookup<void *(const char *)>(libcjson, "cJSON_Parse");
    ASSERT_NE(nullptr, parse);
    EXPECT_NE(FileOf(reinterpret_cast<void *>(parse)), library.directory.path + "/libvantor.so");
    void *tree = parse("[1,2]");
    EXPECT_LT(0, g_allocations) << "libcjson allocates through our hooks";
    Lookup<void(void *)>(library.handle, "cJSON_Delete")(tree);
    Lookup<void(Hooks *)>(library.handle, "cJSON_InitHooks")(nullptr);
    dlclose(libcjson);
}
