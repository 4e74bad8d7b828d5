// Profiles: the reader's settings and its cards in JSON, built in or from a file.
#pragma once

#include "vreader/modules/reader.h"

#include <map>
#include <optional>

namespace vreader
{

struct Profile
{
    std::string name;
    std::string directory; // where relative file names start
    nlohmann::json cards = nlohmann::json::object();
    nlohmann::json identityCards = nlohmann::json::object();
    // Cards that have lain in the reader: what they remember lasts as long as the profile is used.
    std::map<std::string, std::shared_ptr<Card>> kept;
};

// Fills the reader (settings, cards in their places) and the profile's library of cards. `text`
// goes before `nameOrPath`; both empty: the built-in profile "default". False and an error text
// that names the offending key otherwise.
bool LoadProfile(const std::string &nameOrPath, const std::string &text, Profile *profile,
                 Reader *reader, std::string *error);

// A card from the library, or from a description in JSON; null and an error text otherwise. A card
// from the library that was in the reader before comes back as it is, unless it lies there still:
// then the name stands for another card of the same kind. A description is a new card every time.
std::shared_ptr<Card> CardByName(Profile *profile, const Reader &reader,
                                 const std::string &nameOrJson, std::string *error);

struct BuiltInProfile
{
    std::string name;
    std::string description;
};

std::vector<BuiltInProfile> BuiltInProfiles();
std::optional<std::string> BuiltInProfileText(const std::string &name);

// "krel", "union", "both", "none" into the reader's settings; false for any other word.
bool SetSpeaking(Reader *reader, const std::string &word);
std::string SpeakingText(const Reader &reader);

} // namespace vreader
