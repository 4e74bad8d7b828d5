// The commands of the electronic purse and deposit: the bytes that go out, the answers, the data.
#include <cstring>
#include <functional>
#include <gtest/gtest.h>

#include "vantor/purse.h"
#include "wire/pboc_card.h"

using wire_testing::Bytes;
using wire_testing::Card;

namespace
{

const unsigned char kEleven[] = {0x01, 0x11, 0x12, 0x13, 0x14, 0x21, 0x22, 0x23, 0x24, 0x25, 0x26};
const unsigned char kFifteen[] = {0x01, 0x02, 0x03, 0x04, 0x20, 0x25, 0x01, 0x31,
                                  0x23, 0x59, 0x58, 0xA1, 0xA2, 0xA3, 0xA4};

struct Purse : Card
{
    struct Command
    {
        const char *bytes;
        std::function<int(int cardType)> send;
        bool answers; // the card's data are given to the caller
    };
    const std::vector<Command> commands = {
        {"00B0950000",
         [this](int type) { return EPED_ReadBinary(&device, type, 0x15, 0x00, area, &length); },
         true},
        {"04D6951006A1A2B1B2B3B4",
         [this](int type)
         {
             const unsigned char data[] = {0xA1, 0xA2, 0xB1, 0xB2, 0xB3, 0xB4};
             return EPED_UpdateBinary(&device, type, 0x05, 0x10, data, 6);
         },
         false},
        {"00200000021234",
         [this](int type)
         {
             const unsigned char pin[] = {0x12, 0x34};
             return EPED_Verify(&device, type, pin, 2);
         },
         false},
        {"0084000004",
         [this](int type)
         {
             length = 4;
             return EPED_GetRandom(&device, type, area, &length);
         },
         true},
        {"805C000204",
         [this](int type) { return EPED_GetBalance(&device, type, 0x02, area, &length); }, true},
        {"805000020B0111121314212223242526",
         [this](int type) { return EPED_InitForLoad(&device, type, 0x02, kEleven, area, &length); },
         true},
        {"805400000B0111121314212223242526",
         [this](int type) { return EPED_Load(&device, type, kEleven, area, &length); }, true},
        {"805001010B0111121314212223242526",
         [this](int type)
         { return EPED_InitForPurchase(&device, type, 0x01, kEleven, 3, area, &length); },
         true},
        {"805401000F01020304202501312359"
         "58A1A2A3A408",
         [this](int type)
         { return EPED_Purchase(&device, type, 0x77, kFifteen, 99, area, &length); },
         true},
    };
};

} // namespace

TEST_F(Purse, EachCommandGoesOutAsItIsDefinedAndGivesTheAnswerWithoutItsStatus)
{
    for (const Command &command : commands)
        script.Apdu(command.bytes, "DEADBEEF9000");
    Insert();
    for (const Command &command : commands)
    {
        length = -7;
        memset(area, 0xEE, sizeof area);
        EXPECT_EQ(0, command.send(0)) << command.bytes;
        EXPECT_EQ(command.answers ? "DEADBEEF" : "untouched", Given()) << command.bytes;
        EXPECT_EQ(0xEE, area[command.answers ? 4 : 0]) << command.bytes;
    }
}

TEST_F(Purse, EachCommandGoesToItsInterfaceAndItsStatusIsFollowed)
{
    script.contactless = true;
    for (const Command &command : commands)
        script.Apdu(command.bytes, "6103").Apdu("00C0000003", "A1A2A39000");
    Insert();
    for (const Command &command : commands)
    {
        length = -7;
        EXPECT_EQ(0, command.send(1)) << command.bytes;
        EXPECT_EQ(command.answers ? "A1A2A3" : "untouched", Given()) << command.bytes;
    }
}

TEST_F(Purse, EachCommandJudgesTheStatusAndPassesAFailedExchangeOn)
{
    for (const Command &command : commands)
        script.Apdu(command.bytes, "DEADBEEF6300")
            .Apdu(command.bytes, "63C2")
            .Apdu(command.bytes, "9001")
            .Apdu(command.bytes, "90")
            .Apdu(command.bytes, "6283")
            .ApduFails(command.bytes, "A2");
    Insert();
    for (const Command &command : commands)
        for (int expected : {-99, -99, -99, -99, 100, -4006})
        {
            length = -7;
            EXPECT_EQ(expected, command.send(0)) << command.bytes;
            EXPECT_EQ(0xEE, area[0]) << command.bytes;
            EXPECT_TRUE(length == -7 || length == 4) << "4: what was asked for";
        }
}

