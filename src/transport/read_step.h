// One step of a read on either transport.
#pragma once

struct ReadStep
{
    int (*read)(void *device, unsigned char *buffer, int capacity, int timeout);
    int timeoutPerMs;  // the step's time-out counts milliseconds (HID) or microseconds (serial)
    int endTestCalls;  // of the read loop, after each step
    bool pollsRapidly; // the step's wait is far shorter than the time the loop has
};

extern const ReadStep kHidStep;
extern const ReadStep kSerialStep;

// What comes within that time, 0 for what is there already: the bytes read, 0 or -1.
inline int ReadNow(const ReadStep &step, void *device, unsigned char *buffer, int capacity, int ms)
{
    return step.read(device, buffer, capacity, ms * step.timeoutPerMs);
}
