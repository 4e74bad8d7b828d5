// The shipped profiles: every card of theirs can be built, and the main ones answer what they say.
#include "cards_support.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

using cards_test::Send;

namespace
{

const char kPse[] = "00A404000E315041592E5359532E4444463031";

nlohmann::json ProfileNamed(const std::string &name)
{
    std::ifstream file(std::string(cards_test::kProfiles) + "/" + name + ".json");
    return nlohmann::json::parse(file);
}

std::shared_ptr<vreader::Card> CardFrom(const std::string &profile, const std::string &name)
{
    std::string error;
    auto card = vreader::MakeCard(ProfileNamed(profile).at("cards").at(name), cards_test::kProfiles,
                                  &error);
    EXPECT_EQ(error, "");
    card->powerOn();
    return card;
}

std::vector<std::string> ProfileNames()
{
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(cards_test::kProfiles))
    {
        if (entry.path().extension() == ".json")
            names.push_back(entry.path().stem().string());
    }
    return names;
}

struct Step
{
    const char *command;
    const char *answer;
};

void Expect(const std::shared_ptr<vreader::Card> &card, const std::vector<Step> &steps)
{
    for (const Step &step : steps)
        EXPECT_EQ(Send(card, step.command), step.answer) << step.command;
}

// ISO/IEC 7812-1: the last digit makes the sum of the digits, every second one doubled, end in 0.
bool HasValidCheckDigit(const std::string &digits)
{
    int sum = 0;
    for (size_t i = 0; i < digits.size(); ++i)
    {
        const int digit = digits[digits.size() - 1 - i] - '0';
        sum += i % 2 == 0 ? digit : digit * 2 - (digit > 4 ? 9 : 0);
    }
    return sum % 10 == 0;
}

} // namespace

TEST(Profiles, EveryCardOfEveryProfileCanBeBuilt)
{
    unsigned cards = 0;
    for (const std::string &name : ProfileNames())
    {
        const nlohmann::json profile = ProfileNamed(name);
        EXPECT_TRUE(profile.at("description").is_string()) << name;
        const nlohmann::json described = profile.value("cards", nlohmann::json::object());
        for (const auto &entry : described.items())
        {
            std::string error;
            const auto card = vreader::MakeCard(entry.value(), cards_test::kProfiles, &error);
            EXPECT_NE(card, nullptr) << name << ": " << entry.key() << ": " << error;
            ++cards;
        }
        for (const char *place : {"contact", "contactless"})
        {
            if (!profile.contains(place))
                continue;
            const std::string card = profile.at(place).get<std::string>();
            EXPECT_TRUE(described.contains(card)) << name << ": " << card;
        }
    }
    EXPECT_GE(cards, 60u);
}

TEST(Profiles, ShipWhatTheGuideNames)
{
    const std::vector<std::string> names = ProfileNames();
    for (const char *name : {"default",
                             "three-applications",
                             "pboc-debit",
                             "pboc-contactless",
                             "t0-card",
                             "several-applications",
                             "blocked",
                             "recordings",
                             "online",
                             "online-format-2",
                             "declining",
                             "purse",
                             "social-security",
                             "empty",
                             "identity-cards",
                             "magnetic-cards",
                             "magnetic-swipes",
                             "hostile-identity",
                             "hostile-magnetic",
                             "hostile-endless-61",
                             "hostile-endless-62",
                             "hostile-endless-6c",
                             "hostile-endless-directory",
                             "hostile-endless-locator",
                             "hostile-deep-tlv",
                             "hostile-lying-lengths",
                             "hostile-not-tlv",
                             "hostile-cut-tlv",
                             "hostile-empty-response",
                             "hostile-one-byte",
                             "hostile-huge",
                             "hostile-long-values"})
        EXPECT_NE(std::find(names.begin(), names.end(), name), names.end()) << name;
}

