// What the host's kernel asks of the device, one message after the other.
#include "vreader/lines/usbip.h"

#include <algorithm>

namespace vreader
{

namespace
{

void Reply(UsbLine *line, const Bytes &message)
{
    line->output.insert(line->output.end(), message.begin(), message.end());
}

void Unlink(UsbLine *line, const UsbRequest &request)
{
    const auto read = std::find_if(line->pendingIn.begin(), line->pendingIn.end(),
                                   [&](const PendingIn &pending)
                                   { return pending.sequence == request.unlinked; });
    const auto write = std::find(line->heldOut.begin(), line->heldOut.end(), request.unlinked);
    const bool pending = read != line->pendingIn.end() || write != line->heldOut.end();
    if (read != line->pendingIn.end())
        line->pendingIn.erase(read);
    else if (write != line->heldOut.end())
        line->heldOut.erase(write);
    // Status 0: it was over already, and its own reply is on the way.
    Reply(line, UnlinkReply(request.sequence, pending ? kUnlinked : 0));
}

// The payload of a report, if it is one of the reader's: mode id, length, payload, zero bytes.
void TakeReport(UsbLine *line, const Bytes &report, UsbNews *news)
{
    ++line->counts.out;
    if (line->echoes)
    {
        news->unplug |= QueueWithFaults(line, report);
        return;
    }
    if (report.size() != kReportSize || report[1] > kReportPayload)
    {
        const std::string what = report.size() != kReportSize
                                     ? std::to_string(report.size()) + " bytes"
                                     : "payload length " + std::to_string(report[1]);
        news->remarks.push_back("USB: an output report with " + what + " is passed over");
        return;
    }
    line->modeId = report[0];
    if (line->headers.size() == kHeadersKept)
        line->headers.pop_front();
    line->headers.push_back(static_cast<uint16_t>(report[0] << 8 | report[1]));
    news->payloads.emplace_back(report.begin() + 2, report.begin() + 2 + report[1]);
}

// An output report, on whichever way it came. Nothing when it gets no reply now, else the status.
std::optional<int> JudgeReport(UsbLine *line, const UsbRequest &request, const Bytes &report,
                               UsbNews *news)
{
    const std::vector<UsbFault> due = TakeDueUsbFaults(&line->outFaults);
    if (FindUsbFault(due, UsbFaultKind::unplug) != nullptr)
    {
        news->unplug = true;
        return std::nullopt;
    }
    if (FindUsbFault(due, UsbFaultKind::hold) != nullptr)
    {
        line->heldOut.push_back(request.sequence);
        return std::nullopt;
    }
    if (FindUsbFault(due, UsbFaultKind::stall) != nullptr)
    {
        line->device.outHalted = request.endpoint == kOutEndpoint; // endpoint 0 never stays halted
        return kStalled;
    }
    if (FindUsbFault(due, UsbFaultKind::error) != nullptr)
        return kBusError;
    if (FindUsbFault(due, UsbFaultKind::drop) == nullptr)
        TakeReport(line, report, news);
    return 0;
}

void ReplyToWrite(UsbLine *line, const UsbRequest &request, std::optional<int> status)
{
    if (status)
        Reply(line, SubmitReply(request.sequence, *status, *status == 0 ? request.length : 0));
}

void ServeControl(UsbLine *line, const UsbRequest &request, const Bytes &data, UsbNews *news)
{
    const bool reads = (request.setup[0] & 0x80) != 0;
    const size_t asked = static_cast<size_t>(request.setup[6] | request.setup[7] << 8);
    ControlAnswer answer;
    if (reads == request.in || asked == 0) // a request without data has no direction to speak of
        answer = AnswerControl(&line->device, request.setup, data);
    else
        answer.stalled = true;
    line->hostSeen |= line->device.configuration != 0;
    if (answer.stalled)
        return Reply(line, SubmitReply(request.sequence, kStalled, 0));
    if (answer.report)
        return ReplyToWrite(line, request, JudgeReport(line, request, *answer.report, news));
    if (!request.in)
        return ReplyToWrite(line, request, 0);
    answer.data.resize(std::min({answer.data.size(), asked, size_t{request.length}}));
    Reply(line,
          SubmitReply(request.sequence, 0, static_cast<uint32_t>(answer.data.size()), answer.data));
}

// False for a host that asks for too much at a time.
bool ServeTransfer(UsbLine *line, const UsbRequest &request, const Bytes &data, UsbNews *news)
{
    if (request.endpoint == 0)
    {
        ServeControl(line, request, data, news);
        return true;
    }
    UsbDevice *device = &line->device;
    const bool reads = request.in && request.endpoint == kInEndpoint;
    const bool writes =
        !request.in && request.endpoint == kOutEndpoint && device->identity.outEndpoint;
    if (device->configuration == 0 || (!reads && !writes) || (writes && device->outHalted))
        Reply(line, SubmitReply(request.sequence, kStalled, 0));
    else if (writes)
        ReplyToWrite(line, request, JudgeReport(line, request, data, news));
    else
        line->pendingIn.push_back({request.sequence, request.length});
    return line->pendingIn.size() + line->heldOut.size() <= kMostPending &&
           line->reports.size() <= kReportsQueued;
}

} // namespace

void AnswerPendingReads(UsbLine *line)
{
    const TimePoint now = Clock::now();
    while (!line->pendingIn.empty())
    {
        const PendingIn pending = line->pendingIn.front();
        if (!line->device.inHalted)
        {
            if (line->reports.empty() || line->reports.front().due > now)
                return;
            InputReport report = std::move(line->reports.front());
            line->reports.pop_front();
            line->device.inHalted = report.halts;
            if (!report.halts)
            {
                if (report.status == 0 && report.data.size() > pending.length)
                    report.status = kBabble;
                if (report.status != 0)
                    report.data.clear();
                line->counts.in += report.status == 0 ? 1 : 0;
                Reply(line, SubmitReply(pending.sequence, report.status,
                                        static_cast<uint32_t>(report.data.size()), report.data));
                line->pendingIn.pop_front();
                continue;
            }
        }
        Reply(line, SubmitReply(pending.sequence, kStalled, 0));
        line->pendingIn.pop_front();
    }
}

bool ServeRequests(UsbLine *line, UsbNews *news)
{
    size_t begin = 0;
    bool alive = true;
    while (alive && !news->unplug && line->input.size() - begin >= kHeaderSize)
    {
        UsbRequest request;
        std::string problem;
        if (!ParseRequest(line->input.data() + begin, &request, &problem))
        {
            news->remarks.push_back("USB: " + problem + " is no request of USB/IP");
            alive = false;
            break;
        }
        const size_t carried = request.in ? 0 : request.length;
        const bool isUnlink = request.command == UsbCommand::unlink;
        const size_t size = kHeaderSize + (isUnlink ? 0 : carried);
        if (line->input.size() - begin < size)
            break;
        const auto data = line->input.begin() + static_cast<std::ptrdiff_t>(begin + kHeaderSize);
        begin += size;
        if (isUnlink)
            Unlink(line, request);
        else
            alive = ServeTransfer(line, request,
                                  Bytes(data, data + static_cast<std::ptrdiff_t>(carried)), news);
        if (!alive)
            news->remarks.emplace_back("USB: the host has too many requests open");
    }
    line->input.erase(line->input.begin(),
                      line->input.begin() + static_cast<std::ptrdiff_t>(begin));
    return alive;
}

} // namespace vreader
