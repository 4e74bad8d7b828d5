// The cryptography of a PBOC 3.0 debit/credit card and of its issuer, on OpenSSL.
//
// Everything is triple DES with keys of 16 bytes (KL || KR), and single DES where a MAC needs it.
//
//   Card key (UDK), from an issuer master key (MDK) and the card:
//     Y    = the last 16 digits of PAN || PAN sequence number, as 8 BCD bytes (zeros in front of a
//            shorter number)
//     UDK  = 3DES(MDK)[Y] || 3DES(MDK)[Y XOR FFFFFFFFFFFFFFFF]
//     There are three: for application cryptograms, for script MACs and for script encipherment.
//     The standard sets odd parity; DES does not look at it, and the derived keys are used as they
//     come out.
//   Session key, from a card key and the application transaction counter (9F36):
//     SK   = 3DES(UDK)[000000000000 || ATC] || 3DES(UDK)[000000000000 || (ATC XOR FFFF)]
//   MAC (ISO 9797-1 algorithm 3, padding method 2): append 80 and as many 00 as fill the block,
//     CBC with DES(KL) from a zero block, then DES^-1(KR) and DES(KL) on the last block: 8 bytes
//   Application cryptogram (9F26): MAC(SK of the AC key) over the terminal's data in the fixed
//   order
//     9F02 9F03 9F1A 95 5F2A 9A 9C 9F37, then the card's: AIP (82), ATC (9F36), and the card
//     verification results, the four bytes behind the length, key index and version in 9F10
//   ARPC: 3DES(SK of the AC key)[ARQC XOR (response code || 000000000000)]
//   Script MAC: the first 4 bytes of MAC(SK of the MAC key) over the command's header (CLA INS P1
//   P2
//     Lc), the ATC, the ARQC (8 bytes) and the command data in front of the MAC
//   Script encipherment: 3DES(SK of the encipherment key) block by block over (length byte ||
//   data),
//     padded with 80 00.. unless it fills its blocks
//   PIN block of PIN CHANGE: (0N, the N digits, F up to 8 bytes) XOR (00000000 || the last 4 bytes
//     of the left half of the AC card key); where the old PIN is needed, also XOR (its digits, 0 up
//     to 8 bytes)
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vreader
{

using Block = std::array<uint8_t, 8>;
using DesKey = std::array<uint8_t, 8>;
using TripleDesKey = std::array<uint8_t, 16>;

// One set of the three keys: an issuer's master keys, a card's own, or a session's.
struct KeySet
{
    TripleDesKey cryptogram{};
    TripleDesKey mac{};
    TripleDesKey encipherment{};
};

// The master keys of the built-in profiles, which an issuer assumes when it is told no others.
KeySet ProfileMasterKeys();

Block EncryptDes(const DesKey &key, const Block &block);
Block EncryptTripleDes(const TripleDesKey &key, const Block &block);
Block DecryptTripleDes(const TripleDesKey &key, const Block &block);

// Digits of the PAN and of its sequence number (two digits), without padding characters.
TripleDesKey DeriveCardKey(const TripleDesKey &masterKey, const std::string &pan,
                           const std::string &sequenceNumber);
KeySet DeriveCardKeys(const KeySet &masterKeys, const std::string &pan,
                      const std::string &sequenceNumber);
TripleDesKey DeriveSessionKey(const TripleDesKey &cardKey, uint16_t transactionCounter);

// `start`: what the chain begins with; eight zero bytes unless a challenge goes first.
Block RetailMac(const TripleDesKey &key, const std::vector<uint8_t> &data, const Block &start = {});
// The same chain and padding with single DES throughout.
Block DesMac(const DesKey &key, const std::vector<uint8_t> &data);

Block MakeArpc(const TripleDesKey &sessionKey, const Block &arqc,
               const std::array<uint8_t, 2> &responseCode);

// `header`: CLA INS P1 P2 Lc, where Lc counts the four bytes of the MAC; `data`: what stands in
// front of the MAC, as it is sent (enciphered).
std::array<uint8_t, 4> ScriptMac(const TripleDesKey &sessionKey,
                                 const std::array<uint8_t, 5> &header, uint16_t transactionCounter,
                                 const Block &arqc, const std::vector<uint8_t> &data);

// At most 255 bytes of data.
std::vector<uint8_t> EncipherScriptData(const TripleDesKey &sessionKey,
                                        const std::vector<uint8_t> &data);
// The data back from its blocks; nothing when the length byte does not fit the blocks.
std::optional<std::vector<uint8_t>> DecipherScriptData(const TripleDesKey &sessionKey,
                                                       const std::vector<uint8_t> &blocks);

// PINs are texts of 4 to 12 digits; an empty current PIN stays out of the block.
Block MakePinBlock(const TripleDesKey &cardKey, const std::string &newPin,
                   const std::string &currentPin);
// The PIN in a block; nothing when it holds none.
std::optional<std::string> PinInBlock(const TripleDesKey &cardKey, const Block &block,
                                      const std::string &currentPin);

} // namespace vreader
