// The key of an Ultralight C card: mutual authentication, and writing a new one.
//
// Authentication is 3DES in CBC mode, one chain through all three messages:
//     host   1A 00
//     card   AF ek(RndB)
//     host   AF ek(RndA) ek(RndB')     RndB' is RndB turned left by one byte
//     card   00 ek(RndA')
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "api/memory_card_calls.h"
#include "vantor/business.h"
#include "vantor/ciphers.h"
#include "vantor/memory_card_operations.h"
#include "vantor/memory_cards.h"
#include "vantor/support.h"
#include "vantor/transport.h"

namespace
{

constexpr int kBadMessage = -74;
constexpr int kWrongKey = -5103;
constexpr int kWriteFailed = -5105;

constexpr int kBlockSize = 8;
constexpr int kKeySize = 16;
constexpr int kKeyText = 2 * kKeySize;
constexpr unsigned char kAuthenticate = 0x1A;
constexpr unsigned char kContinue = 0xAF;

// In the order in which they are written. Each holds four bytes of the key, the last first.
constexpr int kKeyPages[] = {0x2D, 0x2C, 0x2F, 0x2E};
constexpr int kPageSize = 4;

using Block = unsigned char[kBlockSize];

struct Authentication
{
    unsigned char key[kKeySize];
    Block chain; // the last block that went over the line
    Block rndA;
    Block rndB;
};

void Encrypt(Authentication *state, const Block &plain, unsigned char *cipher)
{
    GXor(plain, state->chain, cipher, kBlockSize);
    G3DesEncrypt(cipher, state->key, cipher, kKeySize);
    memcpy(state->chain, cipher, kBlockSize);
}

void Decrypt(Authentication *state, const Block &cipher, Block *plain)
{
    G3DesDecrypt(cipher, state->key, *plain, kKeySize);
    GXor(*plain, state->chain, *plain, kBlockSize);
    memcpy(state->chain, cipher, kBlockSize);
}

void TurnLeft(Block *block)
{
    std::rotate(*block, *block + 1, *block + kBlockSize);
}

// Sends card bytes and gives the block behind the answer's first byte, zero where none came.
int Ask(const unsigned char *command, int length, Block *answer, uint32_t *answerLength)
{
    CardData reply{};
    const int result =
        M0_Interaction(&context, command, length, reply.bytes, &reply.length, kCardTimeoutMs);
    memcpy(*answer, reply.bytes + 1, kBlockSize);
    *answerLength = reply.length;
    return result;
}

int AskForChallenge(Block *challenge)
{
    const unsigned char command[] = {kAuthenticate, 0x00};
    uint32_t length = 0;
    const int result = Ask(command, sizeof command, challenge, &length);
    return result == 0 && length <= kBlockSize ? kBadMessage : result;
}

void PowerOffAndLog(const char *message)
{
    BO_M0PowerOff();
    GLogE("%s", message);
}

// The time counts in seconds: two authentications within one use the same RndA. Deliberate.
void ChooseRndA(Authentication *state)
{
    srand(static_cast<unsigned>(time(nullptr)));
    for (unsigned char &byte : state->rndA)
        byte = static_cast<unsigned char>(rand());
}

int Authenticate(Authentication *state)
{
    Block challenge;
    int result = AskForChallenge(&challenge);
    if (result != 0)
    {
        PowerOffAndLog("M0_Interaction 1A00 Fail\r\n");
        return BO_GetErrorCode(result);
    }
    Decrypt(state, challenge, &state->rndB);
    TurnLeft(&state->rndB);
    ChooseRndA(state);

    unsigned char command[1 + 2 * kBlockSize] = {kContinue};
    Encrypt(state, state->rndA, command + 1);
    Encrypt(state, state->rndB, command + 1 + kBlockSize);
    Block answer;
    uint32_t answerLength = 0;
    result = Ask(command, sizeof command, &answer, &answerLength);
    if (result != 0)
    {
        PowerOffAndLog("M0_Interaction 0xAF+ek(RndA+RndB) Fail\r\n");
        return BO_GetErrorCode(result);
    }
    Block proof;
    Decrypt(state, answer, &proof);
    TurnLeft(&state->rndA);
    if (memcmp(proof, state->rndA, kBlockSize) != 0)
    {
        PowerOffAndLog("M0_Interaction Verify Fail\r\n");
        return kWrongKey;
    }
    return BO_GetErrorCode(0);
}

// How many characters of the key there are, at most those of a whole key.
int LengthOfKey(const char *key, int length)
{
    return static_cast<int>(strnlen(key, static_cast<size_t>(std::clamp(length, 0, kKeyText))));
}

int WriteKeyPages(const unsigned char (&key)[kKeySize], int dataLength)
{
    for (int i = 0; i < kKeySize / kPageSize; i++)
    {
        unsigned char page[kKeySize + 1] = {};
        std::reverse_copy(key + kPageSize * i, key + kPageSize * (i + 1), page);
        const int result = M0_WriteBlock(&context, kKeyPages[i], page, dataLength, kCardTimeoutMs);
        explicit_bzero(page, sizeof page);
        if (result != 0)
        {
            BO_M0PowerOff();
            return kWriteFailed;
        }
    }
    return BO_GetErrorCode(0);
}

} // namespace

int BO_M0VerifyKey(int keyLength, const char *key)
{
    if (key == nullptr)
        return kMemoryCardBadParameter;
    Authentication state{};
    GHex2Byte(key, LengthOfKey(key, keyLength), state.key, kKeySize);
    const int result = Authenticate(&state);
    explicit_bzero(&state, sizeof state);
    return result;
}

// Each page is written with more data than it has, the rest zero: readers expect that length.
int BO_M0DownKey(int keyLength, const char *key)
{
    if ((keyLength != kKeyText && keyLength != kKeyText + 1) || key == nullptr ||
        LengthOfKey(key, keyLength) < kKeyText)
    {
        GLogI("iKeyLen Error\r\n");
        return kMemoryCardBadParameter;
    }
    unsigned char bytes[kKeySize] = {};
    GHex2Byte(key, kKeyText, bytes, kKeySize);
    const int result = WriteKeyPages(bytes, keyLength / 2 + 1);
    explicit_bzero(bytes, sizeof bytes);
    return result;
}
