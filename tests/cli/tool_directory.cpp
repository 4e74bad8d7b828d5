#include "tool_directory.h"

#include <filesystem>
#include <stdexcept>

#include <gtest/gtest.h>

namespace fs = std::filesystem;

ToolDirectory::ToolDirectory(const std::string &configIni)
{
    fs::create_directory(scratch.path + "/bin");
    fs::create_directory(scratch.path + "/lib");
    fs::copy_file(VANTOR_BIN_DIR "/vantor", scratch.path + "/bin/vantor");
    // The file, and the links to it: the tool asks for the library by its soname.
    const fs::path library = VANTOR_LIBRARY;
    for (const fs::directory_entry &entry : fs::directory_iterator(library.parent_path()))
    {
        const std::string name = entry.path().filename();
        if (name.rfind(library.filename(), 0) == 0)
            fs::copy(entry.path(), scratch.path + "/lib/" + name, fs::copy_options::copy_symlinks);
    }
    if (configIni.empty())
        fs::copy_file(VANTOR_SOURCE_DIR "/config/config.ini", ConfigPath());
    else
        testing_support::WriteFile(ConfigPath(), configIni);
}

std::string ToolDirectory::ConfigPath() const
{
    return scratch.path + "/lib/config.ini";
}

std::vector<std::string> ToolDirectory::Command(const std::vector<std::string> &arguments) const
{
    std::vector<std::string> words = {scratch.path + "/bin/vantor"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return words;
}

ChildResult ToolDirectory::Run(const std::vector<std::string> &arguments,
                               const ChildOptions &options) const
{
    return RunChild(Command(arguments), options);
}

TestReader::TestReader(const std::string &profileText)
{
    vreader::ReaderOptions options;
    options.profileText = profileText;
    std::string error;
    reader = vreader::StartReader(options, &error);
    if (reader == nullptr)
        throw std::runtime_error("no virtual reader: " + error);
}

TestReader::~TestReader()
{
    vreader::StopReader(reader);
}

std::string TestReader::Port() const
{
    return vreader::TerminalName(reader);
}

std::string TestReader::Control(const std::string &line) const
{
    const std::string answer = vreader::Control(reader, line);
    EXPECT_EQ(answer.substr(0, 2), "ok") << line << ": " << answer;
    return answer;
}
