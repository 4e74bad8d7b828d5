// A new key for an Ultralight C card from end to end: the whole download, and one that was cut off.
#include <gmock/gmock.h>

#include "host/memory_card_round.h"

using testing::HasSubstr;
using testing::Not;
using namespace testing_support;

namespace
{

// The delivery key with so many pages of kOtherKey written over it.
const char *const kMixtures[] = {
    "49454D4B41455242214E4143554F5946", "0001020341455242214E4143554F5946",
    "0001020304050607214E4143554F5946", "000102030405060708090A0B554F5946"};

int VerifyOnce(const Round &round, const char *key)
{
    round.PowerOnM0();
    return M0_VERIFY_KEY(round.library)(32, key);
}

// Cuts a download off behind so many pages, and puts the card in again.
void CutOff(const Round &round, int pages, const std::string &card)
{
    EXPECT_EQ("ok", round.Control("remove contactless after " + std::to_string(pages)));
    EXPECT_EQ(-5105, M0_DOWN_KEY(round.library)(32, kOtherKey));
    EXPECT_EQ("ok", round.Control("insert contactless " + card));
}

} // namespace

TEST(KeyDownload, AKeyIsDownloadedAndHolds)
{
    const Round round("ultralight-c");
    round.PowerOnM0();
    EXPECT_EQ(0, M0_DOWN_KEY(round.library)(32, kOtherKey));
    const nlohmann::json memory = round.Memory();
    EXPECT_EQ(kOtherKey, memory["key"]);
    EXPECT_EQ("07060504", memory["pages"][0x2C]);
    EXPECT_EQ("03020100", memory["pages"][0x2D]);
    EXPECT_EQ("0F0E0D0C", memory["pages"][0x2E]);
    EXPECT_EQ("0B0A0908", memory["pages"][0x2F]);
    EXPECT_EQ(0, M0_VERIFY_KEY(round.library)(32, kOtherKey));
    round.PowerOnM0();
    EXPECT_EQ(-5105, M0_VERIFY_KEY(round.library)(32, kDeliveryKey));
}

TEST(KeyDownload, ACardTakenAwayInTheMiddleOfADownloadHasSomePagesWritten)
{
    const Round round("ultralight-c");
    round.PowerOnM0();
    EXPECT_EQ("ok", round.Control("remove contactless after 2"));
    EXPECT_EQ(-5105, M0_DOWN_KEY(round.library)(32, kOtherKey));
    const std::string trace = round.Control("trace");
    EXPECT_THAT(trace, HasSubstr("M0 write page 2D"));
    EXPECT_THAT(trace, HasSubstr("M0 write page 2C"));
    EXPECT_THAT(trace, HasSubstr("M0 write page 2F"));
    EXPECT_THAT(trace, Not(HasSubstr("M0 write page 2E")));
    EXPECT_THAT(trace, HasSubstr("card \"fresh\" taken out, contactless"));
}

TEST(KeyDownload, AHalfDownloadedKeyIsAMixture)
{
    const Round round("ultralight-c");
    round.PowerOnM0();
    EXPECT_EQ("ok", round.Control("fault status A2 after 2"));
    EXPECT_EQ(-5105, M0_DOWN_KEY(round.library)(32, kOtherKey));
    // The reader wrote the third page although it said no.
    EXPECT_EQ("000102030405060708090A0B554F5946", round.Memory()["key"].get<std::string>());
    round.PowerOnM0();
    EXPECT_EQ(-5105, M0_VERIFY_KEY(round.library)(32, kOtherKey));
    round.PowerOnM0();
    EXPECT_EQ(0, M0_VERIFY_KEY(round.library)(32, "000102030405060708090A0B554F5946"));
}

TEST(KeyDownload, ACardPutInAgainHasTheMixtureForItsKey)
{
    for (int pages : {1, 2, 3})
    {
        const Round round("ultralight-c");
        round.PowerOnM0();
        CutOff(round, pages, "fresh");
        EXPECT_EQ(kMixtures[pages], round.Memory()["key"].get<std::string>());
        EXPECT_EQ(-5105, VerifyOnce(round, kDeliveryKey)) << "neither the old key";
        EXPECT_EQ(-5105, VerifyOnce(round, kOtherKey)) << "nor the new one";
        EXPECT_EQ(0, VerifyOnce(round, kMixtures[pages]));
    }
}

TEST(KeyDownload, ACardTakenAwayBeforeTheFirstPageKeepsItsKey)
{
    const Round round("ultralight-c");
    round.PowerOnM0();
    CutOff(round, 0, "fresh");
    EXPECT_EQ(0, VerifyOnce(round, kDeliveryKey));
}

TEST(KeyDownload, IsMadeAgainOnAnOpenCard)
{
    const Round round("ultralight-c");
    round.PowerOnM0();
    CutOff(round, 2, "fresh");
    round.PowerOnM0();
    EXPECT_EQ(0, M0_DOWN_KEY(round.library)(32, kOtherKey)) << "its key pages ask for nothing";
    EXPECT_EQ(0, VerifyOnce(round, kOtherKey));
}

// Pages 10 to 2F ask for an authentication, those of the key among them.
TEST(KeyDownload, IsMadeAgainOnAProtectedCardWithTheMixtureForItsKey)
{
    const Round round(R"({"cards": {"protected": {"kind": "ultralight-c", "auth0": 16}},
                          "contactless": "protected"})");
    ASSERT_EQ(0, VerifyOnce(round, kDeliveryKey));
    CutOff(round, 2, "protected");
    round.PowerOnM0();
    EXPECT_EQ(-5105, M0_DOWN_KEY(round.library)(32, kOtherKey)) << "nobody is authenticated";
    EXPECT_EQ(kMixtures[2], round.Memory()["key"].get<std::string>());
    ASSERT_EQ(0, VerifyOnce(round, kMixtures[2]));
    EXPECT_EQ(0, M0_DOWN_KEY(round.library)(32, kOtherKey));
    EXPECT_EQ(0, VerifyOnce(round, kOtherKey));
}
