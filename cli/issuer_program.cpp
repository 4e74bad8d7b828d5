#include "issuer_program.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "presentation.h"
#include "session.h"

namespace tool
{

static const size_t kMostBytes = 64 * 1024; // of one stream; no issuer has so much to say

bool HandsOn(const Options &options, const std::string &option)
{
    for (const std::string &word : options.issuerOptions)
        if (word == option || word.substr(0, option.size() + 1) == option + "=")
            return true;
    return false;
}

// The one beside the tool goes before one on the search path.
static std::string ProgramPath(const Options &options)
{
    static const char kName[] = "vantor-issuer";
    if (!options.issuer.empty())
        return options.issuer;
    char path[4096];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    const std::string self(path, length < 0 ? 0 : static_cast<size_t>(length));
    const std::string beside = self.substr(0, self.rfind('/') + 1) + kName;
    return access(beside.c_str(), X_OK) == 0 ? beside : kName;
}

struct Running
{
    pid_t pid = -1;
    int out = -1;
    int err = -1;
};

// 0, or why it does not start. It gets the signals as a shell would give them.
static int Start(const std::string &path, std::vector<std::string> *words, Running *running)
{
    int out[2];
    int err[2];
    if (pipe2(out, O_CLOEXEC) != 0)
        return errno;
    if (pipe2(err, O_CLOEXEC) != 0)
    {
        const int failure = errno;
        close(out[0]);
        close(out[1]);
        return failure;
    }
    std::vector<char *> pointers;
    for (std::string &word : *words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t signals;
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes, &signals);
    sigaddset(&signals, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &signals);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    const int failure =
        posix_spawnp(&running->pid, path.c_str(), &actions, &attributes, pointers.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    close(out[1]);
    close(err[1]);
    running->out = out[0];
    running->err = err[0];
    return failure;
}

// False at the end of the stream.
static bool ReadSome(int descriptor, std::string *text)
{
    char part[4096];
    const ssize_t count = read(descriptor, part, sizeof part);
    if (count <= 0)
        return count < 0 && errno == EINTR;
    text->append(part, static_cast<size_t>(count));
    return text->size() <= kMostBytes;
}

// Reads both streams to their ends; a cancel ends the program.
static void ReadStreams(const Running &running, std::string *out, std::string *err)
{
    static const int kLookMs = 100;
    pollfd waits[2] = {{running.out, POLLIN, 0}, {running.err, POLLIN, 0}};
    while (waits[0].fd >= 0 || waits[1].fd >= 0)
    {
        if (IsCancelled())
            kill(running.pid, SIGTERM);
        if (poll(waits, 2, kLookMs) <= 0)
            continue;
        for (int i = 0; i < 2; i++)
            if (waits[i].fd >= 0 && waits[i].revents != 0 &&
                !ReadSome(waits[i].fd, i == 0 ? out : err))
                waits[i].fd = -1;
    }
    close(running.out);
    close(running.err);
}

static std::vector<std::string> Lines(const std::string &text)
{
    std::vector<std::string> lines;
    for (size_t at = 0; at < text.size();)
    {
        const size_t end = std::min(text.find('\n', at), text.size());
        lines.push_back(TextOrHex(std::string_view(text).substr(at, end - at)));
        at = end + 1;
    }
    return lines;
}

static std::string AnswerIn(std::string text)
{
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' '))
        text.pop_back();
    for (char &character : text)
        character = static_cast<char>(toupper(static_cast<unsigned char>(character)));
    return !text.empty() && IsHexText(text) ? text : "";
}

IssuerReply AskIssuer(const Options &options, std::vector<std::string> words)
{
    const std::string path = ProgramPath(options);
    words.insert(words.begin(), path);
    words.insert(words.end(), options.issuerOptions.begin(), options.issuerOptions.end());
    IssuerReply reply;
    Running running;
    const int failure = Start(path, &words, &running);
    if (failure != 0)
    {
        if (running.out >= 0)
            close(running.out);
        if (running.err >= 0)
            close(running.err);
        reply.error =
            "the issuer's program " + path + " does not start (" + strerror(failure) + ")";
        return reply;
    }
    std::string out;
    std::string err;
    ReadStreams(running, &out, &err);
    int status = 0;
    while (waitpid(running.pid, &status, 0) < 0 && errno == EINTR)
    {
    }
    reply.explanation = Lines(err);
    reply.hex = AnswerIn(out);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        reply.error = "the issuer gives no answer" +
                      (reply.explanation.empty() ? "" : ": " + reply.explanation.back());
    else if (reply.hex.empty())
        reply.error = "the issuer's answer is not in hexadecimal digits";
    return reply;
}

} // namespace tool
