// Profiles: the built-in ones, files, and what is wrong with wrong ones.
#include "vreader/bench.h"

#include "support/scratch.h"

#include "vreader/profile.h"

using namespace vreader_test;
using testing::HasSubstr;
using testing::StartsWith;
using testing_support::Scratch;
using testing_support::WriteFile;

namespace
{

// Why a profile is refused; "" when it is not.
std::string Problem(const std::string &text)
{
    std::string error;
    vreader::ReaderOptions options;
    options.profileText = text;
    vreader::RunningReader *reader = vreader::StartReader(options, &error);
    vreader::StopReader(reader);
    EXPECT_EQ(reader == nullptr, !error.empty());
    return error;
}

std::string ProblemOf(const std::string &profile)
{
    std::string error;
    vreader::ReaderOptions options;
    options.profile = profile;
    vreader::RunningReader *reader = vreader::StartReader(options, &error);
    vreader::StopReader(reader);
    return error;
}

} // namespace

TEST(Profile, DefaultOneIsBuiltInAndHasAContactCard)
{
    std::string error;
    vreader::RunningReader *reader = vreader::StartReader({}, &error);
    ASSERT_NE(reader, nullptr) << error;
    EXPECT_THAT(vreader::Control(reader, "info"), HasSubstr("\"contact\":{\"0\":"));
    vreader::StopReader(reader);
}

TEST(Profile, EveryBuiltInOneLoads)
{
    const std::vector<vreader::BuiltInProfile> profiles = vreader::BuiltInProfiles();
    ASSERT_FALSE(profiles.empty());
    for (const vreader::BuiltInProfile &profile : profiles)
        EXPECT_EQ(ProblemOf(profile.name), "") << profile.name;
}

TEST(Profile, EveryCardOfEveryBuiltInOneCanBePutIn)
{
    for (const vreader::BuiltInProfile &builtIn : vreader::BuiltInProfiles())
    {
        vreader::Profile profile;
        vreader::Reader reader;
        std::string error;
        ASSERT_TRUE(vreader::LoadProfile(builtIn.name, "", &profile, &reader, &error)) << error;
        for (const auto &item : profile.cards.items())
            EXPECT_NE(vreader::CardByName(&profile, reader, item.key(), &error), nullptr) << error;
    }
}

TEST(Profile, FileMayStandAnywhereAndNamesFilesBesideIt)
{
    const Scratch directory;
    WriteFile(directory.path + "/recorded.json",
              R"({"exchanges": [{"cmd": "00B2010C00", "rsp": "9000"}]})");
    WriteFile(directory.path + "/mine.json",
              R"({"cards": {"c": {"kind": "transcript", "atr": "3B77", "file": "recorded.json"}},
                  "contact": "c"})");
    vreader::ReaderOptions options;
    options.profile = directory.path + "/mine.json";
    const Bench bench(options);
    EXPECT_EQ(Host(bench.Name()).Exchange("6002E10182\003"), "6003003B772F\003");
}

TEST(Profile, MissingOnesAreTold)
{
    EXPECT_EQ(ProblemOf("nobody"), "no profile \"nobody\": neither built in nor a readable file");
    EXPECT_THAT(ProblemOf("/nowhere/p.json"), StartsWith("no profile \"/nowhere/p.json\""));
    EXPECT_THAT(ProblemOf("/dev"), StartsWith("no profile"));
    EXPECT_THAT(ProblemOf("../profiles/default"), StartsWith("no profile"));
    const Scratch directory;
    EXPECT_THAT(ProblemOf(directory.path + "/default.json"), StartsWith("no profile"))
        << "not the built-in one under another directory's name";
}

TEST(Profile, WrongJsonIsTold)
{
    EXPECT_THAT(Problem("{"), HasSubstr("parse error"));
    EXPECT_EQ(Problem("[]"), "profile must be an object");
    const Scratch directory;
    WriteFile(directory.path + "/binary.json", std::string("\0\377\1", 3));
    EXPECT_THAT(ProblemOf(directory.path + "/binary.json"), HasSubstr("parse error"));
    WriteFile(directory.path + "/empty.json", "");
    EXPECT_THAT(ProblemOf(directory.path + "/empty.json"), HasSubstr("parse error"));
    EXPECT_THAT(Problem(std::string(100000, '[')), HasSubstr("parse error"));
}

