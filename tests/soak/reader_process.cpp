#include "soak/reader_process.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

pid_t Start(const std::string &link, const std::string &socketPath)
{
    const pid_t process = fork();
    if (process != 0)
        return process;
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    execl(VANTOR_BIN_DIR "/vantor-reader", "vantor-reader", "--quiet", "--link", link.c_str(),
          "--control", socketPath.c_str(), static_cast<char *>(nullptr));
    _exit(127);
}

int Connect(const std::string &path)
{
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    for (int turn = 0; turn < 1000; ++turn)
    {
        if (connect(descriptor, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0)
            return descriptor;
        usleep(10000);
    }
    throw std::runtime_error("the virtual reader does not start");
}

} // namespace

ReaderProcess::ReaderProcess() : terminal(directory.path + "/reader")
{
    const std::string path = directory.path + "/control";
    process = Start(terminal, path);
    control = Connect(path);
    for (int turn = 0; turn < 1000 && !std::filesystem::exists(terminal); ++turn)
        usleep(10000);
}

ReaderProcess::~ReaderProcess()
{
    close(control);
    kill(process, SIGTERM);
    waitpid(process, nullptr, 0);
}

void ReaderProcess::Control(const std::string &line) const
{
    const std::string command = line + "\n";
    std::string answer;
    char character = 0;
    if (write(control, command.data(), command.size()) != static_cast<ssize_t>(command.size()))
        throw std::runtime_error("the virtual reader is gone");
    while (read(control, &character, 1) == 1 && character != '\n')
        answer += character;
    if (answer.compare(0, 2, "ok") != 0)
        throw std::runtime_error(line + ": " + answer);
}
