// What the commands for magnetic cards take and show: which tracks, texts to be written, what a
// stripe holds. A stripe may hold any bytes; what is no printable text is shown as hexadecimal.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace tool
{

using Json = nlohmann::ordered_json; // keeps the order that the documentation shows

// What the arguments say before it has been checked.
struct StripeInput
{
    std::string tracks; // "1,2,3"
    std::string separator = "any";
    std::optional<std::string> track2;
    std::optional<std::string> track3;
    bool yes = false;
};

struct StripeOptions
{
    uint32_t mode = 0; // which tracks, as the calls take them: 1, 2, 3, 12, 13, 23, 123
    int separator = 2; // 0 "=", 1 "'", 2 either
    std::optional<std::string> track2;
    std::optional<std::string> track3;
    bool isConfirmed = false;
};

// Each gives what is wrong, or "".
std::string CheckTracks(const StripeInput &input, StripeOptions *options); // mag read, mag number
std::string CheckTracksToWrite(const StripeInput &input, StripeOptions *options);

bool HasTrack(uint32_t mode, int number);

// A module says DEL or "00000" for a track that it cannot read.
bool IsEmptyTrack(std::string_view bytes);

// {text, hex, value}; null for an empty track.
Json TrackJson(int number, std::string_view bytes, bool mask);
std::string TrackLine(int number, std::string_view bytes, bool mask); // "Track 2  6222...\n"

} // namespace tool