TEST(Profiles, EveryTranscriptNamesItsSource)
{
    for (const auto &entry :
         std::filesystem::directory_iterator(std::string(cards_test::kProfiles) + "/transcripts"))
    {
        std::ifstream file(entry.path());
        const nlohmann::json transcript = nlohmann::json::parse(file);
        EXPECT_FALSE(transcript.at("source").get<std::string>().empty()) << entry.path();
    }
}

TEST(Profiles, InventedAccountNumbersHaveAValidCheckDigit)
{
    EXPECT_TRUE(HasValidCheckDigit("6200000000000005"));
    EXPECT_FALSE(HasValidCheckDigit("6200000000000006"));
    unsigned numbers = 0;
    for (const char *profile :
         {"pboc-debit", "pboc-contactless", "t0-card", "several-applications", "online"})
    {
        // "5A": PAN and "57": PAN D..., both with digits only up to the first letter.
        const std::string text = ProfileNamed(profile).dump();
        for (const char *key : {"\"5A\":\"", "\"57\":\""})
        {
            for (size_t at = text.find(key); at != std::string::npos; at = text.find(key, at + 1))
            {
                const size_t start = at + 6;
                const size_t end = text.find_first_not_of("0123456789", start);
                EXPECT_TRUE(HasValidCheckDigit(text.substr(start, end - start)))
                    << profile << " " << text.substr(start, end - start);
                ++numbers;
            }
        }
    }
    EXPECT_EQ(numbers, 2u + 1u + 2u + 10u + 14u);
}

TEST(DefaultProfile, ContactCardAnswersAHostThatWalksTheDirectory)
{
    const auto card = CardFrom("default", "test-card");
    Expect(card,
           {{kPse, "6F15840E315041592E5359532E4444463031A5038801019000"},
            {"00B2010C00", "701C611A4F08A000000333010102500B55494343204352454449548701019000"},
            {"00B2020C00", "6A83"}});
    EXPECT_EQ(card->remark(),
              "added by the profile: directory cut to the application that the recorded session "
              "selects");
    Expect(
        card,
        {{"00A4040008A000000333010102",
          "6F3B8408A000000333010102A52F500B55494343204352454449548701015F2D02636E9F1101019F120B55"
          "494343204352454449"
          "54BF0C059F4D020B0A9000"},
         {"80A80000028300", "800E7C000801030010010501200101009000"}});
    EXPECT_EQ(Send(card, "00B2010C00").substr(0, 24), "7056570F6210948000000011");
    EXPECT_EQ(Send(card, "00B2020C00"),
              "70365F201AD2F8C1AA3632B1EAD7BCBFA840B2E2CAD4D7A8D3C343617264739F61123131303130313139"
              "383630363230303031309F6201009000");
    EXPECT_EQ(card->remark(), "");
    EXPECT_EQ(Send(card, "00B2030C00"),
              "701B9F080200205F300202019F49039F37049F420201565F25031109019000");
    EXPECT_EQ(Send(card, "00B2011400").substr(0, 36), "7081885F24033010315A0862109480000000");
    EXPECT_EQ(Send(card, "00B2012400"), "70089F14017F9F2301FF9000");
    EXPECT_EQ(Send(card, "80CA9F79"), "6A82");
    EXPECT_EQ(card->remark(), "not in the recording");
}

TEST(DefaultProfile, ContactCardHasAThreeRecordLogAddedToTheRecording)
{
    const auto card = CardFrom("default", "test-card");
    Expect(card, {{kPse, "6F15840E315041592E5359532E4444463031A5038801019000"}});
    Send(card, "00A4040008A000000333010102");
    EXPECT_EQ(Send(card, "00B2015C00"),
              "160524191222000000000000000000000000015601560000000000000000000000000000000000000000"
              "01003F9000");
    EXPECT_EQ(card->remark(),
              "added by the profile: the recorded session reads no log; a published "
              "record of another card (recording 84)");
    EXPECT_EQ(Send(card, "00B2025C00"), "250131235959000000012345000000000100015601565445535420"
                                        "4D455243484E5400000000000000000100FF9000");
    EXPECT_EQ(Send(card, "00B2035C00"),
              "25013100000000000000000100000000000001560156B2E2CAD4C9CCBBA7C3FBB3C6D2BBB6FEC8FDCBC4"
              "2100019000");
    EXPECT_EQ(Send(card, "00B2045C00"), "6A83");
    EXPECT_EQ(card->remark(),
              "added by the profile: the recorded session reads no log; end of the log");
}

