// PBOC_GetTagValue and PBOC_SetTagValue: the walk over BER-TLV objects.
#include <cstring>
#include <gtest/gtest.h>

#include "support/pboc_data.h"
#include "vantor/pboc.h"

using testing_support::BytesOf;
using testing_support::HexOf;
using testing_support::PbocData;

namespace
{

struct Found
{
    int result;
    int32_t length;
    std::string value;
};

// The buffer is handed over in memory of exactly its size, so that a sanitizer sees a step past it.
Found Get(const std::string &tagHex, const std::string &bufferHex)
{
    const std::vector<uint8_t> tag = BytesOf(tagHex);
    const std::vector<uint8_t> buffer = BytesOf(bufferHex);
    std::vector<uint8_t> value(buffer.size() + 8, 0xEE);
    int32_t length = 77;
    const int result = PBOC_GetTagValue(tag.data(), static_cast<int>(tag.size()), buffer.data(),
                                        static_cast<int>(buffer.size()), value.data(), &length);
    return {result, length, HexOf(value.data(), static_cast<size_t>(length))};
}

struct Changed
{
    int result;
    std::string buffer;
};

Changed Set(const std::string &tagHex, const std::string &bufferHex, const std::string &valueHex)
{
    const std::vector<uint8_t> tag = BytesOf(tagHex);
    std::vector<uint8_t> buffer = BytesOf(bufferHex);
    std::vector<uint8_t> value = BytesOf(valueHex);
    const int size = static_cast<int>(value.size());
    value.push_back(0);
    const int result = PBOC_SetTagValue(tag.data(), static_cast<int>(tag.size()), buffer.data(),
                                        static_cast<int>(buffer.size()), value.data(), size);
    return {result, HexOf(buffer)};
}

std::string Zeros(int bytes)
{
    return std::string(static_cast<size_t>(2 * bytes), '0');
}

} // namespace

TEST(TlvWalk, MeetsTheObjectsOfPublishedCardDataAndNothingElse)
{
    int walks = 0;
    for (const auto &row : PbocData("tlv.json"))
    {
        SCOPED_TRACE(row["source"].get<std::string>() + " " + row["hex"].get<std::string>());
        const std::string hex = row["hex"];
        std::vector<std::string> seen;
        for (const auto &step : row["walk"])
        {
            if (step.contains("ends"))
            {
                // Whatever lies at or behind the spot is out of reach.
                const std::string tag = step["ends"];
                if (tag.substr(0, 3) != "ERR" &&
                    std::find(seen.begin(), seen.end(), tag) == seen.end())
                {
                    EXPECT_EQ(-99, Get(tag, hex).result);
                    EXPECT_EQ(0, Get(tag, hex).length);
                }
                continue;
            }
            const std::string tag = step["tag"];
            if (std::find(seen.begin(), seen.end(), tag) != seen.end())
                continue; // the first object of a tag is the one that is found
            seen.push_back(tag);
            const Found found = Get(tag, hex);
            const int offset = step["offset"];
            const int length = step["length"];
            EXPECT_EQ(offset, found.result) << tag;
            EXPECT_EQ(length, found.length) << tag;
            EXPECT_EQ(hex.substr(static_cast<size_t>(2 * offset), static_cast<size_t>(2 * length)),
                      found.value);
        }
        EXPECT_EQ(-99, Get("9F7E", hex).result);
        walks++;
    }
    EXPECT_EQ(93, walks);
}

TEST(TlvWalk, FindsTheAmountInTheTransactionDataAtOffset7)
{
    const uint8_t tag[] = {0x9F, 0x02};
    uint8_t value[16] = {};
    int32_t length = 0;
    EXPECT_EQ(7, PBOC_GetTagValue(tag, 2, g_szTxData, g_iTxDataLen, value, &length));
    EXPECT_EQ("000000000012", HexOf(value, static_cast<size_t>(length)));
}

TEST(TlvWalk, TagsMustAgreeInLengthToo)
{
    EXPECT_EQ(-99, Get("9F", "9F02 01 55").result);
    EXPECT_EQ(-99, Get("9F3402", "9F34 02 5566").result);
    EXPECT_EQ(-99, Get("5A02", "5A 02 5566").result);
    EXPECT_EQ("5566", Get("5A", "5A 02 5566").value);
}

