// An Ultralight C card: 48 pages of four bytes, a part of them behind a 3DES authentication.
//
//     00 01     serial number with two check bytes; the second one is byte 0 of page 02
//     02        check byte, internal byte, lock bytes 0 and 1
//     03        one-way bits
//     04 to 27  the user's
//     28        lock bytes 2 and 3
//     29        16-bit one-way counter, low byte first
//     2A        AUTH0: the first page that asks for authentication (30: none)
//     2B        AUTH1: bit 0 set leaves reading free
//     2C to 2F  the key, write only
//
// Commands:
//     30 page            read: 16 bytes from that page on
//     A2 page 4 bytes    write
//     1A 00              authentication: AF and ek(RndB); then
//     AF ek(RndA) ek(RndB')       00 and ek(RndA'), where ' turns left by one byte
//     50 00              halt
// A card that refuses something is halted and says nothing more until it is activated again.
#pragma once

#include "vreader/cards/card.h"

#include <array>
#include <random>

namespace vreader
{

constexpr unsigned kUltralightPages = 48;
constexpr unsigned kUltralightPageSize = 4;
constexpr unsigned kUltralightKeySize = 16;

constexpr unsigned kLockPage = 0x02;
constexpr unsigned kOneWayPage = 0x03;
constexpr unsigned kFirstUserPage = 0x04;
constexpr unsigned kLastUserPage = 0x27;
constexpr unsigned kSecondLockPage = 0x28;
constexpr unsigned kCounterPage = 0x29;
constexpr unsigned kAuth0Page = 0x2A;
constexpr unsigned kAuth1Page = 0x2B;
constexpr unsigned kFirstKeyPage = 0x2C;

using UltralightPage = std::array<uint8_t, kUltralightPageSize>;

struct UltralightCard
{
    std::array<UltralightPage, kUltralightPages> pages{};
    std::vector<Bytes> challenges; // the values of RndB in turn; none: from the generator
    size_t nextChallenge = 0;
    std::mt19937_64 generator; // the same numbers on every system
    bool active = false;
    bool authenticated = false;
    Bytes rndB;         // while the host's half of an authentication is awaited
    Bytes chain;        // the last block of an authentication that went over the air
    std::string remark; // why the last command was refused
};

// The key as hosts write it, from and into the order of the key pages: 2D, 2C, 2F, 2E, each four
// bytes reversed.
Bytes KeyOf(const UltralightCard &card);
void PutKey(UltralightCard *card, const Bytes &key);

void ActivateUltralight(UltralightCard *card, bool active);
Bytes AnswerOfUltralight(UltralightCard *card, const Bytes &command);

} // namespace vreader
