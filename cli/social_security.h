// The thirteen elements of a social security card, joined by '|', made fit to be read.
#pragma once

#include <string_view>

#include "card_fields.h"

namespace tool
{

struct SocialSecurityFields
{
    std::vector<CardField> fields; // letter is not used
    std::string error;             // "" when there were thirteen
};

SocialSecurityFields ReadSocialSecurity(std::string_view text, bool mask);
std::string SocialSecurityText(const SocialSecurityFields &list);
Json SocialSecurityJson(const SocialSecurityFields &list);

} // namespace tool
