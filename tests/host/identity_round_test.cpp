// Identity cards through the public calls, on the virtual reader: put down, read, taken away while
// a call waits, cancelled.
#include <atomic>
#include <filesystem>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mutex>
#include <thread>

#include "host/counter.h"
#include "standins/photo/photo_room.h"

using namespace testing_support;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{

const char kResident[] =
    "张示例|男|汉|19900517|北京市朝阳区样例街99号院1号楼2单元303室|110105199005170011|"
    "北京市公安局朝阳分局|20200229|20400229";
const char kGat[] = "陳樣本|男||19850308|广东省深圳市福田区样例路8号|810000198503080012|"
                    "深圳市公安局福田分局|20190901|20240901";
const char kForeignName[] = "SMITH, JOHN SAMPLE|男|";
const char kForeignRest[] = "|19500101||USA110195001011|1500|20170616|20270615";

// The answer to a command is on its way: now is the moment.
struct Moment
{
    std::mutex lock; // the reader's thread looks, the test's awaits
    std::string command;
    std::function<void()> happens;
    bool isNear = false;

    // Once; the command as the trace names it.
    void Await(const char *awaited, const std::function<void()> &thenHappens)
    {
        const std::lock_guard<std::mutex> guard(lock);
        command = awaited;
        happens = thenHappens;
    }
    void Look(const std::string &line)
    {
        const std::lock_guard<std::mutex> guard(lock);
        if (line.find("host   -> reader") != std::string::npos)
            isNear = !command.empty() && line.find(command) != std::string::npos;
        else if (isNear && line.find("reader -> host") != std::string::npos)
        {
            command.clear();
            isNear = false;
            happens();
        }
    }
};

} // namespace

TEST(IdentityRound, AResidentCardInEveryLayout)
{
    Counter counter("identity-cards");
    const std::string fields = kResident;
    EXPECT_EQ(counter.Read(IdentityCall::kPlain).utf8, fields + "|N||||");
    EXPECT_EQ(counter.Read(IdentityCall::kPic).utf8, fields + "|N||");
    EXPECT_EQ(counter.Read(IdentityCall::kFb).utf8, fields + "|N||");
    EXPECT_EQ(counter.Read(IdentityCall::kVariant).utf8, fields + "|1|||||A");
}

TEST(IdentityRound, AGatCardInEveryLayout)
{
    Counter counter("identity-cards");
    counter.Control("swap identity gat-hong-kong");
    const std::string fields = kGat;
    for (IdentityCall call : {IdentityCall::kPlain, IdentityCall::kPic, IdentityCall::kFb})
        EXPECT_EQ(counter.Read(call).utf8, fields + "|J|||H12345678|01");
    EXPECT_EQ(counter.Read(IdentityCall::kVariant).utf8, fields + "|||||J|");
}

TEST(IdentityRound, AForeignCardInEveryLayout)
{
    Counter counter("identity-cards");
    counter.Control("swap identity foreign");
    const std::string country = std::string(kForeignName) + "美国/USA" + kForeignRest;
    const std::string code = std::string(kForeignName) + "USA" + kForeignRest;
    EXPECT_EQ(counter.Read(IdentityCall::kPlain).utf8, country + "|I|史密斯|01||");
    EXPECT_EQ(counter.Read(IdentityCall::kPic).utf8, country + "|I|史密斯|01");
    EXPECT_EQ(counter.Read(IdentityCall::kFb).utf8, code + "|I|史密斯|01");
    EXPECT_EQ(counter.Read(IdentityCall::kVariant).utf8, country + "|1|||史密斯");
}

