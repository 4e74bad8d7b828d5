// The built program against the virtual reader: the reader's own commands, ports, lines.
#include <nlohmann/json.hpp>

#include "support/host_library.h"
#include "tool_directory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using nlohmann::json;
using testing::HasSubstr;
using testing_support::ShippedConfig;
using testing_support::WithSetting;

static std::string UnionConfig()
{
    return WithSetting(ShippedConfig(), "Iccmd", "1");
}

static json Parsed(const ChildResult &result)
{
    const json document = json::parse(result.out, nullptr, false);
    EXPECT_FALSE(document.is_discarded()) << result.out << result.err;
    return document;
}

// ---- The reader ----

TEST(ToolInfo, TellsWhatTheReaderSays)
{
    const ToolDirectory tool;
    const TestReader reader;
    const ChildResult result = tool.Run({"--port", reader.Port(), "info"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, "Reader on " + reader.Port() +
                              "\n"
                              "  Information     Virtual reader V1.0\n"
                              "  Serial number   VIRTUAL-0001\n"
                              "  Line speed      9600 baud\n"
                              "  Command set     Krel (Iccmd=0)\n"
                              "  Settings        " +
                              tool.ConfigPath() + "\n");
}

TEST(ToolInfo, AsJson)
{
    const ToolDirectory tool;
    const TestReader reader;
    const json document = Parsed(tool.Run({"--port", reader.Port(), "--json", "info"}));
    EXPECT_EQ(
        document,
        json({{"command", "info"},
              {"ok", true},
              {"result",
               {{"port", reader.Port()},
                {"information",
                 {{"text", "Virtual reader V1.0"},
                  {"hex", "5669727475616C207265616465722056312E30"}}},
                {"serial_number", {{"text", "VIRTUAL-0001"}, {"hex", "5649525455414C2D30303031"}}},
                {"line_speed", 9600},
                {"command_set", {{"iccmd", 0}, {"name", "Krel"}}},
                {"settings_file", tool.ConfigPath()}}}}));
}

TEST(ToolInfo, AReaderThatGivesNoSerialNumberIsStillThere)
{
    const ToolDirectory tool(UnionConfig());
    const TestReader reader;
    reader.Control("speak union"); // the serial number is asked for in the other framing
    const ChildResult result = tool.Run({"--port", reader.Port(), "info"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("Virtual reader V1.0\n"));
    EXPECT_THAT(result.out, HasSubstr("Serial number   not given (-1013, 通讯数据异常)\n"));
    EXPECT_THAT(result.out, HasSubstr("Command set     Union (Iccmd=1)\n"));
    EXPECT_TRUE(
        Parsed(tool.Run({"--port", reader.Port(), "--json", "info"}))["result"]["serial_number"]
            .is_null());
}

TEST(ToolInfo, TheLinesSpeedIsTheConfiguredOne)
{
    const ToolDirectory tool(WithSetting(ShippedConfig(), "DevBaud", "115200"));
    const TestReader reader;
    const ChildResult result = tool.Run({"--port", reader.Port(), "info"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("Line speed      115200 baud\n"));
    // Closing takes the reader back to the rate at which it was found: the fourth exchange.
    EXPECT_EQ(reader.Control("wait 4"), "ok");
    EXPECT_THAT(reader.Control("info"), HasSubstr("\"baud\":9600"));
}

TEST(ToolInfo, ASilentReaderIsExplained)
{
    const ToolDirectory tool;
    const TestReader reader;
    reader.Control("speak none");
    const ChildResult result = tool.Run({"--port", reader.Port(), "info"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err,
              "vantor: BO_GetDevInfo failed with -1013 (通讯数据异常): no answer, or a "
              "garbled one\n"
              "try: is the reader at " +
                  reader.Port() +
                  ", powered and on the right line speed (--baud)? A reader that speaks "
                  "the other command set stays silent too: vantor config set Iccmd 1\n");
}

TEST(ToolBeep, SoundsTheBuzzer)
{
    const ToolDirectory tool(UnionConfig());
    const TestReader reader;
    const ChildResult result = tool.Run({"--port", reader.Port(), "beep", "30", "2", "3"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "beeped\n");
    EXPECT_THAT(reader.Control("info"), HasSubstr("\"beeps\":1"));
    EXPECT_THAT(Parsed(tool.Run({"--port", reader.Port(), "beep", "--json"})).dump(),
                R"({"command":"beep","ok":true,"result":{}})");
    EXPECT_THAT(reader.Control("info"), HasSubstr("\"beeps\":2"));
}

TEST(ToolBeep, WithTheKrelCommandSetSaysWhatToChange)
{
    const ToolDirectory tool;
    const TestReader reader;
    const ChildResult result = tool.Run({"--port", reader.Port(), "beep"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("BO_Beep failed with -1008"));
    EXPECT_THAT(result.err, HasSubstr("vantor config set Iccmd 1"));
    EXPECT_EQ(reader.Control("exchanges"), "ok 0");
}

// ---- The line ----

TEST(ToolPort, ALineThatVanishesEndsTheWait)
{
    const ToolDirectory tool;
    const TestReader reader;
    reader.Control("remove contact");
    const Child child =
        StartChild(tool.Command({"--port", reader.Port(), "--timeout", "0", "ic", "reset"}));
    reader.Control("wait 1");
    reader.Control("unplug");
    const ChildResult result = WaitForChild(child);
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("BO_IcPowerOn failed with"));
    EXPECT_THAT(result.err, HasSubstr(reader.Port()));
}

TEST(ToolPort, MayBeNamedInEveryForm)
{
    const ToolDirectory tool;
    const TestReader reader;
    const std::string path = reader.Port();
    for (const std::string &name : {path, path.substr(5)}) // "/dev/pts/7", "pts/7"
        EXPECT_EQ(tool.Run({"--port", name, "info"}).status, 0) << name;
    ChildOptions options;
    options.environment = {"VANTOR_PORT=" + path.substr(5)};
    EXPECT_EQ(tool.Run({"info"}, options).status, 0);
    // The option goes before the environment.
    options.environment = {"VANTOR_PORT=nosuchport"};
    EXPECT_EQ(tool.Run({"--port", path, "info"}, options).status, 0);
}

TEST(ToolPort, OneThatIsNotThereIsExplained)
{
    const ToolDirectory tool;
    const ChildResult result = tool.Run({"--port", "nosuchport", "info"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("BO_Open failed with -1000 (打开端口失败)"));
    EXPECT_THAT(result.err, HasSubstr("there is no /dev/nosuchport; this machine has "));
}

TEST(ToolPort, OneThatIsNoLineIsExplained)
{
    const ToolDirectory tool;
    const ChildResult result = tool.Run({"--port", "/dev/null", "info"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("/dev/null is not a serial line"));
}

TEST(ToolPort, UsbIsTheDefault)
{
    const ToolDirectory tool;
    const json document = Parsed(tool.Run({"--json", "info"}));
    EXPECT_EQ(document.at("ok"), false); // no test machine has the reader on its USB
    EXPECT_EQ(document.at("error").at("call"), "BO_Open");
    EXPECT_EQ(document.at("error").at("code"), -1000);
    EXPECT_THAT(document.at("error").at("try").get<std::string>(), HasSubstr("lsusb -d 1bc3:0151"));
}
