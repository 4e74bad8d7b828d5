// config get and config set, through the library's own store.
#include <nlohmann/json.hpp>

#include <filesystem>

#include "support/host_library.h"
#include "tool_directory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using nlohmann::json;
using testing::HasSubstr;
using testing_support::ReadFile;
using testing_support::ShippedConfig;
using testing_support::WithSetting;

TEST(ToolConfig, GetShowsAllSettingsAndWhereTheyLie)
{
    const ToolDirectory tool;
    const ChildResult result = tool.Run({"config", "get"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, testing::StartsWith(tool.ConfigPath() + "\n"));
    EXPECT_THAT(result.out, HasSubstr("  devcfg.DevBaud    9600      line speed that BO_Open"));
    EXPECT_THAT(result.out, HasSubstr("  devcfg.Iccmd      0         command set"));
    EXPECT_THAT(result.out, HasSubstr("  log.saveday       15        days"));
    const json document = json::parse(tool.Run({"config", "get", "--json"}).out);
    EXPECT_EQ(document.at("result").at("file"), tool.ConfigPath());
    EXPECT_EQ(document.at("result").at("settings").size(), 8U);
    EXPECT_EQ(document.at("result").at("settings")[3].at("key"), "Iccmd");
    EXPECT_EQ(document.at("result").at("settings")[3].at("value"), "0");
}

TEST(ToolConfig, GetShowsOneSetting)
{
    const ToolDirectory tool(WithSetting(ShippedConfig(), "DevBaud", "57600"));
    EXPECT_EQ(tool.Run({"config", "get", "DevBaud"}).out, "57600\n");
    EXPECT_EQ(tool.Run({"config", "get", "devcfg.DevBaud"}).out, "57600\n");
    EXPECT_EQ(json::parse(tool.Run({"--json", "config", "get", "DevBaud"}).out).at("result"),
              json({{"file", tool.ConfigPath()},
                    {"section", "devcfg"},
                    {"key", "DevBaud"},
                    {"value", "57600"}}));
}

TEST(ToolConfig, SetReplacesTheLineAndKeepsTheRest)
{
    const ToolDirectory tool;
    const ChildResult result = tool.Run({"config", "set", "Iccmd", "1"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "devcfg.Iccmd: 0 -> 1  (" + tool.ConfigPath() + ")\n");
    EXPECT_EQ(ReadFile(tool.ConfigPath()), WithSetting(ShippedConfig(), "Iccmd", "1"));
}

TEST(ToolConfig, SetTakesEffectInTheNextCommand)
{
    const ToolDirectory tool;
    const TestReader reader;
    reader.Control("speak union");
    EXPECT_EQ(tool.Run({"--port", reader.Port(), "ic", "reset"}).status, 1);
    EXPECT_EQ(tool.Run({"config", "set", "Iccmd", "1"}).status, 0);
    EXPECT_EQ(tool.Run({"--port", reader.Port(), "ic", "reset"}).status, 0);
}

TEST(ToolConfig, SetRefusesValuesTheSettingCannotHave)
{
    const ToolDirectory tool;
    const std::vector<std::pair<std::string, std::string>> wrong = {
        {"Iccmd", "2"},       {"Iccmd", "one"},  {"Iccmd", ""},
        {"DevBaud", "14400"}, {"DevBaud", "96"}, {"IdBaud", "0"},
        {"loglevel", "x"},    {"saveday", "-1"}, {"DevBaud", "9600 19200"}};
    for (const auto &[key, value] : wrong)
        EXPECT_EQ(tool.Run({"config", "set", key, "--", value}).status, 2) << key << "=" << value;
    EXPECT_EQ(tool.Run({"config", "set", "devcfg.other", "a\nb"}).status, 2);
    EXPECT_EQ(tool.Run({"config", "set", "devcfg.other", std::string(256, 'x')}).status, 2);
    EXPECT_EQ(ReadFile(tool.ConfigPath()), ShippedConfig());
}

TEST(ToolConfig, AnUnknownNameListsTheKnownOnes)
{
    const ToolDirectory tool;
    const ChildResult result = tool.Run({"config", "get", "Ic"}); // a prefix of two keys is no key
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.err, HasSubstr("no setting \"Ic\"; there are: DevBaud IdBaud IcBaud Iccmd"));
}

TEST(ToolConfig, AMissingLineIsSaid)
{
    std::string config = ShippedConfig();
    const size_t line = config.find("\nIccmd=0");
    config.erase(line, 8);
    const ToolDirectory tool(config);
    for (const std::vector<std::string> &command :
         {std::vector<std::string>{"config", "get", "Iccmd"}, {"config", "set", "Iccmd", "1"}})
    {
        const ChildResult result = tool.Run(command);
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.err, HasSubstr("has no line \"Iccmd=\" in section [devcfg]"));
    }
    EXPECT_THAT(tool.Run({"config", "get"}).out, HasSubstr("devcfg.Iccmd      missing"));
    EXPECT_EQ(ReadFile(tool.ConfigPath()), config);
}

TEST(ToolConfig, AnotherSectionsKeyMayBeNamedInFull)
{
    const ToolDirectory tool(ShippedConfig() + "\n[host]\nbranch=7\n");
    EXPECT_EQ(tool.Run({"config", "get", "host.branch"}).out, "7\n");
    EXPECT_EQ(tool.Run({"config", "set", "host.branch", "north"}).status, 0);
    EXPECT_EQ(tool.Run({"config", "get", "host.branch"}).out, "north\n");
}

TEST(ToolConfig, AMissingFileIsSaid)
{
    const ToolDirectory tool;
    std::filesystem::remove(tool.ConfigPath());
    for (const std::vector<std::string> &command : {std::vector<std::string>{"config", "get"},
                                                    {"config", "get", "Iccmd"},
                                                    {"config", "set", "Iccmd", "1"}})
    {
        const ChildResult result = tool.Run(command);
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.err, HasSubstr("the settings file is missing: " + tool.ConfigPath()));
    }
    EXPECT_FALSE(std::filesystem::exists(tool.ConfigPath()));
}

TEST(ToolConfig, AFileThatCannotBeWrittenIsSaid)
{
    const ToolDirectory tool;
    // A directory of that name cannot be opened for writing by anyone, the superuser included.
    std::filesystem::remove(tool.ConfigPath());
    std::filesystem::create_directory(tool.ConfigPath());
    const ChildResult result = tool.Run({"config", "get", "Iccmd"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("the settings file cannot be opened for writing"));
    EXPECT_THAT(result.err, HasSubstr("all settings have their defaults"));
    const json document = json::parse(tool.Run({"--json", "config", "set", "Iccmd", "1"}).out);
    EXPECT_EQ(document.at("ok"), false);
    EXPECT_EQ(document.at("error").at("kind"), "failed");
    EXPECT_FALSE(document.at("error").contains("code"));
}

TEST(ToolConfig, ASecondLineThatWinsIsNoticed)
{
    const ToolDirectory tool(WithSetting(ShippedConfig(), "Iccmd", "0\nIccmd=0"));
    const ChildResult result = tool.Run({"config", "set", "Iccmd", "1"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("devcfg.Iccmd still reads \"0\""));
}