TEST(DefaultProfile, ContactlessCardHasTheDirectoryOfContactCards)
{
    const auto card = CardFrom("default", "pboc-contactless");
    EXPECT_EQ(card->kind, "pboc");
    Expect(card, {{kPse, "6F15840E315041592E5359532E4444463031A5038801019000"},
                  {"00B2010C00", "701B61194F08A000000333010101500A50424F432044454249548701019000"},
                  {"00B2020C00", "6A83"}});
}

TEST(ThreeApplicationsProfile, RepeatsTheRecordingUntouched)
{
    const auto card = CardFrom("three-applications", "test-card");
    Expect(card,
           {{kPse, "6F15840E315041592E5359532E4444463031A5038801019000"},
            {"00B2010C00", "701C611A4F08A000000333010102500B55494343204352454449548701019000"},
            {"00B2020C00", "701B61194F08A000000333010101500A554943432044454249548701029000"},
            {"00B2030C00", "7021611F4F08A000000333010103501055494343205155415349435245444954"
                           "8701039000"},
            {"00B2040C00", "6A83"},
            {"00A4040008A000000333010103", "6A82"}});
    EXPECT_EQ(card->remark(), "not in the recording");
    Send(card, "00A4040008A000000333010102");
    EXPECT_EQ(Send(card, "00B2015C00"), "6A82");
    EXPECT_EQ(card->remark(), "not in the recording");
}

TEST(PbocDebitProfile, HasEveryReadableElementAndBothLogs)
{
    const auto card = CardFrom("pboc-debit", "pboc-debit");
    Expect(
        card,
        {{kPse, "6F15840E315041592E5359532E4444463031A5038801019000"},
         {"00B2010C00", "701B61194F08A000000333010101500A50424F432044454249548701019000"},
         {"00B2020C00", "6A83"},
         {"00A4040008A000000333010101",
          "6F4C8408A000000333010101A540500A50424F432044454249548701019F38099F7A019F02065F2A025F2D04"
          "7A68656E9F1101019F120A50424F43204445424954BF0C0A9F4D020B0ADF4D020C0A9000"},
         {"80A800000B8309000000000000120156", "800A7C0008010200100103009000"},
         {"00B2010C00", "70345713"
                        "6200000000000000018D33122200000000000F"
                        "5F20095A48414E472053414E"
                        "9F1F10"
                        "30303030303030303030303030303030"
                        "9000"},
         {"00B2020C00", "70199F61123131303130353139343931323331303032589F6201009000"},
         {"80CA9F79", "9F79060000000105309000"},
         {"80CA9F77", "9F77060000001000009000"},
         {"80CA9F6D", "9F6D060000000050009000"},
         {"80CA9F78", "9F78060000000500009000"},
         {"00B2015C00", "250302"
                        "091530"
                        "000000001250"
                        "000000000000"
                        "0156"
                        "0156"
                        "54454120484F5553450000000000000000000000"
                        "00"
                        "002B"
                        "9000"},
         {"00B2045C00", "6A83"},
         {"00B2016400", "9F7900000000053000000001053025022012000001564"
                        "2414E4B20434F554E54455220330000000000000028"
                        "9000"},
         {"00B2036400", "6A83"}});
    // The account number, its dates and sequence number, and the product information.
    const std::string account = Send(card, "00B2011400");
    EXPECT_NE(account.find("5A0A6200000000000000018F"), std::string::npos);
    EXPECT_NE(account.find("5F2403331231"), std::string::npos);
    EXPECT_NE(account.find("5F2503250101"), std::string::npos);
    EXPECT_NE(account.find("5F340101"), std::string::npos);
    EXPECT_NE(Send(card, "00B2031400").find("9F63105445535420"), std::string::npos);
}

