#include "api/kept_application_data.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "vantor/pboc.h"

namespace
{

constexpr int kDigits = 6;
constexpr int kRoom = static_cast<int>(sizeof g_IccAppData) - kDigits;

uint8_t *Contents()
{
    return reinterpret_cast<uint8_t *>(g_IccAppData) + kDigits;
}

} // namespace

void KeepApplicationData(const uint8_t *aid, int aidLength, const uint8_t *records,
                         int recordsLength)
{
    const int head = 2 + aidLength; // an application that was selected has at most 255 bytes of it
    const int kept = std::min(recordsLength, kRoom - head - 1);
    memset(g_IccAppData, 0, sizeof g_IccAppData);
    sprintf(g_IccAppData, "%06d", head + kept);
    uint8_t *out = Contents();
    *out++ = 0x4F;
    *out++ = static_cast<uint8_t>(aidLength);
    memcpy(out, aid, static_cast<size_t>(aidLength));
    memcpy(out + aidLength, records, static_cast<size_t>(kept));
}

KeptData KeptApplicationData()
{
    int length = 0;
    for (int i = 0; i < kDigits; i++)
    {
        const char digit = g_IccAppData[i];
        if (digit < '0' || digit > '9')
            return {Contents(), 0};
        length = 10 * length + (digit - '0');
    }
    return {Contents(), std::min(length, kRoom)};
}
