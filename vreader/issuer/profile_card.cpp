// The issuer of a card that a profile describes.
#include "vreader/cards/pboc_card.h"
#include "vreader/issuer/issuer.h"
#include "vreader/profile.h"

#include <algorithm>

namespace vreader
{

namespace
{

bool Refuse(std::string *error, const std::string &text)
{
    *error = text;
    return false;
}

} // namespace

bool IssuerOfProfileCard(const std::string &profileName, const std::string &card, IssuerKeys *keys,
                         IssuerRules *rules, std::string *error)
{
    Profile profile;
    Reader reader;
    if (!LoadProfile(profileName, "", &profile, &reader, error))
        return false;
    if (!profile.cards.contains(card))
        return Refuse(error, "no card \"" + card + "\" in the profile");
    const nlohmann::json description = profile.cards[card];
    std::string problem;
    const Place place{&description, "", &problem};
    if (TextAt(place, "kind", "") == "reference")
        return Refuse(error, "card \"" + card + "\" refers to card \"" + TextAt(place, "card", "") +
                                 "\" of " + TextAt(place, "file", "") +
                                 "; name that profile and card");
    if (TextAt(place, "kind", "") != "pboc")
        return Refuse(error, "card \"" + card + "\" is no pboc card");
    PbocCard tables;
    ReadPbocDescription(place, &tables);
    if (Failed(place))
        return Refuse(error, "card \"" + card + "\": " + problem);
    const auto application =
        std::find_if(tables.dedicatedFiles.begin(), tables.dedicatedFiles.end(),
                     [](const DedicatedFile &file) { return file.online.has_value(); });
    if (application == tables.dedicatedFiles.end())
        return Refuse(error, "card \"" + card + "\" has no keys (\"online\")");
    const OnlineApplication &online = *application->online;
    *keys = online.masterKeys;
    rules->pan = online.pan;
    rules->sequenceNumber = online.sequenceNumber;
    rules->cdol1.clear();
    if (online.signsWholeList)
        rules->cdol1 = online.isOneStep ? online.pdol : online.cdol1;
    return true;
}

} // namespace vreader
