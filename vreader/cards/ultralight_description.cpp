// An Ultralight C card from its description.
#include "vreader/cards/memory_card.h"
#include "vreader/cards/tlv.h"
#include "vreader/cards/ultralight_card.h"
#include "vreader/cards/ultralight_cipher.h"

#include <algorithm>

namespace vreader
{

namespace
{

constexpr size_t kUidSize = 7;
constexpr uint8_t kCascadeTag = 0x88;
constexpr unsigned kNoProtection = 0x30;
constexpr uint8_t kType = 0x03;

// What a card is delivered with.
const Bytes kDeliveryKey = {0x49, 0x45, 0x4D, 0x4B, 0x41, 0x45, 0x52, 0x42,
                            0x21, 0x4E, 0x41, 0x43, 0x55, 0x4F, 0x59, 0x46};

void PutSerialNumber(UltralightCard *card, const Bytes &uid)
{
    const auto first = static_cast<uint8_t>(kCascadeTag ^ uid[0] ^ uid[1] ^ uid[2]);
    const auto second = static_cast<uint8_t>(uid[3] ^ uid[4] ^ uid[5] ^ uid[6]);
    card->pages[0] = {uid[0], uid[1], uid[2], first};
    card->pages[1] = {uid[3], uid[4], uid[5], uid[6]};
    card->pages[kLockPage] = {second, 0x48, 0x00, 0x00};
}

void PutAt(UltralightCard *card, unsigned page, size_t offset, const Bytes &bytes)
{
    for (size_t i = 0; i < bytes.size(); ++i)
        card->pages[page + (offset + i) / kUltralightPageSize][(offset + i) % kUltralightPageSize] =
            bytes[i];
}

// Contents may run over the pages that follow.
void ReadPages(const Place &pages, UltralightCard *card)
{
    if (!pages.value->is_object())
        return Expected(pages, "an object from pages to their contents");
    for (const auto &item : pages.value->items())
    {
        if (item.key() == "note")
            continue;
        const std::optional<unsigned> number =
            NumberedKey(pages, item.key(), kFirstUserPage, kLastUserPage, "user's page");
        if (!number)
            return;
        const size_t room = (kLastUserPage + 1 - *number) * kUltralightPageSize;
        const Bytes bytes = MemoryContents(Below(pages, item.key()), room);
        if (Failed(pages))
            return;
        PutAt(card, *number, 0, bytes);
    }
}

void ReadChallenges(const Place &description, UltralightCard *card)
{
    card->generator.seed(NumberAt(description, "seed", 0, 0xFFFFFFFF, 1));
    const std::optional<Place> list = Find(description, "random");
    if (!list || !IsArray(*list, "a list of random numbers of 8 bytes"))
        return;
    for (size_t i = 0; i < list->value->size(); ++i)
    {
        const Place number = Element(*list, i);
        card->challenges.push_back(Hex(number));
        if (card->challenges.back().size() != kCipherBlock)
            return Expected(number, "8 bytes in hexadecimal digits");
    }
}

void ReadCard(const Place &description, const Bytes &uid, UltralightCard *card)
{
    PutSerialNumber(card, uid);
    PutAt(card, kLockPage, 2, HexOfSize(description, "lock01", 2, {0, 0}));
    PutAt(card, kOneWayPage, 0, HexOfSize(description, "otp", 4, {0, 0, 0, 0}));
    PutAt(card, kSecondLockPage, 0, HexOfSize(description, "lock23", 2, {0, 0}));
    const unsigned counter = NumberAt(description, "counter", 0, 0xFFFF, 0);
    PutAt(card, kCounterPage, 0,
          {static_cast<uint8_t>(counter & 0xFF), static_cast<uint8_t>(counter >> 8)});
    const unsigned auth0 = NumberAt(description, "auth0", 0, 255, kNoProtection);
    PutAt(card, kAuth0Page, 0, {static_cast<uint8_t>(auth0)});
    const unsigned auth1 = NumberAt(description, "auth1", 0, 255, 0);
    PutAt(card, kAuth1Page, 0, {static_cast<uint8_t>(auth1)});
    PutKey(card, HexOfSize(description, "key", kUltralightKeySize, kDeliveryKey));
    if (const std::optional<Place> pages = Find(description, "pages"))
        ReadPages(*pages, card);
    ReadChallenges(description, card);
}

nlohmann::json ContentsOf(const UltralightCard &card)
{
    nlohmann::json pages = nlohmann::json::array();
    for (const UltralightPage &page : card.pages)
        pages.push_back(HexText(Bytes(page.begin(), page.end())));
    return {{"kind", "ultralight-c"},
            {"authenticated", card.authenticated},
            {"key", HexText(KeyOf(card))},
            {"pages", pages}};
}

} // namespace

std::shared_ptr<Card> MakeUltralightCard(const Place &description)
{
    const auto card = std::make_shared<Card>();
    const auto ultralight = std::make_shared<UltralightCard>();
    if (!IsObjectOf(description,
                    {"kind", "label", "uid", "identification", "type", "key", "auth0", "auth1",
                     "lock01", "lock23", "otp", "counter", "pages", "random", "seed"}))
        return card;
    const Bytes uid =
        HexOfSize(description, "uid", kUidSize, {0x04, 0xA1, 0xB2, 0xC3, 0xD4, 0xE5, 0x80});
    ReadCard(description, uid, ultralight.get());

    const auto traits = std::make_shared<MemoryTraits>();
    traits->family = CardFamily::ultralight;
    traits->identification = {0x44, 0x00, 0x00}; // answer to request, select acknowledge
    AppendBytes(&traits->identification, uid);
    traits->type = {0x00, kType};
    ReadTraits(description, traits.get());
    traits->contents = [ultralight] { return ContentsOf(*ultralight); };

    card->kind = "ultralight-c";
    card->label = TextAt(description, "label", "Ultralight C");
    card->memory = traits;
    card->powerOn = [ultralight] { ActivateUltralight(ultralight.get(), true); };
    card->powerOff = [ultralight] { ActivateUltralight(ultralight.get(), false); };
    card->transmit = [ultralight](const Bytes &command)
    { return AnswerOfUltralight(ultralight.get(), command); };
    card->remark = [ultralight] { return ultralight->remark; };
    return card;
}

} // namespace vreader
