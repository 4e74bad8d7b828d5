// The magnetic stripe module: short escape sequences, replies that end in a marker.
#include "vantor/magnetic_stripe_operations.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <initializer_list>

#include "vantor/link.h"

namespace
{

constexpr int kBadArgument = -22;
constexpr int kTrack2ReadFailed = -2002;
constexpr int kTrack2NotWritten = -2102;
constexpr int kTrack3NotWritten = -2103;
constexpr int kUnknownWriteStatus = -2104;
constexpr int kNoCardNumber = -2105;

constexpr int kReplySize = 256;
constexpr int kWriteSize = 1024;
constexpr int kWorkSize = 1024;
constexpr int kReplyHead = 2; // ESC, "s"
constexpr char kFieldSeparator = 0x1C;

struct Track
{
    uint32_t capacity;
    char *text; // null: not wanted
    uint32_t count;
};

struct Tracks
{
    Track one;
    Track two;
    Track three;
};

struct ReadMode
{
    uint32_t mode;
    const char *command;
    bool threeTracks; // split by GetMsrTrackData123
    bool cutsEnd;     // the last two bytes of the reply are left out
    int failure;
};

constexpr ReadMode kReadModes[] = {
    {1, "\x1B\x41\x5D", true, false, -2001},   {2, "\x1B\x5D", false, true, kTrack2ReadFailed},
    {3, "\x1B\x54\x5D", false, true, -2003},   {12, "\x1B\x44\x5D", true, false, -2106},
    {13, "\x1B\x45\x5D", true, false, -2107},  {23, "\x1B\x42\x5D", false, false, -2004},
    {123, "\x1B\x46\x5D", true, false, -2000},
};

constexpr uint32_t kTrack2 = 1;
constexpr uint32_t kTrack3 = 2;

struct WriteStatus
{
    const char *reply;
    int code;
};

struct WriteMode
{
    uint32_t mode;
    uint32_t tracks;
    WriteStatus statuses[3];
    int otherwise;
};

constexpr WriteMode BothTracks(uint32_t mode)
{
    return {mode,
            kTrack2 | kTrack3,
            {{"\x1B\x42\x72\x70", 0},                  // ESC "Brp"
             {"\x1B\x72\x71", kTrack2NotWritten},      // ESC "rq"
             {"\x1B\x54\x72\x71", kTrack3NotWritten}}, // ESC "Trq"
            kUnknownWriteStatus};
}

constexpr WriteMode kWriteModes[] = {
    BothTracks(1),
    {2, kTrack2, {{"\x1B\x72\x70", 0}}, kTrack2NotWritten},     // ESC "rp"
    {3, kTrack3, {{"\x1B\x54\x72\x70", 0}}, kTrack3NotWritten}, // ESC "Trp"
    BothTracks(23),
};

template <typename Mode, size_t count>
const Mode *FindMode(const Mode (&modes)[count], uint32_t mode)
{
    for (const Mode &row : modes)
        if (row.mode == mode)
            return &row;
    return nullptr;
}

void Store(Track *track, char character)
{
    if (track->text != nullptr && track->count < track->capacity)
        track->text[track->count++] = character;
}

bool IsEnd(const char *text)
{
    return text[0] == '?' && text[1] == kFieldSeparator;
}

bool HasRoom(const Track &track)
{
    return track.text == nullptr || track.count < track.capacity;
}

// Both or neither, and never track 1. Deliberate: a full track leaves its neighbour open as well.
void Terminate(Tracks *tracks)
{
    if (!HasRoom(tracks->two) || !HasRoom(tracks->three))
        return;
    for (Track *track : {&tracks->two, &tracks->three})
        if (track->text != nullptr)
            track->text[track->count] = '\0';
}

// A reply of no more than `size` bytes in its zeroed buffer equals the text.
bool IsReply(const char *reply, const char *text)
{
    return std::strncmp(reply, text, kReplySize) == 0;
}

struct WriteCommand
{
    size_t length;
    char bytes[kWriteSize];
};

// False when a text is missing or the command is full.
bool Append(WriteCommand *command, const char *text)
{
    if (text == nullptr)
        return false;
    const size_t length = std::strlen(text);
    if (length >= kWriteSize - command->length) // a NUL stands behind
        return false;
    std::memcpy(command->bytes + command->length, text, length);
    command->length += length;
    return true;
}

bool BuildWrite(const WriteMode &mode, const char *track2, const char *track3,
                WriteCommand *command)
{
    return Append(command, "\x1B\x74") &&
           ((mode.tracks & kTrack2) == 0 || Append(command, track2)) &&
           // The mark of track 3, also when it is written alone.
           ((mode.tracks & kTrack3) == 0 || (Append(command, "A") && Append(command, track3))) &&
           Append(command, "\x1D\x1B\x5C\x1B\x6A");
}

int SendForReply(DEVCONTEXT *deviceContext, const char *command, size_t length, const char *endKind,
                 char *reply, uint32_t timeoutMs)
{
    return RAWC_SendCmd(deviceContext, reinterpret_cast<const unsigned char *>(command),
                        static_cast<int>(length), reinterpret_cast<unsigned char *>(reply),
                        kReplySize, endKind, timeoutMs);
}

} // namespace

