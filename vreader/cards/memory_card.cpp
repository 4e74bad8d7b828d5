#include "vreader/cards/memory_card.h"

#include "vreader/cards/tlv.h"

namespace vreader
{

namespace
{

struct Kind
{
    const char *name;
    std::shared_ptr<Card> (*make)(const Place &description);
};

constexpr Kind kKinds[] = {
    {"mifare-classic", MakeClassicCard},
    {"ultralight-c", MakeUltralightCard},
    {"hostile-memory", MakeHostileMemoryCard},
};

constexpr size_t kLongestIdentification = 250;

} // namespace

bool IsMemoryKind(const std::string &kind)
{
    for (const Kind &row : kKinds)
        if (kind == row.name)
            return true;
    return false;
}

std::shared_ptr<Card> MakeMemoryCard(const std::string &kind, const Place &description)
{
    for (const Kind &row : kKinds)
        if (kind == row.name)
            return row.make(description);
    return nullptr;
}

void ReadTraits(const Place &description, MemoryTraits *traits)
{
    traits->identification = HexAt(description, "identification", traits->identification);
    if (traits->identification.size() > kLongestIdentification)
        Complain(description, "identification: is longer than 250 bytes");
    traits->type = HexOfSize(description, "type", 2, traits->type);
}

Bytes HexOfSize(const Place &description, const char *key, size_t size, const Bytes &otherwise)
{
    const std::optional<Place> found = Find(description, key);
    if (!found)
        return otherwise;
    Bytes bytes = Hex(*found);
    if (bytes.size() != size)
        Expected(*found, std::to_string(size) + (size == 1 ? " byte" : " bytes") +
                             " in hexadecimal digits");
    bytes.resize(size);
    return bytes;
}

Bytes MemoryContents(const Place &place, size_t room)
{
    constexpr std::string_view kText = "text:";
    std::optional<Bytes> bytes;
    if (place.value->is_string())
    {
        const std::string_view text = place.value->get_ref<const std::string &>();
        bytes = text.substr(0, kText.size()) == kText ? BytesFromText(text.substr(kText.size()))
                                                      : BytesFromHex(text);
    }
    if (!bytes)
        Expected(place, "hexadecimal digits in pairs, or \"text:...\"");
    else if (bytes->size() > room)
        Complain(place, "has " + std::to_string(bytes->size()) + " bytes, there is room for " +
                            std::to_string(room));
    return bytes.value_or(Bytes{});
}

std::optional<unsigned> NumberedKey(const Place &object, const std::string &key, unsigned least,
                                    unsigned most, const char *what)
{
    const std::optional<unsigned> number = KeyNumber(key, least, most);
    if (!number)
        Complain(Below(object, key), "is no " + std::string(what) + " (" + std::to_string(least) +
                                         " to " + std::to_string(most) + ")");
    return number;
}

} // namespace vreader
