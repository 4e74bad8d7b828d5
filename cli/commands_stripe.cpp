// Magnetic cards: read, write, the account number.
#include "commands.h"

#include <cstdio>
#include <cstring>
#include <unistd.h>

#include "presentation.h"
#include "session.h"
#include "track_text.h"
#include "vantor.h"

namespace tool
{

static const size_t kTrackArea = 256; // more than any track that the library hands on
static const char kSwipe[] = "a swipe";

struct Tracks
{
    char text[3][kTrackArea] = {};
    uint32_t length[3] = {};
};

static int ReadTracks(const Options &options, Tracks *tracks)
{
    return WaitingForCard(
        options,
        [&]
        {
            return BO_ReadMagCard(0, options.stripe.mode, kTrackArea, tracks->text[0],
                                  &tracks->length[0], kTrackArea, tracks->text[1],
                                  &tracks->length[1], kTrackArea, tracks->text[2],
                                  &tracks->length[2], options.timeoutSeconds);
        },
        kSwipe);
}

// Some track could not be read: the codes are -2000 and below.
static bool IsTrackFailure(int code)
{
    return code <= -2000 && code > -2200;
}

// The tracks are shown whatever the result: it is a failure when one of them is empty.
static void ShowTracks(const Options &options, Report *report, const Tracks &tracks)
{
    Json shown = Json::object();
    std::string lines;
    bool isAny = false;
    for (int number = 1; number <= 3; number++)
    {
        if (!HasTrack(options.stripe.mode, number))
            continue;
        const char *text = tracks.text[number - 1];
        const std::string_view bytes(text, strnlen(text, kTrackArea));
        isAny = isAny || !IsEmptyTrack(bytes);
        shown["track" + std::to_string(number)] = TrackJson(number, bytes, options.mask);
        lines += TrackLine(number, bytes, options.mask);
    }
    report->result["tracks"] = shown;
    if (isAny)
        Say(*report, lines);
}

void MagRead(const Options &options, Report *report)
{
    WithReader(options, report,
               [&]
               {
                   Tracks tracks;
                   const int code = ReadTracks(options, &tracks);
                   if (!IsCancelled() && (code == 0 || IsTrackFailure(code)))
                       ShowTracks(options, report, tracks);
                   Failed(options, report, "BO_ReadMagCard", code);
               });
}

// ---- Write ----

static std::string NamesOf(const StripeOptions &stripe)
{
    return stripe.track2 && stripe.track3 ? "tracks 2 and 3"
           : stripe.track2                ? "track 2"
                                          : "track 3";
}

static bool IsConfirmed(const Options &options)
{
    if (options.stripe.isConfirmed)
        return true;
    fprintf(stderr, "This overwrites %s of the card that is swiped next. Go on? [y/N] ",
            NamesOf(options.stripe).c_str());
    fflush(stderr);
    char answer[16] = {};
    if (fgets(answer, sizeof answer, stdin) == nullptr)
        fputc('\n', stderr); // the end of the input leaves the line open
    const std::string word(answer, strcspn(answer, "\n"));
    return word == "y" || word == "Y" || word == "yes";
}

// Of a track that was to be written, after the call's result: "written", "failed", or null when the
// module does not tell.
static Json FateOf(int code, int failureOfTrack)
{
    if (code == 0)
        return "written";
    return code == failureOfTrack ? Json("failed") : Json(nullptr);
}

static const char *TextOrNull(const std::optional<std::string> &text)
{
    return text ? text->c_str() : nullptr;
}

void MagWrite(const Options &options, Report *report)
{
    const StripeOptions &stripe = options.stripe;
    if (!IsConfirmed(options))
    {
        report->failure = Failure{"", 0, "", "not confirmed: nothing was written",
                                  "answer y, or leave the question out with --yes"};
        return;
    }
    WithReader(options, report,
               [&]
               {
                   const int code = WaitingForCard(
                       options,
                       [&]
                       {
                           return BO_WriteMagCard(0, 0, 0, TextOrNull(stripe.track2), 0,
                                                  TextOrNull(stripe.track3), 0,
                                                  options.timeoutSeconds);
                       },
                       kSwipe);
                   if (stripe.track2)
                       report->result["track2"] = FateOf(code, -2102);
                   if (stripe.track3)
                       report->result["track3"] = FateOf(code, -2103);
                   if (Failed(options, report, "BO_WriteMagCard", code))
                       return;
                   Say(*report, NamesOf(stripe) + " written\n");
               });
}

// ---- Account number ----

void MagNumber(const Options &options, Report *report)
{
    WithReader(options, report,
               [&]
               {
                   char number[1024] = {};
                   uint32_t length = 0;
                   const int code = WaitingForCard(
                       options,
                       [&]
                       {
                           return BO_GetMagCardNo(0, options.stripe.mode, options.stripe.separator,
                                                  number, &length, options.timeoutSeconds);
                       },
                       kSwipe);
                   if (Failed(options, report, "BO_GetMagCardNo", code))
                       return;
                   const std::string text = TextOrHex(number);
                   const std::string shown = options.mask ? Masked(text) : text;
                   report->result["card_number"] = shown;
                   Say(*report, shown + "\n");
               });
}

} // namespace tool