TEST(IdentityRound, TheLengthIsThatOfTheTextInGb18030)
{
    Counter counter("identity-cards");
    counter.Control("swap identity resident-long-term");
    const IdentityResult read = counter.Read(IdentityCall::kPlain);
    EXPECT_EQ(read.result, 0);
    EXPECT_EQ(read.bytes, "\xB2\xE2\xCA\xD4|\xC4\xD0|\xBA\xBA|19490131|"
                          "\xB1\xB1\xBE\xA9\xCA\xD0\xB6\xAB\xB3\xC7\xC7\xF8\xCA\xBE\xC0\xFD\xC2"
                          "\xB7\xA3\xB1\xBA\xC5|110101194901310010|"
                          "\xB1\xB1\xBE\xA9\xCA\xD0\xB9\xAB\xB0\xB2\xBE\xD6\xB6\xAB\xB3\xC7\xB7"
                          "\xD6\xBE\xD6|20250101|\xB3\xA4\xC6\xDA|N||||");
    EXPECT_EQ(read.length, 102u);
    EXPECT_EQ(read.longTermFlag, 7); // stays
}

TEST(IdentityRound, CardsOfEveryProfile)
{
    const std::pair<const char *, const char *> kCards[] = {
        {"resident-check-x",
         "欧阳样本|女|其他|19491231|北京市朝阳区样例街99号院1号楼2单元303室|11010519491231002X|"
         "北京市公安局朝阳分局|20200229|20400229|N||||"},
        {"resident-minority", "阿卜杜拉·买买提 样本|男|维吾尔|19820113|四川省甘孜藏族自治州示例乡 "
                              "3组|513101198201130014|示例县公安局|20100101|20300101|N||||"},
        // A field that its text fills has no blanks at its end: it is cut at those inside.
        {"resident-long-address",
         "张示例|男|汉|19900517|内蒙古自治区呼伦贝尔市鄂伦春自治旗示例镇示例村 第12组|"
         "110105199005170011|北京市公安局朝阳分局|20200229|20400229|N||||"},
        {"resident-full-width",
         "一二三四五六七八九十一二三四五|男||18800101|"
         "广东省汕头市示例县示例镇示例村长长长长长长长长长长长长长长长长长长长长|"
         "440524188001010014|示例县公安局示例分局办证大厅一|20010101|20210101|N||||"},
        {"resident-odd-codes",
         "张示例|未知||19900517|北京市朝阳区样例街99号院1号楼2单元303室|110105199005170011|"
         "北京市公安局朝阳分局|20200229|20400229|N||||"},
        {"resident-type-x",
         "张示例|男|汉|19900517|北京市朝阳区样例街99号院1号楼2单元303室|110105199005170011|"
         "北京市公安局朝阳分局|20200229|20400229|N||||"},
        {"gat-macau", "何樣本|女||19921130|广东省珠海市香洲区样例路6号|820000199211300024|"
                      "珠海市公安局香洲分局|20210115|20260115|J|||M87654321|02"},
        {"gat-taiwan", "林樣本|女||19790228|福建省厦门市思明区样例路3号|830000197902280125|"
                       "厦门市公安局思明分局|20181201|20231201|J|||12345678|10"},
        {"foreign-no-chinese-name", "TANAKA SAMPLE|女|日本/JPN|19700808||JPN440197008082|4400|"
                                    "20190505|20290504|I|               |01||"}, // its blanks stay
    };
    Counter counter("identity-cards");
    for (const auto &[card, text] : kCards)
    {
        counter.Control(std::string("swap identity ") + card);
        const IdentityResult read = counter.Read(IdentityCall::kPlain);
        EXPECT_EQ(read.result, 0) << card;
        EXPECT_EQ(read.utf8, text) << card;
    }
}

TEST(IdentityRound, ACardWithoutFingerprintsIsReadByTheOtherCommand)
{
    Counter counter("identity-cards", ShippedConfig(), R"("fingerprintCommand": false)");
    const IdentityResult read = counter.Read(IdentityCall::kPlain);
    EXPECT_EQ(read.result, 0);
    EXPECT_EQ(read.utf8, std::string(kResident) + "|N||||");
    EXPECT_THAT(counter.Trace(), HasSubstr("identity read  "));
}

