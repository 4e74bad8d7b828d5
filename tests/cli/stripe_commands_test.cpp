// The built program against the virtual reader: magnetic cards.
#include <csignal>
#include <nlohmann/json.hpp>

#include "tool_directory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using nlohmann::json;
using testing::HasSubstr;

static const char kProfile[] = R"({
    "magneticCards": {
        "all": {"track1": "B6200000000000005^SAMPLE/CARD^3012101",
                "track2": "6200000000000005=30121017654321", "track3": "996200000000000005=156"},
        "two": {"track2": "6200000000000005'3012101"},
        "wild": {"track2": "hex:311B5B324A"},
        "blank": {},
        "refuses": {"track2": {"text": "1=1", "refusesWrites": true}},
        "refuses3": {"track3": {"text": "1=1", "refusesWrites": true}},
        "odd": {"writeAnswer": "1B427271"}
    }})";

namespace
{

struct Stripe
{
    ToolDirectory tool;
    TestReader reader{kProfile};

    ChildResult Run(std::vector<std::string> arguments, const std::string &input = "") const
    {
        arguments.insert(arguments.begin(), {"--port", reader.Port()});
        ChildOptions options;
        options.input = input;
        return tool.Run(arguments, options);
    }
    ChildResult Swipe(const std::string &card, const std::vector<std::string> &arguments,
                      const std::string &input = "") const
    {
        reader.Control("swipe clear");
        reader.Control("swipe next " + card);
        return Run(arguments, input);
    }
    json SwipeJson(const std::string &card, std::vector<std::string> arguments) const
    {
        arguments.emplace_back("--json");
        const ChildResult result = Swipe(card, arguments);
        const json document = json::parse(result.out, nullptr, false);
        EXPECT_FALSE(document.is_discarded()) << result.out << result.err;
        return document;
    }
};

} // namespace

