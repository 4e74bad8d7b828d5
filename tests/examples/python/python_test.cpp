// The examples in Python.
#include "examples/example_room.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

static const std::string kIssuer = VANTOR_BIN_DIR "/vantor-issuer";

// The text of the examples is UTF-8 wherever the tests run, and leaves nothing beside them.
static ChildResult RunPython(const ExampleRoom &room, const std::string &name,
                             const std::vector<std::string> &arguments)
{
    std::vector<std::string> words = {VANTOR_PYTHON,
                                      VANTOR_SOURCE_DIR "/examples/python/" + name + ".py"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    ChildOptions options;
    options.environment = {"PYTHONDONTWRITEBYTECODE=1", "PYTHONUTF8=1"};
    return room.Run(words, options);
}

TEST(ExampleInPython, ReadsACardsNumberAndLog)
{
    const ExampleRoom room("default");
    const ChildResult result = RunPython(room, "card_data", {room.device});
    EXPECT_EQ(result.out, "card number 6210948000000011\n"
                          "160524 191222  0.0 \n"
                          "250131 235959  123.45 TEST MERCHNT\n"
                          "250131 000000  0.01 测试商户名称一二三四\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
}

TEST(ExampleInPython, TellsTheCallAndItsCodeWhenItFails)
{
    const ExampleRoom room("default");
    const ChildResult none = RunPython(room, "card_data", {"/dev/no-such-port"});
    EXPECT_EQ(none.err, "BO_Open: -1000 打开端口失败\n");
    EXPECT_EQ(none.status, 1);
    room.Control("card contact status 00A4 6A82 0");
    EXPECT_THAT(RunPython(room, "card_data", {room.device}).err,
                StartsWith("BO_ICGetInfo: -4100 "));
}

// The card is read before: its counter stands one higher than in the other languages.
TEST(ExampleInPython, PaysOnline)
{
    const ExampleRoom room("online");
    const ChildResult result = RunPython(room, "online_payment", {room.device, "12.34", kIssuer});
    EXPECT_THAT(result.out, ContainsRegex("^for the issuer: 9F2608[0-9A-F]{16}9F270180"));
    EXPECT_THAT(result.out, HasSubstr("9F3602002C"));
    EXPECT_THAT(result.out, HasSubstr("9C01009F02060000000012345F2A02015682027C00"));
    EXPECT_THAT(result.out, ContainsRegex("9F3704[0-9A-F]{8}9F36"));
    EXPECT_THAT(result.out, Not(HasSubstr("9F370467C66973"))) << "rand() as it begins";
    EXPECT_THAT(result.out, ContainsRegex("\nthe issuer answers: 910A[0-9A-F]{16}3030\n"));
    EXPECT_THAT(result.out,
                ContainsRegex("\napproved, the card's certificate is 40002C[0-9A-F]{16}0701"));
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
    const ChildResult declined =
        RunPython(room, "online_payment", {room.device, "7000.00", kIssuer});
    EXPECT_EQ(declined.err, "declined by the issuer\n");
    EXPECT_EQ(declined.status, 1);
}

TEST(ExampleInPython, PowersTheCardOffWhenTheIssuerIsSilent)
{
    const ExampleRoom room("online");
    const ChildResult result =
        RunPython(room, "online_payment", {room.device, "1.00", "/bin/false"});
    EXPECT_EQ(result.err, "the issuer gave no answer\n");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(room.Control("info"),
                HasSubstr(R"("contact":{"0":{"card":"online-1","powered":false}})"));
}
