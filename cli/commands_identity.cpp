// Identity cards: read with photo, the module's reset.
#include "commands.h"

#include "identity_text.h"
#include "photo_file.h"
#include "session.h"
#include "vantor.h"

namespace tool
{

static const size_t kInfoArea = 4096; // far more than any card's text

static void ReadPhoto(const Options &options, Report *report, const PhotoPlace &place, int code)
{
    const std::string &path = options.photo;
    if (code != 0)
    {
        const PhotoTrouble trouble = ExplainPhoto(code, path);
        report->failure =
            Failure{"BO_ReadIdInfo", code, ErrorText(code), trouble.meaning, trouble.advice};
        return;
    }
    const std::string wrong = CopyPhoto(place, path);
    if (!wrong.empty())
    {
        report->failure =
            Failure{"", 0, "", wrong, "is there room, and may this user write there?"};
        return;
    }
    report->result["photo"] = path;
    Say(*report, "photo written to " + path + "\n");
}

// The fields come first: they are there even when the photo is not.
static void ReadCard(const Options &options, Report *report, const PhotoPlace &place)
{
    char info[kInfoArea] = {};
    uint32_t length = 0;
    const int code =
        WaitingForCard(options,
                       [&]
                       {
                           return BO_ReadIdInfo(place.path.c_str(), 0, info, &length, nullptr, 0,
                                                nullptr, nullptr, options.timeoutSeconds);
                       });
    const bool isRead = length > 0;
    if ((!isRead || IsCancelled()) && Failed(options, report, "BO_ReadIdInfo", code))
        return;
    const IdentityCard card =
        ParseIdentityCard({info, std::min<size_t>(length, sizeof info)}, options.mask);
    if (!card.error.empty())
    {
        report->failure = Failure{"", 0, "", "the card's text is malformed, " + card.error,
                                  "read again; if it stays so, the card's data are damaged"};
        return;
    }
    report->result = IdentityCardJson(card);
    report->result["photo"] = nullptr;
    Say(*report, IdentityCardText(card));
    if (!options.photo.empty())
        ReadPhoto(options, report, place, code);
}

void IdRead(const Options &options, Report *report)
{
    PhotoPlace place;
    if (!options.photo.empty())
    {
        place = MakePhotoPlace(options.photo);
        if (place.directory.empty())
        {
            report->failure = Failure{"", 0, "", "no directory could be made in /tmp",
                                      "is /tmp full, or closed to this user?"};
            return;
        }
    }
    WithReader(options, report, [&] { ReadCard(options, report, place); });
    RemovePhotoPlace(place);
}

void IdReset(const Options &options, Report *report)
{
    WithReader(options, report,
               [&]
               {
                   if (Failed(options, report, "BO_IdReset", BO_IdReset()))
                       return;
                   Say(*report, "identity module reset\n");
               });
}

} // namespace tool
