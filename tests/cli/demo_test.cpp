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

// A stand-in for the photo decoder, and the picture converter.
static void AddPhotoLibraries(const ToolDirectory &directory)
{
    fs::create_directories(directory.scratch.path + "/tests/standins");
    fs::copy_file(VANTOR_STANDINS "/libwlt.so",
                  directory.scratch.path + "/tests/standins/libwlt.so");
    fs::copy_file(fs::path(VANTOR_LIBRARY).parent_path() / "libPicConvert.so",
                  directory.scratch.path + "/lib/libPicConvert.so");
}

TEST(Demo, ReadsACardAndPaysWithTheWireBesideIt)
{
    const ToolDirectory directory;
    AddPrograms(directory);
    AddPhotoLibraries(directory);
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
             "Track 2  6200000000000005=30121010000000000000",
             "Name            张示例",
             "photo written to ",
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
    const std::string bmp = testing_support::ReadFile(directory.scratch.path + "/photo.bmp");
    EXPECT_EQ(bmp.size(), 38862u);
    EXPECT_EQ(bmp.substr(0, 2), "BM");
    const std::string png = testing_support::ReadFile(directory.scratch.path + "/photo.png");
    EXPECT_EQ(png.substr(0, 8), "\x89PNG\r\n\x1A\n");
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
