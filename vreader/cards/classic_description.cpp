// A Mifare Classic card from its description.
#include "vreader/cards/classic_access.h"
#include "vreader/cards/classic_card.h"
#include "vreader/cards/memory_card.h"
#include "vreader/cards/tlv.h"

#include <algorithm>
#include <limits>

namespace vreader
{

namespace
{

constexpr size_t kUidSize = 4;
constexpr size_t kManufacturerSize = 8;

// What the two sizes differ in.
struct Model
{
    const char *size;
    const char *label;
    unsigned sectors;
    Bytes answerToRequest;
    uint8_t selectAcknowledge;
    uint8_t type;
};

const Model kModels[] = {
    {"1K", "Mifare Classic 1K", 16, {0x04, 0x00}, 0x08, 0x01},
    {"4K", "Mifare Classic 4K", 40, {0x02, 0x00}, 0x18, 0x02},
};

const Model &ReadModel(const Place &description)
{
    const std::string size = TextAt(description, "size", "1K");
    for (const Model &model : kModels)
        if (size == model.size)
            return model;
    Expected(*Find(description, "size"), "\"1K\" or \"4K\"");
    return kModels[0];
}

std::optional<uint8_t> ConditionOf(const Place &place)
{
    const std::string bits = Text(place);
    const bool isCondition = bits.size() == 3 && bits.find_first_not_of("01") == std::string::npos;
    if (!isCondition)
    {
        Expected(place, "access conditions C1 C2 C3 such as \"110\"");
        return std::nullopt;
    }
    return static_cast<uint8_t>((bits[0] - '0') * 4 + (bits[1] - '0') * 2 + (bits[2] - '0'));
}

// The trailer's three bytes: as hexadecimal digits (invalid ones too), or by conditions.
Bytes ReadAccess(const Place &place)
{
    if (!place.value->is_object())
    {
        const Bytes bytes = Hex(place);
        if (bytes.size() != 3)
            Expected(place, "three bytes of access bits, or {\"blocks\": [...], \"trailer\": ...}");
        return bytes;
    }
    SectorAccess access{0, 0, 0, 1};
    if (!IsObjectOf(place, {"blocks", "trailer"}))
        return {};
    const std::optional<Place> blocks = Find(place, "blocks");
    if (blocks && (!blocks->value->is_array() || blocks->value->size() != kTrailerGroup))
        Expected(*blocks, "three conditions");
    for (unsigned group = 0; blocks && !Failed(place) && group < kTrailerGroup; ++group)
        access[group] = ConditionOf(Element(*blocks, group)).value_or(0);
    if (const std::optional<Place> trailer = Find(place, "trailer"))
        access[kTrailerGroup] = ConditionOf(*trailer).value_or(0);
    const std::array<uint8_t, 3> bytes = EncodeAccess(access);
    return Bytes(bytes.begin(), bytes.end());
}

void ReadTrailer(const Place &place, ClassicBlock *trailer)
{
    const auto put = [&](const char *key, unsigned at, size_t size)
    {
        const Bytes before(trailer->begin() + at,
                           trailer->begin() + at + static_cast<std::ptrdiff_t>(size));
        const Bytes bytes = HexOfSize(place, key, size, before);
        std::copy(bytes.begin(), bytes.end(), trailer->begin() + at);
    };
    put("keyA", 0, kClassicKeySize);
    put("generalPurpose", kClassicGeneralAt, 1);
    put("keyB", kClassicKeyBAt, kClassicKeySize);
    const std::optional<Place> access = Find(place, "access");
    const Bytes bits = access ? ReadAccess(*access) : Bytes{};
    if (access && !Failed(place))
        std::copy(bits.begin(), bits.end(), trailer->begin() + kClassicAccessAt);
}

int32_t ReadValue(const Place &place)
{
    const nlohmann::json &value = *place.value;
    constexpr int64_t kLeast = std::numeric_limits<int32_t>::min();
    constexpr int64_t kMost = std::numeric_limits<int32_t>::max();
    const bool fits = value.is_number_integer() &&
                      (!value.is_number_unsigned() || value.get<uint64_t>() <= kMost) &&
                      value.get<int64_t>() >= kLeast && value.get<int64_t>() <= kMost;
    if (fits)
        return value.get<int32_t>();
    Expected(place, "a number of 32 bits");
    return 0;
}

// Contents, or {"value": 1250, "address": 5}; the address is the block's own unless it is given.
ClassicBlock ReadBlock(const Place &place, unsigned number)
{
    ClassicBlock block{};
    if (place.value->is_object())
    {
        if (!IsObjectOf(place, {"value", "address"}))
            return block;
        const std::optional<Place> value = Find(place, "value");
        if (!value)
            Complain(place, "the key \"value\" is missing");
        else
            block = ValueBlock({ReadValue(*value),
                                static_cast<uint8_t>(NumberAt(place, "address", 0, 255, number))});
        return block;
    }
    const Bytes bytes = MemoryContents(place, block.size());
    if (bytes.size() <= block.size())
        std::copy(bytes.begin(), bytes.end(), block.begin());
    return block;
}

void ReadSectors(const Place &sectors, unsigned count, ClassicCard *card)
{
    if (!sectors.value->is_object())
        return Expected(sectors, "an object from sectors to their keys");
    for (const auto &item : sectors.value->items())
    {
        if (item.key() == "note")
            continue;
        const std::optional<unsigned> number =
            NumberedKey(sectors, item.key(), 0, count - 1, "sector");
        const Place sector = Below(sectors, item.key());
        if (!number || !IsObjectOf(sector, {"keyA", "keyB", "access", "generalPurpose"}))
            return;
        ReadTrailer(sector, &card->blocks[TrailerOfSector(*number)]);
    }
}

void ReadBlocks(const Place &blocks, ClassicCard *card)
{
    if (!blocks.value->is_object())
        return Expected(blocks, "an object from blocks to their contents");
    for (const auto &item : blocks.value->items())
    {
        if (item.key() == "note")
            continue;
        const std::optional<unsigned> number = NumberedKey(
            blocks, item.key(), 0, static_cast<unsigned>(card->blocks.size() - 1), "block");
        if (!number)
            return;
        const Place block = Below(blocks, item.key());
        if (*number == 0)
            return Complain(block, "is the manufacturer block, see uid and manufacturer");
        if (*number == TrailerOfSector(ClassicSectorOf(*number)))
            return Complain(block, "is a sector's trailer, see sectors");
        card->blocks[*number] = ReadBlock(block, *number);
    }
}

// Serial number and its check byte, select acknowledge, answer to request, the maker's own bytes.
ClassicBlock ManufacturerBlock(const Bytes &uid, const Model &model, const Bytes &own)
{
    Bytes bytes = uid;
    bytes.push_back(static_cast<uint8_t>(uid[0] ^ uid[1] ^ uid[2] ^ uid[3]));
    bytes.push_back(model.selectAcknowledge);
    AppendBytes(&bytes, model.answerToRequest);
    AppendBytes(&bytes, own);
    ClassicBlock block{};
    std::copy(bytes.begin(), bytes.end(), block.begin());
    return block;
}

void ReadCard(const Place &description, const Model &model, const Bytes &uid, ClassicCard *card)
{
    const Bytes own = HexOfSize(description, "manufacturer", kManufacturerSize,
                                {'V', 'A', 'N', 'T', 'O', 'R', '0', '1'});
    ClassicBlock trailer = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x07,
                            0x80, 0x69, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    ReadTrailer(description, &trailer);
    card->blocks.resize(FirstBlockOfSector(model.sectors), ClassicBlock{});
    card->blocks[0] = ManufacturerBlock(uid, model, own);
    for (unsigned sector = 0; sector < model.sectors; ++sector)
        card->blocks[TrailerOfSector(sector)] = trailer;
    if (const std::optional<Place> sectors = Find(description, "sectors"))
        ReadSectors(*sectors, model.sectors, card);
    if (const std::optional<Place> blocks = Find(description, "blocks"))
        ReadBlocks(*blocks, card);
}

nlohmann::json ContentsOf(const ClassicCard &card)
{
    nlohmann::json blocks = nlohmann::json::array();
    for (const ClassicBlock &block : card.blocks)
        blocks.push_back(HexText(Bytes(block.begin(), block.end())));
    return {{"kind", "mifare-classic"},
            {"authenticated", card.sector ? nlohmann::json(*card.sector) : nlohmann::json()},
            {"blocks", blocks}};
}

} // namespace

std::shared_ptr<Card> MakeClassicCard(const Place &description)
{
    const auto card = std::make_shared<Card>();
    const auto classic = std::make_shared<ClassicCard>();
    if (!IsObjectOf(description,
                    {"kind", "label", "size", "uid", "manufacturer", "identification", "type",
                     "keyA", "keyB", "access", "generalPurpose", "sectors", "blocks"}))
        return card;
    const Model &model = ReadModel(description);
    const Bytes uid = HexOfSize(description, "uid", kUidSize, {0x5A, 0x1B, 0x2C, 0x3D});
    ReadCard(description, model, uid, classic.get());

    const auto traits = std::make_shared<MemoryTraits>();
    traits->family = CardFamily::classic;
    traits->identification = model.answerToRequest;
    traits->identification.push_back(model.selectAcknowledge);
    AppendBytes(&traits->identification, uid);
    traits->type = {0x00, model.type};
    ReadTraits(description, traits.get());
    traits->contents = [classic] { return ContentsOf(*classic); };

    card->kind = "mifare-classic";
    card->label = TextAt(description, "label", model.label);
    card->memory = traits;
    card->powerOn = [classic] { ActivateClassic(classic.get(), true); };
    card->powerOff = [classic] { ActivateClassic(classic.get(), false); };
    card->transmit = [classic](const Bytes &command)
    { return AnswerOfClassic(classic.get(), command); };
    card->remark = [classic] { return classic->remark; };
    return card;
}

} // namespace vreader
