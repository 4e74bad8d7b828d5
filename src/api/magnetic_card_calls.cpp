// Magnetic card calls: argument checks, empty tracks, the reset behind every read and write.
#include "vantor/magnetic_stripe.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "vantor/business.h"
#include "vantor/magnetic_stripe_operations.h"
#include "vantor/support.h"
#include "vantor/transport.h"

namespace
{

constexpr int kBadParameter = -1007;
constexpr int kTrack2Empty = -2002;
constexpr int kTrack3Empty = -2003;

constexpr uint32_t kResetTimeoutMs = 100;
constexpr size_t kLongestTrack = 120; // of a text to be written
constexpr size_t kTrackSize = 256;
constexpr size_t kJoinedSize = 1024;

// The 0 stands twice, as it always has.
const char kTrackCharacters[] = "01234567890='@#:";

const char *const kEmptyTexts[] = {"\x7F", "00000"};

constexpr unsigned kTrack1 = 1;
constexpr unsigned kTrack2 = 2;
constexpr unsigned kTrack3 = 4;
constexpr unsigned kTrackBits[] = {kTrack1, kTrack2, kTrack3};

struct TrackBuffer
{
    uint32_t capacity;
    char *text;
    uint32_t *length;
};

struct TrackBuffers
{
    TrackBuffer tracks[3];
};

// When all of these tracks are empty in the same way, they are cleared and the code is the result.
struct EmptyRule
{
    unsigned tracks;
    int code;
};

struct ModeRules
{
    uint32_t mode;
    unsigned tracks;
    EmptyRule rules[7]; // in order; ends at no tracks
};

constexpr ModeRules kModes[] = {
    {1, kTrack1, {{kTrack1, -2001}}},
    {2, kTrack2, {{kTrack2, kTrack2Empty}}},
    {3, kTrack3, {{kTrack3, kTrack3Empty}}},
    {12,
     kTrack1 | kTrack2,
     {{kTrack1 | kTrack2, -2106}, {kTrack1, -2001}, {kTrack2, kTrack2Empty}}},
    {13,
     kTrack1 | kTrack3,
     {{kTrack1 | kTrack3, -2107}, {kTrack1, -2001}, {kTrack3, kTrack3Empty}}},
    {23,
     kTrack2 | kTrack3,
     {{kTrack2 | kTrack3, -2004}, {kTrack2, kTrack2Empty}, {kTrack3, kTrack3Empty}}},
};

// Mode 123, and every mode that there is not.
constexpr ModeRules kAllTracks = {123,
                                  kTrack1 | kTrack2 | kTrack3,
                                  {{kTrack1 | kTrack2 | kTrack3, -2000},
                                   {kTrack1 | kTrack2, -2106},
                                   {kTrack1 | kTrack3, -2107},
                                   {kTrack2 | kTrack3, -2004},
                                   {kTrack1, -2001},
                                   {kTrack2, kTrack2Empty},
                                   {kTrack3, kTrack3Empty}}};

const ModeRules &RulesOf(uint32_t mode)
{
    for (const ModeRules &rules : kModes)
        if (rules.mode == mode)
            return rules;
    return kAllTracks;
}

int Refuse(const char *message)
{
    GLogE("%s", message);
    return kBadParameter;
}

uint32_t Milliseconds(int seconds)
{
    return static_cast<uint32_t>(std::min<int64_t>(int64_t{seconds} * 1000, INT32_MAX));
}

bool HasTracks(const TrackBuffers &buffers, unsigned tracks)
{
    for (int i = 0; i < 3; i++)
        if ((tracks & kTrackBits[i]) != 0 &&
            (buffers.tracks[i].text == nullptr || buffers.tracks[i].length == nullptr))
            return false;
    return true;
}

// A full buffer has no NUL.
size_t LengthOf(const TrackBuffer &track)
{
    return strnlen(track.text, track.capacity);
}

bool IsText(const TrackBuffer &track, const char *text)
{
    const size_t length = strlen(text);
    return LengthOf(track) == length && memcmp(track.text, text, length) == 0;
}

bool AreAll(const TrackBuffers &buffers, unsigned tracks, const char *text)
{
    for (int i = 0; i < 3; i++)
        if ((tracks & kTrackBits[i]) != 0 && !IsText(buffers.tracks[i], text))
            return false;
    return true;
}

// The code of the first rule that the tracks meet, else the result as it is.
int JudgeEmptyTracks(const ModeRules &mode, const TrackBuffers &buffers, int result)
{
    for (const EmptyRule &rule : mode.rules)
        for (const char *text : kEmptyTexts)
        {
            if (rule.tracks == 0 || !AreAll(buffers, rule.tracks, text))
                continue;
            for (int i = 0; i < 3; i++)
                if ((rule.tracks & kTrackBits[i]) != 0)
                    buffers.tracks[i].text[0] = '\0';
            return rule.code;
        }
    return result;
}

int ReadTracks(uint32_t reserved, uint32_t mode, const TrackBuffers &buffers, int timeoutSeconds)
{
    const ModeRules &rules = RulesOf(mode);
    if (timeoutSeconds < 0)
        return Refuse("Timeout Error!\r\n");
    if (!HasTracks(buffers, rules.tracks))
        return Refuse("Track Error!\r\n");
    const auto &[one, two, three] = buffers.tracks;
    int result = MSR_ReadTrack(&context, reserved, mode, one.capacity, one.text, two.capacity,
                               two.text, three.capacity, three.text, Milliseconds(timeoutSeconds));
    // Whatever came of the read: what an earlier call left in the buffers is judged as well.
    for (int i = 0; i < 3; i++)
        if ((rules.tracks & kTrackBits[i]) != 0)
            *buffers.tracks[i].length = static_cast<uint32_t>(LengthOf(buffers.tracks[i]));
    result = JudgeEmptyTracks(rules, buffers, result);
    if (result != 0)
        GLogE("ReadTrack Error!\r\n");
    MSR_Reset(&context, kResetTimeoutMs);
    return BO_GetErrorCode(result);
}

bool IsGoodTrack(const char *text)
{
    if (text == nullptr)
        return false;
    const size_t length = strnlen(text, kLongestTrack + 1);
    return length >= 1 && length <= kLongestTrack && IsTrackDataValue(text) != 0;
}

} // namespace

