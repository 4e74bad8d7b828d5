#include "standins/calls/redirection.h"

#include <cstdint>
#include <cstring>
#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <stdexcept>
#include <sys/mman.h>
#include <unistd.h>

namespace library_calls
{

namespace
{

struct Tables
{
    const ElfW(Sym) *symbols = nullptr;
    const char *names = nullptr;
    const ElfW(Rela) * relocations[2] = {};
    size_t counts[2] = {};
};

Tables FindTables(const link_map &map)
{
    Tables tables;
    // The loader has made addresses of these; one that has not is relative to the library.
    const auto address = [&map](const ElfW(Dyn) & entry)
    {
        const uintptr_t value = entry.d_un.d_ptr;
        return reinterpret_cast<const void *>(value < map.l_addr ? value + map.l_addr : value);
    };
    for (const ElfW(Dyn) *entry = map.l_ld; entry->d_tag != DT_NULL; ++entry)
        switch (entry->d_tag)
        {
        case DT_SYMTAB:
            tables.symbols = static_cast<const ElfW(Sym) *>(address(*entry));
            break;
        case DT_STRTAB:
            tables.names = static_cast<const char *>(address(*entry));
            break;
        case DT_RELA:
            tables.relocations[0] = static_cast<const ElfW(Rela) *>(address(*entry));
            break;
        case DT_RELASZ:
            tables.counts[0] = entry->d_un.d_val / sizeof(ElfW(Rela));
            break;
        case DT_JMPREL:
            tables.relocations[1] = static_cast<const ElfW(Rela) *>(address(*entry));
            break;
        case DT_PLTRELSZ:
            tables.counts[1] = entry->d_un.d_val / sizeof(ElfW(Rela));
            break;
        default:
            break;
        }
    return tables;
}

} // namespace

std::vector<Import> ImportsOf(void *library)
{
    link_map *map = nullptr;
    if (dlinfo(library, RTLD_DI_LINKMAP, &map) != 0)
        throw std::runtime_error(dlerror());
    const Tables tables = FindTables(*map);
    std::vector<Import> imports;
    for (size_t table = 0; table < 2; ++table)
        for (size_t i = 0; i < tables.counts[table]; ++i)
        {
            const ElfW(Rela) &relocation = tables.relocations[table][i];
            const ElfW(Sym) &symbol = tables.symbols[ELF64_R_SYM(relocation.r_info)];
            if (ELF64_R_SYM(relocation.r_info) == 0 || symbol.st_shndx != SHN_UNDEF)
                continue;
            imports.push_back({tables.names + symbol.st_name,
                               reinterpret_cast<void **>(map->l_addr + relocation.r_offset)});
        }
    return imports;
}

void SetSlot(void **slot, void *address)
{
    const auto page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    const uintptr_t start = reinterpret_cast<uintptr_t>(slot) / page * page;
    if (mprotect(reinterpret_cast<void *>(start), page, PROT_READ | PROT_WRITE) != 0)
        throw std::runtime_error("a slot of the library cannot be written");
    *slot = address;
}

} // namespace library_calls
