#include "vreader/virtual_reader.h"

#include "vreader/running_reader.h"

#include <cerrno>
#include <cstring>
#include <sys/eventfd.h>
#include <unistd.h>

namespace vreader
{

namespace
{

void Release(RunningReader *running)
{
    CloseUsbLine(running->usb);
    for (const int descriptor : {running->wake, running->quitSignal})
        if (descriptor >= 0)
            close(descriptor);
    delete running;
}

// Makes the line that an unstarted reader is on; false and an error text when it cannot.
using MakeLine = std::function<bool(RunningReader *running, std::string *error)>;

RunningReader *Start(const ReaderOptions &options, SendBytes send, const MakeLine &makeLine,
                     std::string *error)
{
    auto *running = new RunningReader;
    running->onTerminal = !send && !makeLine;
    running->send = std::move(send);
    running->pace = options.pace && running->onTerminal;
    running->showTrace = options.trace;
    // On a serial line hosts await the answer to a mode sequence for 100 microseconds, and what
    // comes later would stand in front of the identity module's first frame.
    if (!running->onTerminal)
        running->reader.modeAnswer = {'O', 'K'};
    running->wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    running->quitSignal = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    error->clear();
    if (running->wake < 0 || running->quitSignal < 0)
        *error = std::string("no event descriptor: ") + std::strerror(errno);
    else if (LoadProfile(options.profile, options.profileText, &running->profile, &running->reader,
                         error) &&
             (!makeLine || makeLine(running, error)))
        ConnectLine(running, error);
    if (error->empty() && !options.controlSocket.empty())
        running->controlSocket = ServeControlSocket(running, options.controlSocket, error);
    if (!error->empty())
    {
        CloseTerminal(&running->terminal);
        Release(running);
        return nullptr;
    }
    running->thread = std::thread(ServeLine, running);
    return running;
}

} // namespace

RunningReader *StartReader(const ReaderOptions &options, std::string *error)
{
    return Start(options, nullptr, nullptr, error);
}

RunningReader *StartReaderOnLine(const ReaderOptions &options, SendBytes send, std::string *error)
{
    if (!send)
    {
        *error = "a reader on another line needs a way to send";
        return nullptr;
    }
    return Start(options, std::move(send), nullptr, error);
}

RunningReader *StartUsbReader(const ReaderOptions &options, const UsbOptions &usb,
                              std::string *error)
{
    const auto makeLine = [&usb](RunningReader *running, std::string *problem)
    { return MakeUsbLine(running, usb, problem); };
    RunningReader *running = Start(options, nullptr, makeLine, error);
    if (running == nullptr || !usb.attach || WaitForHost(running->usb, kHostPatience))
        return running;
    StopReader(running);
    *error = "the kernel has not configured the reader";
    return nullptr;
}

void GiveBytes(RunningReader *running, const uint8_t *bytes, size_t count)
{
    {
        const std::lock_guard<std::mutex> guard(running->lock);
        if (running->onTerminal || !running->connected)
            return;
        AppendRaw(&running->received, bytes, count);
        running->given.insert(running->given.end(), bytes, bytes + count);
    }
    Wake(running->wake);
}

std::string TerminalName(const RunningReader *running)
{
    const std::lock_guard<std::mutex> guard(running->lock);
    return running->terminalName;
}

std::string Control(RunningReader *running, const std::string &line)
{
    WaitRequest request;
    std::string answer;
    if (!ParseWait(line, &request, &answer))
        return RunControl(running, line);
    if (!answer.empty())
        return answer;
    std::unique_lock<std::mutex> guard(running->lock);
    if (std::this_thread::get_id() == running->threadId)
        return "error: the reader's own thread cannot wait for itself";
    while (!WaitIsOver(*running, request, &answer))
        running->changed.wait_until(guard, request.deadline);
    return answer;
}

void StopReader(RunningReader *running)
{
    if (running == nullptr)
        return;
    if (running->controlSocket != nullptr)
        CloseControlSocket(running->controlSocket);
    {
        const std::lock_guard<std::mutex> guard(running->lock);
        running->stopping = true;
    }
    Wake(running->wake);
    running->thread.join();
    Release(running);
}

} // namespace vreader
