// The line's thread, plugging and unplugging, and the reports on their way to the host.
#include "vreader/lines/usbip.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vreader
{

namespace
{

constexpr size_t kReadAtOnce = 8192;

void Kick(const UsbLine *line)
{
    const uint64_t one = 1;
    const ssize_t written = write(line->wake, &one, sizeof one);
    static_cast<void>(written); // it fails only when plenty of kicks are pending already
}

void CloseDescriptor(int *descriptor)
{
    if (*descriptor >= 0)
        close(*descriptor);
    *descriptor = -1;
}

void DropConnection(UsbLine *line)
{
    if (line->connection >= 0)
        shutdown(line->connection, SHUT_RDWR); // the kernel holds the other end of a socket pair
    CloseDescriptor(&line->connection);
    line->input.clear();
    line->output.clear();
    line->pendingIn.clear();
    line->heldOut.clear();
    line->device.configuration = 0;
    line->hostSeen = false;
}

// Everything that could be received without waiting; false at the end of the connection.
bool Receive(UsbLine *line)
{
    uint8_t buffer[kReadAtOnce];
    const ssize_t count = recv(line->connection, buffer, sizeof buffer, MSG_DONTWAIT);
    if (count > 0)
        line->input.insert(line->input.end(), buffer, buffer + count);
    return count > 0 || (count < 0 && (errno == EAGAIN || errno == EINTR));
}

bool Flush(UsbLine *line)
{
    while (!line->output.empty())
    {
        const ssize_t count = send(line->connection, line->output.data(), line->output.size(),
                                   MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count < 0)
            return errno == EAGAIN || errno == EINTR;
        line->output.erase(line->output.begin(), line->output.begin() + count);
    }
    return true;
}

void ServeConnection(UsbLine *line, bool readable, UsbNews *news)
{
    if (line->connection < 0)
        return;
    const bool hadHost = line->hostSeen;
    const bool alive = (!readable || Receive(line)) && ServeRequests(line, news);
    AnswerPendingReads(line);
    if (news->unplug)
        return DropConnection(line);
    if (!alive || !Flush(line))
    {
        news->remarks.emplace_back("USB: the host has let go of the reader");
        DropConnection(line);
    }
    else if (line->hostSeen && !hadHost)
    {
        news->remarks.emplace_back("USB: a host has configured the reader");
        line->changed.notify_all();
    }
}

// What other threads have asked for.
void FollowOrders(UsbLine *line, UsbNews *news)
{
    if (line->hangUp)
        DropConnection(line);
    line->hangUp = false;
    if (line->handedOver >= 0)
        TakeConnection(line, std::exchange(line->handedOver, -1), news);
}

void ServeImporters(UsbLine *line, const std::vector<pollfd> &polled, UsbNews *news)
{
    for (Importer &importer : line->importers)
        for (const pollfd &entry : polled)
            if (entry.fd == importer.descriptor && entry.revents != 0)
            {
                ServeImporter(line, &importer, news);
                break;
            }
    line->importers.remove_if([](const Importer &importer) { return importer.descriptor < 0; });
}

// Milliseconds until a report that a host waits for is due; -1: there is nothing to wait for.
int PollTimeout(const UsbLine &line)
{
    if (line.pendingIn.empty() || line.reports.empty())
        return -1;
    const auto rest = line.reports.front().due - Clock::now();
    const auto whole = std::chrono::ceil<std::chrono::milliseconds>(rest).count();
    return static_cast<int>(std::max<long long>(whole, 0));
}

std::vector<pollfd> Watched(UsbLine *line, int *timeout)
{
    const std::lock_guard<std::mutex> guard(line->lock);
    // A host that does not read its replies is not listened to.
    const int reading = line->output.size() < kMostUnsent ? POLLIN : 0;
    const int writing = line->output.empty() ? 0 : POLLOUT;
    std::vector<pollfd> watched = {{line->wake, POLLIN, 0},
                                   {line->connection, static_cast<short>(reading | writing), 0},
                                   {line->listener, POLLIN, 0}};
    for (const Importer &importer : line->importers)
        watched.push_back({importer.descriptor, POLLIN, 0});
    *timeout = PollTimeout(*line);
    return watched;
}

void Tell(const UsbEvents &events, const UsbNews &news)
{
    if (news.newHost)
        events.newHost();
    for (const std::string &remark : news.remarks)
        events.remark(remark);
    for (const Bytes &payload : news.payloads)
        events.take(payload);
    if (news.unplug)
        events.unplug();
}

void ServeUsb(UsbLine *line)
{
    for (;;)
    {
        int timeout = -1;
        std::vector<pollfd> watched = Watched(line, &timeout);
        poll(watched.data(), watched.size(), timeout);
        uint64_t kicks = 0;
        const ssize_t drained = read(line->wake, &kicks, sizeof kicks);
        static_cast<void>(drained); // nothing pending is fine as well
        UsbNews news;
        {
            const std::lock_guard<std::mutex> guard(line->lock);
            if (line->stopping)
                return;
            const bool readable = (watched[1].revents & (POLLIN | POLLHUP | POLLERR)) != 0 &&
                                  watched[1].fd == line->connection && !line->hangUp;
            FollowOrders(line, &news);
            ServeConnection(line, readable && line->connection >= 0, &news);
            ServeImporters(line, watched, &news);
            if ((watched[2].revents & POLLIN) != 0)
                AcceptImporter(line);
        }
        Tell(line->events, news);
    }
}

void QueueReport(UsbLine *line, InputReport report)
{
    if (line->reports.size() < kReportsQueued)
        line->reports.push_back(std::move(report));
    else
        ++line->counts.lost;
}

} // namespace

bool QueueWithFaults(UsbLine *line, Bytes data)
{
    const std::vector<UsbFault> due = TakeDueUsbFaults(&line->inFaults);
    if (FindUsbFault(due, UsbFaultKind::unplug) != nullptr)
        return true;
    if (FindUsbFault(due, UsbFaultKind::drop) != nullptr)
        return false;
    InputReport report;
    report.data = std::move(data);
    report.due = Clock::now();
    if (const UsbFault *delay = FindUsbFault(due, UsbFaultKind::delay))
        report.due += std::chrono::milliseconds(delay->number);
    if (const UsbFault *cut = FindUsbFault(due, UsbFaultKind::cut))
        report.data.resize(std::min<size_t>(report.data.size(), cut->number));
    if (FindUsbFault(due, UsbFaultKind::babble) != nullptr)
        report.status = kBabble;
    // These come before the report: it follows when the host tries again.
    InputReport trouble;
    trouble.due = report.due;
    if (FindUsbFault(due, UsbFaultKind::stall) != nullptr)
    {
        trouble.halts = true;
        QueueReport(line, trouble);
    }
    if (FindUsbFault(due, UsbFaultKind::error) != nullptr)
    {
        trouble.halts = false;
        trouble.status = kBusError;
        QueueReport(line, trouble);
    }
    QueueReport(line, std::move(report));
    return false;
}

UsbLine *OpenUsbLine(const UsbIdentity &identity, UsbConnect connect, const std::string &listen,
                     UsbEvents events, std::string *error)
{
    if (!IdentityIsPossible(identity, error))
        return nullptr;
    auto *line = new UsbLine;
    line->connect = std::move(connect);
    line->events = std::move(events);
    line->device.identity = identity;
    line->wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (line->wake < 0)
        *error = std::string("no event descriptor: ") + std::strerror(errno);
    else if (line->connect || ListenForImporters(line, listen, error))
    {
        line->thread = std::thread(ServeUsb, line);
        return line;
    }
    CloseUsbLine(line);
    return nullptr;
}

void CloseUsbLine(UsbLine *line)
{
    if (line == nullptr)
        return;
    {
        const std::lock_guard<std::mutex> guard(line->lock);
        line->stopping = true;
    }
    if (line->thread.joinable())
    {
        Kick(line);
        line->thread.join();
    }
    DropConnection(line);
    for (Importer &importer : line->importers)
        CloseDescriptor(&importer.descriptor);
    for (int *descriptor : {&line->handedOver, &line->listener, &line->wake})
        CloseDescriptor(descriptor);
    delete line;
}

bool PlugUsb(UsbLine *line, std::string *error)
{
    const int connection = line->connect ? line->connect(error) : -1;
    if (line->connect && connection < 0)
        return false;
    {
        const std::lock_guard<std::mutex> guard(line->lock);
        line->plugged = true;
        line->handedOver = connection;
        line->reports.clear();
        line->modeId = 0;
    }
    Kick(line);
    return true;
}

void UnplugUsb(UsbLine *line)
{
    {
        const std::lock_guard<std::mutex> guard(line->lock);
        line->plugged = false;
        line->reports.clear();
        line->hangUp = true;
        CloseDescriptor(&line->handedOver);
        // At once, so that the host knows of it when the caller goes on; the thread does the rest.
        if (line->connection >= 0)
            shutdown(line->connection, SHUT_RDWR);
    }
    Kick(line);
}

bool WaitForHost(UsbLine *line, std::chrono::milliseconds limit)
{
    std::unique_lock<std::mutex> guard(line->lock);
    return line->changed.wait_for(guard, limit, [line] { return line->hostSeen; });
}

void SendReports(UsbLine *line, const uint8_t *bytes, size_t count)
{
    uint8_t modeId = 0;
    {
        const std::lock_guard<std::mutex> guard(line->lock);
        modeId = line->modeId;
    }
    for (size_t done = 0; done < count; done += kReportPayload)
    {
        const size_t length = std::min(kReportPayload, count - done);
        Bytes report(kReportSize, 0);
        report[0] = modeId;
        report[1] = static_cast<uint8_t>(length);
        std::copy_n(bytes + done, length, report.begin() + 2);
        SendReport(line, std::move(report));
    }
}

void SendReport(UsbLine *line, Bytes report)
{
    bool unplug = false;
    {
        const std::lock_guard<std::mutex> guard(line->lock);
        if (line->plugged)
            unplug = QueueWithFaults(line, std::move(report));
    }
    if (unplug)
        line->events.unplug();
    Kick(line);
}

} // namespace vreader
