#include "vreader/lines/pace.h"

#include <algorithm>

namespace vreader
{

namespace
{

constexpr uint8_t kEndByte = 0x03; // of both framings

} // namespace

Clock::duration ByteTime(unsigned baud)
{
    return std::chrono::nanoseconds(10u * 1000000000ull / baud);
}

void Depart(Arrivals *arrivals, const uint8_t *bytes, size_t count, unsigned baud, TimePoint now)
{
    if (count == 0)
        return;
    if (arrivals->bytes.empty())
        arrivals->next = now + ByteTime(baud);
    arrivals->bytes.insert(arrivals->bytes.end(), bytes, bytes + count);
}

Bytes Arrived(Arrivals *arrivals, unsigned baud, TimePoint now)
{
    Bytes arrived;
    while (!arrivals->bytes.empty() && arrivals->next <= now)
    {
        arrived.push_back(arrivals->bytes.front());
        arrivals->bytes.pop_front();
        arrivals->next += ByteTime(baud);
    }
    return arrived;
}

TimePoint NextArrival(const Arrivals &arrivals, unsigned baud)
{
    const auto end = std::find(arrivals.bytes.begin(), arrivals.bytes.end(), kEndByte);
    const auto before = std::min<std::ptrdiff_t>(
        end - arrivals.bytes.begin(), static_cast<std::ptrdiff_t>(arrivals.bytes.size()) - 1);
    return arrivals.next + before * ByteTime(baud);
}

size_t Allowance(TimePoint *next, size_t rest, unsigned baud, TimePoint now)
{
    size_t allowed = 0;
    for (; allowed < rest && *next <= now; ++allowed)
        *next += ByteTime(baud);
    return allowed;
}

TimePoint NextAllowance(TimePoint next, size_t rest, unsigned baud)
{
    const auto atOnce = std::chrono::milliseconds(1) / ByteTime(baud);
    const auto wanted = std::min<std::ptrdiff_t>(atOnce, static_cast<std::ptrdiff_t>(rest));
    return next + std::max<std::ptrdiff_t>(wanted - 1, 0) * ByteTime(baud);
}

} // namespace vreader
