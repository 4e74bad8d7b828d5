// An identity card as the module reads it: a text block, a photo, fingerprints.
#pragma once

#include "vreader/cards/description.h"

namespace vreader
{

constexpr size_t kIdentityTextSize = 256;
constexpr size_t kIdentityPhotoSize = 1024;
constexpr size_t kIdentityFingerprintSize = 1024;

struct IdentityCard
{
    std::string kind; // "resident", "gat" or "foreign"
    std::string label;
    Bytes text;
    Bytes photo;       // 1024 bytes, or none
    Bytes fingerprint; // 1024 bytes, or none
    Bytes serials;     // behind the fingerprint, counted by no length: chip and card serial number
    // What the lengths of an answer say instead of the truth.
    std::optional<unsigned> textLength;
    std::optional<unsigned> photoLength;
    std::optional<unsigned> fingerprintLength;
    std::optional<Bytes> record; // instead of lengths, text, photo and the rest
    std::string behaviour;       // of a hostile card; empty: well-behaved
    std::vector<Bytes> commands; // beginnings of the commands it spoils; none: all
};

// The keys are those of docs/profiles.md. A mistake is noted in the place.
std::shared_ptr<const IdentityCard> MakeIdentityCard(const Place &description,
                                                     const std::string &directory);

// What a read brings behind its status: text length, photo length, with fingerprint also that
// length (two bytes each, high byte first), then the data.
Bytes IdentityRecord(const IdentityCard &card, bool withFingerprint);

// hostile_identity.cpp
bool IsIdentityBehaviour(const std::string &name);
std::string IdentityBehaviours(); // their names, for people
bool Spoils(const IdentityCard &card, const Bytes &command);
// The right frame as a hostile card's module sends it.
Bytes SpoiledFrame(const IdentityCard &card, const Bytes &frame);

} // namespace vreader
