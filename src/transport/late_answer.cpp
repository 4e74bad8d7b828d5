#include "transport/late_answer.h"

#include <cstring>
#include <ctime>
#include <sys/stat.h>

#include "transport/context_lock.h"
#include "transport/hid_device.h"
#include "transport/read_step.h"

namespace
{

// What is coming in has ended when nothing came for so long: more than a serial adapter takes to
// hand on what it gathers, and more than a byte at 1200 bits per second.
const int kSilenceMs = 20;
// The longest IC answer at 9600 bits per second; a reader that never stops holds up no command
// longer. An identity reply with its picture takes twice that: the rest of one that has only just
// begun spoils the next command.
const uint64_t kLongestMs = 700;
// A reader that was silent for so long has nothing more to say.
const uint64_t kSettledMs = 10000;

// The clock of file times goes by ticks of 10 ms at most. A pseudo-terminal that is younger cannot be
// told from one that was made anew within the same tick.
const int64_t kYoungNs = 20000000;

// A terminal that was made anew under the same name, as when an adapter is plugged in again, is
// another line, and so is a USB device that was plugged in again.
struct LineIdentity
{
    uint64_t terminal;
    int64_t madeAt;
    char usbPath[hid_channel::kPathSize];
};

// The line that was opened last: there is one command at a time. Guarded by the context's lock.
struct Line
{
    const void *device;
    LineIdentity identity;
    uint32_t answersOwed;
    bool unlikelyOwed; // one more, until the next command
    uint64_t lastCommand;
    int64_t expectedAt; // since when an answer is owed, by the clock of file times
} s_line;

int64_t Nanoseconds(const timespec &time)
{
    return time.tv_sec * INT64_C(1000000000) + time.tv_nsec;
}

int64_t Now(clockid_t clock)
{
    timespec now = {};
    clock_gettime(clock, &now);
    return Nanoseconds(now);
}

// The coarse clock: nothing here is about milliseconds.
uint64_t Milliseconds()
{
    return static_cast<uint64_t>(Now(CLOCK_MONOTONIC_COARSE) / 1000000);
}

LineIdentity IdentityOf(const DEVCONTEXT *deviceContext)
{
    LineIdentity identity = {};
    struct stat terminal = {};
    if (HasInterfaceType(deviceContext, "hid"))
        hid_channel::CopyPath(static_cast<hid_device *>(deviceContext->device), identity.usbPath);
    else if (fstat(*static_cast<const int32_t *>(deviceContext->device), &terminal) == 0)
    {
        identity.terminal = terminal.st_rdev;
        identity.madeAt = Nanoseconds(terminal.st_ctim);
    }
    return identity;
}

bool IsSame(const LineIdentity &one, const LineIdentity &other)
{
    return (one.terminal != 0 || one.usbPath[0] != '\0') && one.terminal == other.terminal &&
           one.madeAt == other.madeAt && strcmp(one.usbPath, other.usbPath) == 0;
}

bool IsLineOf(const LineIdentity &identity)
{
    const bool isYoung = identity.terminal != 0 && s_line.expectedAt - identity.madeAt < kYoungNs;
    return IsSame(identity, s_line.identity) && !isYoung;
}

// The open device, when it owes an answer.
void *OwingDevice(const DEVCONTEXT *deviceContext)
{
    const ContextGuard guard(s_contextLock);
    const bool owes = (s_line.answersOwed > 0 || s_line.unlikelyOwed) && deviceContext != nullptr &&
                      deviceContext->isOpen != 0 && deviceContext->device == s_line.device;
    return owes ? deviceContext->device : nullptr;
}

int DropIncoming(const ReadStep &step, void *device)
{
    unsigned char dropped[4096];
    const uint64_t start = Milliseconds();
    int count = 0;
    int got = ReadNow(step, device, dropped, sizeof dropped, 0);
    while (got > 0)
    {
        count += got;
        if (Milliseconds() - start >= kLongestMs)
            break;
        got = ReadNow(step, device, dropped, sizeof dropped, kSilenceMs);
    }
    return count;
}

} // namespace

void ExpectLateAnswer(const DEVCONTEXT *deviceContext, LateAnswer lateAnswer)
{
    const ContextGuard guard(s_contextLock);
    // A context that a second thread closed meanwhile was on this line.
    if (deviceContext == nullptr ||
        (deviceContext->isOpen != 0 && deviceContext->device != s_line.device))
        return;
    if (lateAnswer == LateAnswer::kAwaited)
        ++s_line.answersOwed;
    else
        s_line.unlikelyOwed = true;
    s_line.lastCommand = Milliseconds();
    s_line.expectedAt = Now(CLOCK_REALTIME_COARSE);
}

int DropLateAnswer(const DEVCONTEXT *deviceContext)
{
    void *device = OwingDevice(deviceContext);
    if (device == nullptr)
        return 0;
    const ReadStep &step = HasInterfaceType(deviceContext, "hid") ? kHidStep : kSerialStep;
    const int count = DropIncoming(step, device);
    const uint64_t now = Milliseconds();
    const ContextGuard guard(s_contextLock);
    if (s_line.device == device)
    {
        if (count > 0 && s_line.answersOwed > 0 && !s_line.unlikelyOwed)
            --s_line.answersOwed;
        else if (now - s_line.lastCommand >= kSettledMs)
            s_line.answersOwed = 0;
        s_line.unlikelyOwed = false;
        s_line.lastCommand = now;
    }
    return count;
}

void WatchForLateAnswers(const DEVCONTEXT *deviceContext)
{
    const ContextGuard guard(s_contextLock);
    const LineIdentity identity = IdentityOf(deviceContext);
    if (!IsLineOf(identity))
        s_line = {nullptr, identity, 0, false, 0, 0};
    s_line.device = deviceContext->device;
}
