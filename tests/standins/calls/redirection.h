// The calls that a loaded shared library makes to others: where the loader has put their addresses,
// and how another address gets there. Only that one library sees the difference.
#pragma once

#include <string>
#include <vector>

namespace library_calls
{

struct Import
{
    std::string name;
    void **slot; // holds the address that is called, or that is passed on as a pointer
};

// Everything that the library takes from others, functions and variables.
std::vector<Import> ImportsOf(void *library);

// The slot may lie in memory that the loader has made read-only.
void SetSlot(void **slot, void *address);

} // namespace library_calls