TEST(TlvWalk, TheFirstOfTwoObjectsIsFound)
{
    EXPECT_EQ("11", Get("5A", "5A0111 5A0122").value);
}

TEST(TlvWalk, ValuesAreSkippedAndNotSearched)
{
    const Found found = Get("5A", "57 03 5A01AA 5A 01 22");
    EXPECT_EQ(7, found.result);
    EXPECT_EQ("22", found.value);
}

TEST(TlvWalk, EntersConstructedObjectsAtEveryDepth)
{
    EXPECT_EQ("77", Get("9F4D", "6F 09 A5 07 BF0C 04 9F4D 01 77").value);
    EXPECT_EQ("77", Get("5A", "70 81 03 5A 01 77").value);
}

TEST(TlvWalk, AConstructedTagHasLengthZeroAndTheOffsetOfItsContents)
{
    EXPECT_EQ(2, Get("70", "70 03 5A0111").result);
    EXPECT_EQ(0, Get("70", "70 03 5A0111").length);
    EXPECT_EQ(3, Get("77", "77 81 03 5A0111").result);
    EXPECT_EQ(3, Get("BF0C", "BF0C 03 5A0111").result);
    EXPECT_EQ(2, Get("70", "70 00").result);
}

TEST(TlvWalk, ReadsTheLengthForms81And82)
{
    EXPECT_EQ(3, Get("90", "90 81 02 AABB").result);
    EXPECT_EQ("AABB", Get("90", "90 81 02 AABB").value);
    EXPECT_EQ(4, Get("90", "90 82 0003 AABBCC").result);
    EXPECT_EQ("AABBCC", Get("90", "90 82 0003 AABBCC").value);
    const Found longer = Get("90", "90 82 0102" + Zeros(258));
    EXPECT_EQ(4, longer.result);
    EXPECT_EQ(258, longer.length);
    EXPECT_EQ("01", Get("5A", "90 81 FF" + Zeros(255) + "5A0101").value);
}

TEST(TlvWalk, AnyOtherByteIsItselfTheLength)
{
    const Found object = Get("5A", "5A 80" + Zeros(128));
    EXPECT_EQ(2, object.result);
    EXPECT_EQ(128, object.length);
    EXPECT_EQ(131, Get("5A", "5A 83" + Zeros(131)).length);
}

TEST(TlvWalk, AConstructedObjectWithATwoByteLengthEndsASearch)
{
    EXPECT_EQ(-99, Get("77", "77 82 0003 5A0111").result);
    EXPECT_EQ(-99, Get("5A", "77 82 0003 5A0111").result);
    EXPECT_EQ(-99, Get("5A", "70 82 0000 5A0111").result);
    EXPECT_EQ("11", Get("5A", "5A0111 77 82 0000").value) << "what lies in front is found";
}

TEST(TlvWalk, ALengthThatRunsPastTheEndEndsTheWalk)
{
    EXPECT_EQ(-99, Get("5A", "5A 02 11").result);
    EXPECT_EQ(-99, Get("5A", "5A 81 02 11").result);
    EXPECT_EQ(-99, Get("5A", "5A 82 0002 11").result);
    EXPECT_EQ(-99, Get("5A", "5A 82 FFFF 11").result);
    EXPECT_EQ(-99, Get("5A", "57 05 5A0111").result);
}

TEST(TlvWalk, AnObjectCutInItsTagOrLengthEndsTheWalk)
{
    for (const char *buffer : {"5A", "9F", "9F02", "5A81", "5A82", "5A8200", "70", "7081", "BF"})
    {
        EXPECT_EQ(-99, Get(buffer, buffer).result) << buffer;
        EXPECT_EQ(-99, Get("5A", buffer).result) << buffer;
        EXPECT_EQ(-99, Get("9F02", buffer).result) << buffer;
    }
}

TEST(TlvWalk, EmptyConstructedObjectsToTheEndOfTheBufferAreWalkedOnce)
{
    std::string nested;
    for (int i = 0; i < 250; i++)
        nested += "7000";
    EXPECT_EQ(-99, Get("5A", nested).result);
    EXPECT_EQ(2, Get("70", nested).result);
}