TEST(Profile, ANumberBeyondAllRangeIsTold)
{
    EXPECT_THAT(Problem(R"({"cards": {"a": {"skip": 14E5444}}})"), HasSubstr("14E5444"));
}

TEST(Profile, WrongKeysAreNamed)
{
    EXPECT_EQ(Problem(R"({"readr": {}})"), "profile: unknown key \"readr\"");
    EXPECT_EQ(Problem(R"({"reader": {"colour": "red"}})"), "reader: unknown key \"colour\"");
    EXPECT_EQ(Problem(R"({"reader": []})"), "reader must be an object");
    EXPECT_EQ(Problem(R"({"reader": {"information": 7}})"), "reader.information must be a text");
    EXPECT_EQ(Problem(R"({"reader": {"information": ""}})"),
              "reader.information must have 1 to 120 bytes");
    EXPECT_EQ(Problem(R"({"reader": {"information": ")" + std::string(121, 'x') + "\"}}"),
              "reader.information must have 1 to 120 bytes");
    EXPECT_EQ(Problem(R"({"reader": {"information": ")" + std::string(120, 'x') + "\"}}"), "");
    EXPECT_EQ(Problem(R"({"reader": {"informationForm": "record", "information": ")" +
                      std::string(106, 'x') + "\"}}"),
              "reader.information must have 1 to 105 bytes");
    EXPECT_EQ(Problem(R"({"reader": {"informationForm": "short"}})"),
              "reader.informationForm must be \"plain\" or \"record\"");
    EXPECT_EQ(Problem(R"({"reader": {"serial": "123456789012345678901234567890123"}})"),
              "reader.serial must have at most 32 bytes");
    EXPECT_EQ(Problem(R"({"reader": {"speaks": "french"}})"),
              "reader.speaks must be \"krel\", \"union\", \"both\" or \"none\"");
    EXPECT_EQ(Problem(R"({"reader": {"modeAnswer": "4F4B4B"}})"),
              "reader.modeAnswer must be at most two bytes in hexadecimal");
    EXPECT_EQ(Problem(R"({"reader": {"modeAnswer": "xx"}})"),
              "reader.modeAnswer must be at most two bytes in hexadecimal");
}

TEST(Profile, WrongCardsAreNamed)
{
    EXPECT_EQ(Problem(R"({"cards": []})"), "cards must be an object from names to descriptions");
    EXPECT_EQ(Problem(R"({"contact": "c"})"), "contact: no card \"c\" in the profile");
    EXPECT_EQ(Problem(R"({"contactless": "c"})"), "contactless: no card \"c\" in the profile");
    EXPECT_EQ(Problem(R"({"contactless": 1})"), "contactless must be the name of a card");
    EXPECT_EQ(Problem(R"({"contact": 1})"),
              "contact must be the name of a card, or an object from slots to names");
    EXPECT_EQ(Problem(R"({"contact": {"32": "c"}})"), "contact.32: slots are 0 to 31");
    EXPECT_EQ(Problem(R"({"contact": {"x": "c"}})"), "contact.x: slots are 0 to 31");
    EXPECT_EQ(Problem(R"({"contact": {"1": {}}})"), "contact.1 must be the name of a card");
    EXPECT_THAT(Problem(R"({"cards": {"c": {"kind": "no such kind"}}, "contact": "c"})"),
                StartsWith("contact: card \"c\": kind"));
}

TEST(Profile, SpeakingIsTheProfiles)
{
    const Bench bench(R"({"reader": {"speaks": "union"}})");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"speaks\":\"union\""));
}

TEST(Profile, WrongIdentitySectionsAreTold)
{
    EXPECT_EQ(Problem(R"({"identityCards": []})"),
              "identityCards: expected an object from names to identity cards, found an array");
    EXPECT_EQ(Problem(R"({"identityCards": {"a": {"kind": "resident"}}})"),
              "identityCards.a: the key \"name\" is missing")
        << "also of a card that lies nowhere";
    EXPECT_EQ(Problem(R"({"identity": "nobody"})"),
              "identity: no card \"nobody\" in identityCards");
    EXPECT_EQ(Problem(R"({"identity": 7})"), "identity: expected a text, found 7");
    EXPECT_THAT(Problem(R"({"reader": {"identityModule": "sometimes"}})"),
                HasSubstr("identityModule must be \"mode\", \"always\" or \"none\""));
    EXPECT_EQ(Problem(R"({"reader": {"fingerprintCommand": 1}})"),
              "reader.fingerprintCommand: expected true or false, found 1");
}
