// Contactless memory cards: what they have beyond any card. Their `transmit` takes the card's own
// commands as they go over the air, without check bytes; a Classic card's are those within its
// cipher, in clear, and its authentication is one command with the key behind it.
#pragma once

#include "vreader/cards/description.h"

namespace vreader
{

enum class CardFamily
{
    classic,   // "M1"
    ultralight // "M0"
};

// A card's answer of one byte: done, or not.
constexpr uint8_t kCardDone = 0x0A;
constexpr uint8_t kCardRefuses = 0x04;

struct MemoryTraits
{
    CardFamily family = CardFamily::classic;
    Bytes identification; // what the reader answers to its power-on
    Bytes type;           // what it answers to the question for the type: a status, a type byte
    std::function<nlohmann::json()> contents; // all that the card holds, secrets too
    // Of a hostile card: what becomes of an answer of the reader (`statusSize` bytes of status,
    // then data). `command` is one of the names below.
    std::function<Bytes(const std::string &command, const Bytes &payload, size_t statusSize)> spoil;
};

// How profiles name the reader's commands for memory cards.
constexpr const char *kMemoryCommandNames[] = {
    "power-on",    "power-off", "verify",    "read",     "write", "read-value",
    "write-value", "increment", "decrement", "exchange", "type",
};

bool IsMemoryKind(const std::string &kind);
// The card of such a kind; mistakes are noted in the place.
std::shared_ptr<Card> MakeMemoryCard(const std::string &kind, const Place &description);

// What the kinds share. An identification is the answer to the request (two bytes), the select
// acknowledge and the serial number.
void ReadTraits(const Place &description, MemoryTraits *traits);
// Bytes of one size and no other.
Bytes HexOfSize(const Place &description, const char *key, size_t size, const Bytes &otherwise);
// "00112233...", "text:..." into a part of a card; shorter ones are filled with zero bytes.
Bytes MemoryContents(const Place &place, size_t room);
// A key that is a number within the limits; for any other "is no sector (0 to 15)" is noted.
std::optional<unsigned> NumberedKey(const Place &object, const std::string &key, unsigned least,
                                    unsigned most, const char *what);

std::shared_ptr<Card> MakeClassicCard(const Place &description);
std::shared_ptr<Card> MakeUltralightCard(const Place &description);
std::shared_ptr<Card> MakeHostileMemoryCard(const Place &description);

} // namespace vreader
