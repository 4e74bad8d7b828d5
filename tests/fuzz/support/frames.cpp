#include "fuzz/support/frames.h"

namespace fuzz
{

namespace
{

const size_t kLongestKrelPayload = 334;
const size_t kLongestPayload = 65534;

uint8_t Xor(const Bytes &bytes, size_t from)
{
    uint8_t sum = 0;
    for (size_t i = from; i < bytes.size(); i++)
        sum = static_cast<uint8_t>(sum ^ bytes[i]);
    return sum;
}

Bytes Cut(const Bytes &payload, size_t most)
{
    return Bytes(payload.begin(),
                 payload.begin() + static_cast<long>(std::min(payload.size(), most)));
}

void AppendWord(Bytes *bytes, size_t word)
{
    bytes->push_back(static_cast<uint8_t>(word >> 8));
    bytes->push_back(static_cast<uint8_t>(word));
}

void Append(Bytes *bytes, const Bytes &more)
{
    bytes->insert(bytes->end(), more.begin(), more.end());
}

} // namespace

Framing FramingOf(const Bytes &command)
{
    if (!command.empty() && command[0] == 0x02)
        return Framing::kUnion;
    if (command.size() >= 2 && command[0] == '6' && command[1] == '0')
        return Framing::kKrel;
    if (!command.empty() && command[0] == 0xAA)
        return Framing::kIdentity;
    return Framing::kRaw;
}

Bytes KrelAnswer(const Bytes &payload)
{
    const Bytes carried = Cut(payload, kLongestKrelPayload);
    Bytes frame = {0x60};
    if (carried.size() < 0xFF)
    {
        frame.push_back(static_cast<uint8_t>(carried.size()));
        Append(&frame, carried);
    }
    else
    {
        // The long form: FF, the length beyond 255 from B0 on, and the payload behind its status,
        // which must be one of success.
        frame.push_back(0xFF);
        frame.push_back(static_cast<uint8_t>(carried.size() - 0xFF + 0xB0));
        frame.insert(frame.end(), carried.begin() + 1, carried.end());
    }
    frame.push_back(Xor(frame, 0));
    Bytes wire;
    for (uint8_t byte : frame)
    {
        wire.push_back(static_cast<uint8_t>("0123456789ABCDEF"[byte >> 4]));
        wire.push_back(static_cast<uint8_t>("0123456789ABCDEF"[byte & 0x0F]));
    }
    wire.push_back(0x03);
    return wire;
}

Bytes UnionAnswer(const Bytes &payload)
{
    const Bytes carried = Cut(payload, kLongestPayload);
    Bytes frame;
    AppendWord(&frame, carried.size());
    Append(&frame, carried);
    frame.push_back(Xor(frame, 2));
    Bytes wire = {0x02};
    for (uint8_t byte : frame)
    {
        wire.push_back(static_cast<uint8_t>(0x30 + (byte >> 4)));
        wire.push_back(static_cast<uint8_t>(0x30 + (byte & 0x0F)));
    }
    wire.push_back(0x03);
    return wire;
}

Bytes IdentityAnswer(const Bytes &payload)
{
    const Bytes carried = Cut(payload, kLongestPayload);
    Bytes frame = {0xAA, 0xAA, 0xAA, 0x96, 0x69};
    AppendWord(&frame, carried.size() + 1);
    Append(&frame, carried);
    frame.push_back(Xor(frame, 5));
    return frame;
}

Bytes FramedAnswer(Framing framing, const Bytes &payload)
{
    switch (framing)
    {
    case Framing::kKrel:
        return KrelAnswer(payload);
    case Framing::kUnion:
        return UnionAnswer(payload);
    case Framing::kIdentity:
        return IdentityAnswer(payload);
    case Framing::kRaw:
        break;
    }
    return payload;
}

Bytes GoodAnswer(Framing framing, const Bytes &data)
{
    Bytes payload;
    if (framing == Framing::kKrel)
        payload = {0x00};
    else if (framing == Framing::kUnion)
        payload = {0x00, 0x00};
    else if (framing == Framing::kIdentity)
        payload = {0x00, 0x00, 0x90};
    Append(&payload, data);
    return FramedAnswer(framing, payload);
}

} // namespace fuzz
