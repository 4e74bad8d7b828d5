// The built program against the virtual reader: identity cards.
#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "standins/photo/photo_room.h"
#include "support/host_library.h"
#include "tool_directory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace fs = std::filesystem;
using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;
using testing_support::PhotoRoom;
using testing_support::ReadFile;

static const char kResident[] = "resident identity card\n"
                                "  Name            张示例\n"
                                "  Sex             男\n"
                                "  Nation          汉\n"
                                "  Birth           1990-05-17\n"
                                "  Address         北京市朝阳区样例街99号院1号楼2单元303室\n"
                                "  Number          110105199005170011\n"
                                "  Authority       北京市公安局朝阳分局\n"
                                "  Valid from      2020-02-29\n"
                                "  Valid to        2040-02-29\n";

static json Parsed(const ChildResult &result)
{
    const json document = json::parse(result.out, nullptr, false);
    EXPECT_FALSE(document.is_discarded()) << result.out << result.err;
    return document;
}

TEST(ToolIdRead, ShowsTheFieldsOfEachKind)
{
    const ToolDirectory tool;
    const TestReader reader;
    ChildResult result = tool.Run({"--port", reader.Port(), "id", "read"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, kResident);
    reader.Control("swap identity gat-hong-kong");
    result = tool.Run({"--port", reader.Port(), "id", "read"});
    EXPECT_THAT(result.out, StartsWith("residence card (Hong Kong, Macau, Taiwan)\n"
                                       "  Name            陳樣本\n"));
    EXPECT_THAT(result.out, HasSubstr("  Pass number     H12345678\n"));
    reader.Control("swap identity foreign");
    result = tool.Run({"--port", reader.Port(), "id", "read"});
    EXPECT_THAT(result.out, StartsWith("foreign permanent resident card\n"
                                       "  Name            SMITH, JOHN SAMPLE\n"
                                       "  Chinese name    史密斯\n"
                                       "  Sex             男\n"
                                       "  Nation          美国/USA\n"));
}

TEST(ToolIdRead, AsJson)
{
    const ToolDirectory tool;
    const TestReader reader;
    const json document = Parsed(tool.Run({"--port", reader.Port(), "--json", "id", "read"}));
    EXPECT_EQ(document.at("command"), "id read");
    EXPECT_EQ(document.at("ok"), true);
    EXPECT_EQ(document.at("result").at("kind"), json({{"code", "N"}, {"name", "resident"}}));
    EXPECT_EQ(document.at("result").at("fields").at("name"),
              json({{"raw", "D5C5CABEC0FD"}, {"value", "张示例"}}));
    EXPECT_EQ(document.at("result").at("photo"), nullptr);
}

TEST(ToolIdRead, MaskHidesTheNumber)
{
    const ToolDirectory tool;
    const TestReader reader;
    for (const char *form : {"--mask", "--json"})
    {
        const ChildResult result =
            tool.Run({"--port", reader.Port(), "--mask", form, "id", "read"});
        EXPECT_THAT(result.out, HasSubstr("110105********0011"));
        EXPECT_EQ(result.out.find("110105199005170011"), std::string::npos);
        EXPECT_EQ(result.out.find("313130313035"), std::string::npos);
        EXPECT_THAT(result.out, HasSubstr("张示例"));
    }
}

TEST(ToolIdRead, WritesThePhotoInTheFormatOfTheName)
{
    const PhotoRoom room;
    room.Decoder();
    room.RealConverter();
    fs::create_directory("my.bmp.d"); // the library itself would take this for the ending
    const ToolDirectory tool;
    const TestReader reader;
    const std::pair<const char *, std::string> kFiles[] = {
        {"face.bmp", "BM"},
        {"face.jpeg", "\xFF\xD8\xFF"},
        {"my.bmp.d/face.PNG", "\x89PNG\r\n\x1A\n"},
        {"face.gif", "GIF8"},
    };
    for (const auto &[name, start] : kFiles)
    {
        const ChildResult result =
            tool.Run({"--port", reader.Port(), "id", "read", "--photo", name});
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.out, std::string(kResident) + "photo written to " + name + "\n");
        EXPECT_THAT(ReadFile(name), StartsWith(start)) << name;
    }
    EXPECT_FALSE(fs::exists("temp.bmp"));
    const json document =
        Parsed(tool.Run({"--port", reader.Port(), "--json", "id", "read", "--photo", "face.bmp"}));
    EXPECT_EQ(document.at("result").at("photo"), "face.bmp");
}

TEST(ToolIdRead, AMissingPhotoLibraryIsNamedBehindTheFields)
{
    const PhotoRoom room;
    const ToolDirectory tool;
    const TestReader reader;
    const std::vector<std::string> words = {"--port", reader.Port(), "id",
                                            "read",   "--photo",     "face.png"};
    ChildResult result = tool.Run(words);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, kResident);
    EXPECT_EQ(result.err, "vantor: BO_ReadIdInfo failed with -1014 (通讯异常): no photo: there is "
                          "no libwlt.so in " +
                              fs::current_path().string() +
                              "\ntry: start vantor in the directory that holds the site's photo "
                              "decoder\n");
    room.Decoder();
    result = tool.Run(words);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, kResident);
    EXPECT_THAT(result.err, HasSubstr("failed with -1009 ("));
    EXPECT_THAT(result.err, HasSubstr("no photo: there is no libPicConvert.so in "));
    EXPECT_FALSE(fs::exists("face.png"));
    std::vector<std::string> asJson = words;
    asJson.emplace_back("--json");
    const json document = Parsed(tool.Run(asJson));
    EXPECT_EQ(document.at("ok"), false);
    EXPECT_EQ(document.at("error").at("code"), -1009);
    EXPECT_EQ(document.at("result").at("photo"), nullptr);
    EXPECT_EQ(document.at("result").at("fields").at("name").at("value"), "张示例");
}

