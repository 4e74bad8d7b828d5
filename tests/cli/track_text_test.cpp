// Tracks as the tool takes and shows them.
#include "track_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::HasSubstr;
using namespace tool;

static uint32_t ModeOf(const std::string &tracks)
{
    StripeInput input;
    input.tracks = tracks;
    StripeOptions options;
    const std::string wrong = CheckTracks(input, &options);
    EXPECT_EQ(wrong.empty(), options.mode != 0) << tracks << ": " << wrong;
    return options.mode;
}

TEST(TrackList, GivesTheModeOfTheCalls)
{
    EXPECT_EQ(ModeOf("1"), 1u);
    EXPECT_EQ(ModeOf("2"), 2u);
    EXPECT_EQ(ModeOf("3"), 3u);
    EXPECT_EQ(ModeOf("1,2"), 12u);
    EXPECT_EQ(ModeOf("3,1"), 13u);
    EXPECT_EQ(ModeOf("2, 3"), 23u);
    EXPECT_EQ(ModeOf("3,2,1"), 123u);
    EXPECT_EQ(ModeOf("2,2"), 2u);
}

TEST(TrackList, RefusesWhatIsNone)
{
    for (const char *list : {"", "0", "4", "12", "1,", ",1", "1,,2", "1;2", "x", "-1", " "})
        EXPECT_EQ(ModeOf(list), 0u) << list;
}

TEST(TrackList, TellsWhichTracksAModeHas)
{
    EXPECT_TRUE(HasTrack(23, 2) && HasTrack(23, 3) && HasTrack(123, 1) && HasTrack(1, 1));
    EXPECT_FALSE(HasTrack(23, 1) || HasTrack(2, 3) || HasTrack(13, 2));
}

TEST(TrackSeparator, IsOneOfThree)
{
    const std::pair<const char *, int> kKinds[] = {{"=", 0}, {"'", 1}, {"any", 2}};
    for (const auto &[text, kind] : kKinds)
    {
        StripeInput input;
        input.tracks = "2";
        input.separator = text;
        StripeOptions options;
        EXPECT_EQ(CheckTracks(input, &options), "");
        EXPECT_EQ(options.separator, kind);
    }
    StripeInput input;
    input.tracks = "2";
    input.separator = "^";
    StripeOptions options;
    EXPECT_THAT(CheckTracks(input, &options), HasSubstr("--separator takes"));
}

static std::string WrongWrite(const std::optional<std::string> &track2,
                              const std::optional<std::string> &track3)
{
    StripeInput input;
    input.track2 = track2;
    input.track3 = track3;
    StripeOptions options;
    return CheckTracksToWrite(input, &options);
}

TEST(TrackToWrite, RefusesWhatTheLibraryWouldLeaveOut)
{
    EXPECT_EQ(WrongWrite("0123456789='@#:", std::nullopt), "");
    EXPECT_EQ(WrongWrite(std::nullopt, std::string(120, '1')), "");
    EXPECT_EQ(WrongWrite("1", "2"), "");
    EXPECT_EQ(WrongWrite(std::nullopt, std::nullopt),
              "mag write needs --track2 TEXT, --track3 TEXT or both");
    EXPECT_EQ(WrongWrite("", "2"), "--track2 takes 1 to 120 characters, not 0");
    EXPECT_EQ(WrongWrite("1", std::string(121, '1')),
              "--track3 takes 1 to 120 characters, not 121");
    EXPECT_EQ(WrongWrite("12X", "2"),
              "--track2 takes the characters 0123456789='@#: only: look at number 3, X");
    EXPECT_THAT(WrongWrite("1", "1\x1B"), HasSubstr("look at number 2, hex 1B"));
}

