#include "standins/calls/quick_reader.h"

#include <stdexcept>

#include "vreader/modules/modules.h"
#include "vreader/wire/identity_frame.h"
#include "vreader/wire/krel_frame.h"
#include "vreader/wire/union_frame.h"

using vreader::Bytes;
using vreader::Framing;

namespace
{

Bytes Framed(Framing framing, const Bytes &payload)
{
    if (framing == Framing::krel)
        return vreader::KrelAnswer(payload, false).value();
    if (framing == Framing::unionFrame)
        return vreader::UnionAnswer(payload, false).value();
    if (framing == Framing::identity)
        return vreader::IdentityAnswer(payload, false).value();
    return payload;
}

Bytes Answer(const vreader::Request &request, const vreader::Reply &reply)
{
    if (reply.payload)
        return Framed(request.framing, *reply.payload);
    Bytes payload =
        reply.status.empty() ? vreader::StatusBytes(request, reply.outcome) : reply.status;
    payload.insert(payload.end(), reply.data.begin(), reply.data.end());
    return Framed(request.framing, payload);
}

} // namespace

QuickReader::QuickReader(const std::string &profileNameOrText, const std::string &swiped)
    : swiped_(swiped)
{
    const bool isText = profileNameOrText[0] == '{';
    std::string error;
    if (!vreader::LoadProfile(isText ? "" : profileNameOrText, isText ? profileNameOrText : "",
                              &profile, &reader, &error))
        throw std::runtime_error(error);
}

void QuickReader::Hear(const Bytes &bytes)
{
    vreader::Feed(&stream, bytes.data(), bytes.size());
    vreader::WireItem item;
    while (vreader::NextItem(&stream, &item))
    {
        if (item.kind != vreader::WireKind::command)
            continue;
        const vreader::Request request = vreader::UnderstandCommand(item.framing, item.bytes);
        if (item.framing == Framing::identity && !vreader::IdentityIsReached(reader))
            continue;
        vreader::Reply reply = vreader::Serve(&reader, request);
        if (reply.waits && swiped_.empty())
            continue;
        if (reply.waits)
            reply = vreader::AnswerToSwipe(&reader, swiped_, reader.stripe.cards.at(swiped_).get());
        if (reply.answered)
            send(Answer(request, reply));
    }
}

void QuickReader::Restart()
{
    stream = {};
    vreader::Restart(&reader);
}
