// Each command of the reader becomes one or more commands to the card, which judges them.
#include "vreader/modules/memory_module.h"

#include "vreader/cards/classic_card.h"
#include "vreader/cards/memory_card.h"
#include "vreader/cards/tlv.h"
#include "vreader/modules/modules.h"

#include <algorithm>
#include <cctype>

namespace vreader
{

namespace
{

constexpr size_t kBlockSize = 16;
constexpr size_t kPageSize = 4;
constexpr size_t kPagesAtOnce = 4; // of the card's own read command
constexpr unsigned kMostSectors = 40;

Reply Failed(Outcome outcome, const std::string &remark = "")
{
    Reply reply;
    reply.outcome = outcome;
    reply.remark = remark;
    return reply;
}

// The card's answer to a command of its own, with what it makes of it for the host.
Reply Ask(const Card &card, const Bytes &command)
{
    Reply reply;
    reply.data = card.transmit(command);
    reply.remark = card.remark();
    if (reply.data.empty())
        reply.outcome = Outcome::mute;
    else if (reply.data.size() == 1 && reply.data[0] != kCardDone)
        reply.outcome = Outcome::refused;
    if (reply.outcome != Outcome::success)
        reply.data.clear();
    return reply;
}

// The same for a command whose success brings no data.
Reply Do(const Card &card, const Bytes &command)
{
    Reply reply = Ask(card, command);
    reply.data.clear();
    return reply;
}

Bytes CardCommand(uint8_t code, uint8_t number, const Bytes &data = {})
{
    Bytes command = {code, number};
    AppendBytes(&command, data);
    return command;
}

Bytes Behind(const Bytes &parameters, size_t count)
{
    return Bytes(parameters.begin() + static_cast<std::ptrdiff_t>(count), parameters.end());
}

int HexDigit(uint8_t character)
{
    if (std::isxdigit(character) == 0)
        return -1;
    return std::isdigit(character) != 0 ? character - '0' : std::toupper(character) - 'A' + 10;
}

// Six bytes, or twelve hexadecimal characters; nothing for any other form.
std::optional<Bytes> KeyFrom(const Bytes &text)
{
    if (text.size() == kClassicKeySize)
        return text;
    if (text.size() != 2 * kClassicKeySize)
        return std::nullopt;
    Bytes key;
    for (size_t i = 0; i < text.size(); i += 2)
    {
        if (HexDigit(text[i]) < 0 || HexDigit(text[i + 1]) < 0)
            return std::nullopt;
        key.push_back(static_cast<uint8_t>(HexDigit(text[i]) * 16 + HexDigit(text[i + 1])));
    }
    return key;
}

// The card's authentication command: Krel names it, Union names the key as 0 or 1.
std::optional<uint8_t> AuthenticationCommand(const Request &request)
{
    const unsigned type = request.parameters[1];
    const unsigned first = request.framing == Framing::krel ? 0x60 : 0x00;
    if (type != first && type != first + 1)
        return std::nullopt;
    return static_cast<uint8_t>(0x60 + (type - first));
}

Reply Verify(Reader *reader, const Card &card, const Request &request)
{
    if (request.parameters.size() < 2)
        return Failed(Outcome::wrongLength);
    const unsigned sector = request.parameters[0] - reader->firstSector;
    if (request.parameters[0] < reader->firstSector || sector >= kMostSectors)
        return Failed(Outcome::refused, "no such sector");
    const std::optional<uint8_t> command = AuthenticationCommand(request);
    if (!command)
        return Failed(Outcome::refused, "no such key type");
    const Bytes text = Behind(request.parameters, 2);
    const std::optional<Bytes> key = KeyFrom(text);
    if (!key)
        return Failed(Outcome::refused, "a key of " + std::to_string(text.size()) +
                                            (text.size() == 1 ? " byte" : " bytes"));
    const auto block = static_cast<uint8_t>(FirstBlockOfSector(sector));
    Reply reply = Do(card, CardCommand(*command, block, *key));
    // A card that does not accept a key says nothing: to the reader that is a refusal.
    if (reply.outcome == Outcome::mute)
        reply.outcome = Outcome::refused;
    return reply;
}

Reply ReadBlock(Reader *, const Card &card, const Request &request)
{
    return Ask(card, CardCommand(0x30, request.parameters[0]));
}

Reply WriteBlock(Reader *, const Card &card, const Request &request)
{
    return Do(card, CardCommand(0xA0, request.parameters[0], Behind(request.parameters, 1)));
}

Reply ReadValue(Reader *reader, const Card &card, const Request &request)
{
    Reply reply = ReadBlock(reader, card, request);
    if (reply.outcome != Outcome::success || reply.data.size() != kBlockSize)
        return reply;
    ClassicBlock block{};
    std::copy(reply.data.begin(), reply.data.end(), block.begin());
    if (!ValueOf(block))
        return Failed(Outcome::refused, "the block holds no value");
    reply.data.resize(4);
    return reply;
}

// The value's address byte becomes the block's own number.
Reply WriteValue(Reader *, const Card &card, const Request &request)
{
    const Bytes &parameters = request.parameters;
    uint32_t value = 0;
    for (unsigned i = 0; i < 4; ++i)
        value |= static_cast<uint32_t>(parameters[1 + i]) << (8 * i);
    const ClassicBlock block = ValueBlock({static_cast<int32_t>(value), parameters[0]});
    return Do(card, CardCommand(0xA0, parameters[0], Bytes(block.begin(), block.end())));
}

// Into the transfer buffer, and from there into the same block.
Reply ChangeValue(Reader *, const Card &card, const Request &request)
{
    const uint8_t code = request.operation == Operation::m1Increment ? 0xC1 : 0xC0;
    const uint8_t block = request.parameters[0];
    const Reply loaded = Do(card, CardCommand(code, block, Behind(request.parameters, 1)));
    return loaded.outcome == Outcome::success ? Do(card, CardCommand(0xB0, block)) : loaded;
}

// `count` pages, four (what the card reads at once) for 0.
Reply ReadPages(Reader *, const Card &card, const Request &request)
{
    const size_t count = request.parameters[1] == 0 ? kPagesAtOnce : request.parameters[1];
    Reply all;
    for (size_t done = 0; done < count; done += kPagesAtOnce)
    {
        const size_t page = request.parameters[0] + done;
        if (page > 0xFF)
            return Failed(Outcome::refused, "no such page");
        const Reply some = Ask(card, CardCommand(0x30, static_cast<uint8_t>(page)));
        if (some.outcome != Outcome::success)
            return some;
        AppendBytes(&all.data, some.data);
    }
    all.data.resize(count * kPageSize);
    return all;
}

// Hosts may send more than a page: its first four bytes count.
Reply WritePage(Reader *, const Card &card, const Request &request)
{
    const Bytes &parameters = request.parameters;
    if (parameters.size() < 1 + kPageSize)
        return Failed(Outcome::wrongLength);
    const Bytes page(parameters.begin() + 1, parameters.begin() + 1 + kPageSize);
    Reply reply = Do(card, CardCommand(0xA2, parameters[0], page));
    if (reply.outcome == Outcome::success && parameters.size() > 1 + kPageSize)
        reply.remark = "only the first four bytes count";
    return reply;
}

Reply PassThrough(Reader *, const Card &card, const Request &request)
{
    const Bytes &parameters = request.parameters;
    if (parameters.empty() || parameters[0] != parameters.size() - 1)
        return Failed(Outcome::wrongLength);
    return Ask(card, Behind(parameters, 1));
}

struct Service
{
    Operation operation;
    CardFamily family;
    const char *command; // as profiles name it
    Reply (*serve)(Reader *reader, const Card &card, const Request &request);
    Operation statuses; // whose statuses its failures have
    const char *text;   // for the trace
};

constexpr Operation kOn = Operation::contactlessPowerOn;
constexpr Operation kOff = Operation::contactlessPowerOff;
constexpr Operation kUse = Operation::contactlessApdu;
constexpr CardFamily kM1 = CardFamily::classic;
constexpr CardFamily kM0 = CardFamily::ultralight;

// Without a function: power-on, power-off and the question for the type, which need no card that is
// under power.
constexpr Service kServices[] = {
    {Operation::m1PowerOn, kM1, "power-on", nullptr, kOn, "M1 power on"},
    {Operation::m1PowerOff, kM1, "power-off", nullptr, kOff, "M1 power off"},
    {Operation::m1Verify, kM1, "verify", Verify, kUse, "M1 verify sector"},
    {Operation::m1ReadBlock, kM1, "read", ReadBlock, kUse, "M1 read block"},
    {Operation::m1WriteBlock, kM1, "write", WriteBlock, kUse, "M1 write block"},
    {Operation::m1ReadValue, kM1, "read-value", ReadValue, kUse, "M1 read value of block"},
    {Operation::m1WriteValue, kM1, "write-value", WriteValue, kUse, "M1 write value of block"},
    {Operation::m1Increment, kM1, "increment", ChangeValue, kUse, "M1 increment block"},
    {Operation::m1Decrement, kM1, "decrement", ChangeValue, kUse, "M1 decrement block"},
    {Operation::m0PowerOn, kM0, "power-on", nullptr, kOn, "M0 power on"},
    {Operation::m0PowerOff, kM0, "power-off", nullptr, kOff, "M0 power off"},
    {Operation::m0Read, kM0, "read", ReadPages, kUse, "M0 read page"},
    {Operation::m0Write, kM0, "write", WritePage, kUse, "M0 write page"},
    {Operation::m0Exchange, kM0, "exchange", PassThrough, kUse, "M0 card command"},
    {Operation::m0CardType, kM0, "type", nullptr, kUse, "M0 card type"},
};

const Service *ServiceOf(Operation operation)
{
    for (const Service &service : kServices)
        if (service.operation == operation)
            return &service;
    return nullptr;
}

Reply PowerOnMemoryCard(CardPlace *place, CardFamily family)
{
    PowerOff(place);
    if (!place->card)
        return Failed(Outcome::noCard);
    if (!place->card->memory || place->card->memory->family != family)
        return Failed(Outcome::mute, "a card of another kind");
    place->card->powerOn();
    place->powered = true;
    Reply reply;
    reply.data = place->card->memory->identification;
    return reply;
}

Reply PowerOffMemoryCard(CardPlace *place)
{
    const bool wasPowered = place->powered;
    PowerOff(place);
    if (!place->card)
        return Failed(Outcome::noCard);
    return wasPowered ? Reply{} : Failed(Outcome::notPowered);
}

// A status that is a success of this command alone, and the type byte.
Reply TellType(const CardPlace &place)
{
    if (!place.card)
        return Failed(Outcome::noCard);
    Reply reply;
    reply.payload = place.card->memory ? place.card->memory->type : Bytes{0x00, 0x00};
    return reply;
}

Reply ServeOn(Reader *reader, CardPlace *place, const Service &service, const Request &request)
{
    if (service.statuses == kOn)
        return PowerOnMemoryCard(place, service.family);
    if (service.statuses == kOff)
        return PowerOffMemoryCard(place);
    if (service.serve == nullptr)
        return TellType(*place);
    if (place->takenOut)
        return Failed(Outcome::takenOut);
    if (!place->card)
        return Failed(Outcome::noCard);
    if (!place->powered || !place->card->memory || place->card->memory->family != service.family)
        return Failed(Outcome::notPowered);
    return service.serve(reader, *place->card, request);
}

} // namespace

bool IsMemoryOperation(Operation operation)
{
    return ServiceOf(operation) != nullptr;
}

Operation StatusModel(Operation operation)
{
    const Service *service = ServiceOf(operation);
    return service == nullptr ? operation : service->statuses;
}

Reply ServeMemory(Reader *reader, const Request &request)
{
    const Service &service = *ServiceOf(request.operation);
    CardPlace *place = &reader->contactless;
    Reply reply = ServeOn(reader, place, service, request);
    if (!place->card || !place->card->memory || !place->card->memory->spoil)
        return reply;
    const Bytes status = StatusBytes(request, reply.outcome);
    Bytes payload = status;
    AppendBytes(&payload, reply.data);
    const Bytes whole = reply.payload.value_or(payload);
    const Bytes spoiled = place->card->memory->spoil(service.command, whole, status.size());
    if (spoiled != whole)
    {
        reply.payload = spoiled;
        reply.remark = place->card->label;
    }
    return reply;
}

const char *MemoryOperationName(Operation operation)
{
    return ServiceOf(operation)->text;
}

std::string MemoryCommandText(const Request &request)
{
    const Service &service = *ServiceOf(request.operation);
    const Bytes &parameters = request.parameters;
    std::string text = service.text;
    if (parameters.empty() || service.statuses != kUse)
        return text;
    if (service.family == kM0)
        return text + " " +
               HexText(service.operation == Operation::m0Exchange ? Behind(parameters, 1)
                                                                  : Bytes{parameters[0]});
    text += " " + std::to_string(parameters[0]);
    if (service.operation != Operation::m1Verify || parameters.size() < 2)
        return text;
    const std::optional<uint8_t> command = AuthenticationCommand(request);
    return text + (!command ? "" : *command == 0x60 ? ", key A" : ", key B");
}

} // namespace vreader
