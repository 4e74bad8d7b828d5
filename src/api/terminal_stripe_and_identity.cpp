// The magnetic stripe and identity card calls of the terminal-standard interface.
#include <cstring>

#include "api/terminal_frame.h"
#include "support/fixed_text.h"
#include "vantor/identity_cards.h"
#include "vantor/magnetic_stripe.h"
#include "vantor/support.h"

namespace
{

constexpr int kTrack2 = 2;
constexpr int kTrack3 = 3;
constexpr int kBothTracks = 23;

constexpr int kTrack2Empty = -2002;
constexpr int kTrack3Empty = -2003;

constexpr uint32_t kTrackSize = 512; // the module's longest reply is half of it
constexpr int kInfoSize = 4096;
constexpr int kUsualBaud = 9600;

struct Tracks
{
    char two[kTrackSize];
    char three[kTrackSize];
};

// Hosts send other numbers too, 1 and 123 among them, and mean both tracks.
int KnownMode(int mode)
{
    return mode == kTrack2 || mode == kTrack3 ? mode : kBothTracks;
}

bool HasTrack2(int knownMode)
{
    return knownMode != kTrack3;
}

bool HasTrack3(int knownMode)
{
    return knownMode != kTrack2;
}

int CheckTracks(int knownMode, const char *track2, const char *track3)
{
    const bool isMissing =
        (HasTrack2(knownMode) && track2 == nullptr) || (HasTrack3(knownMode) && track3 == nullptr);
    return isMissing ? kBadTerminalArgument : 0;
}

void LogStripeEntry(const TerminalCall &call, int mode, int charSet)
{
    GLogI("Enter %s\r\n", call.name);
    GLogI("pszPort = %s, nBaudRate = %d, nTimeout = %d, iMode = %d, iCharSet = %d\r\n",
          Shown(call.port), call.baudRate, call.timeout, mode, charSet);
}

void LogGivenTracks(int knownMode, const Tracks &tracks)
{
    if (knownMode == kTrack2)
        GLogI("szTrack2data = %s\r\n", tracks.two);
    else if (knownMode == kTrack3)
        GLogI("szTrack3data = %s\r\n", tracks.three);
    else
        GLogI("szTrack2data = %s, szTrack3data = %s\r\n", tracks.two, tracks.three);
}

uint32_t LengthOf(const char *text)
{
    return static_cast<uint32_t>(strlen(text));
}

} // namespace

int MS_ReadCard(const char *port, const char *extendPort, int baudRate, int timeout, int mode,
                int charSet, char *track2, char *track3)
{
    const TerminalCall call = {"MS_ReadCard", port, extendPort, baudRate, timeout};
    const int knownMode = KnownMode(mode);
    Tracks tracks = {};
    LogStripeEntry(call, mode, charSet);
    return RunTerminalCall(
        call, [&] { return CheckTracks(knownMode, track2, track3); },
        [&]
        {
            uint32_t length2 = 0;
            uint32_t length3 = 0;
            const int result =
                BO_ReadMagCard(static_cast<uint32_t>(charSet), static_cast<uint32_t>(knownMode), 0,
                               nullptr, nullptr, kTrackSize, tracks.two, &length2, kTrackSize,
                               tracks.three, &length3, timeout);
            // One track is enough for a host that asks for both.
            const bool isHalf = result == kTrack2Empty || result == kTrack3Empty;
            return knownMode == kBothTracks && isHalf ? 0 : result;
        },
        [&](int result)
        {
            if (HasTrack2(knownMode))
                CopyText(track2, kTrackSize, tracks.two);
            if (HasTrack3(knownMode))
                CopyText(track3, kTrackSize, tracks.three);
            // Deliberate: the line bears another name than the call.
            GLogI("Exit krel_ReadMagCard, ret = %d, szTrack2data = %s, szTrack3data = %s\r\n",
                  result, tracks.two, tracks.three);
        });
}

int MS_WriteCard(const char *port, const char *extendPort, int baudRate, int timeout, int mode,
                 int charSet, const char *track2, const char *track3)
{
    const TerminalCall call = {"MS_WriteCard", port, extendPort, baudRate, timeout};
    const int knownMode = KnownMode(mode);
    LogStripeEntry(call, mode, charSet);
    return RunTerminalCall(
        call, [&] { return CheckTracks(knownMode, track2, track3); },
        [&]
        {
            Tracks tracks = {}; // an empty text is not written; a cut one is still too long
            if (HasTrack2(knownMode))
                CopyText(tracks.two, kTrackSize, track2);
            if (HasTrack3(knownMode))
                CopyText(tracks.three, kTrackSize, track3);
            LogGivenTracks(knownMode, tracks);
            return BO_WriteMagCard(static_cast<uint32_t>(charSet), 0, 0, tracks.two,
                                   LengthOf(tracks.two), tracks.three, LengthOf(tracks.three),
                                   timeout);
        },
        [&](int result) { GLogI("Exit MS_WriteCard, ret = %d\r\n", result); });
}

int ID_GetInfo(const char *port, const char *extendPort, int baudRate, int timeout,
               const char *photoHead, const char *photoFace, const char *photoBack,
               const char *photoCard, char *info)
{
    TerminalCall call = {"ID_GetInfo", port, extendPort, baudRate, timeout};
    LogTerminalEntry("ID_GetInfo ", call); // the blank is deliberate
    if (call.baudRate == 0)
        call.baudRate = kUsualBaud;
    return RunTerminalCall(
        call,
        [&]
        {
            if (info == nullptr)
                return kBadTerminalArgument;
            if (photoHead != nullptr)
                GLogI("szPhotoHead = %s\r\n", photoHead);
            if (photoFace != nullptr)
                GLogI("szPhotoFace = %s\r\n", photoFace);
            if (photoBack != nullptr)
                GLogI("szPhotoBack = %s\r\n", photoBack);
            if (photoCard != nullptr)
                GLogI("szPhotoCard = %s\r\n", photoCard);
            // Deliberate: the site's own choice is overwritten for good.
            GSetConfigString("devcfg", "IdChange", "1");
            return 0;
        },
        [&]
        {
            uint32_t length = 0;
            info[0] = '\0'; // a call that fails leaves an empty text
            return BO_ReadIdInfo_Pic_YC(photoHead, photoFace, photoBack, photoCard, kInfoSize, info,
                                        &length, timeout);
        },
        [&](int result)
        { GLogI("Exit ID_GetInfo, ret = %d, szIdentityInfo = %s\r\n", result, info); });
}