int MSR_Reset(DEVCONTEXT *deviceContext, uint32_t timeoutMs)
{
    const unsigned char command[] = {0x1B, '0'};
    unsigned char reply[kReplySize] = {};
    RAWL_SendCmd(deviceContext, command, sizeof command, reply, kReplySize, 0, timeoutMs);
    return 0;
}

int MSR_ReadTrack(DEVCONTEXT *deviceContext, uint32_t /*reserved*/, uint32_t mode,
                  uint32_t track1Capacity, char *track1, uint32_t track2Capacity, char *track2,
                  uint32_t track3Capacity, char *track3, uint32_t timeoutMs)
{
    const ReadMode *read = FindMode(kReadModes, mode);
    if (read == nullptr)
        return 0;
    char reply[kReplySize] = {};
    const int length = SendForReply(deviceContext, read->command, std::strlen(read->command),
                                    "?\x1C", reply, timeoutMs);
    if (length < 0)
        return length;
    if (reply[0] != 0x1B || reply[1] != 's' || (mode == 2 && length >= kReplySize))
        return read->failure;

    char body[kWorkSize] = {};
    const int bodyLength = std::max(length - kReplyHead - (read->cutsEnd ? 2 : 0), 0);
    std::memcpy(body, reply + kReplyHead, static_cast<size_t>(bodyLength));
    if (read->threeTracks)
        return GetMsrTrackData123(body, track1Capacity, track1, track2Capacity, track2,
                                  track3Capacity, track3);
    // The pair of tracks goes by the room of track 2 alone. Deliberate.
    return GetMsrTrackData(body, track2Capacity, track2,
                           mode == 23 ? track2Capacity : track3Capacity, track3);
}

int MSR_WriteTrack(DEVCONTEXT *deviceContext, uint32_t /*reserved*/, uint32_t mode,
                   const char *track2Text, const char *track3Text, uint32_t timeoutMs)
{
    const WriteMode *write = FindMode(kWriteModes, mode);
    if (write == nullptr)
        return 0;
    WriteCommand command = {0, {}};
    if (!BuildWrite(*write, track2Text, track3Text, &command))
        return kBadArgument;
    char reply[kReplySize + 1] = {};
    const int length =
        SendForReply(deviceContext, command.bytes, command.length, "rp/q", reply, timeoutMs);
    if (length < 0)
        return length;
    for (const WriteStatus &status : write->statuses)
        if (status.reply != nullptr && IsReply(reply, status.reply))
            return status.code;
    return write->otherwise;
}

int GetMsrTrackData(const char *reply, uint32_t track2Capacity, char *track2,
                    uint32_t track3Capacity, char *track3)
{
    if (reply == nullptr)
        return kBadArgument;
    Tracks tracks = {{0, nullptr, 0}, {track2Capacity, track2, 0}, {track3Capacity, track3, 0}};
    Track *current = &tracks.two;
    for (; *reply != '\0' && !IsEnd(reply); reply++)
    {
        if (*reply == 'A')
            current = &tracks.three;
        else
            Store(current, *reply);
    }
    Terminate(&tracks);
    return 0;
}

int GetMsrTrackData123(const char *reply, uint32_t track1Capacity, char *track1,
                       uint32_t track2Capacity, char *track2, uint32_t track3Capacity, char *track3)
{
    if (reply == nullptr)
        return kBadArgument;
    Tracks tracks = {
        {track1Capacity, track1, 0}, {track2Capacity, track2, 0}, {track3Capacity, track3, 0}};
    Track *current = &tracks.two;
    bool seenA = false;
    for (; *reply != '\0' && !IsEnd(reply); reply++)
    {
        if (*reply == '%')
            current = &tracks.one;
        else if (*reply == 'A' && current != &tracks.one && !seenA)
        {
            current = &tracks.three;
            seenA = true;
        }
        else
            Store(current, *reply);
    }
    Terminate(&tracks);
    return 0;
}

int MSR_GetCardNo(int kind, const char *trackText, char *cardNumber)
{
    static const char *const kEnds[] = {"=", "'", "='"};
    if (kind < 0 || kind > 2 || trackText == nullptr || cardNumber == nullptr)
        return kNoCardNumber;
    size_t count = 0;
    for (; *trackText != '\0'; trackText++)
    {
        if (*trackText == '|')
            count = 0;
        else if (std::strchr(kEnds[kind], *trackText) != nullptr)
        {
            cardNumber[count] = '\0';
            return 0;
        }
        else
            cardNumber[count++] = *trackText;
    }
    return kNoCardNumber;
}
