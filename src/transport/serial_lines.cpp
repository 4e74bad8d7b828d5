#include "transport/serial_lines.h"

#include <cstdlib>
#include <mutex>
#include <new>
#include <unistd.h>

#include "support/file_io.h"
#include "vantor/transport.h"

namespace
{

struct SerialLine
{
    void *handle; // a cell with the descriptor
    int steps;    // that are under way
    bool closed;
    SerialLine *next;
};

std::mutex s_lines; // guards the list; never held across a system call
SerialLine *s_firstLine;

SerialLine **FindLink(const void *handle)
{
    SerialLine **link = &s_firstLine;
    while (*link != nullptr && (*link)->handle != handle)
        link = &(*link)->next;
    return link;
}

void Unlink(SerialLine **link)
{
    SerialLine *line = *link;
    *link = line->next;
    delete line;
}

int Descriptor(const void *handle)
{
    return *static_cast<const int32_t *>(handle);
}

// Marks the line closed: no step enters any more. With steps under way the caller becomes one.
enum class Closing
{
    kNotOpen,
    kUnused,
    kInUse
};

Closing BeginClosing(const void *handle)
{
    const std::lock_guard<std::mutex> guard(s_lines);
    SerialLine **link = FindLink(handle);
    if (*link == nullptr || (*link)->closed)
        return Closing::kNotOpen;
    if ((*link)->steps == 0)
    {
        Unlink(link);
        return Closing::kUnused;
    }
    (*link)->closed = true;
    ++(*link)->steps;
    return Closing::kInUse;
}

bool IsKept(const void *handle)
{
    const std::lock_guard<std::mutex> guard(s_lines);
    return *FindLink(handle) != nullptr;
}

} // namespace

void *KeepSerialLine(void *handle)
{
    if (IsKept(handle))
        return handle;
    SerialLine *line = new (std::nothrow) SerialLine{handle, 0, false, nullptr};
    if (line == nullptr)
    {
        GCloseCom(handle);
        return nullptr;
    }
    const std::lock_guard<std::mutex> guard(s_lines);
    line->next = s_firstLine;
    s_firstLine = line;
    return handle;
}

void ForgetSerialLine(const void *handle)
{
    const std::lock_guard<std::mutex> guard(s_lines);
    SerialLine **link = FindLink(handle);
    if (*link != nullptr)
        Unlink(link);
}

bool EnterSerialLine(const void *handle)
{
    const std::lock_guard<std::mutex> guard(s_lines);
    SerialLine *line = *FindLink(handle);
    if (line == nullptr || line->closed)
        return false;
    ++line->steps;
    return true;
}

void LeaveSerialLine(void *handle)
{
    {
        const std::lock_guard<std::mutex> guard(s_lines);
        SerialLine **link = FindLink(handle);
        if (*link == nullptr || --(*link)->steps > 0 || !(*link)->closed)
            return;
        Unlink(link);
    }
    if (Descriptor(handle) != 0) // as GReSetTerm_Linux does it
        close(Descriptor(handle));
    std::free(handle);
}

int CloseSerialLine(void *handle)
{
    const Closing closing = BeginClosing(handle);
    if (closing == Closing::kNotOpen)
        return -1;
    if (closing == Closing::kUnused)
        return GCloseCom(handle);
    // The settings go back now: later they might meet the line opened anew.
    const int set = Uninterrupted([=] { return ioctl(Descriptor(handle), TCSETAW, &oterm_attr); });
    LeaveSerialLine(handle);
    return set < 0 ? -99 : 0; // as GReSetTerm_Linux does it
}
