#include <algorithm>
#include <array>
#include <cstring>

#include "damage/bench/bench.h"

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/asan_interface.h>
#endif

namespace damage_testing
{

namespace
{

constexpr size_t kGuard = 64;
constexpr unsigned char kGuardByte = 0xA7;

alignas(16) unsigned char g_memory[256 * 1024];

struct Untouched
{
    std::array<unsigned char, 64 * 1024> filled;
    std::array<unsigned char, 64 * 1024> zeroed{};
    std::array<unsigned char, kGuard> guard;
    Untouched()
    {
        filled.fill(kUntouched);
        guard.fill(kGuardByte);
    }
};

const Untouched kPattern;

} // namespace

unsigned char *Outputs::Bytes(size_t room)
{
    const size_t rounded = (room + 15) / 16 * 16;
    unsigned char *const start = g_memory + taken + kGuard;
    taken += kGuard + rounded;
    memcpy(start, kPattern.filled.data(), room);
#ifndef __SANITIZE_ADDRESS__
    memcpy(start - kGuard, kPattern.guard.data(), kGuard);
    memcpy(start + room, kPattern.guard.data(), kGuard);
#else
    ASAN_POISON_MEMORY_REGION(start - kGuard, kGuard);
    ASAN_POISON_MEMORY_REGION(start + room, kGuard);
#endif
    areas.push_back({start, room, 0, kUntouched});
    return start;
}

char *Outputs::Text(size_t room)
{
    return reinterpret_cast<char *>(Bytes(room));
}

char *Outputs::ZeroedText(size_t room)
{
    char *text = Text(room);
    memset(text, 0, room);
    areas.back().fill = 0;
    return text;
}

void Outputs::Used(const void *buffer, size_t count)
{
    for (Area &area : areas)
        if (area.start == buffer)
            area.used = std::min(count, area.room);
}

void Outputs::UsedText(const char *text)
{
    for (const Area &area : areas)
        if (area.start == reinterpret_cast<const unsigned char *>(text))
        {
            const size_t length = strnlen(text, area.room);
            Used(text, length == area.room && area.start[0] == area.fill ? 0 : length + 1);
        }
}

void Outputs::Reset()
{
#ifdef __SANITIZE_ADDRESS__
    ASAN_UNPOISON_MEMORY_REGION(g_memory, taken + 2 * kGuard);
#endif
    areas.clear();
    taken = 0;
}

std::string Outputs::Problem() const
{
    for (const Area &area : areas)
    {
#ifndef __SANITIZE_ADDRESS__
        if (memcmp(area.start - kGuard, kPattern.guard.data(), kGuard) != 0 ||
            memcmp(area.start + area.room, kPattern.guard.data(), kGuard) != 0)
            return "wrote beside a buffer of " + std::to_string(area.room) + " bytes";
#endif
        const auto &before = area.fill == 0 ? kPattern.zeroed : kPattern.filled;
        if (memcmp(area.start + area.used, before.data(), area.room - area.used) != 0)
            return "wrote behind the " + std::to_string(area.used) + " bytes that it reports of " +
                   std::to_string(area.room);
    }
    return "";
}

std::string Outputs::Given() const
{
    std::string given;
    for (const Area &area : areas)
        given.append(reinterpret_cast<const char *>(area.start), area.used);
    return given;
}

} // namespace damage_testing
