// Script commands: what the issuer changes on the card, each proven by a MAC.
#include "vreader/cards/pboc_card.h"

#include <algorithm>

namespace vreader
{

namespace
{

constexpr size_t kMacSize = 4;
constexpr unsigned kMostCounted = 15;

// The elements of electronic cash that the issuer may write, six BCD bytes each; those that hold
// money enter the load log.
struct WritableObject
{
    Tag tag;
    bool isBalance;
};

constexpr WritableObject kWritableObjects[] = {
    {0x9F6D, false}, // reset threshold
    {0x9F77, false}, // balance limit
    {0x9F78, false}, // single transaction limit
    {0x9F79, true},  // balance
    {0xDF79, true},  // balance in the second currency
};

struct Script
{
    PbocCard *card;
    DedicatedFile *file;
    const Command &command;
    Bytes data; // in front of the MAC
};

uint16_t BlockCard(const Script &script)
{
    if (!script.data.empty())
        return 0x6700;
    script.card->isBlocked = true;
    return 0x9000;
}

uint16_t BlockApplication(const Script &script)
{
    if (!script.data.empty())
        return 0x6700;
    script.file->selectStatus = kApplicationBlocked;
    return 0x9000;
}

uint16_t UnblockApplication(const Script &script)
{
    if (!script.data.empty())
        return 0x6700;
    script.file->selectStatus = 0x9000;
    return 0x9000;
}

// P2 00 gives all tries back; 01 (with the old PIN) and 02 set a new PIN as well.
uint16_t ChangePin(const Script &script)
{
    constexpr uint8_t kWithOldPin = 0x01;
    OnlineApplication *online = &*script.file->online;
    if (online->pin.empty())
        return 0x6A88;
    if (script.command.p2 == 0x00)
    {
        if (!script.data.empty())
            return 0x6700;
    }
    else
    {
        const std::optional<Bytes> plain = DecipherScriptData(
            DeriveSessionKey(online->keys.encipherment, online->counter), script.data);
        if (!plain || plain->size() != 8)
            return 0x6A80;
        Block block{};
        std::copy(plain->begin(), plain->end(), block.begin());
        const std::optional<std::string> pin =
            PinInBlock(online->keys.cryptogram, block,
                       script.command.p2 == kWithOldPin ? online->pin : std::string());
        if (!pin)
            return 0x6A80;
        online->pin = *pin;
    }
    online->pinTries = online->pinLimit;
    PublishCounters(script.file);
    return 0x9000;
}

uint16_t PutData(const Script &script)
{
    constexpr size_t kAmountSize = 6;
    const Tag tag = static_cast<Tag>(script.command.p1 << 8 | script.command.p2);
    const WritableObject *const object =
        std::find_if(std::begin(kWritableObjects), std::end(kWritableObjects),
                     [tag](const WritableObject &candidate) { return candidate.tag == tag; });
    std::map<Tag, Bytes> *objects = &script.file->dataObjects;
    if (objects->count(tag) == 0)
        objects = &script.card->dataObjects;
    const auto present = objects->find(tag);
    if (object == std::end(kWritableObjects) || present == objects->end())
        return 0x6A88;
    if (script.data.size() != kAmountSize)
        return 0x6700;
    const std::string digits = HexText(script.data);
    if (digits.find_first_not_of("0123456789") != std::string::npos)
        return 0x6A80;
    Bytes before = present->second;
    before.resize(kAmountSize, 0);
    if (object->isBalance && script.file->loadLogFile != 0)
        EnterRecord(script.file, script.file->loadLogFile, script.file->loadLogLimit,
                    LoadLogEntry(*script.file->online, tag, before, script.data));
    present->second = script.data;
    return 0x9000;
}

struct ScriptAction
{
    uint8_t ins;
    uint8_t lastP2; // P1 is 00, unless both name an object
    bool namesObject;
    uint16_t (*run)(const Script &script);
};

constexpr ScriptAction kScriptActions[] = {
    {0x16, 0x00, false, BlockCard},        {0x18, 0x00, false, UnblockApplication},
    {0x1E, 0x00, false, BlockApplication}, {0x24, 0x02, false, ChangePin},
    {0xDA, 0xFF, true, PutData},
};

uint16_t RunAction(const Script &script)
{
    for (const ScriptAction &action : kScriptActions)
    {
        if (action.ins != script.command.ins)
            continue;
        const bool isKnown =
            action.namesObject || (script.command.p1 == 0 && script.command.p2 <= action.lastP2);
        return isKnown ? action.run(script) : 0x6A86;
    }
    return 0x6D00;
}

bool HasRightMac(const OnlineApplication &online, const Command &command)
{
    const auto macAt = command.data.end() - kMacSize;
    const std::array<uint8_t, 4> mac = ScriptMac(DeriveSessionKey(online.keys.mac, online.counter),
                                                 {command.cla, command.ins, command.p1, command.p2,
                                                  static_cast<uint8_t>(command.data.size())},
                                                 online.counter, *online.transaction.cryptogram,
                                                 Bytes(command.data.begin(), macAt));
    return std::equal(mac.begin(), mac.end(), macAt);
}

} // namespace

Bytes RunScriptCommand(PbocCard *card, const Command &command)
{
    DedicatedFile *file = Selected(card);
    OnlineApplication *online = &*file->online;
    if (!online->transaction.cryptogram)
        return Status(card, 0x6985, "no cryptogram yet that a script could follow");
    if (online->transaction.refusesScripts)
        return Status(card, 0x6985, "a script command of this transaction had a wrong MAC");
    if (command.data.size() < kMacSize)
        return Status(card, 0x6987, "a script command ends with a MAC of four bytes");
    if (!HasRightMac(*online, command))
    {
        online->transaction.refusesScripts = true;
        online->scriptFailed = true;
        return Status(card, 0x6988, "the MAC is not the issuer's");
    }
    const Script script{card, file, command,
                        Bytes(command.data.begin(), command.data.end() - kMacSize)};
    const uint16_t status = RunAction(script);
    if (status == 0x9000)
        online->scriptCount = std::min(online->scriptCount + 1, kMostCounted);
    else
        online->scriptFailed = true;
    return Status(card, status);
}

} // namespace vreader
