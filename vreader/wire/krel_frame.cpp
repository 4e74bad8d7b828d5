#include "vreader/wire/krel_frame.h"

#include "vreader/cards/tlv.h"

namespace vreader
{

namespace
{

constexpr uint8_t kEnd = 0x03;
constexpr size_t kShortest = 255;                      // from here on the long form
constexpr size_t kLongest = kShortest + (0xFF - 0xB0); // 334
constexpr uint8_t kLongFormBase = 0xB0;

// Lower-case digits are refused on purpose: a host sends upper case, and one that does not should
// be found out here rather than at a reader.
int Digit(uint8_t character)
{
    if (character >= '0' && character <= '9')
        return character - '0';
    if (character >= 'A' && character <= 'F')
        return character - 'A' + 10;
    return -1;
}

uint8_t ByteAt(const uint8_t *wire, size_t index)
{
    return static_cast<uint8_t>(Digit(wire[2 * index]) << 4 | Digit(wire[2 * index + 1]));
}

uint8_t Xor(const Bytes &bytes)
{
    uint8_t check = 0;
    for (const uint8_t byte : bytes)
        check = static_cast<uint8_t>(check ^ byte);
    return check;
}

} // namespace

Match MatchKrelCommand(const uint8_t *wire, size_t count)
{
    // The length is known after four characters, so that the end byte has one place only: noise
    // that begins with "60" is told from a command as soon as the places disagree.
    Match match;
    size_t end = 4;
    for (size_t i = 0; i < count && i < end; ++i)
    {
        if (Digit(wire[i]) < 0 || (i == 0 && wire[i] != '6') || (i == 1 && wire[i] != '0'))
            return match;
        if (i == 3)
            end = 2 * (ByteAt(wire, 1) + size_t{3});
    }
    match.kind = MatchKind::incomplete;
    if (count <= end)
        return match;
    match.kind = MatchKind::mismatch;
    if (wire[end] != kEnd)
        return match;

    Bytes frame;
    for (size_t i = 0; i < end / 2; ++i)
        frame.push_back(ByteAt(wire, i));
    match.check = frame.back();
    frame.pop_back();
    match.rightCheck = Xor(frame);
    match.command.assign(frame.begin() + 2, frame.end());
    match.used = end + 1;
    match.kind = match.check == match.rightCheck ? MatchKind::complete : MatchKind::wrongCheck;
    return match;
}

std::optional<Bytes> KrelAnswer(const Bytes &payload, bool wrongCheck)
{
    Bytes frame = {0x60};
    if (payload.size() < kShortest)
    {
        frame.push_back(static_cast<uint8_t>(payload.size()));
        AppendBytes(&frame, payload);
    }
    else
    {
        // Long form: the length byte is FF, and the status byte's place holds B0 plus what the
        // length exceeds 255 by. The status itself, always 0, is not sent: its place is taken.
        if (payload.size() > kLongest || payload[0] != 0)
            return std::nullopt;
        frame.push_back(0xFF);
        frame.push_back(static_cast<uint8_t>(kLongFormBase + (payload.size() - kShortest)));
        frame.insert(frame.end(), payload.begin() + 1, payload.end());
    }
    frame.push_back(static_cast<uint8_t>(Xor(frame) ^ (wrongCheck ? 0xFF : 0x00)));
    Bytes wire = BytesFromText(HexText(frame));
    wire.push_back(kEnd);
    return wire;
}

} // namespace vreader