TEST(ToolMagRead, ShowsTheTracks)
{
    const Stripe stripe;
    const ChildResult result = stripe.Swipe("all", {"mag", "read"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, "Track 1  B6200000000000005^SAMPLE/CARD^3012101\n"
                          "Track 2  6200000000000005=30121017654321  (expires 2030-12, service "
                          "code 101)\n"
                          "Track 3  996200000000000005=156\n");
    EXPECT_EQ(stripe.Swipe("all", {"mag", "read", "--tracks", "3,2"}).out,
              "Track 2  6200000000000005=30121017654321  (expires 2030-12, service code 101)\n"
              "Track 3  996200000000000005=156\n");
}

TEST(ToolMagRead, AsJson)
{
    const Stripe stripe;
    const json document = stripe.SwipeJson("all", {"mag", "read", "--tracks", "3"});
    EXPECT_EQ(document, json({{"command", "mag read"},
                              {"ok", true},
                              {"result",
                               {{"tracks",
                                 {{"track3",
                                   {{"text", "996200000000000005=156"},
                                    {"hex", "3939363230303030303030303030303030353D313536"},
                                    {"value", nullptr}}}}}}}}));
    const json wild = stripe.SwipeJson("wild", {"mag", "read", "--tracks", "2"});
    EXPECT_EQ(wild.at("result").at("tracks").at("track2"),
              json({{"text", nullptr}, {"hex", "311B5B324A"}, {"value", nullptr}}));
}

TEST(ToolMagRead, AMissingTrackIsAFailureAndTheOthersAreShown)
{
    const Stripe stripe;
    const ChildResult result = stripe.Swipe("two", {"mag", "read"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "Track 1  -  (empty, or not to be read)\n"
                          "Track 2  6200000000000005'3012101  (expires 2030-12, service code "
                          "101)\n"
                          "Track 3  -  (empty, or not to be read)\n");
    EXPECT_THAT(result.err, HasSubstr("vantor: BO_ReadMagCard failed with -2107 ("));
    EXPECT_THAT(result.err, HasSubstr("tracks 1 and 3 could not be read\ntry: swipe again"));
    const json document = stripe.SwipeJson("two", {"mag", "read", "--tracks", "1,2"});
    EXPECT_EQ(document.at("error").at("code"), -2001);
    EXPECT_EQ(document.at("result").at("tracks").at("track1"), nullptr);
    EXPECT_EQ(document.at("result").at("tracks").at("track2").at("text"),
              "6200000000000005'3012101");
    const ChildResult blank = stripe.Swipe("blank", {"mag", "read"});
    EXPECT_EQ(blank.status, 1);
    EXPECT_EQ(blank.out, "");
    EXPECT_THAT(blank.err, HasSubstr("failed with -2000 ("));
}

TEST(ToolMagRead, MaskHidesTheNumber)
{
    const Stripe stripe;
    for (const char *form : {"--mask", "--json"})
    {
        const ChildResult result = stripe.Swipe("all", {"mag", "read", "--mask", form});
        EXPECT_EQ(result.status, 0);
        EXPECT_THAT(result.out, HasSubstr("620000******0005"));
        EXPECT_EQ(result.out.find("6200000000000005"), std::string::npos);
        EXPECT_EQ(result.out.find("7654321"), std::string::npos);
    }
    EXPECT_EQ(stripe.Swipe("all", {"mag", "number", "--mask"}).out, "620000******0005\n");
}

TEST(ToolMagRead, NoSwipeInTimeIsSaid)
{
    const Stripe stripe;
    for (const std::vector<std::string> &words : {std::vector<std::string>{"mag", "read"},
                                                  {"mag", "write", "--track2", "1", "--yes"},
                                                  {"mag", "number"}})
    {
        std::vector<std::string> arguments = {"--timeout", "1"};
        arguments.insert(arguments.end(), words.begin(), words.end());
        const ChildResult result = stripe.Run(arguments);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(result.err, HasSubstr("failed with -1004 (读数据超时): no card was swiped in "
                                          "time\ntry: swipe while vantor waits"));
    }
}

TEST(ToolMagRead, ASwipeDuringTheWaitIsTaken)
{
    const Stripe stripe;
    const Child child = StartChild(
        stripe.tool.Command({"--port", stripe.reader.Port(), "--timeout", "0", "mag", "read"}));
    stripe.reader.Control("wait swipe");
    stripe.reader.Control("swipe all");
    const ChildResult result = WaitForChild(child);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("Track 3  996200000000000005=156\n"));
}

TEST(ToolMagRead, CtrlCEndsTheWait)
{
    const Stripe stripe;
    const Child child = StartChild(
        stripe.tool.Command({"--port", stripe.reader.Port(), "--timeout", "0", "mag", "read"}));
    stripe.reader.Control("wait swipe");
    kill(child.pid, SIGINT);
    const ChildResult result = WaitForChild(child);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "cancelled\n");
    EXPECT_THAT(stripe.reader.Control("info"), HasSubstr(R"("waits":"")"));
}

TEST(ToolMagRead, WrongUseIsFoundBeforeThePortIsOpened)
{
    const Stripe stripe;
    const std::vector<std::string> kWrong[] = {
        {"mag"},
        {"mag", "read", "--tracks", "4"},
        {"mag", "number", "--separator", "^"},
        {"mag", "write"},
        {"mag", "write", "--yes", "--track2", "1A"},
        {"mag", "write", "--yes", "--track2", "1", "--track3", ""},
    };
    for (const auto &words : kWrong)
    {
        const ChildResult result = stripe.Run(words);
        EXPECT_EQ(result.status, 2) << words.back();
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(result.err, HasSubstr("vantor: "));
    }
    EXPECT_EQ(stripe.reader.Control("received"), "ok ");
}

