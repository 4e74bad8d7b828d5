// What the guides say about codes, calls and places is held against the library itself.
#include <filesystem>
#include <regex>
#include <set>

#include "support/host_library.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace fs = std::filesystem;
using testing_support::HostLibrary;
using testing_support::ReadFile;

static const std::string kSource = VANTOR_SOURCE_DIR;

static std::vector<std::smatch> Matches(const std::string &text, const std::regex &pattern)
{
    std::vector<std::smatch> found;
    for (auto i = std::sregex_iterator(text.begin(), text.end(), pattern);
         i != std::sregex_iterator(); ++i)
        found.push_back(*i);
    return found;
}

static std::vector<std::string> Guides()
{
    std::vector<std::string> paths = {kSource + "/README.md", kSource + "/examples/README.md"};
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(kSource + "/docs"))
        if (entry.is_regular_file())
            paths.push_back(entry.path());
    return paths;
}

TEST(HostGuide, GivesEachCodeAsTheLibraryDoes)
{
    const HostLibrary library;
    const std::string guide = ReadFile(kSource + "/docs/host-guide.md");
    const std::regex row(R"(\n\| (-?\d*) ?\| (-?\d+) \| (-?\d+) \| ([^|]+) \| [^\n]+ \|)");
    std::set<int> listed;
    for (const std::smatch &match : Matches(guide, row))
    {
        const int published = std::stoi(match[2]);
        listed.insert(published);
        const int internal = match[1].length() > 0 ? std::stoi(match[1]) : published;
        EXPECT_EQ(CALL(library, BO_GetErrorCode)(internal), published);
        EXPECT_EQ(CPP_CALL(library, Vantor_GetErrorCode, "_Z19Vantor_GetErrorCodei")(published),
                  std::stoi(match[3]))
            << match[0];
        char text[64] = "";
        int32_t length = 0;
        CALL(library, BO_GetErrInfo)(published, 0, text, &length);
        EXPECT_EQ(text, match[4].str()) << published;
    }
    // So that a table in another form is not an empty one.
    for (const int code : {0, -99, 100, -1000, -1013, -2000, -3001, -4005, -4117, -5016, -5106})
        EXPECT_EQ(listed.count(code), 1u) << code;
}

TEST(HostGuide, NamesTheCppSymbolOfEveryCallThatHasOne)
{
    const std::string guide = ReadFile(kSource + "/docs/host-guide.md");
    std::string headers;
    for (const fs::directory_entry &entry : fs::directory_iterator(kSource + "/include/vantor"))
        headers += ReadFile(entry.path());
    const auto symbols = Matches(headers, std::regex(R"re(VANTOR_CPP_SYMBOL\("(_Z\w+)"\))re"));
    EXPECT_EQ(symbols.size(), 12u);
    for (const std::smatch &symbol : symbols)
        EXPECT_THAT(guide, testing::HasSubstr("`" + symbol[1].str() + "`"));
}

// A call that was renamed, or misspelt, would send a reader looking for it.
TEST(Guides, NameOnlyCallsThatThereAre)
{
    const std::string exports = ReadFile(kSource + "/src/exports.map");
    const std::regex name(
        R"re((?:`|\.Fn )((?:BO|IC|ID|MS|MSR|M1|M0|EPED|PBOC|COMM|DC|HID|COM|Vantor|KrelIc|Union|RAWL|RAWC|hid)_\w+)(?=[`( \n]))re");
    int calls = 0;
    for (const std::string &path : Guides())
    {
        const std::string text = ReadFile(path);
        for (const std::smatch &match : Matches(text, name))
        {
            calls++;
            EXPECT_TRUE(std::regex_search(exports, std::regex(match[1].str() + "[\\w]*;")))
                << match[1] << " in " << path;
        }
    }
    EXPECT_GT(calls, 200);
}

TEST(Guides, PointOnlyToFilesThatThereAre)
{
    const std::regex link(R"re(\]\(([^)#:]+)(?:#[^)]*)?\))re");
    int links = 0;
    for (const std::string &path : Guides())
    {
        if (fs::path(path).extension() != ".md")
            continue;
        const std::string text = ReadFile(path);
        for (const std::smatch &match : Matches(text, link))
        {
            links++;
            EXPECT_TRUE(fs::exists(fs::path(path).parent_path() / match[1].str()))
                << match[1] << " in " << path;
        }
    }
    EXPECT_GT(links, 30);
}

// An application that uses nothing but the public header is what the examples are to show.
TEST(Examples, IncludeNothingElseOfTheProject)
{
    int files = 0;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(kSource + "/examples"))
    {
        const std::string suffix = entry.path().extension();
        if (suffix != ".c" && suffix != ".cpp")
            continue;
        files++;
        const std::string text = ReadFile(entry.path());
        EXPECT_EQ(text.find("#include \""), std::string::npos) << entry.path();
        EXPECT_NE(text.find("#include <vantor.h>"), std::string::npos) << entry.path();
        EXPECT_EQ(text.find("#include <vantor/"), std::string::npos) << entry.path();
    }
    EXPECT_EQ(files, 8);
}
