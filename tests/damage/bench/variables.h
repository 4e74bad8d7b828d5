// The library's own areas that a call can reach: the device context, the terminal's data stores,
// what is kept of a card, the names of the ports.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>

#include "vantor/pboc.h"
#include "vantor/transport.h"

namespace damage_testing
{

struct Variables
{
    DEVCONTEXT device;
    uint32_t slot;
    int32_t icType;
    unsigned char txData[sizeof g_szTxData];
    unsigned char appInitData[sizeof g_szAppInitData];
    unsigned char exData[sizeof g_szExData];
    int32_t lengths[3];
    char iccAppData[sizeof g_IccAppData];
    char comNames[sizeof g_szComName];
    struct termio settings[2];
    int32_t bp;
    uint8_t modeId;
    int64_t devBaud;
    void *sdtDll;
};

void Load(Variables *kept);
void Restore(const Variables &kept);

// "" when what a call left is as it was, or is in the form that it always has.
std::string ProblemOf(const Variables &before, const Variables &after, bool opensTheReader);

template <typename Field>
bool IsSame(const Field &before, const Field &after)
{
    return memcmp(&before, &after, sizeof before) == 0;
}

} // namespace damage_testing