TEST(TlvWalk, ANegativeOrEmptyBufferHoldsNothing)
{
    const uint8_t bytes[] = {0x5A, 0x01, 0x11};
    uint8_t value[8];
    int32_t length = 5;
    EXPECT_EQ(-99, PBOC_GetTagValue(bytes, 1, bytes, 0, value, &length));
    EXPECT_EQ(-99, PBOC_GetTagValue(bytes, 1, bytes, -1, value, &length));
    EXPECT_EQ(0, length);
    EXPECT_EQ(-99, PBOC_GetTagValue(nullptr, 1, bytes, 3, value, &length));
    EXPECT_EQ(-99, PBOC_GetTagValue(bytes, 1, nullptr, 3, value, &length));
    EXPECT_EQ(-99, PBOC_GetTagValue(bytes, 1, bytes, 3, nullptr, &length));
    EXPECT_EQ(-99, PBOC_GetTagValue(bytes, 0, bytes, 3, value, &length));
    EXPECT_EQ(-99, PBOC_GetTagValue(bytes, -1, bytes, 3, value, &length));
}

TEST(GetTagValue, ClearsTheFirstEightBytesAndTheLengthBeforeItSearches)
{
    const uint8_t tag[] = {0x5A};
    const uint8_t buffer[] = {0x57, 0x01, 0x11};
    uint8_t value[9];
    memset(value, 0xEE, sizeof value);
    int32_t length = 42;
    EXPECT_EQ(-99, PBOC_GetTagValue(tag, 1, buffer, 3, value, &length));
    EXPECT_EQ("0000000000000000EE", HexOf(value, 9));
    EXPECT_EQ(0, length);
}

TEST(GetTagValue, WritesTheValueAndNoByteMore)
{
    const uint8_t tag[] = {0x5A};
    const std::vector<uint8_t> buffer = BytesOf("5A 0A 0102030405060708090A");
    uint8_t value[11];
    memset(value, 0xEE, sizeof value);
    int32_t length = 0;
    EXPECT_EQ(2, PBOC_GetTagValue(tag, 1, buffer.data(), 12, value, &length));
    EXPECT_EQ("0102030405060708090AEE", HexOf(value, 11));
    EXPECT_EQ(10, length);
}

TEST(SetTagValue, OverwritesTheValueInPlace)
{
    EXPECT_EQ("5A0299885701AA", Set("5A", "5A 02 1122 57 01 AA", "9988").buffer);
    EXPECT_EQ(0, Set("5A", "5A 02 1122 57 01 AA", "9988").result);
    EXPECT_EQ("70055A0299887701", Set("5A", "70 05 5A 02 1122 77 01", "9988").buffer);
}

TEST(SetTagValue, PassesOverAnObjectOfTheTagWithAnotherLength)
{
    const Changed changed = Set("5A", "5A 01 11 5A 02 2222 5A 02 3333", "9988");
    EXPECT_EQ(0, changed.result);
    EXPECT_EQ("5A01115A0299885A023333", changed.buffer);
    EXPECT_EQ(-99, Set("5A", "5A 01 11", "9988").result);
    EXPECT_EQ("5A0111", Set("5A", "5A 01 11", "9988").buffer);
}

TEST(SetTagValue, WritesThroughAConstructedObjectWithATwoByteLength)
{
    const Changed changed = Set("5A", "77 82 0003 5A 01 11", "99");
    EXPECT_EQ(0, changed.result);
    EXPECT_EQ("778200035A0199", changed.buffer);
    EXPECT_EQ("7781035A0199", Set("5A", "77 81 03 5A 01 11", "99").buffer);
}

TEST(SetTagValue, AConstructedObjectHasAnEmptyValue)
{
    EXPECT_EQ(0, Set("70", "70 03 5A0111", "").result);
    EXPECT_EQ("70035A0111", Set("70", "70 03 5A0111", "").buffer);
    EXPECT_EQ(-99, Set("70", "70 03 5A0111", "010203").result);
}

TEST(SetTagValue, NeverWritesPastTheEnd)
{
    EXPECT_EQ(-99, Set("5A", "5A 02 11", "9988").result);
    EXPECT_EQ("5A0211", Set("5A", "5A 02 11", "9988").buffer);
    EXPECT_EQ(-99, Set("5A", "77 82 00", "9988").result);
}
