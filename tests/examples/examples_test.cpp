// The examples in C and C++: each is run as its comment says, against the virtual reader.
#include <csignal>
#include <filesystem>

#include "example_room.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace fs = std::filesystem;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

static const std::string kIssuer = VANTOR_BIN_DIR "/vantor-issuer";
static const char kCardIsOff[] = R"("contact":{"0":{"card":"online-1","powered":false}})";

TEST(ExampleInC, ReadsACardsNumberAndLog)
{
    const ExampleRoom room("default");
    const ChildResult result = room.Run({"c/card_data", room.device});
    EXPECT_EQ(result.out, "card number 6210948000000011\n"
                          "16-05-24 19:12:22  amount 000000000000  counter 003F\n"
                          "25-01-31 23:59:59  amount 000000012345  counter 00FF\n"
                          "25-01-31 00:00:00  amount 000000000001  counter 0001\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
}

TEST(ExampleInC, SaysThatACardHasNoNumberAndNoLog)
{
    const ExampleRoom room("default");
    room.Control("swap contact {\"kind\": \"pboc\", \"applications\": "
                 "[{\"aid\": \"A000000333010101\", \"label\": \"PBOC DEBIT\"}]}");
    const ChildResult result = room.Run({"c/card_data", room.device});
    EXPECT_EQ(result.out, "the card shows no number\nthe card keeps no transaction log\n");
    EXPECT_EQ(result.status, 0);
}

TEST(ExampleInC, TellsTheCallAndItsCodeWhenItFails)
{
    const ExampleRoom room("default");
    const ChildResult none = room.Run({"c/card_data", "/dev/no-such-port"});
    EXPECT_EQ(none.err, "BO_Open: -1000 打开端口失败\n");
    EXPECT_EQ(none.status, 1);
    room.Control("card contact status 00A4 6A82 0");
    const ChildResult refused = room.Run({"c/card_data", room.device});
    EXPECT_THAT(refused.err, StartsWith("BO_ICGetInfo: -4100 "));
    EXPECT_EQ(refused.out, "");
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(room.Run({"c/card_data"}).status, 2);
}

// What is the same each time: the amount, the card, the counter of a fresh card, the way it ends.
TEST(ExampleInC, PaysOnline)
{
    const ExampleRoom room("online");
    const ChildResult result = room.Run({"c/online_payment", room.device, "12.34", kIssuer});
    EXPECT_THAT(result.out, ContainsRegex("^for the issuer: 9F2608[0-9A-F]{16}9F270180"));
    EXPECT_THAT(result.out, HasSubstr("9F3602002B"));
    EXPECT_THAT(result.out, HasSubstr("9C01009F02060000000012345F2A02015682027C00"));
    EXPECT_THAT(result.out, HasSubstr("5A0A6200001234567890128F5F340101\n"));
    EXPECT_THAT(result.out, ContainsRegex("9F3704[0-9A-F]{8}9F36"));
    EXPECT_THAT(result.out, Not(HasSubstr("9F370467C66973"))) << "rand() as it begins";
    EXPECT_THAT(result.out, ContainsRegex("\nthe issuer answers: 910A[0-9A-F]{16}3030\n"));
    EXPECT_THAT(result.out,
                ContainsRegex("\napproved, the card's certificate is 40002B[0-9A-F]{16}0701"));
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(room.Control("info"), HasSubstr(kCardIsOff));
}

TEST(ExampleInC, ToldThatTheIssuerDeclinesSaysSo)
{
    const ExampleRoom room("online");
    const ChildResult result = room.Run({"c/online_payment", room.device, "7000.00", kIssuer});
    EXPECT_THAT(result.out, HasSubstr("9F0206000000700000"));
    EXPECT_THAT(result.out, EndsWith("3035\ndeclined by the issuer\n"));
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(room.Control("info"), HasSubstr(kCardIsOff));
}

TEST(ExampleInC, AsksNoIssuerWhenTheCardHasDecided)
{
    const ExampleRoom room("declining");
    const ChildResult result = room.Run({"c/online_payment", room.device, "1.00", "false"});
    EXPECT_THAT(result.out, EndsWith("\nthe card decided itself: declined\n"));
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(room.Control("info"), HasSubstr(R"({"card":"declining","powered":false})"));
}

TEST(ExampleInC, PowersTheCardOffWhenTheIssuerIsSilent)
{
    const ExampleRoom room("online");
    const ChildResult result = room.Run({"c/online_payment", room.device, "1.00", "/bin/false"});
    EXPECT_EQ(result.err, "the issuer gave no answer\n");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(room.Control("info"), HasSubstr(kCardIsOff));
}

TEST(ExampleInC, RefusesAnAmountThatIsNone)
{
    const ExampleRoom room("empty");
    for (const char *amount : {"12", "12.3", "12.345", "-1.00", "12.3x", ".50", "12345678901.00"})
        EXPECT_EQ(room.Run({"c/online_payment", room.device, amount, kIssuer}).status, 2) << amount;
}

TEST(ExampleInC, ReadsAnIdentityCardWithItsPhoto)
{
    const ExampleRoom room("default");
    room.AddPhotoDecoder();
    const ChildResult result = room.Run({"c/identity_card", room.device, "head.bmp"});
    EXPECT_EQ(result.out, "name       张示例\n"
                          "sex        男\n"
                          "nation     汉\n"
                          "birth      19900517\n"
                          "address    北京市朝阳区样例街99号院1号楼2单元303室\n"
                          "number     110105199005170011\n"
                          "authority  北京市公安局朝阳分局\n"
                          "valid from 20200229\n"
                          "valid to   20400229\n"
                          "kind       N\n"
                          "photo      head.bmp\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
    const std::string photo = testing_support::ReadFile(room.scratch.path + "/head.bmp");
    EXPECT_EQ(photo.size(), 38862u);
    EXPECT_EQ(photo.substr(0, 2), "BM");
}

TEST(ExampleInC, ShowsTheFieldsWithoutThePhotoDecoder)
{
    const ExampleRoom room("default");
    const ChildResult result = room.Run({"c/identity_card", room.device, "head.bmp"});
    EXPECT_THAT(result.out, HasSubstr("number     110105199005170011\n"));
    EXPECT_THAT(result.err, StartsWith("the photo: -1014 "));
    EXPECT_EQ(result.status, 1);
    EXPECT_FALSE(fs::exists(room.scratch.path + "/head.bmp"));
}

TEST(ExampleInC, EndsAWaitFromASecondThread)
{
    const ExampleRoom room("empty");
    const Child child = room.Start({"c/cancel", room.device});
    room.Control("wait 1"); // the first try at a card
    kill(child.pid, SIGINT);
    const ChildResult result = WaitForChild(child);
    EXPECT_EQ(result.out, "waiting for a card, Ctrl-C cancels\ncancelled\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
    room.Control("wait closed");
}

TEST(ExampleInC, AWaitThatACardEndsNeedsNoCancel)
{
    const ExampleRoom room("default");
    const ChildResult result = room.Run({"c/cancel", room.device});
    EXPECT_EQ(result.out, "waiting for a card, Ctrl-C cancels\n"
                          "card, answer to reset 3B68000056414E544F523031\n");
    EXPECT_EQ(result.status, 0);
}

TEST(ExampleInCpp, ReadsACardWithALibraryLoadedAtRunTime)
{
    const ExampleRoom room("default");
    const ChildResult result = room.Run({"cpp/card_data", "libvantor.so", room.device});
    EXPECT_EQ(result.out, "card number 6210948000000011\n"
                          "160524 191222  amount 000000000000  counter 003F\n"
                          "250131 235959  amount 000000012345  counter 00FF\n"
                          "250131 000000  amount 000000000001  counter 0001\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
}

TEST(ExampleInCpp, SaysThatThereIsNoLibrary)
{
    const ExampleRoom room("empty");
    const ChildResult result = room.Run({"cpp/card_data", "./no-such-library.so", room.device});
    EXPECT_THAT(result.err, HasSubstr("no-such-library.so: cannot open shared object file"));
    EXPECT_EQ(result.status, 1);
}

TEST(ExampleInCpp, PaysOnlineWithTheTerminalCalls)
{
    const ExampleRoom room("online");
    const ChildResult result = room.Run({"cpp/online_payment", room.port, "12.34", kIssuer});
    EXPECT_THAT(result.out, HasSubstr("9F02060000000012345F2A02015682027C00"));
    EXPECT_THAT(result.out, ContainsRegex("9F3704[0-9A-F]{8}9F36"));
    EXPECT_THAT(result.out, Not(HasSubstr("9F370467C66973"))) << "rand() as it begins";
    EXPECT_THAT(result.out, ContainsRegex("\nthe issuer answers: 910A[0-9A-F]{16}3030\n"));
    EXPECT_THAT(result.out,
                ContainsRegex("\napproved, the card's certificate is 40002B[0-9A-F]{16}0701"));
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
    const ChildResult declined = room.Run({"cpp/online_payment", room.port, "7000.00", kIssuer});
    EXPECT_EQ(declined.err, "IC_CtlScriptData: -31\n");
    EXPECT_EQ(declined.status, 1);
}

TEST(ExampleInCpp, ASilentIssuerLeavesNoCardPowered)
{
    const ExampleRoom room("online");
    const ChildResult result = room.Run({"cpp/online_payment", room.port, "1.00", "/bin/false"});
    EXPECT_EQ(result.err, "IC_CtlScriptData: -30\n");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(room.Control("info"), HasSubstr(kCardIsOff));
}

TEST(ExampleInCpp, ReadsAnIdentityCardWithItsPhoto)
{
    const ExampleRoom room("default");
    room.AddPhotoDecoder();
    const ChildResult result = room.Run({"cpp/identity_card", room.port, "head.bmp"});
    EXPECT_EQ(result.out, "name 张示例\nbirth 19900517\nnumber 110105199005170011\n"
                          "valid to 20400229\nphoto head.bmp\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(fs::file_size(room.scratch.path + "/head.bmp"), 38862u);
}

TEST(ExampleInCpp, ShowsTheFieldsWithoutThePhotoDecoder)
{
    const ExampleRoom room("default");
    const ChildResult result = room.Run({"cpp/identity_card", room.port, "head.bmp"});
    EXPECT_THAT(result.out, HasSubstr("number 110105199005170011\n"));
    EXPECT_EQ(result.err, "ID_GetInfo: -11\n");
    EXPECT_EQ(result.status, 1);
}

// Enter is there before the wait has begun: the first cancels are lost, and repeated.
TEST(ExampleInCpp, EndsTheWaitForASwipeFromASecondThread)
{
    const ExampleRoom room("magnetic-cards");
    ChildOptions enter;
    enter.input = "\n";
    const ChildResult result = room.Run({"cpp/cancel", room.device}, enter);
    EXPECT_EQ(result.out, "waiting for a swipe, Enter cancels\ncancelled\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
}
