// The identity module: a card is found, then selected, then read. A reset, and the card itself when
// it is taken away, start that from the beginning.
#include "vreader/cards/tlv.h"
#include "vreader/modules/modules.h"

#include <algorithm>

namespace vreader
{

namespace
{

Reply Failed(Outcome outcome)
{
    Reply reply;
    reply.outcome = outcome;
    return reply;
}

bool BeginsWith(const Bytes &command, const Bytes &prefix)
{
    return command.size() >= prefix.size() &&
           std::equal(prefix.begin(), prefix.end(), command.begin());
}

// The status that was set for a command, counted down; nothing when there is none.
Bytes TakeInjectedStatus(IdentityModule *module, const Bytes &command)
{
    for (size_t i = 0; i < module->injected.size(); ++i)
    {
        InjectedStatus *rule = &module->injected[i];
        if (!BeginsWith(command, rule->prefix))
            continue;
        const Bytes status = rule->status;
        if (rule->left > 0 && --rule->left == 0)
            module->injected.erase(module->injected.begin() + static_cast<std::ptrdiff_t>(i));
        return status;
    }
    return {};
}

} // namespace

bool IdentityIsReached(const Reader &reader)
{
    if (reader.identity.reach == IdentityReach::mode)
        return reader.mode == kIdentityMode;
    return reader.identity.reach == IdentityReach::always;
}

void PutIdentityCardDown(Reader *reader, std::shared_ptr<const IdentityCard> card,
                         const std::string &name)
{
    reader->identity.card = std::move(card);
    reader->identity.name = name;
    reader->identity.state = IdentityState::idle;
}

Reply ServeIdentity(Reader *reader, const Request &request)
{
    Reply reply;
    reply.status = TakeInjectedStatus(&reader->identity, request.bytes);
    if (reply.status.empty())
        reply = CarryOut(reader, request);
    const std::shared_ptr<const IdentityCard> card = reader->identity.card;
    if (card && Spoils(*card, request.bytes))
    {
        reply.spoil = [card](const Bytes &frame) { return SpoiledFrame(*card, frame); };
        reply.remark = "spoiled by the card: " + card->behaviour;
    }
    return reply;
}

Reply ResetIdentity(Reader *reader, const Request &)
{
    reader->identity.state = IdentityState::idle;
    return {};
}

// Behind its status a find has four bytes, and a select eight: the card's serial numbers, which the
// modules in use leave at 0.
Reply FindIdentityCard(Reader *reader, const Request &)
{
    reader->identity.state = IdentityState::idle;
    if (!reader->identity.card)
        return Failed(Outcome::noCard);
    reader->identity.state = IdentityState::found;
    Reply reply;
    reply.data = Bytes(4, 0x00);
    return reply;
}

Reply SelectIdentityCard(Reader *reader, const Request &)
{
    if (!reader->identity.card)
        return Failed(Outcome::noCard);
    if (reader->identity.state == IdentityState::idle)
        return Failed(Outcome::notReady);
    reader->identity.state = IdentityState::selected;
    Reply reply;
    reply.data = Bytes(8, 0x00);
    return reply;
}

Reply ReadIdentityCard(Reader *reader, const Request &request)
{
    const bool withFingerprint = request.operation == Operation::identityReadWithFingerprint;
    if (withFingerprint && !reader->identity.knowsFingerprints)
        return Failed(Outcome::unknownCommand);
    if (!reader->identity.card)
        return Failed(Outcome::noCard);
    if (reader->identity.state != IdentityState::selected)
        return Failed(Outcome::notReady);
    Reply reply;
    reply.data = IdentityRecord(*reader->identity.card, withFingerprint);
    return reply;
}

// Counted the other way round than the reader's own rates. The module keeps the rate; the line
// follows the mode sequence.
Reply SetIdentityBaud(Reader *reader, const Request &request)
{
    constexpr unsigned kRates[] = {115200, 57600, 38400, 19200, 9600};
    if (request.parameters[0] >= std::size(kRates))
        return Failed(Outcome::refused);
    reader->identity.baud = kRates[request.parameters[0]];
    return {};
}

} // namespace vreader
