// The calls for Mifare Classic cards.
#include <cstring>

#include "api/memory_card_calls.h"
#include "api/outcome.h"
#include "vantor/business.h"
#include "vantor/memory_card_operations.h"
#include "vantor/memory_cards.h"
#include "vantor/support.h"
#include "vantor/transport.h"

namespace
{

constexpr int kBadBlock = -5010;
constexpr int kBadSector = -5011;
constexpr int kBadBlockData = -5012;
constexpr int kBadValueText = -5013;
constexpr int kBadKey = -5014;
constexpr int kBadKeyType = -5015;
constexpr int kBadAmount = -5016;

constexpr size_t kShortestKey = 12; // characters
constexpr int kMostSectors = 40;    // of a card of 4 kilobytes
constexpr size_t kBlockText = 32;   // characters of a block
constexpr size_t kValueText = 8;

int TryPowerOn(WaitingCard *card)
{
    return M1_PowerOn(&context, card->bytes, &card->length, kCardPowerTimeoutMs);
}

constexpr CardWait kWait = {TryPowerOn, {-4005, -5001}, 9, WaitMeasure::kSeconds};

bool IsHexText(const char *text, size_t length)
{
    return IsHexDataValue(text) != 0 && strlen(text) == length;
}

// ---- The calls that differ in an operation and their messages only ----

struct ReadCall
{
    int (*read)(DEVCONTEXT *, int, unsigned char *, uint32_t *, uint32_t);
    const char *badBlock;
    const char *failure;
    const char *logName; // null: what was read is not logged
};

int ReadAsText(const ReadCall &call, int block, const TextRoom &room)
{
    if (block <= 0)
        return Refuse(call.badBlock, kBadBlock);
    if (room.text == nullptr)
        return kMemoryCardBadParameter;
    CardData data{};
    const int result = call.read(&context, block, data.bytes, &data.length, kCardTimeoutMs);
    if (result == 0 && call.logName != nullptr)
        GiveLoggedCardText(data, room, call.logName);
    else if (result == 0)
        GiveCardText(data, room);
    return Outcome(result, call.failure);
}

struct ValueTextCall
{
    int (*change)(DEVCONTEXT *, int, const uint32_t *, uint32_t);
    const char *badText;
    const char *badBlock;
    const char *failure;
};

// The bytes travel in the order of the text: they are never taken for a number here.
int ChangeByText(const ValueTextCall &call, int block, const char *text)
{
    if (!IsHexText(text, kValueText))
        return Refuse(call.badText, kBadValueText);
    if (block <= 0)
        return Refuse(call.badBlock, kBadBlock);
    unsigned char bytes[4] = {};
    GHex2Byte(text, kValueText, bytes, sizeof bytes);
    uint32_t value;
    memcpy(&value, bytes, sizeof value);
    return Outcome(call.change(&context, block, &value, kCardTimeoutMs), call.failure);
}

struct AmountCall
{
    int (*change)(DEVCONTEXT *, int, int, uint32_t);
    const char *badAmount;
    const char *badBlock;
    const char *failure;
};

int ChangeByAmount(const AmountCall &call, int block, int amount)
{
    if (amount < 1)
        return Refuse(call.badAmount, kBadAmount);
    if (block <= 0)
        return Refuse(call.badBlock, kBadBlock);
    return Outcome(call.change(&context, block, amount, kCardTimeoutMs), call.failure);
}

constexpr ReadCall kReadBlock = {M1_ReadBlock, "BO_M1ReadBlock data Error!\r\n",
                                 "BO_M1ReadBlock data Error!\r\n", "BO_M1ReadBlock"};
constexpr ReadCall kRead = {M1_ReadValue, "BO_M1Read data Error!\r\n", "BO_M1Read Error!\r\n",
                            nullptr};
constexpr ValueTextCall kWrite = {M1_WriteValue, "BO_M1Write data Error!\r\n",
                                  "BO_M1Write iBlock Error!\r\n", "BO_M1Write Error!\r\n"};
constexpr ValueTextCall kIncrement = {M1_Increment, "BO_M1Increment data Error!\r\n",
                                      "BO_M1Increment iBlock Error!\r\n",
                                      "BO_M1Increment Error!\r\n"};
constexpr ValueTextCall kDecrement = {M1_Decrement, "BO_M1Decrement data Error!\r\n",
                                      "BO_M1Decrement iBlock Error!\r\n",
                                      "BO_M1Decrement Error!\r\n"};
constexpr AmountCall kIncreaseValue = {
    M1_IncreaseValue, "BO_M1IncreaseValue nValue data Error!\r\n",
    "BO_M1IncreaseValue iBlock Error!\r\n", "BO_M1IncreaseValue Error!\r\n"};
constexpr AmountCall kDecreaseValue = {
    M1_DecreaseValue, "BO_M1DecreaseValue nValue data Error!\r\n",
    "BO_M1DecreaseValue iBlock Error!\r\n", "BO_M1DecreaseValue Error!\r\n"};

} // namespace