TEST(IdentityRound, ThePhotoAsEveryKindOfFile)
{
    PhotoRoom room;
    room.Decoder();
    room.RealConverter();
    Counter counter("identity-cards");
    const std::pair<const char *, std::string> kFiles[] = {
        {"face.bmp", "BM"},
        {"face.jpg", "\xFF\xD8\xFF"},
        {"face.png", "\x89PNG\r\n\x1A\n"},
        {"face.gif", "GIF8"},
    };
    for (const auto &[name, start] : kFiles)
        for (IdentityCall call : {IdentityCall::kPlain, IdentityCall::kVariant})
        {
            std::filesystem::remove(name);
            EXPECT_EQ(counter.Read(call, name).result, 0) << name;
            EXPECT_THAT(ReadFile(name), StartsWith(start)) << name;
        }
    EXPECT_FALSE(std::filesystem::exists("temp.bmp"));
    EXPECT_EQ(counter.Read(IdentityCall::kPlain, ".").result, 0);
    EXPECT_EQ(ReadFile("110105199005170011.bmp"), ReadFile("face.bmp"));
}

TEST(IdentityRound, WithoutThePhotoLibrariesTheTextIsThereAllTheSame)
{
    PhotoRoom room;
    Counter counter("identity-cards");
    IdentityResult read = counter.Read(IdentityCall::kPlain, "face.png");
    EXPECT_EQ(read.result, -1014);
    EXPECT_THAT(read.utf8, StartsWith("张示例|"));
    room.Decoder();
    read = counter.Read(IdentityCall::kPlain, "face.png");
    EXPECT_EQ(read.result, -1009);
    EXPECT_THAT(read.utf8, StartsWith("张示例|"));
    Counter plain("identity-cards", ShippedConfig(), R"("fingerprintCommand": false)");
    plain.Control("swap identity resident-no-photo"); // the stand-in refuses zero bytes
    read = plain.Read(IdentityCall::kPlain, "face.bmp");
    EXPECT_EQ(read.result, -3);
    EXPECT_THAT(read.utf8, StartsWith("张示例|"));
}

TEST(IdentityRound, ACardPutDownDuringTheWaitIsRead)
{
    Counter counter("identity-cards");
    counter.Control("remove identity");
    std::thread hand(
        [&]
        {
            counter.Control("wait 3"); // the mode, the reset, a search that found nothing
            counter.Control("insert identity foreign");
        });
    const IdentityResult read = counter.Read(IdentityCall::kPlain, nullptr, 60);
    hand.join();
    EXPECT_EQ(read.result, 0);
    EXPECT_THAT(read.utf8, StartsWith("SMITH, JOHN SAMPLE|"));
}

TEST(IdentityRound, WithoutACardTheSelectionFailsWhenTheTimeIsOver)
{
    Counter counter("identity-cards");
    counter.Control("remove identity");
    const IdentityResult read = counter.Read(IdentityCall::kPlain, nullptr, 1);
    EXPECT_EQ(read.result, -3001);
    EXPECT_EQ(read.length, 77u);
    EXPECT_THAT(counter.Trace(), HasSubstr("identity select"));
}

TEST(IdentityRound, ACardTakenAwayAtAnyMomentIsMissed)
{
    for (const char *command : {"identity find", "identity select"})
    {
        Moment moment;
        Counter counter("identity-cards", ShippedConfig(), "",
                        [&](const std::string &line) { moment.Look(line); });
        moment.Await(command, [&] { counter.Control("remove identity"); });
        const IdentityResult read = counter.Read(IdentityCall::kPlain, nullptr, 5);
        EXPECT_EQ(read.result, -3001) << command;
        EXPECT_EQ(read.bytes, "") << command;
        EXPECT_THAT(counter.Control("info"), HasSubstr("\"mode\":\"B\"")) << command;
        counter.Control("insert identity resident");
        EXPECT_EQ(counter.Read(IdentityCall::kPlain).result, 0) << command;
    }
}

