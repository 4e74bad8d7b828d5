#include "vreader/cards/purse.h"

#include "vreader/cards/pboc_card.h"

#include <algorithm>

namespace vreader
{

namespace
{

constexpr uint8_t kDeposit = 0x01; // P2
constexpr uint8_t kPurse = 0x02;
constexpr uint8_t kLoad = 0x00; // P1
constexpr uint8_t kPurchase = 0x01;

constexpr size_t kRequestSize = 11;       // key index 1, amount 4, terminal 6
constexpr size_t kLoadOrderSize = 11;     // date 4, time 3, MAC2 4
constexpr size_t kPurchaseOrderSize = 15; // number 4, date 4, time 3, MAC1 4
constexpr uint16_t kWrongMac = 0x9302;
constexpr uint16_t kNotEnough = 0x9401;
constexpr uint16_t kCounterAtItsEnd = 0x9402;
constexpr uint16_t kNoSuchKey = 0x9403;

PurseAccount *AccountOf(Purse *purse, uint8_t account)
{
    return account == kDeposit ? &purse->deposit : &purse->purse;
}

Bytes Part(const Bytes &bytes, size_t offset, size_t size)
{
    const auto start = bytes.begin() + static_cast<std::ptrdiff_t>(offset);
    return Bytes(start, start + static_cast<std::ptrdiff_t>(size));
}

uint64_t Spendable(const PurseAccount &account)
{
    return static_cast<uint64_t>(account.balance) + account.overdraft;
}

Bytes Joined(std::initializer_list<Bytes> fields)
{
    Bytes joined;
    for (const Bytes &field : fields)
        AppendBytes(&joined, field);
    return joined;
}

// Why a transaction cannot begin; 9000 when it can.
uint16_t Refusal(const Purse &purse, const PurseAccount &account, const Command &command)
{
    const bool isLoad = command.p1 == kLoad;
    const uint32_t amount = FromBigEndian(command.data, 1, 4);
    // A purse may be spent from without the PIN; a deposit may not, and neither may be filled.
    if ((isLoad || command.p2 == kDeposit) && !purse.pin.empty() && !purse.pinVerified)
        return 0x6982;
    if (command.data[0] != purse.keyIndex)
        return kNoSuchKey;
    if ((isLoad ? account.onlineCounter : account.offlineCounter) == 0xFFFF)
        return kCounterAtItsEnd;
    if (isLoad && static_cast<uint64_t>(account.balance) + amount > 0xFFFFFFFF)
        return 0x6985;
    if (!isLoad && Spendable(account) < amount)
        return kNotEnough;
    return 0x9000;
}

void EnterPurseRecord(DedicatedFile *file, const PurseAccount &account, const PurseOrder &order)
{
    EnterRecord(file, file->purse->recordFile, file->purse->recordLimit,
                Joined({BigEndian(order.counter, 2),
                        BigEndian(account.overdraft, 3),
                        BigEndian(order.terms.amount, 4),
                        {order.terms.type},
                        order.terms.terminal,
                        order.terms.date,
                        order.terms.time}));
}

Bytes CreditForLoad(PbocCard *card, const Command &command)
{
    DedicatedFile *file = Selected(card);
    Purse *purse = &*file->purse;
    PurseOrder order = purse->order;
    purse->order = {};
    if (command.data.size() != kLoadOrderSize)
        return Status(card, 0x6700);
    if (order.step != PurseStep::load)
        return Status(card, 0x6901, "INITIALIZE FOR LOAD goes first");
    order.terms.date = Part(command.data, 0, 4);
    order.terms.time = Part(command.data, 4, 3);
    const DesKey key = PurseSessionKey(purse->loadKey, order.random, order.counter, kLoadTail);
    if (PurseMac(key, TermsData(order.terms)) != Part(command.data, 7, 4))
        return Status(card, kWrongMac, "MAC2 is not the issuer's");
    PurseAccount *account = AccountOf(purse, order.account);
    account->balance += order.terms.amount;
    ++account->onlineCounter;
    EnterPurseRecord(file, *account, order);
    return WithStatus(PurseMac(TacKey(purse->tacKey),
                               Joined({BigEndian(account->balance, 4), BigEndian(order.counter, 2),
                                       TermsData(order.terms)})),
                      0x9000);
}

// The overdraft is what may go below zero: the balance first, then the limit shrinks.
void Spend(PurseAccount *account, uint32_t amount)
{
    const uint32_t fromBalance = std::min(account->balance, amount);
    account->balance -= fromBalance;
    account->overdraft -= amount - fromBalance;
}

Bytes DebitForPurchase(PbocCard *card, const Command &command)
{
    DedicatedFile *file = Selected(card);
    Purse *purse = &*file->purse;
    PurseOrder order = purse->order;
    purse->order = {};
    if (command.data.size() != kPurchaseOrderSize)
        return Status(card, 0x6700);
    if (order.step != PurseStep::purchase)
        return Status(card, 0x6901, "INITIALIZE FOR PURCHASE goes first");
    const Bytes number = Part(command.data, 0, 4);
    order.terms.date = Part(command.data, 4, 4);
    order.terms.time = Part(command.data, 8, 3);
    const DesKey key = PurseSessionKey(purse->purchaseKey, order.random, order.counter,
                                       static_cast<uint16_t>(FromBigEndian(number, 2, 2)));
    if (PurseMac(key, TermsData(order.terms)) != Part(command.data, 11, 4))
        return Status(card, kWrongMac, "MAC1 is not the terminal's");
    PurseAccount *account = AccountOf(purse, order.account);
    const PurseAccount before = *account;
    Spend(account, order.terms.amount);
    ++account->offlineCounter;
    EnterPurseRecord(file, before, order);
    Bytes answer = PurseMac(TacKey(purse->tacKey), Joined({BigEndian(order.terms.amount, 4),
                                                           {order.terms.type},
                                                           order.terms.terminal,
                                                           number,
                                                           order.terms.date,
                                                           order.terms.time}));
    AppendBytes(&answer, PurseMac(key, BigEndian(order.terms.amount, 4)));
    return WithStatus(answer, 0x9000);
}

} // namespace

Bytes BigEndian(uint32_t number, size_t size)
{
    Bytes bytes;
    for (size_t i = size; i-- > 0;)
        bytes.push_back(static_cast<uint8_t>(number >> (8 * i)));
    return bytes;
}

uint32_t FromBigEndian(const Bytes &bytes, size_t offset, size_t size)
{
    uint32_t number = 0;
    for (size_t i = offset; i < offset + size; ++i)
        number = number << 8 | bytes[i];
    return number;
}

DesKey PurseSessionKey(const TripleDesKey &key, const Bytes &random, uint16_t counter,
                       uint16_t tail)
{
    const Bytes input = Joined({random, BigEndian(counter, 2), BigEndian(tail, 2)});
    Block block{};
    std::copy_n(input.begin(), std::min(input.size(), block.size()), block.begin());
    return EncryptTripleDes(key, block);
}

DesKey TacKey(const TripleDesKey &key)
{
    DesKey halves{};
    for (size_t i = 0; i < halves.size(); ++i)
        halves[i] = static_cast<uint8_t>(key[i] ^ key[i + halves.size()]);
    return halves;
}

Bytes PurseMac(const DesKey &key, const Bytes &data)
{
    const Block mac = DesMac(key, data);
    return Bytes(mac.begin(), mac.begin() + 4);
}

Bytes LoadRequestData(uint32_t balance, const PurseTerms &terms)
{
    return Joined(
        {BigEndian(balance, 4), BigEndian(terms.amount, 4), {terms.type}, terms.terminal});
}

Bytes TermsData(const PurseTerms &terms)
{
    return Joined(
        {BigEndian(terms.amount, 4), {terms.type}, terms.terminal, terms.date, terms.time});
}

Bytes VerifyPursePin(PbocCard *card, const Command &command)
{
    Purse *purse = &*Selected(card)->purse;
    if (command.p1 != 0 || command.p2 != 0)
        return Status(card, 0x6A86);
    if (purse->pin.empty())
        return Status(card, 0x6985, "this purse has no PIN");
    if (command.data.size() < 2 || command.data.size() > 6)
        return Status(card, 0x6700, "a PIN has 2 to 6 bytes");
    if (purse->pinTries == 0)
        return Status(card, 0x6983, "no PIN tries left");
    purse->pinVerified = command.data == purse->pin;
    purse->pinTries = purse->pinVerified ? purse->pinLimit : purse->pinTries - 1;
    if (purse->pinVerified)
        return Status(card, 0x9000);
    return Status(card, static_cast<uint16_t>(0x63C0 | purse->pinTries), "wrong PIN");
}

Bytes GetBalance(PbocCard *card, const Command &command)
{
    Purse *purse = &*Selected(card)->purse;
    if (command.p1 != 0 || (command.p2 != kDeposit && command.p2 != kPurse))
        return Status(card, 0x6A86);
    if (command.p2 == kDeposit && !purse->pin.empty() && !purse->pinVerified)
        return Status(card, 0x6982, "the deposit is told after the PIN only");
    if (!command.data.empty() || (command.hasLe && command.le != 0 && command.le != 4))
        return Status(card, 0x6700);
    return WithStatus(BigEndian(AccountOf(purse, command.p2)->balance, 4), 0x9000);
}

Bytes InitializePurse(PbocCard *card, const Command &command)
{
    constexpr uint8_t kTripleDes = 0x00;
    Purse *purse = &*Selected(card)->purse;
    const bool isLoad = command.p1 == kLoad;
    if ((!isLoad && command.p1 != kPurchase) || (command.p2 != kDeposit && command.p2 != kPurse))
        return Status(card, 0x6A86);
    if (command.data.size() != kRequestSize)
        return Status(card, 0x6700, "key index, amount and terminal have 11 bytes");
    const PurseAccount &account = *AccountOf(purse, command.p2);
    const uint16_t refusal = Refusal(*purse, account, command);
    if (refusal != 0x9000)
        return Status(card, refusal);

    PurseOrder *order = &purse->order;
    order->step = isLoad ? PurseStep::load : PurseStep::purchase;
    order->account = command.p2;
    order->counter = isLoad ? account.onlineCounter : account.offlineCounter;
    order->random = RandomBytes(card, 4);
    order->terms.amount = FromBigEndian(command.data, 1, 4);
    order->terms.type = static_cast<uint8_t>(isLoad ? command.p2 : command.p2 + 4);
    order->terms.terminal = Part(command.data, 5, 6);
    Bytes answer = Joined({BigEndian(account.balance, 4), BigEndian(order->counter, 2)});
    if (!isLoad)
        AppendBytes(&answer, BigEndian(account.overdraft, 3));
    AppendBytes(&answer, {purse->keyVersion, kTripleDes});
    AppendBytes(&answer, order->random);
    if (isLoad)
        AppendBytes(&answer, PurseMac(PurseSessionKey(purse->loadKey, order->random, order->counter,
                                                      kLoadTail),
                                      LoadRequestData(account.balance, order->terms)));
    return WithStatus(answer, 0x9000);
}

Bytes CompletePurse(PbocCard *card, const Command &command)
{
    // 80 52 is the load command of the standard; the same also goes by 80 54 with P1 00.
    const bool isPurchase = command.ins == 0x54 && command.p1 == kPurchase;
    if (command.p2 != 0 || (!isPurchase && command.p1 != kLoad))
        return Status(card, 0x6A86);
    return isPurchase ? DebitForPurchase(card, command) : CreditForLoad(card, command);
}

} // namespace vreader
