// The control language on a Unix socket: any number of lines a client, any order of clients.
#include "vreader/running_reader.h"

#include <cerrno>
#include <cstring>
#include <list>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace vreader
{

namespace
{

constexpr size_t kMostClients = 32;
constexpr size_t kLongestLine = 1048576; // a card described in JSON fits
constexpr size_t kMostUnread = 16u * 1048576;

struct Client
{
    int descriptor = -1;
    std::string input;
    std::string output;
    bool waiting = false;
    WaitRequest wait;
    bool ended = false;  // it will send nothing more
    bool broken = false; // it is to be closed at once
};

} // namespace

struct ControlSocket
{
    RunningReader *running = nullptr;
    std::string path;
    int listener = -1;
    int wake = -1;
    bool closing = false; // guarded by the reader's lock
    std::list<Client> clients;
    std::thread thread;
};

namespace
{

bool SocketAddress(const std::string &path, sockaddr_un *address, std::string *error)
{
    *address = {};
    address->sun_family = AF_UNIX;
    if (path.size() >= sizeof address->sun_path)
    {
        *error = "control socket: the path is longer than " +
                 std::to_string(sizeof address->sun_path - 1) + " bytes";
        return false;
    }
    std::memcpy(address->sun_path, path.c_str(), path.size() + 1);
    return true;
}

// A socket that nobody serves is what a killed reader left behind; anything else stays.
bool RemoveStaleSocket(const std::string &path, const sockaddr_un &address, std::string *error)
{
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0)
        return true;
    if (!S_ISSOCK(status.st_mode))
    {
        *error = "control socket: " + path + " exists and is no socket";
        return false;
    }
    const int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool served =
        connect(probe, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    close(probe);
    if (served)
    {
        *error = "control socket: " + path + " is served by another reader";
        return false;
    }
    unlink(path.c_str());
    return true;
}

bool Listen(ControlSocket *control, std::string *error)
{
    sockaddr_un address = {};
    if (!SocketAddress(control->path, &address, error) ||
        !RemoveStaleSocket(control->path, address, error))
        return false;
    control->listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    control->wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (control->listener >= 0 && control->wake >= 0)
    {
        // The mode a socket is made with: only its owner may connect.
        fchmod(control->listener, 0600);
        if (bind(control->listener, reinterpret_cast<const sockaddr *>(&address), sizeof address) ==
                0 &&
            listen(control->listener, 8) == 0)
            return true;
    }
    *error = "control socket " + control->path + ": " + std::strerror(errno);
    return false;
}

void Release(ControlSocket *control)
{
    for (const Client &client : control->clients)
        close(client.descriptor);
    for (const int descriptor : {control->listener, control->wake})
        if (descriptor >= 0)
            close(descriptor);
    delete control;
}

void RunClientLine(ControlSocket *control, Client *client, const std::string &line)
{
    std::string answer;
    if (!ParseWait(line, &client->wait, &answer))
        answer = RunControl(control->running, line);
    client->waiting = answer.empty();
    if (!client->waiting)
        client->output += answer + "\n";
}

// Lines are run in their order; those behind a wait stay until the wait is over.
void RunClientLines(ControlSocket *control, Client *client)
{
    for (;;)
    {
        if (client->waiting)
        {
            std::string answer;
            const std::lock_guard<std::mutex> guard(control->running->lock);
            if (!WaitIsOver(*control->running, client->wait, &answer))
                return;
            client->waiting = false;
            client->output += answer + "\n";
        }
        const size_t end = client->input.find('\n');
        if (end == std::string::npos)
            break;
        const std::string line = client->input.substr(0, end);
        client->input.erase(0, end + 1);
        RunClientLine(control, client, line);
    }
    if (client->input.size() > kLongestLine)
        client->broken = true;
}

void ReadClient(Client *client)
{
    char buffer[4096];
    const ssize_t count = recv(client->descriptor, buffer, sizeof buffer, 0);
    if (count > 0)
        client->input.append(buffer, static_cast<size_t>(count));
    else if (count == 0)
    {
        // A last line without an end is a line all the same.
        if (!client->ended && !client->input.empty() && client->input.back() != '\n')
            client->input += '\n';
        client->ended = true;
    }
    else if (errno != EAGAIN && errno != EINTR)
        client->broken = true;
}

void WriteClient(Client *client)
{
    if (client->output.empty())
        return;
    const ssize_t count =
        send(client->descriptor, client->output.data(), client->output.size(), MSG_NOSIGNAL);
    if (count > 0)
        client->output.erase(0, static_cast<size_t>(count));
    else if (count < 0 && errno != EAGAIN && errno != EINTR)
        client->broken = true;
    if (client->output.size() > kMostUnread)
        client->broken = true;
}

void AcceptClient(ControlSocket *control)
{
    const int descriptor =
        accept4(control->listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (descriptor < 0)
        return;
    if (control->clients.size() >= kMostClients)
    {
        close(descriptor);
        return;
    }
    control->clients.emplace_back();
    control->clients.back().descriptor = descriptor;
}

int PollTimeout(const ControlSocket &control)
{
    using namespace std::chrono;
    int timeout = -1;
    for (const Client &client : control.clients)
    {
        if (!client.waiting)
            continue;
        const auto rest = duration_cast<milliseconds>(client.wait.deadline - Clock::now()).count();
        const int limit = static_cast<int>(std::max<long long>(rest + 1, 0));
        timeout = timeout < 0 ? limit : std::min(timeout, limit);
    }
    return timeout;
}

void ServeClients(ControlSocket *control)
{
    for (;;)
    {
        std::vector<pollfd> descriptors = {{control->wake, POLLIN, 0},
                                           {control->listener, POLLIN, 0}};
        for (const Client &client : control->clients)
        {
            const int events = (client.ended ? 0 : POLLIN) | (client.output.empty() ? 0 : POLLOUT);
            descriptors.push_back({client.descriptor, static_cast<short>(events), 0});
        }
        poll(descriptors.data(), descriptors.size(), PollTimeout(*control));
        DrainWakes(control->wake);
        {
            const std::lock_guard<std::mutex> guard(control->running->lock);
            if (control->closing)
                return;
        }
        size_t index = 2;
        for (Client &client : control->clients)
        {
            const short events = descriptors[index++].revents;
            if ((events & POLLIN) != 0)
                ReadClient(&client);
            // Without POLLIN a hang-up is a client that is gone altogether.
            else if ((events & (POLLHUP | POLLERR)) != 0)
                client.broken = true;
            RunClientLines(control, &client);
            WriteClient(&client);
        }
        control->clients.remove_if(
            [](const Client &client)
            {
                const bool done = client.broken || (client.ended && !client.waiting &&
                                                    client.input.empty() && client.output.empty());
                if (done)
                    close(client.descriptor);
                return done;
            });
        if ((descriptors[1].revents & POLLIN) != 0)
            AcceptClient(control);
    }
}

} // namespace

ControlSocket *ServeControlSocket(RunningReader *running, const std::string &path,
                                  std::string *error)
{
    auto *control = new ControlSocket;
    control->running = running;
    control->path = path;
    if (!Listen(control, error))
    {
        Release(control);
        return nullptr;
    }
    running->progressWake = control->wake;
    control->thread = std::thread(ServeClients, control);
    return control;
}

void CloseControlSocket(ControlSocket *control)
{
    {
        const std::lock_guard<std::mutex> guard(control->running->lock);
        control->running->progressWake = -1;
        control->closing = true;
    }
    Wake(control->wake);
    control->thread.join();
    unlink(control->path.c_str());
    Release(control);
}

} // namespace vreader
