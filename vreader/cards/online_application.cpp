#include "vreader/cards/online_application.h"

#include "vreader/cards/pboc_card.h"

#include <algorithm>

namespace vreader
{

namespace
{

constexpr Tag kAmount = 0x9F02;
constexpr Tag kResponseCode = 0x8A;

constexpr uint8_t kAac = 0x00;
constexpr uint8_t kTc = 0x40;
constexpr uint8_t kArqc = 0x80;
constexpr uint8_t kReferral = 0xC0;

constexpr uint16_t kLastCounter = 0xFFFF;

struct SizedTag
{
    Tag tag;
    size_t length;
};

// What the standard cryptogram is over, in this order; the card's own data follow.
constexpr SizedTag kSignedObjects[] = {
    {0x9F02, 6}, // amount, authorised
    {0x9F03, 6}, // amount, other
    {0x9F1A, 2}, // terminal country code
    {0x95, 5},   // terminal verification results
    {0x5F2A, 2}, // transaction currency code
    {0x9A, 3},   // transaction date
    {0x9C, 1},   // transaction type
    {0x9F37, 4}, // unpredictable number
};

// The transaction log record in front of its counter.
constexpr SizedTag kLogObjects[] = {
    {0x9A, 3},   {0x9F21, 3}, {0x9F02, 6},  {0x9F03, 6},
    {0x9F1A, 2}, {0x5F2A, 2}, {0x9F4E, 20}, {0x9C, 1},
};

// The load log record between its amounts and its counter.
constexpr SizedTag kLoadLogObjects[] = {{0x9A, 3}, {0x9F21, 3}, {0x9F1A, 2}, {0x9F4E, 20}};

Bytes CounterBytes(uint16_t counter)
{
    return {static_cast<uint8_t>(counter >> 8), static_cast<uint8_t>(counter)};
}

// What the terminal sent of an object; zeros for what it did not send.
Bytes TerminalValue(const Transaction &transaction, const SizedTag &object)
{
    const auto found = transaction.terminalData.find(object.tag);
    Bytes value = found == transaction.terminalData.end() ? Bytes{} : found->second;
    value.resize(object.length, 0);
    return value;
}

void TakeListData(Transaction *transaction, const Bytes &list, const Bytes &data)
{
    transaction->listData = data;
    size_t at = 0;
    for (const ListEntry &entry : ListEntries(list))
    {
        // A card that does not check the length of its PDOL data may get less than it asked for.
        const size_t length = std::min(entry.length, data.size() - at);
        const auto value = data.begin() + static_cast<std::ptrdiff_t>(at);
        transaction->terminalData[entry.tag] =
            Bytes(value, value + static_cast<std::ptrdiff_t>(length));
        at += length;
    }
}

Bytes VerificationResults(const OnlineApplication &online, uint8_t kind, bool isSecond)
{
    constexpr uint8_t kNoSecondYet = 0x80;
    const Transaction &transaction = online.transaction;
    const uint8_t firstKind = isSecond ? transaction.firstKind : kind;
    unsigned second = isSecond ? kind : kNoSecondYet;
    second |= firstKind >> 2;
    second |= transaction.triedAuthentication && !transaction.isAuthenticated ? 0x08 : 0;
    second |= transaction.pinVerified ? 0x04 : 0;
    second |= transaction.pinWrong ? 0x02 : 0;
    unsigned third = !online.pin.empty() && online.pinTries == 0 ? 0x40 : 0;
    third |= online.lastAuthenticationFailed ? 0x08 : 0;
    const unsigned fourth = online.scriptCount << 4 | (online.scriptFailed ? 0x08u : 0u);
    return {0x03, static_cast<uint8_t>(second), static_cast<uint8_t>(third),
            static_cast<uint8_t>(fourth)};
}

Bytes SignedData(const OnlineApplication &online, const Bytes &results)
{
    Bytes data;
    if (online.signsWholeList)
        data = online.transaction.listData;
    else
        for (const SizedTag &object : kSignedObjects)
            AppendBytes(&data, TerminalValue(online.transaction, object));
    AppendBytes(&data, online.interchangeProfile);
    AppendBytes(&data, CounterBytes(online.counter));
    AppendBytes(&data, results);
    return data;
}

struct CryptogramAnswer
{
    uint8_t kind; // 9F27
    Block cryptogram;
    Bytes issuerData; // 9F10
};

CryptogramAnswer Sign(OnlineApplication *online, uint8_t kind, bool isSecond)
{
    constexpr uint8_t kTripleDes = 0x01;
    const Bytes results = VerificationResults(*online, kind, isSecond);
    CryptogramAnswer answer{kind, {}, {0x07, online->keyIndex, online->cryptogramVersion}};
    AppendBytes(&answer.issuerData, results);
    answer.issuerData.push_back(kTripleDes);
    answer.cryptogram = RetailMac(DeriveSessionKey(online->keys.cryptogram, online->counter),
                                  SignedData(*online, results));
    if (!isSecond)
    {
        online->transaction.cryptogram = answer.cryptogram;
        online->transaction.firstKind = kind;
    }
    return answer;
}

Bytes AsBytes(const Block &block)
{
    return Bytes(block.begin(), block.end());
}

// 77 with 9F27, 9F36, 9F26, 9F10, or 80 with their values in this order.
Bytes FormatAnswer(const OnlineApplication &online, const CryptogramAnswer &answer)
{
    if (online.answersFormat1)
    {
        Bytes value = {answer.kind};
        AppendBytes(&value, CounterBytes(online.counter));
        AppendBytes(&value, AsBytes(answer.cryptogram));
        AppendBytes(&value, answer.issuerData);
        return Tlv(0x80, value);
    }
    Bytes objects = Tlv(0x9F27, {answer.kind});
    AppendTlv(&objects, 0x9F36, CounterBytes(online.counter));
    AppendTlv(&objects, 0x9F26, AsBytes(answer.cryptogram));
    AppendTlv(&objects, 0x9F10, answer.issuerData);
    return Tlv(0x77, objects);
}

struct Decision
{
    uint8_t kind;
    std::string why;
};

Decision DecideFirst(const PbocCard &card, const DedicatedFile &file, uint8_t asked)
{
    const OnlineApplication &online = *file.online;
    const uint64_t amount = Hundredths(TerminalValue(online.transaction, {kAmount, 6}));
    if (card.isBlocked || file.selectStatus == kApplicationBlocked)
        return {kAac, "the application is blocked: declined"};
    if (online.declines == Decline::first)
        return {kAac, "this card declines"};
    if (online.declineAbove && amount > *online.declineAbove)
        return {kAac, "more than this card approves: declined"};
    if (asked == kAac)
        return {kAac, "declined as asked"};
    if (asked == kTc && amount <= online.offlineLimit)
        return {kTc, ""};
    return {kArqc, asked == kTc ? "more than this card approves offline" : ""};
}

Decision DecideSecond(const PbocCard &card, const DedicatedFile &file, uint8_t asked)
{
    const OnlineApplication &online = *file.online;
    const Transaction &transaction = online.transaction;
    if (asked == kReferral)
        return {kAac, "a referral ends without approval"};
    if (asked == kAac)
        return {kAac, "declined as asked"};
    if (card.isBlocked || file.selectStatus == kApplicationBlocked)
        return {kAac, "the application is blocked: declined"};
    if (online.declines == Decline::second)
        return {kAac, "this card declines after the issuer's answer"};
    if (transaction.triedAuthentication && !transaction.isAuthenticated)
        return {kAac, "issuer authentication failed: declined"};
    if (online.needsAuthentication && !transaction.isAuthenticated)
        return {kAac, "the issuer has not been authenticated: declined"};
    const auto code = transaction.terminalData.find(kResponseCode);
    if (transaction.isAuthenticated && code != transaction.terminalData.end() &&
        code->second != transaction.responseCode)
        return {kAac, "8A is not the response code that the issuer signed: declined"};
    return {kTc, ""};
}

void EnterTransaction(DedicatedFile *file)
{
    if (file->logFile != 0)
        EnterRecord(file, file->logFile, file->logLimit, TransactionLogEntry(*file->online));
}

Bytes FirstCryptogram(PbocCard *card, DedicatedFile *file, uint8_t asked)
{
    OnlineApplication *online = &*file->online;
    const Decision decision = DecideFirst(*card, *file, asked);
    card->remark = decision.why;
    const CryptogramAnswer answer = Sign(online, decision.kind, false);
    online->transaction.stage = decision.kind == kArqc ? Stage::online : Stage::finished;
    if (decision.kind == kTc)
        EnterTransaction(file);
    return WithStatus(FormatAnswer(*online, answer), 0x9000);
}

Bytes SecondCryptogram(PbocCard *card, DedicatedFile *file, uint8_t asked)
{
    OnlineApplication *online = &*file->online;
    const Decision decision = DecideSecond(*card, *file, asked);
    card->remark = decision.why;
    const CryptogramAnswer answer = Sign(online, decision.kind, true);
    Transaction *transaction = &online->transaction;
    transaction->stage = Stage::finished;
    online->lastAuthenticationFailed =
        transaction->triedAuthentication && !transaction->isAuthenticated;
    if (transaction->isAuthenticated)
    {
        // The issuer has seen what the scripts of earlier transactions came to.
        online->scriptCount = 0;
        online->scriptFailed = false;
        online->lastOnline = online->counter;
    }
    if (decision.kind == kTc)
        EnterTransaction(file);
    PublishCounters(file);
    return WithStatus(FormatAnswer(*online, answer), 0x9000);
}

} // namespace

void PublishCounters(DedicatedFile *file)
{
    const OnlineApplication &online = *file->online;
    file->dataObjects[0x9F36] = CounterBytes(online.counter);
    file->dataObjects[0x9F13] = CounterBytes(online.lastOnline);
    if (!online.pin.empty())
        file->dataObjects[0x9F17] = {static_cast<uint8_t>(online.pinTries)};
}

Bytes TransactionLogEntry(const OnlineApplication &online)
{
    Bytes record;
    for (const SizedTag &object : kLogObjects)
        AppendBytes(&record, TerminalValue(online.transaction, object));
    AppendBytes(&record, CounterBytes(online.counter));
    return record;
}

Bytes LoadLogEntry(const OnlineApplication &online, Tag tag, const Bytes &before,
                   const Bytes &after)
{
    Bytes record = {static_cast<uint8_t>(tag >> 8), static_cast<uint8_t>(tag)};
    AppendBytes(&record, before);
    AppendBytes(&record, after);
    for (const SizedTag &object : kLoadLogObjects)
        AppendBytes(&record, TerminalValue(online.transaction, object));
    AppendBytes(&record, CounterBytes(online.counter));
    return record;
}

Bytes StartTransaction(PbocCard *card, DedicatedFile *file, const Bytes &listData)
{
    OnlineApplication *online = &*file->online;
    if (card->isBlocked)
        return Status(card, 0x6985, "the card is blocked");
    if (online->counter == kLastCounter)
        return Status(card, 0x6985, "the transaction counter is at its end");
    ++online->counter;
    PublishCounters(file);
    online->transaction = {};
    online->transaction.stage = Stage::started;
    TakeListData(&online->transaction, online->pdol, listData);
    if (!online->isOneStep)
        return WithStatus(file->processingOptions, 0x9000);

    const Decision decision = DecideFirst(*card, *file, kArqc);
    card->remark = decision.why;
    const CryptogramAnswer answer = Sign(online, decision.kind, false);
    online->transaction.stage = decision.kind == kArqc ? Stage::online : Stage::finished;
    Bytes objects = Tlv(0x82, online->interchangeProfile);
    AppendTlv(&objects, 0x9F36, CounterBytes(online->counter));
    AppendTlv(&objects, 0x9F27, {answer.kind});
    AppendTlv(&objects, 0x9F26, AsBytes(answer.cryptogram));
    AppendTlv(&objects, 0x9F10, answer.issuerData);
    AppendBytes(&objects, online->optionsData);
    return WithStatus(Tlv(0x77, objects), 0x9000);
}

Bytes GenerateCryptogram(PbocCard *card, const Command &command)
{
    DedicatedFile *file = Selected(card);
    OnlineApplication *online = &*file->online;
    const uint8_t asked = command.p1 & 0xC0;
    if (command.p2 != 0 || (command.p1 & 0x3F) != 0)
        return Status(card, 0x6A86);
    const Stage stage = online->transaction.stage;
    if (stage == Stage::idle)
        return Status(card, 0x6985, "no transaction has been started");
    if (stage == Stage::finished)
        return Status(card, 0x6985, "the transaction is finished");
    const bool isFirst = stage == Stage::started;
    if (isFirst && asked == kReferral)
        return Status(card, 0x6A86);
    if (!isFirst && asked == kArqc)
        return Status(card, 0x6985, "the first cryptogram was an ARQC already");
    const Bytes &list = isFirst ? online->cdol1 : online->cdol2;
    if (command.data.size() != RequestedLength(list))
        return Status(card, 0x6700,
                      std::string(isFirst ? "CDOL1" : "CDOL2") + " asks for " +
                          std::to_string(RequestedLength(list)) + " bytes, the command has " +
                          std::to_string(command.data.size()));
    TakeListData(&online->transaction, list, command.data);
    return isFirst ? FirstCryptogram(card, file, asked) : SecondCryptogram(card, file, asked);
}

Bytes AuthenticateIssuer(PbocCard *card, const Command &command)
{
    constexpr uint8_t kSupportsAuthentication = 0x04;
    constexpr size_t kCryptogramSize = 8;
    constexpr size_t kLongestData = 16;
    OnlineApplication *online = &*Selected(card)->online;
    Transaction *transaction = &online->transaction;
    if (command.p1 != 0 || command.p2 != 0)
        return Status(card, 0x6A86);
    if ((online->interchangeProfile[0] & kSupportsAuthentication) == 0)
        return Status(card, 0x6985, "82 says that the card does not authenticate its issuer");
    if (transaction->stage != Stage::online)
        return Status(card, 0x6985, "no ARQC awaits the issuer's answer");
    if (transaction->triedAuthentication)
        return Status(card, 0x6985, "once in a transaction only");
    if (command.data.size() < kCryptogramSize + 2 || command.data.size() > kLongestData)
        return Status(card, 0x6700, "an ARPC of 8 bytes and a response code of 2 are needed");
    transaction->triedAuthentication = true;
    const Block arpc = MakeArpc(DeriveSessionKey(online->keys.cryptogram, online->counter),
                                *transaction->cryptogram, {command.data[8], command.data[9]});
    if (!std::equal(arpc.begin(), arpc.end(), command.data.begin()))
        return Status(card, 0x6300, "the ARPC is not the issuer's");
    transaction->isAuthenticated = true;
    transaction->responseCode = {command.data[8], command.data[9]};
    return Status(card, 0x9000);
}

// The PIN in the open: 2N, its digits, F up to eight bytes.
Bytes VerifyCardholderPin(PbocCard *card, const Command &command)
{
    constexpr uint8_t kPlainPin = 0x80;
    DedicatedFile *file = Selected(card);
    OnlineApplication *online = &*file->online;
    if (command.p1 != 0 || command.p2 != kPlainPin)
        return Status(card, 0x6A86);
    if (command.data.size() != 8)
        return Status(card, 0x6700);
    if (online->pinTries == 0)
        return Status(card, 0x6983, "no PIN tries left");
    std::string expected = "2" + HexText({static_cast<uint8_t>(online->pin.size())}).substr(1);
    expected = (expected + online->pin + std::string(16, 'F')).substr(0, 16);
    const bool isRight = HexText(command.data) == expected;
    online->transaction.pinVerified = isRight;
    online->transaction.pinWrong = !isRight;
    online->pinTries = isRight ? online->pinLimit : online->pinTries - 1;
    PublishCounters(file);
    if (isRight)
        return Status(card, 0x9000);
    return Status(card, static_cast<uint16_t>(0x63C0 | online->pinTries), "wrong PIN");
}

} // namespace vreader
