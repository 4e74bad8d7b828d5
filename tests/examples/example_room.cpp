#include "example_room.h"

#include <csignal>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace fs = std::filesystem;

ExampleRoom::ExampleRoom(const std::string &profile)
{
    // The library under every name that it has: it looks for its settings beside the one it was
    // loaded by.
    fs::create_directory(scratch.path + "/lib");
    const fs::path built = VANTOR_LIBRARY;
    for (const fs::directory_entry &entry : fs::directory_iterator(built.parent_path()))
    {
        const std::string name = entry.path().filename();
        if (name.rfind("libvantor.so", 0) == 0)
            fs::create_symlink(fs::canonical(built), scratch.path + "/lib/" + name);
    }
    fs::copy_file(VANTOR_SOURCE_DIR "/config/config.ini", scratch.path + "/lib/config.ini");

    reader_ = StartChild({VANTOR_BIN_DIR "/vantor-reader", "--quiet", "--profile", profile,
                          "--control", scratch.path + "/control"});
    std::string ready;
    if (!ReadUntil(reader_.out, "\n", &ready) || ready.rfind("ready ", 0) != 0)
    {
        const ChildResult result = WaitForChild(reader_);
        throw std::runtime_error("no virtual reader: " + result.err);
    }
    port = ready.substr(6, ready.rfind(' ') - 6);
    device = "/dev/" + port;
}

ExampleRoom::~ExampleRoom()
{
    kill(reader_.pid, SIGTERM);
    EXPECT_EQ(WaitForChild(reader_).status, 0);
}

Child ExampleRoom::Start(const std::vector<std::string> &words, const ChildOptions &options) const
{
    std::vector<std::string> all = {"/usr/bin/env", "-C", scratch.path,
                                    "LD_LIBRARY_PATH=" + scratch.path + "/lib"};
    all.insert(all.end(), words.begin(), words.end());
    if (words.front().front() != '/')
        all[4] = VANTOR_EXAMPLES "/" + words.front();
    return StartChild(all, options);
}

ChildResult ExampleRoom::Run(const std::vector<std::string> &words,
                             const ChildOptions &options) const
{
    return WaitForChild(Start(words, options));
}

std::string ExampleRoom::Control(const std::string &line) const
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, (scratch.path + "/control").c_str(),
                 sizeof address.sun_path - 1);
    const int client = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::string answer;
    if (connect(client, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0)
    {
        const std::string text = line + "\n";
        if (send(client, text.data(), text.size(), MSG_NOSIGNAL) ==
            static_cast<ssize_t>(text.size()))
            ReadUntil(client, "\n", &answer);
    }
    close(client);
    EXPECT_EQ(answer.substr(0, 2), "ok") << line << ": " << answer;
    return answer;
}

void ExampleRoom::AddPhotoDecoder() const
{
    fs::copy_file(VANTOR_STANDINS "/libwlt.so", scratch.path + "/libwlt.so");
}