TEST(TrackText, OfTrack2IsDecoded)
{
    const std::string text = "6200000000000005=30121010000000000000";
    EXPECT_EQ(TrackLine(2, text, false), "Track 2  6200000000000005=30121010000000000000  (expires "
                                         "2030-12, service code 101)\n");
    EXPECT_EQ(
        TrackJson(2, text, false),
        Json({{"text", text},
              {"hex", "363230303030303030303030303030353D33303132313031303030303030303030303030"
                      "30"},
              {"value",
               {{"card_number", "6200000000000005"},
                {"expires", "2030-12"},
                {"service_code", "101"},
                {"discretionary", "0000000000000"}}}}));
    // The month is none: the digits stay, the meaning goes.
    EXPECT_THAT(TrackLine(2, "62=3013101", false), HasSubstr("(expires ?, service code 101)"));
    EXPECT_EQ(TrackJson(2, "62=3013101", false).at("value").at("expires"), nullptr);
    // Too short for a meaning.
    EXPECT_EQ(TrackLine(2, "62=301210", false), "Track 2  62=301210\n");
    EXPECT_EQ(TrackJson(2, "62=301210", false).at("value"), nullptr);
    EXPECT_EQ(TrackJson(2, "6'3012101", false).at("value").at("card_number"), "6");
}

TEST(TrackText, OfTrack1IsDecodedInJson)
{
    const Json value = TrackJson(1, "B6200000000000005^SAMPLE/CARD^3012101000", false).at("value");
    EXPECT_EQ(value, Json({{"card_number", "6200000000000005"},
                           {"expires", "2030-12"},
                           {"service_code", "101"},
                           {"discretionary", "000"},
                           {"name", "SAMPLE/CARD"}}));
    for (const char *text : {"A62^X^3012101", "B62^X^301210", "B62^X", "B62", "B"})
        EXPECT_EQ(TrackJson(1, text, false).at("value"), nullptr) << text;
}

TEST(TrackText, AnEmptyTrackIsNone)
{
    for (const char *text : {"", "\x7F", "00000"})
    {
        EXPECT_EQ(TrackJson(2, text, false), nullptr);
        EXPECT_EQ(TrackLine(3, text, false), "Track 3  -  (empty, or not to be read)\n");
    }
    EXPECT_NE(TrackJson(2, "000000", false), nullptr);
}

TEST(TrackText, BytesThatAreNoTextAreShownAsHex)
{
    for (const char *bytes : {"1\x1B[2J", "1\xC4\xD0", "1\x7F", "1\n2=3012101"})
    {
        const Json track = TrackJson(2, bytes, false);
        EXPECT_EQ(track.at("text"), nullptr);
        EXPECT_EQ(track.at("value"), nullptr);
        EXPECT_THAT(TrackLine(2, bytes, false), testing::StartsWith("Track 2  hex 31"));
    }
    EXPECT_EQ(TrackJson(2, "1\x1B", false).at("hex"), "311B");
}

TEST(TrackText, MaskHidesAllButTheEndsOfTheNumber)
{
    const std::string track2 = "6200000000000005=30121017654321";
    EXPECT_EQ(TrackLine(2, track2, true), "Track 2  620000******0005=3012101*******  (expires "
                                          "2030-12, service code 101)\n");
    EXPECT_EQ(TrackLine(1, "B6200000000000005^A^3012101", true),
              "Track 1  ***************************\n");
    EXPECT_EQ(TrackLine(3, "996200000000000005=156", true), "Track 3  **********************\n");
    EXPECT_EQ(TrackLine(2, "6200000000000005", true), "Track 2  ****************\n");
    EXPECT_EQ(TrackLine(2, "62\x1B", true), "Track 2  ***\n");
    for (int number = 1; number <= 3; number++)
    {
        const Json track = TrackJson(number, track2, true);
        EXPECT_EQ(track.at("text"), nullptr);
        EXPECT_EQ(track.at("hex"), nullptr);
        EXPECT_EQ(track.dump().find("6200000000000005"), std::string::npos);
        EXPECT_EQ(track.dump().find("7654321"), std::string::npos);
    }
    EXPECT_EQ(TrackJson(2, track2, true).at("value").at("card_number"), "620000******0005");
}
