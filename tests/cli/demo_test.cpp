// The demonstration: it shows what it promises, without a terminal too, and notices failures.
#include <filesystem>

#include "support/scratch.h"
#include "tool_directory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace fs = std::filesystem;
using testing::HasSubstr;

static ChildResult RunDemo(const ToolDirectory &directory)
{
    return RunChild({"/bin/bash", VANTOR_SOURCE_DIR "/cli/demo.sh", directory.scratch.path});
}

static void AddPrograms(const ToolDirectory &directory)
{
    for (const char *name : {"/vantor-reader", "/vantor-issuer"})
        fs::copy_file(std::string(VANTOR_BIN_DIR) + name, directory.scratch.path + "/bin" + name);
}

TEST(Demo, ReadsACardAndPaysWithTheWireBesideIt)
{
    const ToolDirectory directory;
    AddPrograms(directory);
    const ChildResult result = RunDemo(directory);
    EXPECT_EQ(result.status, 0) << result.out << result.err;
    EXPECT_EQ(result.err, "");
    for (const char *text : {
             "Information     Virtual reader V1.0",
             "IC power on slot 0",
             "Historical bytes  56 41 4E 54 4F 52 30 31  \"VANTOR01\"",
             "APDU READ RECORD 1 SFI 1",
             "A  Card number               6210948000000011",
             "TEST MERCHNT",
             "card \"test-card\" taken out",
             "no card",
             "card \"test-card\" put in",
             "9F36  Transaction counter      002B  43",
             "issuer: cryptogram  ",
             " verifies\n",
             "APDU EXTERNAL AUTHENTICATE",
             "APDU PUT DATA 9F79",
             "code 00, approved",
             "the card answers: TC",
             "script result: DF31052000000001, the script was carried out",
             "12.34          0.00  CNY       China     43  茶馆",
             "G  EC balance                200.00 yuan",
             "contactless card, ARQC",
             "8.00          0.00  CNY       China     44  茶馆",
             "docs/tool.md",
         })
        EXPECT_THAT(result.out, HasSubstr(text));
    EXPECT_EQ(result.out.find('\033'), std::string::npos); // plain text without a terminal
}

TEST(Demo, AStepThatFailsIsSaid)
{
    const ToolDirectory directory;
    AddPrograms(directory);
    // Reader and tool disagree about the framing: the settings name one that does not exist.
    testing_support::WriteFile(directory.ConfigPath(), "[devcfg]\nIccmd=7\n");
    const ChildResult result = RunDemo(directory);
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out, HasSubstr("FAILED: exit status 1"));
    EXPECT_THAT(result.err, HasSubstr("steps failed"));
}

TEST(Demo, AReaderThatDoesNotStartIsSaid)
{
    const ToolDirectory directory; // there is no vantor-reader in it
    const ChildResult result = RunDemo(directory);
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("the virtual reader did not start"));
}
