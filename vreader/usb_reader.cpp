// The reader on USB: how it starts, and the control words of the bus.
#include "vreader/running_reader.h"

#include "vreader/cards/tlv.h"
#include "vreader/lines/vhci.h"
#include "vreader/words.h"

namespace vreader
{

namespace
{

constexpr char kOk[] = "ok";
constexpr size_t kLongestReport = 1024; // more than any host has room for

std::string Error(const std::string &text)
{
    return "error: " + text;
}

UsbEvents EventsFor(RunningReader *running)
{
    UsbEvents events;
    events.take = [running](const Bytes &payload)
    { GiveBytes(running, payload.data(), payload.size()); };
    events.remark = [running](const std::string &text)
    {
        const std::lock_guard<std::mutex> guard(running->lock);
        Remark(running, text);
        Wake(running->wake);
    };
    events.newHost = [running]
    {
        const std::lock_guard<std::mutex> guard(running->lock);
        running->newHost = true;
        running->given.clear();
        Wake(running->wake);
    };
    events.unplug = [running]
    {
        const std::lock_guard<std::mutex> guard(running->lock);
        if (running->connected)
            running->lineRequest = LineRequest::unplug;
        Wake(running->wake);
    };
    return events;
}

std::string AddFault(UsbLine *line, bool in, const std::string &words)
{
    std::string problem;
    const std::optional<UsbFault> fault = ParseUsbFault(in, words, &problem);
    if (!fault)
        return Error(problem);
    const std::lock_guard<std::mutex> guard(line->lock);
    (in ? line->inFaults : line->outFaults).push_back(*fault);
    return kOk;
}

std::string SpoilInput(UsbLine *line, const std::string &words)
{
    return AddFault(line, true, words);
}

std::string SpoilOutput(UsbLine *line, const std::string &words)
{
    return AddFault(line, false, words);
}

std::string Clear(UsbLine *line, const std::string &)
{
    const std::lock_guard<std::mutex> guard(line->lock);
    line->inFaults.clear();
    line->outFaults.clear();
    line->reports.clear();
    line->echoes = false;
    line->headers.clear();
    line->counts = {};
    return kOk;
}

std::string Echo(UsbLine *line, const std::string &words)
{
    if (words != "on" && words != "off")
        return Error("expected usb echo on, or off");
    const std::lock_guard<std::mutex> guard(line->lock);
    line->echoes = words == "on";
    return kOk;
}

// One input report of exactly these bytes; "-" for an empty one.
std::string Report(UsbLine *line, const std::string &words)
{
    const std::optional<Bytes> bytes =
        words == "-" ? std::optional<Bytes>(Bytes{}) : BytesFromHex(words);
    if (words.empty() || !bytes || bytes->size() > kLongestReport)
        return Error("expected usb report HEX, or - for an empty report");
    SendReport(line, *bytes);
    return kOk;
}

// Mode id and payload length of the output reports since the last `usb clear`.
std::string Reports(UsbLine *line, const std::string &)
{
    std::string text = kOk;
    const std::lock_guard<std::mutex> guard(line->lock);
    for (const uint16_t header : line->headers)
        text +=
            " " + HexText({static_cast<uint8_t>(header >> 8), static_cast<uint8_t>(header & 0xFF)});
    return text;
}

std::string Info(UsbLine *line, const std::string &)
{
    const std::lock_guard<std::mutex> guard(line->lock);
    const nlohmann::json info = {{"vid", line->device.identity.vendorId},
                                 {"pid", line->device.identity.productId},
                                 {"address", line->address},
                                 {"plugged", line->plugged},
                                 {"configured", line->hostSeen},
                                 {"in", line->counts.in},
                                 {"out", line->counts.out},
                                 {"lost", line->counts.lost},
                                 {"queued", line->reports.size()},
                                 {"reading", line->pendingIn.size()},
                                 {"held", line->heldOut.size()}};
    return "ok " + info.dump();
}

struct UsbWord
{
    const char *name;
    bool alone; // nothing may follow
    std::string (*run)(UsbLine *line, const std::string &words);
};

constexpr UsbWord kUsbWords[] = {
    {"in", false, SpoilInput}, {"out", false, SpoilOutput}, {"clear", true, Clear},
    {"report", false, Report}, {"reports", true, Reports},  {"info", true, Info},
    {"echo", false, Echo},
};

} // namespace

bool MakeUsbLine(RunningReader *running, const UsbOptions &options, std::string *error)
{
    if ((options.attach ? 1 : 0) + (options.listen.empty() ? 0 : 1) + (options.connect ? 1 : 0) !=
        1)
    {
        *error = "a USB reader is attached, listens, or is given a connection: one of the three";
        return false;
    }
    UsbIdentity identity;
    identity.vendorId = options.vendorId;
    identity.productId = options.productId;
    identity.manufacturer = options.manufacturer;
    identity.product = options.product;
    identity.serialNumber = options.serialNumber;
    identity.outEndpoint = options.outEndpoint;
    running->usb = OpenUsbLine(identity, options.attach ? AttachToKernel : options.connect,
                               options.listen, EventsFor(running), error);
    if (running->usb == nullptr)
        return false;
    running->usb->waitsForHost = options.attach;
    running->send = [running](const uint8_t *bytes, size_t count)
    { SendReports(running->usb, bytes, count); };
    return true;
}

std::string UsbAddress(const RunningReader *running)
{
    return running->usb != nullptr ? running->usb->address : "";
}

std::string RunUsbControl(RunningReader *running, const std::string &line)
{
    if (running->usb == nullptr)
        return Error("this reader is on no USB");
    Words words{line};
    const std::string name = NextWord(&words);
    const std::string rest = RestOfLine(&words);
    for (const UsbWord &word : kUsbWords)
    {
        if (name != word.name)
            continue;
        if (word.alone && !rest.empty())
            return Error("nothing may follow usb " + name);
        return word.run(running->usb, rest);
    }
    return Error("unknown command \"usb " + name + "\"");
}

} // namespace vreader
