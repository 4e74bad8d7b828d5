// The terminal data stores and the data built from them for a data-object list.
#include <cstring>
#include <gtest/gtest.h>

#include "support/pboc_data.h"
#include "vantor/pboc.h"

using testing_support::BytesOf;
using testing_support::HexOf;
using testing_support::PbocData;

namespace
{

// Puts the stores back as they stood at load, whatever a test writes.
struct TerminalStores : testing::Test
{
    unsigned char txData[sizeof g_szTxData];
    unsigned char initData[sizeof g_szAppInitData];
    TerminalStores()
    {
        memcpy(txData, g_szTxData, sizeof txData);
        memcpy(initData, g_szAppInitData, sizeof initData);
    }
    ~TerminalStores() override
    {
        memcpy(g_szTxData, txData, sizeof txData);
        memcpy(g_szAppInitData, initData, sizeof initData);
        g_iTxDataLen = 87;
    }
};

struct Built
{
    int result;
    int32_t length;
    std::string data;
};

Built Build(const std::string &dolHex)
{
    const std::vector<uint8_t> dol = BytesOf(dolHex);
    std::vector<uint8_t> data(10 * dol.size() + 20, 0xEE);
    int32_t length = 0;
    const int result =
        PBOC_BuildDOL(nullptr, 0, dol.data(), static_cast<int>(dol.size()), data.data(), &length);
    return {result, length, HexOf(data.data(), static_cast<size_t>(length))};
}

} // namespace

TEST_F(TerminalStores, HoldTheirInitialObjects)
{
    EXPECT_EQ("8A023030"
              "9F0206000000000012"
              "9F0306000000000000"
              "9F1A020156"
              "95050000000800"
              "5F2A020156"
              "9A03303030"
              "9C0101"
              "9F370412345678"
              "82020000"
              "9F2103000000"
              "9F4E140000000000000000000000000000000000000000",
              HexOf(g_szTxData, 87));
    EXPECT_EQ(87, g_iTxDataLen);
    EXPECT_EQ(88u, sizeof g_szTxData);
    EXPECT_EQ(0, g_szTxData[87]);
    EXPECT_EQ("9F0206000000000012"
              "9F0306000000000000"
              "9F1A020156"
              "95050000000800"
              "5F2A020156"
              "9C0101"
              "9F370412345678"
              "9F6604F4000000"
              "9F7A0100"
              "9F7B06000001000000"
              "9F4E140000000000000000000000000000000000000000"
              "9A03303030"
              "DF600100"
              "DF690101"
              "9F2103000000"
              "9F330320A100",
              HexOf(g_szAppInitData, 113));
    EXPECT_EQ(113, g_iAppInitDataLen);
    EXPECT_EQ(114u, sizeof g_szAppInitData);
    EXPECT_EQ("9F350122"
              "9F45020000"
              "9F4C080000000000000000"
              "9F34033F0000"
              "9F7C14112233445566778899AABBCCDDEEFFFFFFFFFFFF",
              HexOf(g_szExData, 49));
    EXPECT_EQ(49, g_iExDataLen);
    EXPECT_EQ(50u, sizeof g_szExData);
}

TEST(ApplicationDataStore, IsEmptyAtLoad)
{
    EXPECT_EQ(8000u, sizeof g_IccAppData);
    for (char byte : g_IccAppData)
        ASSERT_EQ(0, byte);
}

TEST_F(TerminalStores, ValuesAreWrittenInPlaceAndPersist)
{
    const uint8_t amount[] = {0x9F, 0x02};
    const std::vector<uint8_t> value = BytesOf("000000010000");
    EXPECT_EQ(0, PBOC_SetTxDataTagValue(amount, 2, value.data(), 6));
    EXPECT_EQ("8A0230309F0206000000010000", HexOf(g_szTxData, 13));
    EXPECT_EQ("9F0206000000000012", HexOf(g_szAppInitData, 9));
    EXPECT_EQ("000000010000", Build("9F0206").data);
    EXPECT_EQ(0, PBOC_SetAppInitDataTagValue(amount, 2, value.data(), 6));
    EXPECT_EQ("9F0206000000010000", HexOf(g_szAppInitData, 9));
}

TEST_F(TerminalStores, AMerchantNameOf19BytesIsRefusedAndChangesNothing)
{
    const uint8_t tag[] = {0x9F, 0x4E};
    uint8_t value[21];
    memset(value, 0x41, sizeof value);
    EXPECT_EQ(-99, PBOC_SetTxDataTagValue(tag, 2, value, 19));
    EXPECT_EQ(-99, PBOC_SetTxDataTagValue(tag, 2, value, 21));
    EXPECT_EQ(0, memcmp(g_szTxData, txData, sizeof txData));
    EXPECT_EQ(0, PBOC_SetTxDataTagValue(tag, 2, value, 20));
    EXPECT_EQ(0x41, g_szTxData[86]);
    EXPECT_EQ(0, g_szTxData[87]);
}

TEST_F(TerminalStores, ATagThatAStoreDoesNotHoldIsRefused)
{
    const uint8_t qualifiers[] = {0x9F, 0x66}; // in the initiation store only
    const uint8_t value[] = {1, 2, 3, 4};
    EXPECT_EQ(-99, PBOC_SetTxDataTagValue(qualifiers, 2, value, 4));
    EXPECT_EQ(0, PBOC_SetAppInitDataTagValue(qualifiers, 2, value, 4));
    const uint8_t response[] = {0x8A}; // in the transaction store only
    EXPECT_EQ(-99, PBOC_SetAppInitDataTagValue(response, 1, value, 2));
}

