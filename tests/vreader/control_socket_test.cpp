// The control language on its Unix socket.
#include "vreader/bench.h"

#include "support/scratch.h"

#include <cstring>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

using namespace vreader_test;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using testing_support::Scratch;
using testing_support::WriteFile;

namespace
{

struct Client
{
    int descriptor = -1;

    explicit Client(const std::string &path)
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
        if (connect(descriptor, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0)
            Close();
    }
    ~Client()
    {
        Close();
    }
    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;

    void Close()
    {
        if (descriptor >= 0)
            close(descriptor);
        descriptor = -1;
    }
    void Send(const std::string &text) const
    {
        for (size_t done = 0; done < text.size();)
        {
            const ssize_t count =
                send(descriptor, text.data() + done, text.size() - done, MSG_NOSIGNAL);
            if (count <= 0)
                return;
            done += static_cast<size_t>(count);
        }
    }
    // One line, without its end; "" at the end of everything.
    std::string Line() const
    {
        std::string line;
        char character = 0;
        while (recv(descriptor, &character, 1, 0) == 1 && character != '\n')
            line += character;
        return line;
    }
    std::string Ask(const std::string &line) const
    {
        Send(line + "\n");
        return Line();
    }
};

struct SocketBench
{
    Scratch directory;
    std::string path = directory.path + "/reader.sock";
    Bench bench{Options(path)};

    static vreader::ReaderOptions Options(const std::string &path)
    {
        vreader::ReaderOptions options;
        options.controlSocket = path;
        return options;
    }
};

// Why a reader cannot serve this path.
std::string Problem(const std::string &path)
{
    std::string error;
    vreader::ReaderOptions options = SocketBench::Options(path);
    options.profileText = kProfile;
    vreader::RunningReader *reader = vreader::StartReader(options, &error);
    vreader::StopReader(reader);
    return error;
}

} // namespace

TEST(ControlSocket, AnswersLineByLine)
{
    const SocketBench socket;
    const Client client(socket.path);
    EXPECT_EQ(client.Ask("exchanges"), "ok 0");
    EXPECT_EQ(client.Ask("remove contact\r"), "ok");
    EXPECT_EQ(client.Ask("remove contact"), "error: contact slot 0 is empty");
    client.Send("exchanges\ninsert contact other\nexchanges");
    shutdown(client.descriptor, SHUT_WR);
    EXPECT_EQ(client.Line(), "ok 0");
    EXPECT_EQ(client.Line(), "ok");
    EXPECT_EQ(client.Line(), "ok 0") << "the last line needs no end";
    EXPECT_EQ(client.Line(), "");
}

TEST(ControlSocket, TraceEndsWithALineOfOneDot)
{
    const SocketBench socket;
    const Host host(socket.bench.Name());
    host.Exchange("6002550136\003");
    const Client client(socket.path);
    EXPECT_EQ(client.Ask("trace"), "ok 2");
    EXPECT_THAT(client.Line(), HasSubstr("host   -> reader"));
    EXPECT_THAT(client.Line(), HasSubstr("reader -> host"));
    EXPECT_EQ(client.Line(), ".");
}

TEST(ControlSocket, WaitHoldsItsClientOnly)
{
    const SocketBench socket;
    const Client waiting(socket.path);
    waiting.Send("wait 1\nexchanges\n");
    const Client other(socket.path);
    EXPECT_EQ(other.Ask("exchanges"), "ok 0");
    const Host host(socket.bench.Name());
    host.Exchange("6002550136\003");
    EXPECT_EQ(waiting.Line(), "ok");
    EXPECT_EQ(waiting.Line(), "ok 1");
    EXPECT_EQ(waiting.Ask("wait 9 20"), "error: time is over after 1 exchanges");
    EXPECT_THAT(waiting.Ask("wait many"), StartsWith("error: "));
}

TEST(ControlSocket, AClientMayVanishWhileItWaits)
{
    const SocketBench socket;
    {
        const Client waiting(socket.path);
        waiting.Send("wait 1000\n");
        const Client other(socket.path);
        EXPECT_EQ(other.Ask("exchanges"), "ok 0");
    }
    const Client next(socket.path);
    EXPECT_EQ(next.Ask("exchanges"), "ok 0");
}

TEST(ControlSocket, AnOverlongLineEndsItsClientOnly)
{
    const SocketBench socket;
    const Client flood(socket.path);
    flood.Send(std::string(2000000, 'x'));
    EXPECT_EQ(flood.Line(), "");
    EXPECT_EQ(Client(socket.path).Ask("exchanges"), "ok 0");
}

TEST(ControlSocket, AClientThatDoesNotReadDoesNotStopTheOthers)
{
    const SocketBench socket;
    const Host host(socket.bench.Name());
    host.Write(std::string(200000, 'x'));
    socket.bench.Control("wait bytes 200000");
    const Client lazy(socket.path);
    for (int i = 0; i < 20; ++i)
        lazy.Send("received\n");
    EXPECT_EQ(Client(socket.path).Ask("exchanges"), "ok 0");
}

TEST(ControlSocket, UnplugAndPlugWork)
{
    const SocketBench socket;
    const Client client(socket.path);
    EXPECT_EQ(client.Ask("unplug"), "ok");
    EXPECT_EQ(socket.bench.Name(), "");
    EXPECT_THAT(client.Ask("plug"), StartsWith("ok /dev/pts/"));
    EXPECT_EQ(Host(socket.bench.Name()).Exchange("6002550136\003"), "6001A1C0\003");
}

TEST(ControlSocket, ItsFileIsItsOwnersAndGoesWithTheReader)
{
    const Scratch directory;
    const std::string path = directory.path + "/reader.sock";
    struct stat status = {};
    {
        const Bench bench(SocketBench::Options(path));
        ASSERT_EQ(stat(path.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777, 0600u);
    }
    EXPECT_NE(stat(path.c_str(), &status), 0);
}

TEST(ControlSocket, AStaleFileIsReplacedAndAnythingElseStays)
{
    const Scratch directory;
    const std::string path = directory.path + "/reader.sock";
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        const int dead = socket(AF_UNIX, SOCK_STREAM, 0);
        ASSERT_EQ(bind(dead, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
        close(dead);
    }
    {
        const Bench bench(SocketBench::Options(path));
        EXPECT_EQ(Client(path).Ask("exchanges"), "ok 0");
        EXPECT_THAT(Problem(path), EndsWith("is served by another reader"));
        EXPECT_EQ(Client(path).Ask("exchanges"), "ok 0") << "still the first one's";
    }
    WriteFile(path, "precious");
    EXPECT_THAT(Problem(path), EndsWith("exists and is no socket"));
    EXPECT_EQ(testing_support::ReadFile(path), "precious");
}

TEST(ControlSocket, ImpossiblePathsAreTold)
{
    EXPECT_THAT(Problem("/nowhere/reader.sock"), StartsWith("control socket /nowhere/reader.sock"));
    EXPECT_THAT(Problem("/tmp/" + std::string(200, 'x')), StartsWith("control socket: the path"));
}
