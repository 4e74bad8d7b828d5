// g_IccAppData: what the first half of a transaction keeps of the card for the second half.
// Six digits of length, then 4F, the identifier's length and the identifier, the records, 00.
#pragma once

#include <cstdint>

// Records that do not fit are cut.
void KeepApplicationData(const uint8_t *aid, int aidLength, const uint8_t *records,
                         int recordsLength);

struct KeptData
{
    const uint8_t *bytes; // from the 4F on
    int length;
};

// Whatever a host has written there, the bytes lie within g_IccAppData.
KeptData KeptApplicationData();
