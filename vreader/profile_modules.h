// The sections of a profile about the identity module and the magnetic module.
#pragma once

#include "vreader/profile.h"

namespace vreader
{

// The keys of "reader" that belong to the two modules; false and an error text for a wrong value.
bool ReadModuleSettings(const nlohmann::json &settings, Reader *reader, std::string *error);

// "identityCards", "identity", "magneticCards" and "swipes". Every card is built, also those that
// lie nowhere, so that a wrong one is told at the start.
bool ReadModuleCards(const nlohmann::json &document, Profile *profile, Reader *reader,
                     std::string *error);

// An identity card from the profile, or from a description in JSON; null and an error text
// otherwise.
std::shared_ptr<const IdentityCard>
IdentityCardByName(const Profile &profile, const std::string &nameOrJson, std::string *error);

// The same for a magnetic card; a card of the profile is the one and only, so that what is written
// stays on it.
std::shared_ptr<MagneticCard> MagneticCardByName(const Profile &profile, const Reader &reader,
                                                 const std::string &nameOrJson, std::string *error);

} // namespace vreader
