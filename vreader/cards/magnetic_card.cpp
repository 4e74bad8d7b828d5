#include "vreader/cards/magnetic_card.h"

#include "vreader/cards/byte_source.h"

#include <algorithm>

namespace vreader
{

namespace
{

constexpr size_t kLongestTrack = 4096;
constexpr size_t kFloodSize = 65536; // what "fill:XX" stands for in a forced answer
constexpr char kHexMark[] = "hex:";
constexpr const char *kTrackKeys[] = {"track1", "track2", "track3"};

bool IsPlain(const Bytes &text)
{
    return std::all_of(text.begin(), text.end(),
                       [](uint8_t byte) { return byte >= 0x20 && byte <= 0x7F; });
}

// "6222...=2512...", "hex:3BFF", or null for nothing.
Bytes TrackText(const Place &place)
{
    if (place.value->is_null())
        return {};
    const std::string text = Text(place);
    Bytes bytes = BytesFromText(text);
    if (text.compare(0, sizeof kHexMark - 1, kHexMark) == 0)
    {
        const std::optional<Bytes> written = BytesFromHex(text.substr(sizeof kHexMark - 1));
        if (!written)
            Expected(place, "hexadecimal digits in pairs behind \"hex:\"");
        bytes = written.value_or(Bytes{});
    }
    else if (!IsPlain(bytes))
        Expected(place, "characters from the blank to 7F; other bytes are written \"hex:...\"");
    if (bytes.size() > kLongestTrack)
        Complain(place, "is longer than 4096 bytes");
    return bytes;
}

Track ReadTrack(const Place &place)
{
    Track track;
    if (!place.value->is_object())
    {
        track.text = TrackText(place);
        return track;
    }
    if (!IsObjectOf(place, {"text", "damaged", "refusesWrites"}))
        return track;
    if (const std::optional<Place> text = Find(place, "text"))
        track.text = TrackText(*text);
    track.damaged = FlagAt(place, "damaged", false);
    track.refusesWrites = FlagAt(place, "refusesWrites", false);
    return track;
}

std::optional<Bytes> ForcedAnswer(const Place &description, const char *key,
                                  const std::string &directory)
{
    const std::optional<Place> place = Find(description, key);
    if (!place)
        return std::nullopt;
    return BytesFrom(*place, directory, kFloodSize);
}

} // namespace

std::shared_ptr<MagneticCard> MakeMagneticCard(const Place &description,
                                               const std::string &directory)
{
    auto card = std::make_shared<MagneticCard>();
    if (!IsObjectOf(description,
                    {"label", "track1", "track2", "track3", "readAnswer", "writeAnswer"}))
        return card;
    card->label = TextAt(description, "label", "magnetic card");
    for (size_t i = 0; i < card->tracks.size(); ++i)
        if (const std::optional<Place> track = Find(description, kTrackKeys[i]))
            card->tracks[i] = ReadTrack(*track);
    card->readAnswer = ForcedAnswer(description, "readAnswer", directory);
    card->writeAnswer = ForcedAnswer(description, "writeAnswer", directory);
    return card;
}

nlohmann::json TracksAsJson(const MagneticCard &card)
{
    nlohmann::json tracks = nlohmann::json::object();
    for (size_t i = 0; i < card.tracks.size(); ++i)
    {
        const Bytes &text = card.tracks[i].text;
        nlohmann::json *shown = &tracks[std::to_string(i + 1)];
        if (!text.empty())
            *shown =
                IsPlain(text) ? std::string(text.begin(), text.end()) : kHexMark + HexText(text);
    }
    return tracks;
}

} // namespace vreader
