// A magnetic card: three tracks, and what may be wrong with them.
#pragma once

#include "vreader/cards/description.h"

#include <array>

namespace vreader
{

struct Track
{
    Bytes text; // empty: nothing is on it
    bool damaged = false;
    bool refusesWrites = false;
};

struct MagneticCard
{
    std::string label;
    std::array<Track, 3> tracks;
    std::optional<Bytes> readAnswer;  // every read is answered with exactly these bytes
    std::optional<Bytes> writeAnswer; // and every write with these
};

// The keys are those of docs/profiles.md. A mistake is noted in the place.
std::shared_ptr<MagneticCard> MakeMagneticCard(const Place &description,
                                               const std::string &directory);

// The tracks for people and tests: {"1": "B622...", "2": null, "3": "hex:00FF"}.
nlohmann::json TracksAsJson(const MagneticCard &card);

} // namespace vreader