TEST(ToolIdRead, APhotoThatCannotBeWrittenIsFoundBeforeThePortIsOpened)
{
    const PhotoRoom room;
    const ToolDirectory tool;
    const TestReader reader;
    for (const char *path : {"none/face.bmp", "face.tif", "face"})
    {
        const ChildResult result =
            tool.Run({"--port", reader.Port(), "id", "read", "--photo", path});
        EXPECT_EQ(result.status, 2) << path;
        EXPECT_EQ(result.out, "");
    }
    EXPECT_EQ(reader.Control("received"), "ok ");
    EXPECT_FALSE(fs::exists("none"));
}

TEST(ToolIdRead, WithoutACardFailsWhenTheTimeIsOver)
{
    const PhotoRoom room;
    const ToolDirectory tool;
    const TestReader reader;
    reader.Control("remove identity");
    const ChildResult result =
        tool.Run({"--port", reader.Port(), "--timeout", "1", "id", "read", "--photo", "face.bmp"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("vantor: BO_ReadIdInfo failed with -3001 ("));
    EXPECT_THAT(result.err, HasSubstr("no identity card found\ntry: lay the card on"));
}

TEST(ToolIdRead, ACardPutDownDuringTheWaitIsRead)
{
    const ToolDirectory tool;
    const TestReader reader;
    reader.Control("remove identity");
    const Child child =
        StartChild(tool.Command({"--port", reader.Port(), "--timeout", "30", "id", "read"}));
    reader.Control("wait 3"); // the mode, the reset, the first search
    reader.Control("insert identity resident");
    const ChildResult result = WaitForChild(child);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, kResident);
}

TEST(ToolIdRead, CtrlCEndsTheWaitAndLeavesTheNormalMode)
{
    const ToolDirectory tool;
    const TestReader reader;
    reader.Control("remove identity");
    const Child child =
        StartChild(tool.Command({"--port", reader.Port(), "--timeout", "0", "id", "read"}));
    reader.Control("wait 3");
    kill(child.pid, SIGINT);
    const ChildResult result = WaitForChild(child);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "cancelled\n");
    EXPECT_THAT(reader.Control("info"), HasSubstr("\"mode\":\"B\""));
}

TEST(ToolIdRead, AModuleThatIsNotThereIsSaid)
{
    const ToolDirectory tool;
    const TestReader reader(R"({"reader": {"identityModule": "none"}})");
    for (const char *command : {"read", "reset"})
    {
        const ChildResult result = tool.Run({"--port", reader.Port(), "id", command});
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.err, HasSubstr("failed with -1004 (读数据超时): the identity module "
                                          "does not answer\ntry: has the reader an identity "
                                          "module?"));
    }
}

TEST(ToolIdRead, ACardOfHostileTextsIsShownHarmlessly)
{
    const ToolDirectory tool;
    // ESC [ 2 J as the name, lone surrogates and a right-to-left override in the address.
    const TestReader reader(R"({"identityCards": {"wild": {"kind": "resident",
        "text": "fill:00", "patch": {"0": "1B005B0032004A00", "52": "00D841002E20"}}},
        "identity": "wild"})");
    const ChildResult result = tool.Run({"--port", reader.Port(), "id", "read"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out.find('\033'), std::string::npos);
    EXPECT_THAT(result.out, HasSubstr("  Name            hex 1B5B324A\n"));
    EXPECT_THAT(result.out, HasSubstr("  Address         hex FF41"));
}

TEST(ToolIdRead, ANameThatHoldsTheSeparatorIsRefused)
{
    const ToolDirectory tool;
    const TestReader reader(R"({"identityCards": {"wild": {"kind": "resident",
        "text": "fill:00", "patch": {"0": "41007C004200"}}}, "identity": "wild"})");
    const ChildResult result = tool.Run({"--port", reader.Port(), "id", "read"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, StartsWith("vantor: the card's text is malformed, 15 fields where 14 "
                                       "are expected\n"));
}

TEST(ToolIdReset, ResetsTheModule)
{
    const ToolDirectory tool;
    const TestReader reader;
    const ChildResult result = tool.Run({"--port", reader.Port(), "id", "reset"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "identity module reset\n");
    EXPECT_EQ(Parsed(tool.Run({"--port", reader.Port(), "id", "reset", "--json"})),
              json({{"command", "id reset"}, {"ok", true}, {"result", json::object()}}));
    reader.Control("card identity status 11 000011 1");
    const ChildResult refused = tool.Run({"--port", reader.Port(), "id", "reset"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.err, HasSubstr("BO_IdReset failed with -3000 ("));
}