TEST_F(Purse, ReadAndUpdateMarkTheFileDifferently)
{
    script.Apdu("00B0850000", "9000")
        .Apdu("00B09EFF00", "119000")
        .Apdu("04D6950000", "9000")
        .Apdu("04D69EFF01A1", "9000");
    Insert();
    EXPECT_EQ(0, EPED_ReadBinary(&device, 0, 0x05, 0x00, area, &length));
    EXPECT_EQ("", Given());
    EXPECT_EQ(0, EPED_ReadBinary(&device, 0, 0x1E, 0xFF, area, &length));
    EXPECT_EQ("11", Given());
    EXPECT_EQ(0, EPED_UpdateBinary(&device, 0, 0x05, 0x00, nullptr, 0));
    const unsigned char data[] = {0xA1};
    EXPECT_EQ(0, EPED_UpdateBinary(&device, 0, 0x1E, 0xFF, data, 1));
}

TEST_F(Purse, AChallengeIsAskedForInTheLengthThatIsGiven)
{
    script.Apdu("0084000008", "0102030405060708 9000").Apdu("0084000000", "6700");
    Insert();
    length = 8;
    EXPECT_EQ(0, EPED_GetRandom(&device, 0, area, &length));
    EXPECT_EQ("0102030405060708", Given());
    length = 256;
    EXPECT_EQ(-99, EPED_GetRandom(&device, 0, area, &length)) << "the low byte is sent";
    EXPECT_EQ(256, length);
}

TEST_F(Purse, DataOfFixedLengthEndAtTheirFirstZeroByte)
{
    script.Apdu("805000010B0111120000000000000000", "9000")
        .Apdu("805400000B0000000000000000000000", "9000")
        .Apdu("805001020B0111121300000000000000", "9000")
        .Apdu("805401000F0102030420250131235958A1A2A300"
              "08",
              "9000");
    Insert();
    const unsigned char fourthZero[11] = {0x01, 0x11, 0x12, 0x00, 0x14, 0x21, 0x22};
    const unsigned char none[1] = {};
    const unsigned char text[5] = {0x01, 0x11, 0x12, 0x13, 0x00}; // not a byte behind it is read
    unsigned char almost[15];
    memcpy(almost, kFifteen, sizeof almost);
    almost[14] = 0x00;
    EXPECT_EQ(0, EPED_InitForLoad(&device, 0, 0x01, fourthZero, area, &length));
    EXPECT_EQ(0, EPED_Load(&device, 0, none, area, &length));
    EXPECT_EQ(0, EPED_InitForPurchase(&device, 0, 0x02, text, 4, area, &length));
    EXPECT_EQ(0, EPED_Purchase(&device, 0, 0, almost, 15, area, &length));
}

TEST_F(Purse, DataThatFitNoCommandAreNotSent)
{
    Insert();
    const std::vector<unsigned char> data(256, 0x11);
    EXPECT_EQ(-99, EPED_UpdateBinary(&device, 0, 1, 0, data.data(), 256));
    EXPECT_EQ(-99, EPED_UpdateBinary(&device, 0, 1, 0, data.data(), -1));
    EXPECT_EQ(-99, EPED_UpdateBinary(&device, 0, 1, 0, nullptr, 1));
    EXPECT_EQ(-99, EPED_Verify(&device, 0, data.data(), 256));
    EXPECT_EQ(-99, EPED_Verify(&device, 0, nullptr, 1));
    EXPECT_EQ(-99, EPED_InitForLoad(&device, 0, 1, nullptr, area, &length));
    EXPECT_EQ(-99, EPED_Load(&device, 0, nullptr, area, &length));
    EXPECT_EQ(-99, EPED_InitForPurchase(&device, 0, 1, nullptr, 11, area, &length));
    EXPECT_EQ(-99, EPED_Purchase(&device, 0, 0, nullptr, 15, area, &length));
    EXPECT_EQ(-99, EPED_ReadBinary(&device, 0, 1, 0, nullptr, &length));
    EXPECT_EQ(-99, EPED_GetBalance(&device, 0, 1, area, nullptr));
    EXPECT_EQ(-99, EPED_GetRandom(&device, 0, area, nullptr));
    EXPECT_EQ("untouched", Given());
}

TEST_F(Purse, AnUpdateCarries255Bytes)
{
    script.united = true;
    script.Apdu("04D69100FF" + Bytes(255), "9000");
    Insert();
    const std::vector<unsigned char> data(255, 0x11);
    EXPECT_EQ(0, EPED_UpdateBinary(&device, 0, 1, 0, data.data(), 255));
}

TEST_F(Purse, ALongAnswerIsCutAtItsArea)
{
    script.united = true;
    script.Apdu("00B0810000", Bytes(600) + "9000");
    Insert();
    EXPECT_EQ(0, EPED_ReadBinary(&device, 0, 0x01, 0x00, area, &length));
    EXPECT_EQ(Bytes(510), Given());
    EXPECT_EQ(0xEE, area[510]);
}