TEST(PbocContactlessProfile, AnswersProcessingOptionsWithItsData)
{
    const auto card = CardFrom("pboc-contactless", "pboc-contactless");
    Expect(card,
           {{"00A404000E325041592E5359532E4444463031",
             "6F30840E325041592E5359532E4444463031A51EBF0C1B61194F08A000000333010101500A50424F"
             "432044454249548701019000"}});
    Send(card, "00A4040008A000000333010101");
    const std::string answer = Send(
        card, "80A8000023832136800000000000000001000000000000015600000000000156170601002B29EBE400");
    EXPECT_EQ(answer,
              "775982027C009F3602002B57136200000000000000026D33122200000000000F9F101307010103"
              "A00000010A01000000105306B1B6B09F2608A1B2C3D4E5F607185F20054C492053495F3401019F"
              "6C0200009F5D060000000105309000");
    EXPECT_EQ(Send(card, "80A80000028300"), "6985");
}

TEST(T0Profile, AnswersAsRecording70Does)
{
    const auto card = CardFrom("t0-card", "t0-card");
    EXPECT_EQ(cards_test::Hex(card->answerToReset), "3B6D000000960755DD8648410100000001");
    Expect(card,
           {{kPse, "6120"},
            {"00C0000020", "6F1E840E315041592E5359532E4444463031A50C8801015F2D027A689F1101019000"},
            {"00B2010C00", "6C1D"},
            {"00B2020C00", "6A83"},
            {"00A4040008A000000333010101", "614C"},
            {"00C000004C", "6F4A8408A000000333010101A53E500A50424F432044454249548701019F38099F7A"
                           "019F02065F2A025F2D027A689F1101019F120A50424F43204445424954BF0C0A9F4D"
                           "020B0ADF4D020C0A9000"},
            {"80A800000B8309000000000000120156", "610C"},
            {"00C000000C", "800A7C0008010200100103009000"},
            {"80CA9F79", "6109"},
            {"00C0000009", "9F79060000000105309000"}});
}

TEST(SeveralApplicationsProfile, HasTwoDirectoryFilesOrTwoApplicationsInOneRecord)
{
    const auto files = CardFrom("several-applications", "two-files");
    Expect(
        files,
        {{kPse, "6F16840E315041592E5359532E4444463031A504880201029000"},
         {"00B2010C00", "701B61194F08A000000333010101500A50424F432044454249548701019000"},
         {"00B2020C00", "701C611A4F08A000000333010102500B50424F43204352454449548701029000"},
         {"00B2030C00", "6A83"},
         {"00B2031400", "6A83"},
         {"00B2011400", "702261204F08A000000333010103501150424F432051554153492043524544495487010390"
                        "00"}});
    const auto record = CardFrom("several-applications", "one-record");
    Send(record, kPse);
    Expect(record,
           {{"00B2010C00", "703761194F08A000000333010101500A50424F43204445424954870101611A4F08A0"
                           "00000333010102500B50424F43204352454449548701029000"},
            {"00B2020C00", "6A83"}});
}

TEST(RecordingsProfile, RecordedImageAnswersProcessingOptionsWithAnyData)
{
    const auto card = CardFrom("recordings", "41-contact");
    Send(card, kPse);
    EXPECT_EQ(Send(card, "00A4040008A000000333010101").substr(0, 8), "6F578408");
    EXPECT_EQ(Send(card,
                   "80A8000021831F015600000000000012015600000000000000000000000000000000000000"
                   "00"),
              "80127C00080101001001020018010201200103009000");
    EXPECT_EQ(Send(card, "80CA9F79"), "9F79060000000000009000");
}
