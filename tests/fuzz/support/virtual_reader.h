// The virtual reader without its thread and its line: a profile, and commands that are served one
// after the other.
#pragma once

#include "fuzz/support/input.h"
#include "fuzz/support/room.h"
#include "vreader/modules/modules.h"
#include "vreader/profile.h"
#include "vreader/wire/command_stream.h"
#include "vreader/wire/identity_frame.h"
#include "vreader/wire/krel_frame.h"
#include "vreader/wire/union_frame.h"

namespace fuzz
{

struct Desk
{
    vreader::Profile profile;
    vreader::Reader reader;
};

// The bytes that the reader answers; none when it says nothing.
inline Bytes ServeRequest(Desk *desk, const vreader::Request &request)
{
    const vreader::Reply reply = vreader::Serve(&desk->reader, request);
    Bytes payload =
        reply.status.empty() ? vreader::StatusBytes(request, reply.outcome) : reply.status;
    payload.insert(payload.end(), reply.data.begin(), reply.data.end());
    if (reply.payload)
        payload = *reply.payload;
    if (!reply.answered || reply.waits)
        return {};
    std::optional<Bytes> wire = payload;
    if (request.framing == vreader::Framing::krel)
        wire = vreader::KrelAnswer(payload, false);
    else if (request.framing == vreader::Framing::unionFrame)
        wire = vreader::UnionAnswer(payload, false);
    else if (request.framing == vreader::Framing::identity)
        wire = vreader::IdentityAnswer(payload, false);
    if (!wire)
        return {};
    return reply.spoil ? reply.spoil(*wire) : *wire;
}

inline Bytes ServeCommand(Desk *desk, vreader::Framing framing, const Bytes &bytes)
{
    return ServeRequest(desk, vreader::UnderstandCommand(framing, bytes));
}

// A card is swiped for a call that waits.
inline Bytes SwipeFor(Desk *desk)
{
    if (desk->reader.stripe.cards.empty() || !desk->reader.stripe.waiting)
        return {};
    const auto &[name, card] = *desk->reader.stripe.cards.begin();
    return vreader::AnswerToSwipe(&desk->reader, name, card.get()).data;
}

} // namespace fuzz
