#include "vreader/profile_modules.h"

#include "vreader/cards/tlv.h"
#include "vreader/modules/modules.h"

namespace vreader
{

namespace
{

using nlohmann::json;

constexpr unsigned kLongestSwipeDelay = 60000;

std::string DirectoryOf(const Profile &profile, bool builtInAllowed)
{
    return profile.directory.empty() && !builtInAllowed ? "." : profile.directory;
}

bool ReadMagneticCards(const Place &cards, const Profile &profile, StripeModule *module)
{
    if (!cards.value->is_object())
    {
        Expected(cards, "an object from names to magnetic cards");
        return false;
    }
    for (const auto &item : cards.value->items())
        module->cards[item.key()] = MakeMagneticCard(Below(cards, item.key()), profile.directory);
    return !Failed(cards);
}

bool ReadIdentityCards(const Place &cards, Profile *profile)
{
    if (!cards.value->is_object())
    {
        Expected(cards, "an object from names to identity cards");
        return false;
    }
    profile->identityCards = *cards.value;
    for (const auto &item : cards.value->items())
        MakeIdentityCard(Below(cards, item.key()), profile->directory);
    return !Failed(cards);
}

// "NAME" or {"card": "NAME", "after": MS}
PlannedSwipe ReadSwipe(const Place &place, const StripeModule &module)
{
    PlannedSwipe swipe;
    std::optional<Place> name = place;
    if (place.value->is_object())
    {
        if (!IsObjectOf(place, {"card", "after"}))
            return swipe;
        name = Find(place, "card");
        swipe.afterMs = NumberAt(place, "after", 0, kLongestSwipeDelay, 0);
    }
    if (!name)
    {
        Complain(place, "the key \"card\" is missing");
        return swipe;
    }
    swipe.name = Text(*name);
    const auto found = module.cards.find(swipe.name);
    if (found != module.cards.end())
        swipe.card = found->second;
    else
        Complain(*name, "no card \"" + swipe.name + "\" in magneticCards");
    return swipe;
}

// A list is met by one call after the other; a single swipe by every call.
void ReadSwipes(const Place &place, StripeModule *module)
{
    if (!place.value->is_array())
    {
        module->everyCall = ReadSwipe(place, *module);
        return;
    }
    for (size_t i = 0; i < place.value->size(); ++i)
        module->planned.push_back(ReadSwipe(Element(place, i), *module));
}

std::optional<json> ParsedDescription(const std::string &text, std::string *error)
{
    json description = json::parse(text, nullptr, false);
    if (!description.is_discarded())
        return description;
    *error = "the card's description is no JSON";
    return std::nullopt;
}

} // namespace

bool ReadModuleSettings(const json &settings, Reader *reader, std::string *error)
{
    const Place place{&settings, "reader", error};
    const std::string reach = TextAt(place, "identityModule", "mode");
    const std::string empty = TextAt(place, "emptyTrack", "del");
    reader->identity.knowsFingerprints = FlagAt(place, "fingerprintCommand", true);
    if (reach != "mode" && reach != "always" && reach != "none")
        Complain(place, "identityModule must be \"mode\", \"always\" or \"none\"");
    if (empty != "del" && empty != "zeros" && empty != "nothing")
        Complain(place, "emptyTrack must be \"del\", \"zeros\" or \"nothing\"");
    reader->identity.reach = reach == "always" ? IdentityReach::always
                             : reach == "none" ? IdentityReach::none
                                               : IdentityReach::mode;
    reader->stripe.emptyTrack = BytesFromText(empty == "del"     ? "\x7F"
                                              : empty == "zeros" ? "00000"
                                                                 : "");
    return !Failed(place);
}

bool ReadModuleCards(const json &document, Profile *profile, Reader *reader, std::string *error)
{
    const Place place{&document, "", error};
    if (const std::optional<Place> cards = Find(place, "identityCards"))
        ReadIdentityCards(*cards, profile);
    if (const std::optional<Place> cards = Find(place, "magneticCards"))
        ReadMagneticCards(*cards, *profile, &reader->stripe);
    const std::optional<Place> swipes = Find(place, "swipes");
    if (swipes && !Failed(place))
        ReadSwipes(*swipes, &reader->stripe);
    const std::optional<Place> identity = Find(place, "identity");
    if (!identity || Failed(place))
        return !Failed(place);
    const std::string name = Text(*identity);
    std::string problem;
    const auto card = IdentityCardByName(*profile, name, &problem);
    if (card)
        PutIdentityCardDown(reader, card, name);
    else
        Complain(*identity, problem);
    return !Failed(place);
}

std::shared_ptr<const IdentityCard>
IdentityCardByName(const Profile &profile, const std::string &nameOrJson, std::string *error)
{
    const bool isJson = !nameOrJson.empty() && nameOrJson[0] == '{';
    std::optional<json> description;
    if (isJson)
        description = ParsedDescription(nameOrJson, error);
    else if (profile.identityCards.contains(nameOrJson))
        description = profile.identityCards[nameOrJson];
    else
        *error = "no card \"" + nameOrJson + "\" in identityCards";
    if (!description)
        return nullptr;
    std::string problem;
    auto card = MakeIdentityCard({&*description, "", &problem}, DirectoryOf(profile, !isJson));
    if (problem.empty())
        return card;
    *error = problem;
    return nullptr;
}

std::shared_ptr<MagneticCard> MagneticCardByName(const Profile &profile, const Reader &reader,
                                                 const std::string &nameOrJson, std::string *error)
{
    if (nameOrJson.empty() || nameOrJson[0] != '{')
    {
        const auto found = reader.stripe.cards.find(nameOrJson);
        if (found != reader.stripe.cards.end())
            return found->second;
        *error = "no card \"" + nameOrJson + "\" in magneticCards";
        return nullptr;
    }
    const std::optional<json> description = ParsedDescription(nameOrJson, error);
    if (!description)
        return nullptr;
    std::string problem;
    auto card = MakeMagneticCard({&*description, "", &problem}, DirectoryOf(profile, false));
    if (problem.empty())
        return card;
    *error = problem;
    return nullptr;
}

} // namespace vreader
