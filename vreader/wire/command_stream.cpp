#include "vreader/wire/command_stream.h"

#include "vreader/wire/escape_sequence.h"
#include "vreader/wire/identity_frame.h"
#include "vreader/wire/krel_frame.h"
#include "vreader/wire/union_frame.h"

namespace vreader
{

namespace
{

struct Matcher
{
    Framing framing;
    Match (*match)(const uint8_t *wire, size_t count);
};

// Their first bytes differ ("6", 02, ESC, AA), so at most one of them does not mismatch.
constexpr Matcher kMatchers[] = {
    {Framing::krel, MatchKrelCommand},
    {Framing::unionFrame, MatchUnionCommand},
    {Framing::escape, MatchEscapeSequence},
    {Framing::identity, MatchIdentityCommand},
};

WireKind KindOf(MatchKind kind)
{
    if (kind == MatchKind::wrongCheck)
        return WireKind::wrongCheck;
    return kind == MatchKind::wrongLength ? WireKind::wrongLength : WireKind::command;
}

Match MatchAny(const uint8_t *wire, size_t count, Framing *framing)
{
    for (const Matcher &matcher : kMatchers)
    {
        Match match = matcher.match(wire, count);
        if (match.kind == MatchKind::mismatch)
            continue;
        *framing = matcher.framing;
        return match;
    }
    return {};
}

} // namespace

void Feed(CommandStream *stream, const uint8_t *bytes, size_t count)
{
    stream->pending.erase(stream->pending.begin(),
                          stream->pending.begin() + static_cast<std::ptrdiff_t>(stream->begin));
    stream->begin = 0;
    stream->pending.insert(stream->pending.end(), bytes, bytes + count);
}

bool NextItem(CommandStream *stream, WireItem *item)
{
    *item = {};
    while (stream->begin < stream->pending.size())
    {
        const uint8_t *wire = stream->pending.data() + stream->begin;
        Framing framing = Framing::none;
        Match match = MatchAny(wire, stream->pending.size() - stream->begin, &framing);
        if (match.kind == MatchKind::mismatch)
        {
            item->bytes.push_back(*wire);
            ++stream->begin;
            continue;
        }
        if (!item->bytes.empty() || match.kind == MatchKind::incomplete)
            break; // garbage first; the command is found again by the next call
        stream->begin += match.used;
        item->kind = KindOf(match.kind);
        item->framing = framing;
        item->bytes = std::move(match.command);
        item->check = match.check;
        item->rightCheck = match.rightCheck;
        return true;
    }
    return !item->bytes.empty();
}

Bytes ForgetPending(CommandStream *stream)
{
    Bytes rest(stream->pending.begin() + static_cast<std::ptrdiff_t>(stream->begin),
               stream->pending.end());
    *stream = {};
    return rest;
}

} // namespace vreader