TEST(IdentityRound, ASecondThreadEndsTheWait)
{
    Counter counter("identity-cards");
    const std::function<void()> kEnds[] = {
        [&]
        {
            CALL(counter.library, BO_CancelWait)
            ();
        },
        [&]
        {
            CALL(counter.library, BO_Close)
            ();
        },
    };
    for (const auto &end : kEnds)
    {
        counter.Control("remove identity");
        const int before = counter.Exchanges();
        std::thread second(
            [&]
            {
                counter.Control("wait " + std::to_string(before + 3));
                end();
            });
        const IdentityResult read = counter.Read(IdentityCall::kPlain, nullptr, 0);
        second.join();
        // On a slow machine a close may meet the search whose answer has just left the reader.
        EXPECT_THAT(read.result, testing::AnyOf(-1006, -3001));
        EXPECT_EQ(CALL(counter.library, BO_Close)(), 0);
        EXPECT_EQ(counter.Open(), 0);
        counter.Control("insert identity resident");
        EXPECT_EQ(counter.Read(IdentityCall::kPlain).result, 0);
    }
}

TEST(IdentityRound, ACancelLeavesTheReaderInItsNormalModeAndSpeed)
{
    Counter counter("identity-cards", WithSetting(ShippedConfig(), "IdBaud", "115200"));
    counter.Control("remove identity");
    std::thread second(
        [&]
        {
            counter.Control("wait 3");
            EXPECT_THAT(counter.Control("info"), HasSubstr("\"mode\":\"S\""));
            EXPECT_THAT(counter.Control("info"), HasSubstr("\"baud\":115200"));
            CALL(counter.library, BO_CancelWait)();
        });
    EXPECT_EQ(counter.Read(IdentityCall::kPlain, nullptr, 0).result, -1006);
    second.join();
    EXPECT_TRUE(counter.AnswersAt9600());
    EXPECT_THAT(counter.Control("info"), HasSubstr("\"mode\":\"B\""));
}

TEST(IdentityRound, TheLineFollowsToTheModulesSpeedAndBack)
{
    Counter counter("identity-cards", WithSetting(ShippedConfig(), "IdBaud", "115200"));
    EXPECT_EQ(counter.Read(IdentityCall::kPlain).result, 0);
    EXPECT_THAT(counter.Trace(), HasSubstr("mode S, rate code 4"));
    EXPECT_EQ(counter.Trace().find("disagree"), std::string::npos) << counter.Trace();
    EXPECT_TRUE(counter.AnswersAt9600());
}

TEST(IdentityRound, AModuleThatIsNotSwitchedInStaysSilent)
{
    const std::string config = WithSetting(ShippedConfig(), "IdChange", "0");
    Counter counter("identity-cards", config);
    EXPECT_EQ(CALL(counter.library, BO_IdReset)(), -1004);
    EXPECT_EQ(counter.Read(IdentityCall::kPlain).result, -1004);
    EXPECT_TRUE(counter.AnswersAt9600());
    Counter always("identity-cards", config, R"("identityModule": "always")");
    EXPECT_EQ(CALL(always.library, BO_IdReset)(), 0);
    EXPECT_EQ(always.Read(IdentityCall::kPlain).result, 0);
    EXPECT_EQ(always.Trace().find("mode "), std::string::npos);
}

TEST(IdentityRound, TheOtherCallsOfTheModule)
{
    Counter counter("identity-cards");
    EXPECT_EQ(CALL(counter.library, BO_IdReset)(), 0);
    EXPECT_EQ(CALL(counter.library, BO_SetIdBaud)(57600), 0);
    EXPECT_THAT(counter.Control("info"), HasSubstr("\"baud\":57600,\"card\":\"resident\""));
    EXPECT_EQ(CALL(counter.library, BO_SetIdBaud)(1200), -1007);
    EXPECT_EQ(CALL(counter.library, BO_GetIdRawData)(nullptr, nullptr, nullptr, nullptr, nullptr,
                                                     nullptr, 5),
              0);
    counter.Control("card identity status 11 000011 1");
    EXPECT_EQ(CALL(counter.library, BO_IdReset)(), -3000);
    counter.Control("card identity status 60 000021 1");
    EXPECT_EQ(CALL(counter.library, BO_SetIdBaud)(9600), -3004);
    counter.Control("card identity status 30 000031 2");
    EXPECT_EQ(counter.Read(IdentityCall::kPlain).result, -3002);
    EXPECT_EQ(counter.Read(IdentityCall::kPlain).result, 0);
}
