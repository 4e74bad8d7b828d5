#include "vreader/cards/identity_card.h"

#include "vreader/cards/byte_source.h"
#include "vreader/cards/identity_fields.h"

#include <algorithm>

namespace vreader
{

namespace
{

constexpr size_t kChipSerialSize = 8;
constexpr size_t kCardSerialSize = 16;
constexpr size_t kLongestRecord = 4096;

struct KindName
{
    const char *name;
    IdentityKind kind;
};

constexpr KindName kKinds[] = {
    {"resident", IdentityKind::resident},
    {"gat", IdentityKind::gat},
    {"foreign", IdentityKind::foreign},
};

// What every kind may have beside its fields. "text" stands for all the fields.
constexpr const char *kCommonKeys[] = {
    "kind",        "label",      "note",       "text",       "patch",       "photo",
    "fingerprint", "chipSerial", "cardSerial", "textLength", "photoLength", "fingerprintLength",
    "record",      "behaviour",  "commands",
};

bool KnownKeysOnly(const Place &description, IdentityKind kind)
{
    std::vector<const char *> known(std::begin(kCommonKeys), std::end(kCommonKeys));
    const std::vector<const char *> fields = IdentityFieldKeys(kind);
    if (!Find(description, "text"))
        known.insert(known.end(), fields.begin(), fields.end());
    for (const auto &item : description.value->items())
    {
        if (std::any_of(known.begin(), known.end(),
                        [&](const char *key) { return item.key() == key; }))
            continue;
        std::string names;
        for (const char *key : known)
            names += (names.empty() ? "" : ", ") + std::string(key);
        Complain(Below(description, item.key()), "unknown key; known here are " + names);
        return false;
    }
    return true;
}

std::optional<IdentityKind> KindOf(const Place &description)
{
    if (!description.value->is_object())
    {
        Expected(description, "an object that describes an identity card");
        return std::nullopt;
    }
    const std::optional<Place> place = Find(description, "kind");
    if (!place)
    {
        Complain(description, "the key \"kind\" is missing (resident, gat or foreign)");
        return std::nullopt;
    }
    const std::string name = Text(*place);
    for (const KindName &row : kKinds)
        if (name == row.name)
            return row.kind;
    Expected(*place, "resident, gat or foreign");
    return std::nullopt;
}

// Bytes of exactly this size, or none where that is allowed.
Bytes BlockAt(const Place &description, const char *key, const std::string &directory, size_t size,
              bool mayBeEmpty)
{
    const std::optional<Place> place = Find(description, key);
    if (!place)
        return {};
    const Bytes bytes = BytesFrom(*place, directory, size);
    if (bytes.size() != size && !(mayBeEmpty && bytes.empty()))
        Complain(*place,
                 "has " + std::to_string(bytes.size()) + " bytes and not " + std::to_string(size));
    return bytes;
}

// {"OFFSET": HEX}: bytes put over the finished text block.
void Patch(const Place &description, Bytes *text)
{
    const std::optional<Place> patches = Find(description, "patch");
    if (!patches)
        return;
    if (!patches->value->is_object())
        return Expected(*patches, "an object from offsets to hexadecimal digits");
    for (const auto &item : patches->value->items())
    {
        const Place place = Below(*patches, item.key());
        const Bytes bytes = Hex(place);
        const std::optional<unsigned> offset = KeyNumber(item.key(), 0, kIdentityTextSize - 1);
        if (!offset || *offset + bytes.size() > text->size())
            return Complain(place, "lies outside the text block");
        std::copy(bytes.begin(), bytes.end(), text->begin() + static_cast<std::ptrdiff_t>(*offset));
    }
}

std::optional<unsigned> LengthAt(const Place &description, const char *key)
{
    if (!Find(description, key))
        return std::nullopt;
    return NumberAt(description, key, 0, 0xFFFF, 0);
}

void ReadSerials(const Place &description, IdentityCard *card)
{
    const Bytes chip = BlockAt(description, "chipSerial", "", kChipSerialSize, true);
    const Bytes whole = BlockAt(description, "cardSerial", "", kCardSerialSize, true);
    if (chip.empty() && whole.empty())
        return;
    if (chip.empty() || whole.empty() || card->fingerprint.empty())
        Complain(description, "chipSerial and cardSerial stand together, behind a fingerprint");
    card->serials = chip;
    AppendBytes(&card->serials, whole);
}

void ReadHostility(const Place &description, const std::string &directory, IdentityCard *card)
{
    card->textLength = LengthAt(description, "textLength");
    card->photoLength = LengthAt(description, "photoLength");
    card->fingerprintLength = LengthAt(description, "fingerprintLength");
    if (const std::optional<Place> record = Find(description, "record"))
        card->record = BytesFrom(*record, directory, kLongestRecord);
    if (const std::optional<Place> behaviour = Find(description, "behaviour"))
    {
        card->behaviour = Text(*behaviour);
        if (!IsIdentityBehaviour(card->behaviour))
            Expected(*behaviour, IdentityBehaviours());
    }
    const std::optional<Place> commands = Find(description, "commands");
    if (!commands || !IsArray(*commands, "a list of beginnings of commands"))
        return;
    for (size_t i = 0; i < commands->value->size(); ++i)
        card->commands.push_back(Hex(Element(*commands, i)));
}

void AppendLength(Bytes *record, const std::optional<unsigned> &told, const Bytes &data)
{
    const auto length = told.value_or(static_cast<unsigned>(data.size()));
    record->push_back(static_cast<uint8_t>(length >> 8));
    record->push_back(static_cast<uint8_t>(length & 0xFF));
}

} // namespace

std::shared_ptr<const IdentityCard> MakeIdentityCard(const Place &description,
                                                     const std::string &directory)
{
    auto card = std::make_shared<IdentityCard>();
    const std::optional<IdentityKind> kind = KindOf(description);
    if (!kind || !KnownKeysOnly(description, *kind))
        return card;
    card->kind = TextAt(description, "kind", "");
    card->label = TextAt(description, "label", card->kind + " identity card");
    card->text = Find(description, "text")
                     ? BlockAt(description, "text", directory, kIdentityTextSize, false)
                     : IdentityText(description, *kind);
    if (!Failed(description))
        Patch(description, &card->text);
    const nlohmann::json usualPhoto = "pattern:portrait";
    card->photo =
        Find(description, "photo")
            ? BlockAt(description, "photo", directory, kIdentityPhotoSize, true)
            : BytesFrom({&usualPhoto, "photo", description.problem}, directory, kIdentityPhotoSize);
    card->fingerprint =
        BlockAt(description, "fingerprint", directory, kIdentityFingerprintSize, true);
    ReadSerials(description, card.get());
    ReadHostility(description, directory, card.get());
    return card;
}

Bytes IdentityRecord(const IdentityCard &card, bool withFingerprint)
{
    if (card.record)
        return *card.record;
    Bytes record;
    AppendLength(&record, card.textLength, card.text);
    AppendLength(&record, card.photoLength, card.photo);
    if (withFingerprint)
        AppendLength(&record, card.fingerprintLength, card.fingerprint);
    AppendBytes(&record, card.text);
    AppendBytes(&record, card.photo);
    if (withFingerprint)
    {
        AppendBytes(&record, card.fingerprint);
        AppendBytes(&record, card.serials);
    }
    return record;
}

} // namespace vreader