int BO_ResetMsr(void)
{
    return BO_GetErrorCode(MSR_Reset(&context, kResetTimeoutMs));
}

int BO_ReadMagCard(uint32_t reserved, uint32_t mode, uint32_t track1Capacity, char *track1,
                   uint32_t *track1Length, uint32_t track2Capacity, char *track2,
                   uint32_t *track2Length, uint32_t track3Capacity, char *track3,
                   uint32_t *track3Length, int timeoutSeconds)
{
    return ReadTracks(reserved, mode,
                      {{{track1Capacity, track1, track1Length},
                        {track2Capacity, track2, track2Length},
                        {track3Capacity, track3, track3Length}}},
                      timeoutSeconds);
}

// A bad track beside a good one is left out without a word. Deliberate.
int BO_WriteMagCard(uint32_t reserved, int /*reserved2*/, int /*reserved3*/, const char *track2,
                    uint32_t /*track2Length*/, const char *track3, uint32_t /*track3Length*/,
                    int timeoutSeconds)
{
    if (track2 == nullptr && track3 == nullptr)
        return Refuse("TrackData Is Null!\r\n");
    const bool writesTrack2 = IsGoodTrack(track2);
    const bool writesTrack3 = IsGoodTrack(track3);
    if (!writesTrack2 && !writesTrack3)
        return Refuse("TrackData Error!\r\n");
    if (timeoutSeconds < 0)
        return Refuse("Timeout Error!\r\n");
    const uint32_t mode = writesTrack2 && writesTrack3 ? 1 : writesTrack2 ? 2 : 3;
    const int result =
        MSR_WriteTrack(&context, reserved, mode, track2, track3, Milliseconds(timeoutSeconds));
    if (result != 0)
        GLogE("WriteTrack Error!\r\n");
    MSR_Reset(&context, kResetTimeoutMs);
    return BO_GetErrorCode(result);
}

int BO_GetMagCardNo(uint32_t reserved, uint32_t mode, int kind, char *cardNumber,
                    uint32_t *cardNumberLength, int timeoutSeconds)
{
    if (cardNumber == nullptr || cardNumberLength == nullptr)
        return kBadParameter;
    char tracks[3][kTrackSize] = {};
    uint32_t lengths[3] = {};
    int result = ReadTracks(reserved, mode,
                            {{{kTrackSize, tracks[0], &lengths[0]},
                              {kTrackSize, tracks[1], &lengths[1]},
                              {kTrackSize, tracks[2], &lengths[2]}}},
                            timeoutSeconds);
    if (result != 0 && result != kTrack2Empty && result != kTrack3Empty)
    {
        GLogE("ReadTrack Error!\r\n");
        return BO_GetErrorCode(result);
    }
    char source[kJoinedSize] = {};
    if (mode >= 1 && mode <= 3)
        memcpy(source, tracks[mode - 1], kTrackSize);
    else
        snprintf(source, sizeof source, "%.255s|%.255s|%.255s", tracks[0], tracks[1], tracks[2]);
    // The number is made in room of its own: a text without a separator has no NUL behind it.
    char number[kJoinedSize] = {};
    result = MSR_GetCardNo(kind, source, number);
    if (result != 0)
        GLogE("GetCardNo Error!\r\n");
    *cardNumberLength = static_cast<uint32_t>(strlen(number));
    memcpy(cardNumber, number, *cardNumberLength + size_t{1});
    return BO_GetErrorCode(result);
}

int IsTrackDataValue(const char *text)
{
    if (text == nullptr)
        return 0;
    const size_t bad = strspn(text, kTrackCharacters);
    if (text[bad] == '\0')
        return 1;
    GLogE("szTrackData[%d] = %02X\r\n", static_cast<int>(bad),
          static_cast<unsigned>(static_cast<unsigned char>(text[bad])));
    return 0;
}
