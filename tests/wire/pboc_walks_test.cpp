// The bounds of the walks over a card's directory and records: a card chooses how many records they
// ask for, and a card or reader that is gone makes each of them a time-out.
#include <gtest/gtest.h>

#include "wire/pboc_card.h"

using testing_support::HexByte;

namespace
{

struct Walk : wire_testing::Card
{
    std::vector<uint8_t> data = std::vector<uint8_t>(VANTOR_APP_DATA_SIZE);

    void Failures(int first, int count)
    {
        for (int record = first; record < first + count; record++)
            script.ApduFails("00B2" + HexByte(static_cast<size_t>(record)) + "0C00", "A2");
    }
    int ReadAll(const std::vector<uint8_t> &afl)
    {
        return PBOC_GetAppData(&device, 0, afl.data(), static_cast<int>(afl.size()), data.data(),
                               &length);
    }
};

} // namespace

TEST_F(Walk, OverRecordsEndsAfterEightFailedExchangesInARow)
{
    script.Apdu("00B2010C00", "AA9000");
    Failures(2, 8);
    Insert();
    EXPECT_EQ(0, ReadAll({0x08, 1, 255, 0, 0x10, 1, 255, 0}));
    EXPECT_EQ(1, length);
}

TEST_F(Walk, OverRecordsGoesOnWhenTheCardRefusesInBetween)
{
    Failures(1, 7);
    script.Apdu("00B2080C00", "6A83");
    Failures(9, 7);
    script.Apdu("00B2100C00", "6283");
    Failures(17, 7);
    script.Apdu("00B2180C00", "BB9000");
    Failures(25, 8);
    Insert();
    EXPECT_EQ(0, ReadAll({0x08, 1, 255, 0}));
    EXPECT_EQ(1, length);
    EXPECT_EQ(0xBB, data[0]);
}

TEST_F(Walk, OverRecordsAsksFor255AtMost)
{
    for (size_t record = 1; record <= 255; record++)
        script.Apdu("00B2" + HexByte(record) + "0C00", "6A83");
    Insert();
    EXPECT_EQ(0, ReadAll({0x08, 1, 255, 0, 0x10, 1, 1, 0}));
    EXPECT_EQ(0, length);
}

TEST_F(Walk, OverTheDirectoryEndsAfterEightFailedExchangesInARow)
{
    const uint8_t files[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    script.Apdu("00B2010C00", "70034F01119000");
    for (size_t file = 1; file <= 8; file++)
        script.ApduFails("00B202" + HexByte(8 * file + 4) + "00", "FB");
    Insert();
    EXPECT_EQ(0, PBOC_GetAID(&device, 0, files, sizeof files, area, &length));
    EXPECT_EQ("11", Given()) << "what was found stands";
}
