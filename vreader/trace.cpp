#include "vreader/trace.h"

#include "vreader/cards/tlv.h"
#include "vreader/modules/memory_module.h"
#include "vreader/modules/modules.h"

#include <cctype>
#include <cstdio>
#include <ctime>

namespace vreader
{

namespace
{

struct OperationName
{
    Operation operation;
    const char *name;
};

constexpr OperationName kOperationNames[] = {
    {Operation::unknown, "unknown command"},
    {Operation::deviceInformation, "device information"},
    {Operation::deviceRecord, "device record"},
    {Operation::writeSerial, "write serial number"},
    {Operation::beep, "beep"},
    {Operation::deviceReset, "device reset"},
    {Operation::setBaud, "baud"},
    {Operation::contactPowerOn, "IC power on slot"},
    {Operation::contactPowerOff, "IC power off slot"},
    {Operation::contactApdu, "APDU"},
    {Operation::contactlessPowerOn, "IC power on contactless"},
    {Operation::contactlessPowerOff, "IC power off contactless"},
    {Operation::contactlessApdu, "contactless APDU"},
    {Operation::cardDetect, "card detect"},
    {Operation::selectPort, "select pass-through port"},
    {Operation::deselectPort, "deselect pass-through port"},
    {Operation::reset, "reset"},
    {Operation::setMode, "mode"},
    {Operation::identityReset, "identity reset"},
    {Operation::identityFind, "identity find"},
    {Operation::identitySelect, "identity select"},
    {Operation::identityRead, "identity read"},
    {Operation::identityReadWithFingerprint, "identity read with fingerprint"},
    {Operation::identitySetBaud, "identity baud code"},
    {Operation::stripeReset, "magnetic reset"},
    {Operation::readTracks, "read tracks"},
    {Operation::writeTracks, "write tracks"},
};

struct OutcomeName
{
    Outcome outcome;
    const char *name;
};

constexpr OutcomeName kOutcomeNames[] = {
    {Outcome::success, "done"},
    {Outcome::unknownCommand, "unknown command"},
    {Outcome::wrongLength, "wrong command length"},
    {Outcome::noCard, "no card"},
    {Outcome::takenOut, "card was taken out"},
    {Outcome::notPowered, "card not powered"},
    {Outcome::mute, "card does not answer"},
    {Outcome::refused, "refused"},
    {Outcome::tooLong, "answer too long for this framing"},
    {Outcome::wrongCheck, "wrong check byte"},
    {Outcome::notReady, "no card found and selected before"},
};

const char *NameOf(Outcome outcome)
{
    for (const OutcomeName &row : kOutcomeNames)
        if (row.outcome == outcome)
            return row.name;
    return "";
}

std::string NameOf(Operation operation)
{
    for (const OperationName &row : kOperationNames)
        if (row.operation == operation)
            return row.name;
    return IsMemoryOperation(operation) ? MemoryOperationName(operation) : "";
}

const char *NameOf(Framing framing)
{
    switch (framing)
    {
    case Framing::krel:
        return "krel";
    case Framing::unionFrame:
        return "union";
    case Framing::escape:
        return "esc";
    case Framing::identity:
        return "id";
    default:
        return "";
    }
}

bool IsApdu(Operation operation)
{
    return operation == Operation::contactApdu || operation == Operation::contactlessApdu;
}

std::string BaudText(const Bytes &parameters)
{
    const unsigned baud = BaudOfCode(parameters[0]);
    return baud != 0 ? std::to_string(baud) : "code " + std::to_string(parameters[0]);
}

std::string ModeText(const Bytes &parameters)
{
    return std::string(1, static_cast<char>(parameters[0])) + ", rate code " +
           static_cast<char>(parameters[1]);
}

std::string CommandText(const Request &request)
{
    const std::string name = NameOf(request.operation);
    const Bytes &parameters = request.parameters;
    if (request.wrongLength)
        return name + " of wrong length";
    if (IsMemoryOperation(request.operation))
        return MemoryCommandText(request);
    switch (request.operation)
    {
    case Operation::contactPowerOn:
    case Operation::contactPowerOff:
        return name + " " + std::to_string(request.slot);
    case Operation::contactApdu:
        return name + " " + CommandName(parameters) +
               (request.slot == 0 ? "" : ", slot " + std::to_string(request.slot));
    case Operation::contactlessApdu:
        return name + " " + CommandName(parameters);
    case Operation::beep:
        return name + " " + std::to_string(parameters[0]) + " " + std::to_string(parameters[1]) +
               " " + std::to_string(parameters[2]);
    case Operation::setBaud:
        return name + " " + BaudText(parameters);
    case Operation::cardDetect:
        return name + ", kind " + HexText(parameters);
    case Operation::selectPort:
        return name + " '" + static_cast<char>(parameters[0]) + "'";
    case Operation::setMode:
        return name + " " + ModeText(parameters);
    case Operation::writeSerial:
        return name;
    case Operation::identitySetBaud:
        return name + " " + std::to_string(parameters[0]);
    case Operation::readTracks:
    case Operation::writeTracks:
        return TracksText(request);
    default:
        return request.framing == Framing::escape && request.operation == Operation::unknown
                   ? "unknown escape sequence"
                   : name;
    }
}

std::string CountText(size_t count)
{
    return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

// Cut where three full tracks would end.
std::string PrintableText(const Bytes &bytes)
{
    constexpr size_t kShown = 240;
    std::string text;
    for (size_t i = 0; i < bytes.size() && i < kShown; ++i)
        text += bytes[i] >= 0x20 && bytes[i] < 0x7F ? static_cast<char>(bytes[i]) : '.';
    return bytes.size() > kShown ? text + "..." : text;
}

std::string DetectText(const Bytes &data)
{
    const char *contact = data[0] == 0x12   ? "contact card under power"
                          : data[0] == 0x11 ? "contact card"
                                            : "no contact card";
    return std::string(contact) +
           (data[1] == 0x12 ? ", contactless card" : ", no contactless card");
}

std::string ApduAnswerText(const Bytes &response)
{
    if (response.size() < 2)
        return "card answer without status word";
    const size_t dataSize = response.size() - 2;
    const unsigned statusWord = response[dataSize] * 256u + response[dataSize + 1];
    const std::string text = StatusName(static_cast<uint16_t>(statusWord));
    return dataSize == 0 ? text : text + ", " + CountText(dataSize);
}

std::string SuccessText(const TraceEvent &event)
{
    const Bytes &data = event.reply.data;
    if (IsMemoryOperation(event.request.operation) && !data.empty())
        return CountText(data.size());
    switch (event.request.operation)
    {
    case Operation::contactApdu:
    case Operation::contactlessApdu:
        return ApduAnswerText(data);
    case Operation::contactPowerOn:
    case Operation::contactlessPowerOn:
        return "ATR of " + CountText(data.size());
    case Operation::deviceInformation:
        return "information of " + CountText(data.size());
    case Operation::deviceRecord:
        return "record of " + CountText(data.size());
    case Operation::cardDetect:
        return DetectText(data);
    case Operation::identityRead:
    case Operation::identityReadWithFingerprint:
        return "record of " + CountText(data.size());
    case Operation::setMode:
    case Operation::readTracks:
    case Operation::writeTracks:
        return "\"" + PrintableText(data) + "\"";
    default:
        return NameOf(Outcome::success);
    }
}

std::string AnswerText(const TraceEvent &event)
{
    if (event.forced)
        return "forced answer";
    if (!event.reply.status.empty())
        return HexText(event.reply.status) + " set for this command";
    if (event.reply.outcome == Outcome::success)
        return SuccessText(event);
    return HexText(StatusBytes(event.request, event.reply.outcome)) + " " +
           NameOf(event.reply.outcome);
}

// A card's own words are shown without the reader's status in front.
bool ShowsDataAlone(const TraceEvent &event)
{
    return !event.forced && event.reply.outcome == Outcome::success &&
           (IsApdu(event.request.operation) ||
            event.request.operation == Operation::contactPowerOn ||
            event.request.operation == Operation::contactlessPowerOn);
}

// What the event's line says, and the bytes that stand at its end.
std::string Meaning(const TraceEvent &event, Bytes *shown)
{
    char text[64];
    switch (event.kind)
    {
    case EventKind::command:
        *shown = IsApdu(event.request.operation) ? event.request.parameters : event.request.bytes;
        return CommandText(event.request);
    case EventKind::notSpoken:
        *shown = event.request.bytes;
        return CommandText(event.request) + (event.request.framing == Framing::identity
                                                 ? " (identity module not selected)"
                                                 : " (framing not spoken)");
    case EventKind::wrongCheck:
        *shown = event.request.bytes;
        std::snprintf(text, sizeof text, "wrong check byte %02X, not %02X", event.check,
                      event.rightCheck);
        return text;
    case EventKind::garbage:
        *shown = event.bytes;
        return CountText(event.byteCount) + " that " + (event.byteCount == 1 ? "is" : "are") +
               " no command";
    case EventKind::answer:
        *shown = ShowsDataAlone(event) ? event.reply.data : event.bytes;
        return AnswerText(event);
    case EventKind::noAnswer:
        return "no answer";
    case EventKind::remark:
        break;
    }
    return event.text;
}

std::string TimeText(std::chrono::system_clock::time_point time)
{
    using namespace std::chrono;
    const std::time_t seconds = system_clock::to_time_t(time);
    const auto part = duration_cast<milliseconds>(time.time_since_epoch()).count() % 1000;
    std::tm local = {};
    localtime_r(&seconds, &local);
    char text[32];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d.%03d", local.tm_hour, local.tm_min,
                  local.tm_sec, static_cast<int>(part));
    return text;
}

const char *Direction(EventKind kind)
{
    switch (kind)
    {
    case EventKind::answer:
    case EventKind::noAnswer:
        return "reader -> host";
    case EventKind::remark:
        return "*";
    default:
        return "host   -> reader";
    }
}

std::string Padded(std::string text, size_t width)
{
    if (text.size() < width)
        text.resize(width, ' ');
    return text;
}

} // namespace

void Record(TraceLog *log, TraceEvent event)
{
    event.number = ++log->last;
    event.time = std::chrono::system_clock::now();
    log->events.push_back(std::move(event));
    if (log->events.size() > kTraceKept)
        log->events.pop_front();
}

std::string TraceLine(const TraceEvent &event)
{
    Bytes shown;
    std::string meaning = Meaning(event, &shown);
    if (event.kind != EventKind::remark)
        for (const std::string &addition : {event.reply.remark, event.text})
            if (!addition.empty())
                meaning += " (" + addition + ")";
    const std::string head = TimeText(event.time) + "  " + Padded(Direction(event.kind), 16) +
                             "  " + Padded(NameOf(event.request.framing), 5) + "  ";
    if (shown.empty())
        return head + meaning;
    return head + Padded(meaning, 44) + "  " + HexText(shown);
}

std::string Shortened(const std::string &traceLine)
{
    constexpr size_t kLongest = 40;
    const size_t start = traceLine.rfind(' ') + 1;
    const std::string last = traceLine.substr(start);
    for (const char character : last)
        if (std::isxdigit(static_cast<unsigned char>(character)) == 0)
            return traceLine;
    if (last.size() <= kLongest)
        return traceLine;
    return traceLine.substr(0, start) + last.substr(0, 16) + "..." + last.substr(last.size() - 4);
}

} // namespace vreader
