#include "damage/bench/variables.h"

#include <algorithm>

#include "vantor/business.h"
#include "vantor/identity_operations.h"
#include "vantor/link.h"
#include "vantor/operations.h"

namespace damage_testing
{

namespace
{

// The tags and lengths of a store of one-byte lengths stay where they are, and nothing stands
// behind its last object.
bool KeepsItsForm(const unsigned char *before, const unsigned char *after, size_t size)
{
    size_t at = 0;
    while (at + 1 < size)
    {
        const size_t head = (before[at] & 0x1F) == 0x1F ? 3 : 2;
        if (memcmp(before + at, after + at, head) != 0)
            return false;
        at += head + before[at + head - 1];
    }
    return at == size - 1 && after[at] == before[at];
}

// Nothing, or six digits of length and zero bytes behind so many.
bool IsKeptData(const char *kept)
{
    const std::string digits(kept, 6);
    if (kept[0] == '\0')
        return std::all_of(kept, kept + sizeof g_IccAppData, [](char byte) { return byte == 0; });
    if (digits.find_first_not_of("0123456789") != std::string::npos)
        return false;
    const size_t end = 6 + static_cast<size_t>(std::stoi(digits));
    return end <= sizeof g_IccAppData &&
           std::all_of(kept + end, kept + sizeof g_IccAppData, [](char byte) { return byte == 0; });
}

} // namespace

void Load(Variables *kept)
{
    memset(static_cast<void *>(kept), 0, sizeof *kept);
    kept->device = context;
    kept->slot = g_Slot;
    kept->icType = g_IcType;
    memcpy(kept->txData, g_szTxData, sizeof g_szTxData);
    memcpy(kept->appInitData, g_szAppInitData, sizeof g_szAppInitData);
    memcpy(kept->exData, g_szExData, sizeof g_szExData);
    kept->lengths[0] = g_iTxDataLen;
    kept->lengths[1] = g_iAppInitDataLen;
    kept->lengths[2] = g_iExDataLen;
    memcpy(kept->iccAppData, g_IccAppData, sizeof g_IccAppData);
    memcpy(kept->comNames, g_szComName, sizeof g_szComName);
    kept->settings[0] = oterm_attr;
    kept->settings[1] = term_attr;
    kept->bp = g_Bp;
    kept->modeId = g_mode_id;
    kept->devBaud = g_DevBaud;
    kept->sdtDll = g_hSdtDll;
}

void Restore(const Variables &kept)
{
    context = kept.device;
    g_Slot = kept.slot;
    g_IcType = kept.icType;
    memcpy(g_szTxData, kept.txData, sizeof g_szTxData);
    memcpy(g_szAppInitData, kept.appInitData, sizeof g_szAppInitData);
    memcpy(g_IccAppData, kept.iccAppData, sizeof g_IccAppData);
    g_Bp = kept.bp;
    g_mode_id = kept.modeId;
    g_DevBaud = kept.devBaud;
}

std::string ProblemOf(const Variables &before, const Variables &after, bool opensTheReader)
{
    DEVCONTEXT device = opensTheReader ? DEVCONTEXT() : before.device;
    if (strcmp(device.interfaceType, "hid") == 0) // each link has its own mode
        device.parameters.usb.modeId = after.device.parameters.usb.modeId;
    if (!IsSame(device, after.device))
        return "the device context is not as it was";
    const size_t firstName = opensTheReader ? 2 * sizeof g_szComName[0] : 0; // port 1 gets a name
    if (memcmp(before.comNames + firstName, after.comNames + firstName,
               sizeof before.comNames - firstName) != 0)
        return "a port's name has changed";
    if (!KeepsItsForm(before.txData, after.txData, sizeof before.txData))
        return "g_szTxData has lost its form";
    if (!KeepsItsForm(before.appInitData, after.appInitData, sizeof before.appInitData))
        return "g_szAppInitData has lost its form";
    if (!IsKeptData(after.iccAppData))
        return "g_IccAppData has lost its form";
    if (!IsSame(before.exData, after.exData) || !IsSame(before.lengths, after.lengths) ||
        !IsSame(before.slot, after.slot) || !IsSame(before.settings, after.settings) ||
        !IsSame(before.sdtDll, after.sdtDll))
        return "a variable has changed that no call changes";
    return after.icType == 0 || after.icType == 1 ? "" : "g_IcType is neither 0 nor 1";
}

} // namespace damage_testing