int BO_M1Powerup(int outSize, char *out, int32_t *outLength, int timeoutSeconds)
{
    return PowerOnMemoryCard(kWait, {outSize, out, outLength}, timeoutSeconds);
}

int BO_M1Powerdown(void)
{
    return Outcome(M1_PowerOff(&context, kCardPowerTimeoutMs), "M1_PowerOff Error!\r\n");
}

// The key's bytes travel as a text: a zero byte ends them. Deliberate.
int BO_M1Verify(int sector, int keyType, const char *key)
{
    char bytes[256 + 1] = {}; // more than a command carries
    const size_t length = key == nullptr ? 0 : strnlen(key, 2 * (sizeof bytes - 1));
    if (length < kShortestKey)
        return Refuse("BO_M1Verify pin len Error!\r\n", kBadKey);
    if (sector < 1 || sector > kMostSectors)
        return Refuse("BO_M1Verify iSector Error!\r\n", kBadSector);
    if (keyType != 0 && keyType != 1)
        return Refuse("BO_M1Verify iKeyType Error!\r\n", kBadKeyType);
    GHex2Byte(key, static_cast<int>(length), reinterpret_cast<unsigned char *>(bytes),
              sizeof bytes - 1);
    const int result = M1_Verify(&context, sector, keyType, bytes, kCardPowerTimeoutMs);
    explicit_bzero(bytes, sizeof bytes);
    return Outcome(result, "M1_Verify Error!\r\n");
}

int BO_M1ReadBlock(int block, int outSize, char *out)
{
    return ReadAsText(kReadBlock, block, {outSize, out});
}

int BO_M1Read(int block, int outSize, char *out)
{
    return ReadAsText(kRead, block, {outSize, out});
}

int BO_M1WriteBlock(int block, const char *data)
{
    if (!IsHexText(data, kBlockText))
        return Refuse("BO_M1WriteBlock data Error!\r\n", kBadBlockData);
    if (block <= 0)
        return Refuse("BO_M1WriteBlock iBlock Error!\r\n", kBadBlock);
    unsigned char bytes[16] = {};
    GHex2Byte(data, kBlockText, bytes, sizeof bytes);
    const int result = M1_WriteBlock(&context, block, bytes, sizeof bytes, kCardTimeoutMs);
    explicit_bzero(bytes, sizeof bytes); // a sector's last block holds its keys
    return Outcome(result, "BO_M1WriteBlock data Error!\r\n");
}

int BO_M1Write(int block, const char *value)
{
    return ChangeByText(kWrite, block, value);
}

int BO_M1Increment(int block, const char *amount)
{
    return ChangeByText(kIncrement, block, amount);
}

int BO_M1Decrement(int block, const char *amount)
{
    return ChangeByText(kDecrement, block, amount);
}

int BO_M1IncreaseValue(int block, int amount)
{
    return ChangeByAmount(kIncreaseValue, block, amount);
}

int BO_M1DecreaseValue(int block, int amount)
{
    return ChangeByAmount(kDecreaseValue, block, amount);
}
