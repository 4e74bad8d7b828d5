#include "vreader/cards/ultralight_card.h"

#include "vreader/cards/memory_card.h"
#include "vreader/cards/tlv.h"
#include "vreader/cards/ultralight_cipher.h"

#include <algorithm>
#include <cstdio>

namespace vreader
{

namespace
{

constexpr uint8_t kRead = 0x30;
constexpr uint8_t kWrite = 0xA2;
constexpr uint8_t kAuthenticate = 0x1A;
constexpr uint8_t kContinue = 0xAF;
constexpr uint8_t kHalt = 0x50;
constexpr uint8_t kAuthenticated = 0x00;

constexpr unsigned kReadSize = 16;
constexpr unsigned kKeyPageOrder[] = {0x2D, 0x2C, 0x2F, 0x2E};

// A bit of the lock bytes and the pages that it locks; lock bytes 0 to 3.
struct LockBits
{
    unsigned first;
    unsigned last;
    unsigned lockByte;
    unsigned bit;
};

constexpr LockBits kLocks[] = {
    {0x03, 0x03, 0, 3}, {0x04, 0x04, 0, 4}, {0x05, 0x05, 0, 5}, {0x06, 0x06, 0, 6},
    {0x07, 0x07, 0, 7}, {0x08, 0x08, 1, 0}, {0x09, 0x09, 1, 1}, {0x0A, 0x0A, 1, 2},
    {0x0B, 0x0B, 1, 3}, {0x0C, 0x0C, 1, 4}, {0x0D, 0x0D, 1, 5}, {0x0E, 0x0E, 1, 6},
    {0x0F, 0x0F, 1, 7}, {0x10, 0x13, 2, 1}, {0x14, 0x17, 2, 2}, {0x18, 0x1B, 2, 3},
    {0x1C, 0x1F, 2, 5}, {0x20, 0x23, 2, 6}, {0x24, 0x27, 2, 7}, {0x29, 0x29, 3, 4},
    {0x2A, 0x2A, 3, 5}, {0x2B, 0x2B, 3, 6}, {0x2C, 0x2F, 3, 7},
};

// A bit that, once set, keeps other lock bits as they are.
struct FreezeBits
{
    unsigned lockByte;
    unsigned bit;
    unsigned frozenByte;
    uint8_t frozenBits;
};

constexpr FreezeBits kFreezes[] = {
    {0, 0, 0, 0x08},                  // the one-way page
    {0, 1, 0, 0xF0}, {0, 1, 1, 0x03}, // pages 04 to 09
    {0, 2, 1, 0xFC},                  // pages 0A to 0F
    {2, 0, 2, 0x0E},                  // pages 10 to 1B
    {2, 4, 2, 0xE0},                  // pages 1C to 27
    {3, 0, 3, 0x10},                  // counter
    {3, 1, 3, 0x20},                  // AUTH0
    {3, 2, 3, 0x40},                  // AUTH1
    {3, 3, 3, 0x80},                  // key
};

std::string PageName(unsigned page)
{
    char text[16];
    std::snprintf(text, sizeof text, "page %02X", page);
    return text;
}

Bytes FallSilent(UltralightCard *card, const std::string &why)
{
    ActivateUltralight(card, false);
    card->remark = why;
    return {};
}

Bytes Refuse(UltralightCard *card, const std::string &why)
{
    FallSilent(card, why);
    return {kCardRefuses};
}

uint8_t *LockByte(UltralightCard *card, unsigned number)
{
    return number < 2 ? &card->pages[kLockPage][2 + number]
                      : &card->pages[kSecondLockPage][number - 2];
}

bool IsLocked(UltralightCard *card, unsigned page)
{
    return std::any_of(std::begin(kLocks), std::end(kLocks),
                       [&](const LockBits &lock)
                       {
                           return page >= lock.first && page <= lock.last &&
                                  (*LockByte(card, lock.lockByte) >> lock.bit & 1) != 0;
                       });
}

bool IsProtected(const UltralightCard &card, unsigned page)
{
    return !card.authenticated && page >= card.pages[kAuth0Page][0];
}

bool IsReadable(const UltralightCard &card, unsigned page)
{
    const bool readingIsFree = (card.pages[kAuth1Page][0] & 1) != 0;
    return page < kFirstKeyPage && (readingIsFree || !IsProtected(card, page));
}

// Behind the last page that may be read come the first ones again.
Bytes Read(UltralightCard *card, const Bytes &command)
{
    unsigned page = command[1];
    if (page >= kFirstKeyPage)
        return Refuse(card, PageName(page) + " cannot be read");
    if (!IsReadable(*card, page))
        return Refuse(card, PageName(page) + " asks for authentication");
    Bytes data;
    while (data.size() < kReadSize)
    {
        if (!IsReadable(*card, page))
            page = 0;
        data.insert(data.end(), card->pages[page].begin(), card->pages[page].end());
        ++page;
    }
    return data;
}

// Lock bits can be set and never cleared, and only while nothing freezes them.
void SetLockBits(UltralightCard *card, unsigned first, const uint8_t *bits)
{
    uint8_t frozen[4] = {};
    for (const FreezeBits &freeze : kFreezes)
        if ((*LockByte(card, freeze.lockByte) >> freeze.bit & 1) != 0)
            frozen[freeze.frozenByte] |= freeze.frozenBits;
    for (unsigned i = 0; i < 2; ++i)
        *LockByte(card, first + i) |= static_cast<uint8_t>(bits[i] & ~frozen[first + i]);
}

// Set once to any value; from then on each write adds the low four bits of its first byte.
bool Count(UltralightCard *card, const uint8_t *data)
{
    UltralightPage &page = card->pages[kCounterPage];
    const unsigned count = page[0] + 256u * page[1];
    const unsigned next = count == 0 ? data[0] + 256u * data[1] : count + (data[0] & 0x0Fu);
    if (next > 0xFFFF)
        return false;
    page[0] = static_cast<uint8_t>(next & 0xFF);
    page[1] = static_cast<uint8_t>(next >> 8);
    return true;
}

Bytes Write(UltralightCard *card, const Bytes &command)
{
    const unsigned page = command[1];
    if (command.size() != 2 + kUltralightPageSize)
        return Refuse(card, "a page has four bytes");
    if (page < kLockPage || page >= kUltralightPages)
        return Refuse(card, PageName(page) + " cannot be written");
    if (IsProtected(*card, page))
        return Refuse(card, PageName(page) + " asks for authentication");
    if (IsLocked(card, page))
        return Refuse(card, PageName(page) + " is locked");
    const uint8_t *data = &command[2];
    if (page == kLockPage)
        SetLockBits(card, 0, data + 2);
    else if (page == kSecondLockPage)
        SetLockBits(card, 2, data);
    else if (page == kCounterPage)
    {
        if (!Count(card, data))
            return Refuse(card, "the counter would pass FFFF");
    }
    else
        for (unsigned i = 0; i < kUltralightPageSize; ++i)
            card->pages[page][i] = static_cast<uint8_t>(
                page == kOneWayPage ? card->pages[page][i] | data[i] : data[i]);
    return {kCardDone};
}

Bytes TurnedLeft(Bytes bytes)
{
    std::rotate(bytes.begin(), bytes.begin() + 1, bytes.end());
    return bytes;
}

Bytes NextChallenge(UltralightCard *card)
{
    if (!card->challenges.empty())
        return card->challenges[card->nextChallenge++ % card->challenges.size()];
    const uint64_t number = card->generator();
    Bytes challenge;
    for (unsigned i = 0; i < kCipherBlock; ++i)
        challenge.push_back(static_cast<uint8_t>(number >> (8 * i)));
    return challenge;
}

Bytes BeginAuthentication(UltralightCard *card, const Bytes &command)
{
    if (command.size() != 2 || command[1] != 0)
        return Refuse(card, "unknown card command");
    card->authenticated = false;
    card->rndB = NextChallenge(card);
    card->chain = EncipherChained(KeyOf(*card), Bytes(kCipherBlock, 0), card->rndB);
    Bytes answer = {kContinue};
    AppendBytes(&answer, card->chain);
    return answer;
}

Bytes EndAuthentication(UltralightCard *card, const Bytes &command)
{
    const Bytes rndB = card->rndB;
    card->rndB.clear();
    if (rndB.empty())
        return Refuse(card, "no authentication was begun");
    if (command.size() != 1 + 2 * kCipherBlock)
        return Refuse(card, "an authentication goes on with 16 bytes");
    const Bytes key = KeyOf(*card);
    const Bytes blocks(command.begin() + 1, command.end());
    const Bytes plain = DecipherChained(key, card->chain, blocks);
    const Bytes rndA(plain.begin(), plain.begin() + kCipherBlock);
    if (Bytes(plain.begin() + kCipherBlock, plain.end()) != TurnedLeft(rndB))
        return Refuse(card, "the host does not know the key");
    const Bytes last(blocks.begin() + kCipherBlock, blocks.end());
    card->authenticated = true;
    Bytes answer = {kAuthenticated};
    AppendBytes(&answer, EncipherChained(key, last, TurnedLeft(rndA)));
    return answer;
}

Bytes Halt(UltralightCard *card, const Bytes &)
{
    return FallSilent(card, "halted");
}

struct Action
{
    uint8_t command;
    size_t least; // bytes, the command's own included
    Bytes (*answer)(UltralightCard *card, const Bytes &command);
};

constexpr Action kActions[] = {
    {kRead, 2, Read},
    {kWrite, 2, Write},
    {kAuthenticate, 1, BeginAuthentication},
    {kContinue, 1, EndAuthentication},
    {kHalt, 1, Halt},
};

} // namespace

Bytes KeyOf(const UltralightCard &card)
{
    Bytes key;
    for (const unsigned page : kKeyPageOrder)
        key.insert(key.end(), card.pages[page].rbegin(), card.pages[page].rend());
    return key;
}

void PutKey(UltralightCard *card, const Bytes &key)
{
    const uint8_t *next = key.data();
    for (const unsigned page : kKeyPageOrder)
    {
        std::reverse_copy(next, next + kUltralightPageSize, card->pages[page].begin());
        next += kUltralightPageSize;
    }
}

void ActivateUltralight(UltralightCard *card, bool active)
{
    card->active = active;
    card->authenticated = false;
    card->rndB.clear();
    card->remark.clear();
}

Bytes AnswerOfUltralight(UltralightCard *card, const Bytes &command)
{
    if (!card->active)
        return FallSilent(card, "the card is halted until it is powered on again");
    card->remark.clear();
    // Whatever comes between the two halves of an authentication ends it.
    if (!card->rndB.empty() && (command.empty() || command[0] != kContinue))
        return Refuse(card, "the authentication was not finished");
    for (const Action &action : kActions)
        if (command.size() >= action.least && action.command == command[0])
            return action.answer(card, command);
    return Refuse(card, "unknown card command");
}

} // namespace vreader
