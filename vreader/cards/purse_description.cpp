// The key "purse" of an application.
#include "vreader/cards/pboc_card.h"

namespace vreader
{

namespace
{

TripleDesKey NeededKey(const Place &keys, const char *name)
{
    if (const std::optional<Place> found = Find(keys, name))
        return Key(*found);
    Complain(keys, "the key \"" + std::string(name) + "\" is missing");
    return {};
}

uint32_t AmountUpTo(const Place &account, const char *name, uint64_t most)
{
    const std::optional<Place> found = Find(account, name);
    if (!found)
        return 0;
    const uint64_t amount = Hundredths(Amount(*found));
    if (amount > most)
        Complain(*found, "does not fit the card's field");
    return static_cast<uint32_t>(amount);
}

PurseAccount Account(const Place &purse, const char *name)
{
    PurseAccount account;
    const std::optional<Place> found = Find(purse, name);
    if (!found || !IsObjectOf(*found, {"balance", "overdraft", "onlineCounter", "offlineCounter"}))
        return account;
    account.balance = AmountUpTo(*found, "balance", 0xFFFFFFFF);
    account.overdraft = AmountUpTo(*found, "overdraft", 0xFFFFFF);
    account.onlineCounter = static_cast<uint16_t>(NumberAt(*found, "onlineCounter", 0, 0xFFFF, 0));
    account.offlineCounter =
        static_cast<uint16_t>(NumberAt(*found, "offlineCounter", 0, 0xFFFF, 0));
    return account;
}

} // namespace

void ReadPurseDescription(const Place &place, DedicatedFile *file)
{
    if (!IsObjectOf(place, {"keys", "keyIndex", "keyVersion", "pin", "pinTries", "recordFile",
                            "recordSize", "deposit", "purse"}))
        return;
    Purse *purse = &file->purse.emplace();
    const std::optional<Place> keys = Find(place, "keys");
    if (!keys)
        Complain(place, "the key \"keys\" is missing");
    else if (IsObjectOf(*keys, {"load", "purchase", "tac"}))
    {
        purse->loadKey = NeededKey(*keys, "load");
        purse->purchaseKey = NeededKey(*keys, "purchase");
        purse->tacKey = NeededKey(*keys, "tac");
    }
    purse->keyIndex = static_cast<uint8_t>(NumberAt(place, "keyIndex", 0, 255, 1));
    purse->keyVersion = static_cast<uint8_t>(NumberAt(place, "keyVersion", 0, 255, 1));
    purse->pin = HexAt(place, "pin", {});
    if (!purse->pin.empty() && (purse->pin.size() < 2 || purse->pin.size() > 6))
        Expected(Below(place, "pin"), "a PIN of 4 to 12 digits, an even number of them");
    purse->pinLimit = NumberAt(place, "pinTries", 1, 15, 3);
    purse->pinTries = purse->pinLimit;
    purse->recordFile = static_cast<uint8_t>(NumberAt(place, "recordFile", 1, 30, 24));
    purse->recordLimit = NumberAt(place, "recordSize", 0, 255, 10);
    purse->deposit = Account(place, "deposit");
    purse->purse = Account(place, "purse");
    file->files[purse->recordFile]; // there, and empty until the first transaction
}

} // namespace vreader
