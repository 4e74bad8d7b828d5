// Memory, of which account is kept.
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <new>

#include "standins/calls/rows.h"

namespace library_calls
{

namespace
{

Row s_malloc;
Row s_calloc;
Row s_strdup;
Row s_wcsdup;
Row s_realpath;
Row s_new;

template <typename Make>
auto *Allocate(const Row &row, void *site, const Make &make)
{
    decltype(make()) memory = nullptr;
    if (const Fault *fault = Enter(row))
        errno = fault->errorNumber;
    else
        memory = make();
    NoteMemory(memory, site);
    return memory;
}

void *Malloc(size_t size)
{
    return Allocate(s_malloc, __builtin_return_address(0), [=] { return malloc(size); });
}

void *Calloc(size_t count, size_t size)
{
    return Allocate(s_calloc, __builtin_return_address(0), [=] { return calloc(count, size); });
}

char *Strdup(const char *text)
{
    return Allocate(s_strdup, __builtin_return_address(0), [=] { return strdup(text); });
}

wchar_t *Wcsdup(const wchar_t *text)
{
    return Allocate(s_wcsdup, __builtin_return_address(0), [=] { return wcsdup(text); });
}

char *Realpath(const char *path, char *resolved)
{
    return Allocate(s_realpath, __builtin_return_address(0),
                    [=] { return realpath(path, resolved); });
}

char *RealpathChecked(const char *path, char *resolved, size_t /*room*/)
{
    return Allocate(s_realpath, __builtin_return_address(0),
                    [=] { return realpath(path, resolved); });
}

// By malloc's own pair, so that Release can free it.
void *New(size_t size, const std::nothrow_t &)
{
    return Allocate(s_new, __builtin_return_address(0), [=] { return malloc(size); });
}

void Free(void *memory)
{
    ForgetMemory(memory);
    free(memory);
}

void Delete(void *memory, size_t /*size*/)
{
    Free(memory);
}

} // namespace

void AddMemory(RowList *rows)
{
    const std::vector<Fault> none = {Fails(0, ENOMEM)};
    rows->insert(rows->end(),
                 {
                     Special(&s_malloc, "malloc", Address(&Malloc), none),
                     Special(&s_calloc, "calloc", Address(&Calloc), none),
                     Special(&s_strdup, "strdup", Address(&Strdup), none),
                     Special(&s_wcsdup, "wcsdup", Address(&Wcsdup), none),
                     Special(&s_realpath, "realpath", Address(&Realpath), {Fails(0, ENOMEM)}),
                     Alias("__realpath_chk", Address(&RealpathChecked)),
                     Special(&s_new, "_ZnwmRKSt9nothrow_t", Address(&New), none),
                     Alias("free", Address(&Free)),
                     Alias("_ZdlPv", Address(&Free)),
                     Alias("_ZdlPvm", Address(&Delete)),
                 });
}

} // namespace library_calls
