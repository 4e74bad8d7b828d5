#include "vreader/cards/pboc_cryptography.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <openssl/evp.h>

namespace vreader
{

namespace
{

constexpr uint8_t kPaddingMark = 0x80;
constexpr size_t kShortestPin = 4;
constexpr size_t kLongestPin = 12;

// One block through two-key triple DES in ECB. Single DES is the same with both halves alike.
Block Crypt(const TripleDesKey &key, const Block &block, bool encrypt)
{
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> cipher(
        EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
    Block result{};
    int length = 0;
    const bool isDone = cipher &&
                        EVP_CipherInit_ex(cipher.get(), EVP_des_ede(), nullptr, key.data(), nullptr,
                                          encrypt ? 1 : 0) == 1 &&
                        EVP_CIPHER_CTX_set_padding(cipher.get(), 0) == 1 &&
                        EVP_CipherUpdate(cipher.get(), result.data(), &length, block.data(),
                                         static_cast<int>(block.size())) == 1 &&
                        length == static_cast<int>(result.size());
    if (isDone)
        return result;
    // An OpenSSL built without triple DES: no cryptogram of this process could be right.
    std::fputs("triple DES is not available in this OpenSSL\n", stderr);
    std::abort();
}

TripleDesKey BothHalves(const DesKey &key)
{
    TripleDesKey both{};
    std::copy(key.begin(), key.end(), both.begin());
    std::copy(key.begin(), key.end(), both.begin() + 8);
    return both;
}

DesKey Half(const TripleDesKey &key, size_t offset)
{
    DesKey half{};
    std::copy_n(key.begin() + static_cast<std::ptrdiff_t>(offset), half.size(), half.begin());
    return half;
}

Block Xor(Block first, const Block &second)
{
    for (size_t i = 0; i < first.size(); i++)
        first[i] = static_cast<uint8_t>(first[i] ^ second[i]);
    return first;
}

TripleDesKey EncryptPair(const TripleDesKey &key, const Block &left, const Block &right)
{
    const Block encryptedLeft = EncryptTripleDes(key, left);
    const Block encryptedRight = EncryptTripleDes(key, right);
    TripleDesKey pair{};
    std::copy(encryptedLeft.begin(), encryptedLeft.end(), pair.begin());
    std::copy(encryptedRight.begin(), encryptedRight.end(), pair.begin() + 8);
    return pair;
}

Block BlockAt(const std::vector<uint8_t> &data, size_t offset)
{
    Block block{};
    std::copy_n(data.begin() + static_cast<std::ptrdiff_t>(offset), block.size(), block.begin());
    return block;
}

void FillBlocks(std::vector<uint8_t> *data)
{
    data->push_back(kPaddingMark);
    data->resize((data->size() + 7) / 8 * 8, 0x00);
}

// The last block of a CBC chain with single DES.
Block Chain(const DesKey &key, std::vector<uint8_t> data, Block chain)
{
    FillBlocks(&data);
    for (size_t offset = 0; offset < data.size(); offset += chain.size())
        chain = EncryptDes(key, Xor(chain, BlockAt(data, offset)));
    return chain;
}

// What a PIN is hidden behind: four zero bytes and the last four of the left half of the card key.
Block PinCover(const TripleDesKey &cardKey)
{
    Block cover{};
    std::copy_n(cardKey.begin() + 4, 4, cover.begin() + 4);
    return cover;
}

// Digits from the left, `filler` in the nibbles behind them; `first` nibbles are left free.
Block PackDigits(const std::string &digits, size_t first, uint8_t filler)
{
    Block block{};
    for (size_t nibble = 0; nibble < 2 * block.size(); nibble++)
    {
        const bool isDigit = nibble >= first && nibble - first < digits.size();
        uint8_t value = isDigit ? static_cast<uint8_t>(digits[nibble - first] - '0') : filler;
        if (nibble < first)
            value = 0;
        block[nibble / 2] =
            static_cast<uint8_t>(block[nibble / 2] | value << (nibble % 2 == 0 ? 4 : 0));
    }
    return block;
}

} // namespace

KeySet ProfileMasterKeys()
{
    return {{0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x54,
             0x32, 0x10},
            {0x11, 0x11, 0x22, 0x22, 0x33, 0x33, 0x44, 0x44, 0x55, 0x55, 0x66, 0x66, 0x77, 0x77,
             0x88, 0x88},
            {0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7, 0xB0, 0xB1, 0xB2, 0xB3, 0xB4, 0xB5,
             0xB6, 0xB7}};
}

Block EncryptDes(const DesKey &key, const Block &block)
{
    return Crypt(BothHalves(key), block, true);
}

Block EncryptTripleDes(const TripleDesKey &key, const Block &block)
{
    return Crypt(key, block, true);
}

Block DecryptTripleDes(const TripleDesKey &key, const Block &block)
{
    return Crypt(key, block, false);
}

TripleDesKey DeriveCardKey(const TripleDesKey &masterKey, const std::string &pan,
                           const std::string &sequenceNumber)
{
    std::string digits = std::string(16, '0') + pan + sequenceNumber;
    digits = digits.substr(digits.size() - 16);
    const Block number = PackDigits(digits, 0, 0);
    Block inverted = number;
    for (uint8_t &byte : inverted)
        byte = static_cast<uint8_t>(byte ^ 0xFF);
    return EncryptPair(masterKey, number, inverted);
}

KeySet DeriveCardKeys(const KeySet &masterKeys, const std::string &pan,
                      const std::string &sequenceNumber)
{
    return {DeriveCardKey(masterKeys.cryptogram, pan, sequenceNumber),
            DeriveCardKey(masterKeys.mac, pan, sequenceNumber),
            DeriveCardKey(masterKeys.encipherment, pan, sequenceNumber)};
}

TripleDesKey DeriveSessionKey(const TripleDesKey &cardKey, uint16_t transactionCounter)
{
    const uint8_t high = static_cast<uint8_t>(transactionCounter >> 8);
    const uint8_t low = static_cast<uint8_t>(transactionCounter);
    const Block plain = {0, 0, 0, 0, 0, 0, high, low};
    const Block inverted = {
        0, 0, 0, 0, 0, 0, static_cast<uint8_t>(high ^ 0xFF), static_cast<uint8_t>(low ^ 0xFF)};
    return EncryptPair(cardKey, plain, inverted);
}

Block RetailMac(const TripleDesKey &key, const std::vector<uint8_t> &data, const Block &start)
{
    const Block chain = Chain(Half(key, 0), data, start);
    return EncryptDes(Half(key, 0), DecryptTripleDes(BothHalves(Half(key, 8)), chain));
}

Block DesMac(const DesKey &key, const std::vector<uint8_t> &data)
{
    return Chain(key, data, {});
}

Block MakeArpc(const TripleDesKey &sessionKey, const Block &arqc,
               const std::array<uint8_t, 2> &responseCode)
{
    const Block code = {responseCode[0], responseCode[1], 0, 0, 0, 0, 0, 0};
    return EncryptTripleDes(sessionKey, Xor(arqc, code));
}

std::array<uint8_t, 4> ScriptMac(const TripleDesKey &sessionKey,
                                 const std::array<uint8_t, 5> &header, uint16_t transactionCounter,
                                 const Block &arqc, const std::vector<uint8_t> &data)
{
    std::vector<uint8_t> input(header.begin(), header.end());
    input.push_back(static_cast<uint8_t>(transactionCounter >> 8));
    input.push_back(static_cast<uint8_t>(transactionCounter));
    input.insert(input.end(), arqc.begin(), arqc.end());
    input.insert(input.end(), data.begin(), data.end());
    const Block mac = RetailMac(sessionKey, input);
    return {mac[0], mac[1], mac[2], mac[3]};
}

std::vector<uint8_t> EncipherScriptData(const TripleDesKey &sessionKey,
                                        const std::vector<uint8_t> &data)
{
    std::vector<uint8_t> plain = {static_cast<uint8_t>(data.size())};
    plain.insert(plain.end(), data.begin(), data.end());
    if (plain.size() % 8 != 0)
        FillBlocks(&plain);
    std::vector<uint8_t> blocks;
    for (size_t offset = 0; offset < plain.size(); offset += 8)
    {
        const Block block = EncryptTripleDes(sessionKey, BlockAt(plain, offset));
        blocks.insert(blocks.end(), block.begin(), block.end());
    }
    return blocks;
}

std::optional<std::vector<uint8_t>> DecipherScriptData(const TripleDesKey &sessionKey,
                                                       const std::vector<uint8_t> &blocks)
{
    if (blocks.empty() || blocks.size() % 8 != 0)
        return std::nullopt;
    std::vector<uint8_t> plain;
    for (size_t offset = 0; offset < blocks.size(); offset += 8)
    {
        const Block block = DecryptTripleDes(sessionKey, BlockAt(blocks, offset));
        plain.insert(plain.end(), block.begin(), block.end());
    }
    if (plain[0] >= plain.size())
        return std::nullopt;
    return std::vector<uint8_t>(plain.begin() + 1, plain.begin() + 1 + plain[0]);
}

Block MakePinBlock(const TripleDesKey &cardKey, const std::string &newPin,
                   const std::string &currentPin)
{
    Block block = PackDigits(newPin, 2, 0x0F);
    block[0] = static_cast<uint8_t>(newPin.size());
    return Xor(Xor(block, PinCover(cardKey)), PackDigits(currentPin, 0, 0));
}

std::optional<std::string> PinInBlock(const TripleDesKey &cardKey, const Block &block,
                                      const std::string &currentPin)
{
    const Block open = Xor(Xor(block, PinCover(cardKey)), PackDigits(currentPin, 0, 0));
    const size_t length = open[0];
    if (length < kShortestPin || length > kLongestPin)
        return std::nullopt;
    std::string pin;
    for (size_t i = 0; i < length; i++)
    {
        const unsigned digit = (open[1 + i / 2] >> (i % 2 == 0 ? 4 : 0)) & 0x0F;
        pin += static_cast<char>('0' + digit);
        if (digit > 9)
            return std::nullopt;
    }
    // The filler proves that the cover was right.
    if (MakePinBlock(cardKey, pin, currentPin) != block)
        return std::nullopt;
    return pin;
}

} // namespace vreader
