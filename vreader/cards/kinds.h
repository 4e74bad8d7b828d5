// The kinds of card that a description can ask for, and what all of them share.
#pragma once

#include "vreader/cards/description.h"

namespace vreader
{

// Each builds a card of its kind from a description whose kind is known already. Mistakes are noted
// in the place; the card is then of no use.
std::shared_ptr<Card> MakeTranscriptCard(const Place &description, const std::string &directory);
std::shared_ptr<Card> MakePbocCard(const Place &description);
std::shared_ptr<Card> MakeSocialSecurityCard(const Place &description);
std::shared_ptr<Card> MakeHostileCard(const Place &description, const std::string &directory);

// A card described in another profile: {"kind": "reference", "file": ..., "card": ...}.
std::shared_ptr<Card> MakeReferredCard(const Place &description, const std::string &directory);

// The card of whatever kind the description names; null (and a mistake noted) for any other kind.
std::shared_ptr<Card> MakeCardOfKind(const Place &description, const std::string &directory);

// Answers injected status words before the card sees the command; `rules` is the description's
// "inject" list, if there is one.
void AddInjection(Card *card, const std::optional<Place> &rules);

// The answer to reset of cards whose description names none: eight historical bytes "VANTOR01".
Bytes PlainAnswerToReset();

} // namespace vreader
