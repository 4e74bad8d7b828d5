#include "child.h"

#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

static std::vector<char *> Pointers(std::vector<std::string> *texts)
{
    std::vector<char *> pointers;
    for (std::string &text : *texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

// The test's own environment without a port: a test names its port itself.
static std::vector<std::string> Environment(const std::vector<std::string> &additions)
{
    std::vector<std::string> environment;
    for (char **each = environ; *each != nullptr; each++)
        if (strncmp(*each, "VANTOR_", 7) != 0)
            environment.emplace_back(*each);
    environment.insert(environment.end(), additions.begin(), additions.end());
    return environment;
}

static void MakePipe(int ends[2])
{
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
}

Child StartChild(const std::vector<std::string> &words, const ChildOptions &options)
{
    int in[2];
    int out[2];
    int err[2] = {-1, -1};
    MakePipe(in);
    MakePipe(out);
    if (options.terminal < 0)
        MakePipe(err);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, options.terminal < 0 ? err[1] : options.terminal,
                                     STDERR_FILENO);
    // Signals as a shell gives them: none blocked, none ignored.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t signals;
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes, &signals);
    sigfillset(&signals);
    posix_spawnattr_setsigdefault(&attributes, &signals);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

    std::vector<std::string> arguments = words;
    std::vector<std::string> environment = Environment(options.environment);
    Child child;
    const int failure = posix_spawn(&child.pid, words.front().c_str(), &actions, &attributes,
                                    Pointers(&arguments).data(), Pointers(&environment).data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    close(in[0]);
    close(out[1]);
    if (err[1] >= 0)
        close(err[1]);
    if (failure != 0)
        throw std::runtime_error("cannot start " + words.front() + ": " + strerror(failure));
    // A child that does not read its input ends before this does: no test writes more than a pipe
    // holds.
    if (write(in[1], options.input.data(), options.input.size()) < 0)
        throw std::runtime_error("cannot write the child's input");
    close(in[1]);
    child.out = out[0];
    child.err = err[0];
    return child;
}

// One read of what is there; false at the end or when the deadline has passed.
static bool ReadSome(int descriptor, std::chrono::steady_clock::time_point deadline,
                     std::string *seen)
{
    using namespace std::chrono;
    const auto left = duration_cast<milliseconds>(deadline - steady_clock::now()).count();
    pollfd wait = {descriptor, POLLIN, 0};
    if (left <= 0 || poll(&wait, 1, static_cast<int>(left)) <= 0)
        return false;
    char buffer[4096];
    const ssize_t count = read(descriptor, buffer, sizeof buffer);
    if (count <= 0)
        return false;
    seen->append(buffer, static_cast<size_t>(count));
    return true;
}

bool ReadUntil(int descriptor, const std::string &text, std::string *seen)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (seen->find(text) == std::string::npos)
        if (!ReadSome(descriptor, deadline, seen))
            return false;
    return true;
}

ChildResult WaitForChild(Child child)
{
    ChildResult result;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    pollfd waits[2] = {{child.out, POLLIN, 0}, {child.err, POLLIN, 0}};
    while (waits[0].fd >= 0 || waits[1].fd >= 0)
    {
        if (std::chrono::steady_clock::now() > deadline)
        {
            ADD_FAILURE() << "the program did not end";
            kill(child.pid, SIGKILL);
        }
        if (poll(waits, 2, 1000) <= 0)
            continue;
        for (int i = 0; i < 2; i++)
            if (waits[i].revents != 0 && !ReadSome(waits[i].fd, deadline + std::chrono::seconds(1),
                                                   i == 0 ? &result.out : &result.err))
                waits[i].fd = -1;
    }
    int status = 0;
    waitpid(child.pid, &status, 0);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    close(child.out);
    if (child.err >= 0)
        close(child.err);
    return result;
}

ChildResult RunChild(const std::vector<std::string> &words, const ChildOptions &options)
{
    return WaitForChild(StartChild(words, options));
}
