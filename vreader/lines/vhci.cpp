#include "vreader/lines/vhci.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vreader
{

namespace
{

constexpr char kAttach[] = "/sys/devices/platform/vhci_hcd.0/attach";
constexpr int kFullSpeedPorts = 8;            // the fewest that the module is built with
constexpr unsigned kDeviceId = 1u << 16 | 2u; // bus 1, address 2 where the device lives
constexpr int kFullSpeed = 2;

std::string WhatToDo(int problem)
{
    const std::string place = std::string(kAttach) + ": ";
    if (problem == ENOENT)
        return place + "the kernel has no virtual USB port; load it with \"modprobe vhci-hcd\"";
    if (problem == EACCES || problem == EPERM)
        return place + "only root may plug in a virtual USB device";
    if (problem == EBUSY)
        return place + "all virtual USB ports are in use";
    return place + std::strerror(problem);
}

// 0, or the error number of the last port that was tried.
int AttachToFreePort(int attach, int connection)
{
    for (int port = 0; port < kFullSpeedPorts; ++port)
    {
        // The kernel takes the line in one write: port, descriptor of this process, device, speed.
        char line[64];
        const int length =
            snprintf(line, sizeof line, "%d %d %u %d", port, connection, kDeviceId, kFullSpeed);
        if (write(attach, line, static_cast<size_t>(length)) == length)
            return 0;
        if (errno != EBUSY)
            return errno;
    }
    return EBUSY;
}

} // namespace

int AttachToKernel(std::string *error)
{
    int ends[2] = {-1, -1};
    const int attach = open(kAttach, O_WRONLY | O_CLOEXEC);
    int problem = attach < 0 ? errno : 0;
    if (problem == 0 && socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        problem = errno;
    if (problem == 0)
        problem = AttachToFreePort(attach, ends[0]);
    if (attach >= 0)
        close(attach);
    if (ends[0] >= 0)
        close(ends[0]); // the kernel holds it by now
    if (problem == 0)
        return ends[1];
    if (ends[1] >= 0)
        close(ends[1]);
    *error = WhatToDo(problem);
    return -1;
}

} // namespace vreader