TEST_F(TerminalStores, ALengthWrittenByAHostNeverCarriesAWalkPastTheStore)
{
    g_iTxDataLen = 5000;
    EXPECT_EQ(-99, Build("9F41 04").result);
    const uint8_t tag[] = {0x9F, 0x41};
    EXPECT_EQ(-99, PBOC_SetTxDataTagValue(tag, 2, tag, 2));
    g_iTxDataLen = -1;
    EXPECT_EQ("000000000012", Build("9F0206").data) << "from the initiation store";
}

TEST_F(TerminalStores, BuildTheListsOfPublishedCards)
{
    int lists = 0;
    for (const auto &row : PbocData("dol.json"))
    {
        const std::string dol = row["dol"];
        SCOPED_TRACE(dol);
        lists++;
        std::vector<uint8_t> bytes = BytesOf(dol);
        bytes.resize(bytes.size() + 3); // a list may be cut short: three bytes must be readable
        size_t offset = 0;
        for (const auto &entry : row["entries"])
        {
            uint8_t tag[2] = {};
            int32_t tagLength = 0;
            int32_t entryLength = 0;
            EXPECT_EQ(0, PBOC_GetTagInDOL(bytes.data() + offset, 0, tag, &tagLength, &entryLength));
            EXPECT_EQ(entry["tag"].get<std::string>(), HexOf(tag, static_cast<size_t>(tagLength)));
            EXPECT_EQ(entry["size"].get<int>(), entryLength);
            offset += static_cast<size_t>(entryLength);
        }
        if (!row.contains("built"))
            continue;
        const Built built = Build(dol);
        EXPECT_EQ(row["built"]["result"].get<int>(), built.result);
        EXPECT_EQ(row["built"]["data"].get<std::string>(), built.data);
    }
    EXPECT_EQ(25, lists);
}

TEST_F(TerminalStores, EachTagComesFromTheFirstStoreThatHoldsIt)
{
    const Built built = Build("9F0206 9F3704 9F6604");
    EXPECT_EQ(0, built.result);
    EXPECT_EQ(14, built.length);
    EXPECT_EQ("00000000001212345678F4000000", built.data);
    const uint8_t country[] = {0x9F, 0x1A};
    const uint8_t other[] = {0x08, 0x40};
    PBOC_SetAppInitDataTagValue(country, 2, other, 2);
    EXPECT_EQ("0156", Build("9F1A02").data) << "the transaction store goes first";
    EXPECT_EQ("112233445566778899AABBCCDDEEFFFFFFFFFFFF", Build("9F7C14").data);
}

TEST_F(TerminalStores, AnUnknownTagFailsAndWhatWasBuiltStays)
{
    EXPECT_EQ(-99, Build("9F41 04").result);
    const Built built = Build("9F02 06 9F41 04 9F37 04");
    EXPECT_EQ(-99, built.result);
    EXPECT_EQ("000000000012", built.data);
}

TEST_F(TerminalStores, TheLengthThatTheCardAsksForIsNotLookedAt)
{
    EXPECT_EQ("000000000012", Build("9F02 03").data);
    EXPECT_EQ("000000000012", Build("9F02 00").data);
    EXPECT_EQ("000000000012", Build("9F02 0A").data);
    EXPECT_EQ("0000000000120156", Build("9F02 81 06 9F1A 82 00 02").data);
}

TEST_F(TerminalStores, AnEmptyListLeavesTheLengthAlone)
{
    uint8_t data[8] = {};
    int32_t length = 31;
    EXPECT_EQ(0, PBOC_BuildDOL(nullptr, 0, data, 0, data, &length));
    EXPECT_EQ(31, length);
    EXPECT_EQ(0, PBOC_BuildDOL(nullptr, 0, nullptr, 0, data, &length));
}

TEST_F(TerminalStores, AListCutShortIsReadAsIfZeroBytesFollowed)
{
    EXPECT_EQ("12345678", Build("9F37").data) << "the length is missing";
    EXPECT_EQ(0, Build("9F37").result);
    EXPECT_EQ(-99, Build("9C 01 9F").result) << "tag 9F00";
    EXPECT_EQ("01", Build("9C 81").data);
}

TEST_F(TerminalStores, AListMayAskForMoreThanACommandCarries)
{
    std::string merchants;
    for (int i = 0; i < 84; i++)
        merchants += "9F4E14";
    EXPECT_EQ(84 * 20, Build(merchants).length);
}

TEST(DolEntry, GivesTagAndSizeAndNeverFails)
{
    struct Row
    {
        const char *entry, *tag;
        int32_t size;
    };
    for (const Row &row :
         {Row{"9F0206", "9F02", 3}, Row{"9505FF", "95", 2}, Row{"9F028106", "9F02", 4},
          Row{"9F02820006", "9F02", 5}, Row{"958105", "95", 3}, Row{"95820005", "95", 4},
          Row{"9F0283", "9F02", 3}, Row{"000000", "00", 2}})
    {
        SCOPED_TRACE(row.entry);
        const std::vector<uint8_t> entry = BytesOf(row.entry);
        uint8_t tag[2] = {};
        int32_t tagLength = 0;
        int32_t size = 0;
        EXPECT_EQ(0, PBOC_GetTagInDOL(entry.data(), -5, tag, &tagLength, &size));
        EXPECT_EQ(row.tag, HexOf(tag, static_cast<size_t>(tagLength)));
        EXPECT_EQ(row.size, size);
    }
    EXPECT_EQ(0, PBOC_GetTagInDOL(nullptr, 0, nullptr, nullptr, nullptr));
}
