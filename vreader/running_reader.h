// A reader at work: the record its thread, the control channel and the host program share.
#pragma once

#include "vreader/faults.h"
#include "vreader/lines/pace.h"
#include "vreader/lines/terminal.h"
#include "vreader/lines/usbip.h"
#include "vreader/profile.h"
#include "vreader/trace.h"
#include "vreader/virtual_reader.h"
#include "vreader/wire/command_stream.h"
#include "vreader/words.h"

#include <condition_variable>
#include <mutex>
#include <thread>

namespace vreader
{

constexpr size_t kRawKept = 1048576;     // bytes of `received` and `sent`
constexpr size_t kUnsentLimit = 1048576; // answers that a host leaves unread

// An answer on its way out, or the place of one that does not come.
struct Outgoing
{
    std::vector<Bytes> pieces;
    size_t piece = 0;
    size_t offset = 0;
    TimePoint due;        // when it can begin, or go on
    TimePoint nextByte;   // with pace: when the first unsent byte has had its time
    TimePoint pieceLimit; // cut answers: when the host's time to take the last piece is over
    bool started = false;
    bool blocked = false; // the host must read before it can go on
    bool unplug = false;
    unsigned newBaud = 0; // from the end of this answer on
    TraceEvent event;
};

enum class LineRequest
{
    none,
    unplug,
    plug
};

struct ControlSocket;

struct RunningReader
{
    // Fixed once the thread runs.
    bool onTerminal = false;
    bool pace = false;
    std::function<void(const std::string &line)> showTrace;
    SendBytes send;
    Profile profile;       // but for its kept cards, which `lock` guards
    int wake = -1;         // eventfd: something for the thread to do
    int quitSignal = -1;   // eventfd: readable after `quit`
    int progressWake = -1; // the control socket's eventfd; -1 without one
    std::thread thread;
    ControlSocket *controlSocket = nullptr;
    UsbLine *usb = nullptr; // null for a reader on another line

    // Guarded by `lock`.
    mutable std::mutex lock;
    std::condition_variable changed;
    Reader reader;
    std::optional<PlannedSwipe> swipe; // that the waiting call is about to meet
    TimePoint swipeDue;
    TraceLog trace;
    std::vector<Fault> faults;
    Bytes given; // what GiveBytes handed in
    Bytes received;
    Bytes sent;
    uint64_t bytesServed = 0;
    uint64_t exchanges = 0;
    bool connected = false;
    bool stopping = false;
    bool newHost = false; // a USB host has taken over: the thread is to forget the one before
    LineRequest lineRequest = LineRequest::none;
    std::string lineProblem;
    std::string terminalName;
    std::string link; // path of a symbolic link to the terminal; empty: none
    std::thread::id threadId;

    // The thread's own.
    Terminal terminal;
    Arrivals arrivals;
    CommandStream stream;
    std::deque<Outgoing> outgoing;
    size_t unsent = 0;
    unsigned comparedHostRate = kDefaultBaud; // the last pair of line speeds that was looked at
    unsigned comparedOwnRate = kDefaultBaud;
    uint64_t shown = 0;     // trace lines given to showTrace
    uint64_t bytesDone = 0; // not yet told to those who wait
    uint64_t exchangesDone = 0;
    bool hostLeft = false;
};

// service.cpp
bool ConnectLine(RunningReader *running, std::string *error); // before the thread starts, or in it
void DisconnectLine(RunningReader *running);                  // under the lock
void ServeLine(RunningReader *running);                       // the thread
void Remark(RunningReader *running, std::string text);        // into the trace, under the lock
void Wake(int eventDescriptor);
void DrainWakes(int eventDescriptor);
void AppendRaw(Bytes *log, const uint8_t *bytes, size_t count);

// Keeps a symbolic link to the terminal, also after `unplug` and `plug`.
bool SetLink(RunningReader *running, const std::string &path, std::string *error);

// service_answers.cpp
void QueueItem(RunningReader *running, const WireItem &item, TimePoint now); // under the lock
void QueueAnswer(RunningReader *running, const Request &request, Reply reply, TimePoint now);
void SendDueAnswers(RunningReader *running, TimePoint now); // without it
void DropAnswers(RunningReader *running);
// The rest of an answer whose host has gone is not for the next one. Under the lock.
void DropStartedAnswer(RunningReader *running);

// service_swipes.cpp, under the lock but for the last
// After a command: `before` is what waited for a swipe when it came, and it may have ended that.
void SettleSwipes(RunningReader *running, const std::optional<Request> &before, bool begins,
                  TimePoint now);
void ForgetSwipes(RunningReader *running, const char *why);
void ServeDueSwipe(RunningReader *running, TimePoint now);

// control_swipes.cpp and control_identity.cpp: what stands behind the first words of a line
std::string Swipe(RunningReader *running, Words *words);
std::string ShowTracks(RunningReader *running, Words *words);
std::string PutIdentityCard(RunningReader *running, Words *words, bool swap);
std::string TakeIdentityCard(RunningReader *running, Words *words);
std::string InjectIdentityStatus(RunningReader *running, Words *words);

// control_memory.cpp
std::string ShowMemory(RunningReader *running, Words *words);

// usb_reader.cpp
bool MakeUsbLine(RunningReader *running, const UsbOptions &options, std::string *error);
// The words behind `usb`.
std::string RunUsbControl(RunningReader *running, const std::string &line);
constexpr std::chrono::seconds kHostPatience(10); // to find and configure a reader plugged in

// control.cpp
std::string RunControl(RunningReader *running, const std::string &line);

enum class WaitFor
{
    exchanges,
    bytes,
    closed, // no host has the terminal open
    swipe   // a call of the magnetic module waits for a card
};

struct WaitRequest
{
    WaitFor what = WaitFor::exchanges;
    uint64_t target = 0;
    TimePoint deadline;
};

// True for a line that begins with "wait"; `problem` tells why it is no right one.
bool ParseWait(const std::string &line, WaitRequest *request, std::string *problem);
// True when the wait is over, with what to answer. Under the lock.
bool WaitIsOver(const RunningReader &running, const WaitRequest &request, std::string *answer);

// control_socket.cpp
ControlSocket *ServeControlSocket(RunningReader *running, const std::string &path,
                                  std::string *error);
void CloseControlSocket(ControlSocket *socket);

} // namespace vreader
