// From a command to the bytes of its answer, and those bytes out at their time.
#include "vreader/running_reader.h"

#include "vreader/cards/tlv.h"
#include "vreader/modules/departure.h"
#include "vreader/modules/modules.h"
#include "vreader/wire/identity_frame.h"
#include "vreader/wire/krel_frame.h"
#include "vreader/wire/union_frame.h"

namespace vreader
{

namespace
{

using std::chrono::milliseconds;

constexpr milliseconds kPieceGap(2); // the terminal needs a moment to show a piece as waiting
constexpr milliseconds kPiecePatience(200);

std::optional<Bytes> Framed(Framing framing, const Bytes &payload, bool wrongCheck)
{
    if (framing == Framing::krel)
        return KrelAnswer(payload, wrongCheck);
    if (framing == Framing::unionFrame)
        return UnionAnswer(payload, wrongCheck);
    if (framing == Framing::identity)
        return IdentityAnswer(payload, wrongCheck);
    return payload; // escape sequences are answered bare
}

bool IsSpoken(const Reader &reader, Framing framing)
{
    if (framing == Framing::krel)
        return reader.speaksKrel;
    if (framing == Framing::identity)
        return IdentityIsReached(reader);
    return framing != Framing::unionFrame || reader.speaksUnion;
}

Bytes PayloadOf(const Request &request, const Reply &reply)
{
    if (reply.payload)
        return *reply.payload;
    Bytes payload = reply.status.empty() ? StatusBytes(request, reply.outcome) : reply.status;
    AppendBytes(&payload, reply.data);
    return payload;
}

void RecordItem(RunningReader *running, EventKind kind, const WireItem &item)
{
    TraceEvent event;
    event.kind = kind;
    event.request.framing = item.framing;
    event.request.bytes = item.bytes;
    event.check = item.check;
    event.rightCheck = item.rightCheck;
    Record(&running->trace, std::move(event));
}

void RecordGarbage(RunningReader *running, const Bytes &bytes)
{
    TraceEvent event;
    event.kind = EventKind::garbage;
    event.byteCount = bytes.size();
    event.bytes.assign(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(std::min<size_t>(
                                                          bytes.size(), kGarbageShown)));
    Record(&running->trace, std::move(event));
}

void RecordCommand(RunningReader *running, EventKind kind, const Request &request)
{
    TraceEvent event;
    event.kind = kind;
    event.request = request;
    Record(&running->trace, std::move(event));
}

} // namespace

void QueueAnswer(RunningReader *running, const Request &request, Reply reply, TimePoint now)
{
    const AnswerFaults faults = TakeDueFaults(&running->faults);
    Bytes payload = faults.payload ? *faults.payload : PayloadOf(request, reply);
    std::optional<Bytes> wire = Framed(request.framing, payload, faults.wrongCheck);
    if (!wire && !faults.payload)
    {
        reply.outcome = Outcome::tooLong;
        reply.data.clear();
        reply.payload.reset();
        payload = PayloadOf(request, reply);
        wire = Framed(request.framing, payload, faults.wrongCheck);
    }

    if (wire && reply.spoil && !faults.payload)
        wire = reply.spoil(*wire);

    Outgoing answer;
    answer.due = now + milliseconds(faults.delayMs);
    answer.newBaud = reply.outcome == Outcome::success ? reply.newBaud : 0;
    answer.unplug = faults.unplug;
    answer.event.request = request;
    answer.event.reply = std::move(reply);
    answer.event.bytes = faults.raw ? *faults.raw : payload;
    answer.event.forced = faults.payload || faults.raw;
    answer.event.text = faults.text;
    answer.event.kind = EventKind::noAnswer;
    if (running->unsent > kUnsentLimit)
        answer.event.text = "dropped: the host does not read";
    else if (!wire)
        answer.event.text = "no frame can carry the forced answer";
    else if (!faults.silence && !faults.unplug)
    {
        answer.event.kind = EventKind::answer;
        answer.pieces = Spoiled(faults, *wire);
    }
    for (const Bytes &piece : answer.pieces)
        running->unsent += piece.size();
    running->outgoing.push_back(std::move(answer));
}

namespace
{

void QueueFailure(RunningReader *running, const Request &request, Outcome outcome, TimePoint now)
{
    Reply reply;
    reply.outcome = outcome;
    QueueAnswer(running, request, std::move(reply), now);
}

// A piece that is not the first waits until the host has taken the one before.
bool MayBeginPiece(RunningReader *running, Outgoing *answer, TimePoint now)
{
    if (answer->piece == 0 || answer->offset > 0 || !running->onTerminal)
        return true;
    if (now < answer->due)
        return false;
    if (HostTookAll(running->terminal) || now >= answer->pieceLimit)
        return true;
    answer->due = now + milliseconds(1);
    return false;
}

// Writes of the piece at hand what the terminal takes; how much that was.
size_t WriteSome(RunningReader *running, Outgoing *answer, TimePoint now)
{
    const Bytes &piece = answer->pieces[answer->piece];
    const uint8_t *bytes = piece.data() + answer->offset;
    const size_t rest = piece.size() - answer->offset;
    TimePoint next = answer->nextByte;
    const unsigned baud = running->reader.baud;
    const size_t allowed = running->pace ? Allowance(&next, rest, baud, now) : rest;
    const size_t count = WriteTerminal(running->terminal, bytes, allowed);
    answer->blocked = count < allowed;
    if (running->pace)
    {
        // After a host that did not read, the line goes on at its speed and does not catch up.
        answer->nextByte = answer->blocked ? now + ByteTime(baud) : next;
        answer->due = NextAllowance(answer->nextByte, rest - count, baud);
    }
    AppendRaw(&running->sent, bytes, count);
    return count;
}

// Sends what may go now of the front answer; true when all of it has gone.
bool SendFront(RunningReader *running, Outgoing *answer, TimePoint now)
{
    while (answer->piece < answer->pieces.size())
    {
        if (!MayBeginPiece(running, answer, now))
            return false;
        const Bytes &piece = answer->pieces[answer->piece];
        size_t count = piece.size();
        {
            const std::lock_guard<std::mutex> guard(running->lock);
            if (running->onTerminal)
                count = WriteSome(running, answer, now);
            else
                AppendRaw(&running->sent, piece.data(), count);
        }
        if (!running->onTerminal) // not under the lock: the receiver may use the reader
            running->send(piece.data(), count);
        running->unsent -= count;
        answer->offset += count;
        if (answer->offset < piece.size())
            return false;
        ++answer->piece;
        answer->offset = 0;
        answer->due = now + kPieceGap;
        answer->pieceLimit = now + kPiecePatience;
    }
    return true;
}

} // namespace

void QueueItem(RunningReader *running, const WireItem &item, TimePoint now)
{
    if (item.kind == WireKind::garbage)
        return RecordGarbage(running, item.bytes);
    if (item.kind == WireKind::wrongCheck)
        RecordItem(running, EventKind::wrongCheck, item);
    if (item.kind == WireKind::wrongCheck && item.framing != Framing::identity)
        return;
    const Request request = UnderstandCommand(item.framing, item.bytes);
    if (!IsSpoken(running->reader, item.framing))
    {
        RecordCommand(running, EventKind::notSpoken, request);
        ++running->exchangesDone;
        return;
    }
    if (item.kind == WireKind::wrongCheck) // the identity module says so, the others keep silent
        return QueueFailure(running, request, Outcome::wrongCheck, now);
    const std::string departure = TakeOutWhenDue(&running->reader, request);
    if (!departure.empty())
        Remark(running, departure);
    RecordCommand(running, EventKind::command, request);
    if (item.kind == WireKind::wrongLength)
        return QueueFailure(running, request, Outcome::wrongLength, now);
    const std::optional<Request> waited = running->reader.stripe.waiting;
    Reply reply = Serve(&running->reader, request);
    SettleSwipes(running, waited, reply.waits, now);
    if (reply.waits)
        return;
    if (reply.answered)
        return QueueAnswer(running, request, std::move(reply), now);
    if (reply.newBaud != 0)
        running->reader.baud = reply.newBaud;
    ++running->exchangesDone;
}

void SendDueAnswers(RunningReader *running, TimePoint now)
{
    while (!running->outgoing.empty() && running->outgoing.front().due <= now)
    {
        Outgoing *answer = &running->outgoing.front();
        if (!answer->started)
        {
            // Before the first byte: a host that has the answer finds it in the trace.
            const std::lock_guard<std::mutex> guard(running->lock);
            Record(&running->trace, answer->event);
            answer->started = true;
            answer->nextByte = now + ByteTime(running->reader.baud);
        }
        if (!SendFront(running, answer, now))
            return;
        const std::lock_guard<std::mutex> guard(running->lock);
        if (answer->newBaud != 0)
            running->reader.baud = answer->newBaud;
        if (answer->unplug)
            return DisconnectLine(running); // all answers under way count as over
        running->outgoing.pop_front();
        ++running->exchangesDone;
    }
}

void DropAnswers(RunningReader *running)
{
    running->exchangesDone += running->outgoing.size();
    running->outgoing.clear();
    running->unsent = 0;
}

void DropStartedAnswer(RunningReader *running)
{
    if (running->outgoing.empty() || !running->outgoing.front().started)
        return;
    const Outgoing &answer = running->outgoing.front();
    for (size_t piece = answer.piece; piece < answer.pieces.size(); ++piece)
        running->unsent -= answer.pieces[piece].size();
    running->unsent += answer.offset;
    if (answer.newBaud != 0)
        running->reader.baud = answer.newBaud;
    running->outgoing.pop_front();
    ++running->exchangesDone;
}

} // namespace vreader