TEST(ToolMagWrite, AsksBeforeItOverwrites)
{
    const Stripe stripe;
    for (const char *answer : {"", "n\n", "\n", "no\n", "yellow\n"})
    {
        const ChildResult result =
            stripe.Run({"mag", "write", "--track2", "6=1", "--track3", "0=2"}, answer);
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.err, testing::StartsWith("This overwrites tracks 2 and 3 of the card "
                                                    "that is swiped next. Go on? [y/N] "));
        EXPECT_THAT(result.err, HasSubstr("vantor: not confirmed: nothing was written\n"));
    }
    EXPECT_EQ(stripe.reader.Control("received"), "ok ");
    for (const char *answer : {"y\n", "Y\n", "yes\n", "y"})
    {
        const ChildResult result =
            stripe.Swipe("blank", {"mag", "write", "--track2", "6=1"}, answer);
        EXPECT_EQ(result.status, 0) << answer;
        EXPECT_EQ(result.out, "track 2 written\n");
        EXPECT_THAT(result.err, testing::StartsWith("This overwrites track 2 of"));
    }
}

TEST(ToolMagWrite, WritesWhatItIsGiven)
{
    const Stripe stripe;
    ChildResult result =
        stripe.Swipe("blank", {"mag", "write", "--yes", "--track2", "6=1", "--track3", "0=2"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, "tracks 2 and 3 written\n");
    EXPECT_EQ(stripe.reader.Control("tracks blank"), R"(ok {"1":null,"2":"6=1","3":"0=2"})");
    result = stripe.Swipe("blank", {"mag", "write", "--yes", "--track3", "9"});
    EXPECT_EQ(result.out, "track 3 written\n");
    EXPECT_EQ(stripe.reader.Control("tracks blank"), R"(ok {"1":null,"2":"6=1","3":"9"})");
}

TEST(ToolMagWrite, TellsWhichTrackFailed)
{
    const Stripe stripe;
    const std::vector<std::string> both = {"mag", "write",    "--yes", "--track2",
                                           "6=1", "--track3", "0=2"};
    const ChildResult result = stripe.Swipe("refuses", both);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("BO_WriteMagCard failed with -2102 ("));
    EXPECT_THAT(result.err, HasSubstr("track 2 could not be written\ntry: "));
    EXPECT_EQ(stripe.SwipeJson("refuses", both).at("result"),
              json({{"track2", "failed"}, {"track3", nullptr}}));
    json document = stripe.SwipeJson("refuses3", both);
    EXPECT_EQ(document.at("result"), json({{"track2", nullptr}, {"track3", "failed"}}));
    EXPECT_EQ(document.at("error").at("message"), "track 3 could not be written");
    document = stripe.SwipeJson("odd", both);
    EXPECT_EQ(document.at("result"), json({{"track2", nullptr}, {"track3", nullptr}}));
    EXPECT_EQ(document.at("error").at("code"), -2104);
    EXPECT_THAT(document.at("error").at("message").get<std::string>(),
                HasSubstr("may be written or not"));
    EXPECT_EQ(stripe.SwipeJson("blank", both).at("result"),
              json({{"track2", "written"}, {"track3", "written"}}));
}

TEST(ToolMagNumber, IsWhatStandsBeforeTheSeparator)
{
    const Stripe stripe;
    EXPECT_EQ(stripe.Swipe("all", {"mag", "number"}).out, "6200000000000005\n");
    EXPECT_EQ(stripe.Swipe("two", {"mag", "number"}).out, "6200000000000005\n");
    EXPECT_EQ(stripe.Swipe("two", {"mag", "number", "--separator", "'"}).out, "6200000000000005\n");
    EXPECT_EQ(stripe.Swipe("all", {"mag", "number", "--tracks", "3"}).out, "996200000000000005\n");
    EXPECT_EQ(stripe.SwipeJson("all", {"mag", "number"}).at("result"),
              json({{"card_number", "6200000000000005"}}));
    const ChildResult result = stripe.Swipe("two", {"mag", "number", "--separator", "="});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("BO_GetMagCardNo failed with -2105 ("));
}
