// Memory that runs out at each allocation in turn: the call fails, and nothing is lost or kept.
#include <atomic>
#include <cstdlib>
#include <cwchar>
#include <new>

#include "usb/usb_bench.h"

static thread_local int s_allocationsLeft = -1; // -1: no end

static bool RunsOut()
{
    return s_allocationsLeft == 0 || (s_allocationsLeft > 0 && s_allocationsLeft-- == 0);
}

// The linker sends the calls of this program, the channel's among them, to the wrappers.
extern "C"
{
    void *__real_malloc(size_t size);
    void *__real_calloc(size_t count, size_t size);
    char *__real_strdup(const char *text);
    wchar_t *__real_wcsdup(const wchar_t *text);

    void *__wrap_malloc(size_t size)
    {
        return RunsOut() ? nullptr : __real_malloc(size);
    }

    void *__wrap_calloc(size_t count, size_t size)
    {
        return RunsOut() ? nullptr : __real_calloc(count, size);
    }

    char *__wrap_strdup(const char *text)
    {
        return RunsOut() ? nullptr : __real_strdup(text);
    }

    wchar_t *__wrap_wcsdup(const wchar_t *text)
    {
        return RunsOut() ? nullptr : __real_wcsdup(text);
    }
}

void *operator new(size_t size, const std::nothrow_t &) noexcept
{
    return RunsOut() ? nullptr : __real_malloc(size);
}

void operator delete(void *memory) noexcept
{
    free(memory);
}

void operator delete(void *memory, size_t) noexcept
{
    free(memory);
}

void *operator new(size_t size)
{
    void *memory = __real_malloc(size); // the stand-in's and the test's own never run out
    if (memory == nullptr)
        abort();
    return memory;
}

namespace
{

using HidMemory = UsbBench;

// Runs the call with 0, 1, 2 ... allocations granted until it succeeds; how many that took.
template <typename Call>
int AllocationsUntilSuccess(const Call &call)
{
    for (int granted = 0; granted < 100; ++granted)
    {
        s_allocationsLeft = granted;
        const bool succeeded = call();
        s_allocationsLeft = -1;
        if (succeeded)
            return granted;
        EXPECT_EQ(usb_standin::Count(), usb_standin::kNothingHeld) << granted;
    }
    return -1;
}

TEST_F(HidMemory, AListingThatRunsOutIsFreedWhole)
{
    usb_standin::Plug(usb_standin::ReaderModel(), 1, 2);
    usb_standin::Plug(usb_standin::ReaderModel(), 1, 3);
    hid_device_info *devices = nullptr;
    // An entry, its path and its three texts, twice.
    EXPECT_EQ(AllocationsUntilSuccess([&] { return (devices = hid_enumerate(0, 0)) != nullptr; }),
              10);
    hid_free_enumeration(devices);
}

TEST_F(HidMemory, AnOpenThatRunsOutHoldsNothing)
{
    usb_standin::Plug(usb_standin::ReaderModel(), 1, 2);
    hid_device *device = nullptr;
    // The record, the queue and the transfer's buffer.
    EXPECT_EQ(AllocationsUntilSuccess(
                  [&] { return (device = hid_open_path("0001:0002:00")) != nullptr; }),
              3);
    hid_close(device);
}

TEST_F(HidMemory, ReadingAndWritingAllocateNothing)
{
    const int reader = usb_standin::Plug(usb_standin::ReaderModel(), 1, 2);
    hid_device *device = hid_open(0x1BC3, 0x0151, nullptr);
    usb_standin::SendReport(reader, ReportOf(0x31));
    unsigned char data[62] = {};
    s_allocationsLeft = 0;
    const int written = hid_write_modeid(device, data, 62, 2);
    const int received = hid_read_modeid(device, data, 62, 5000);
    s_allocationsLeft = -1;
    EXPECT_EQ(written, 62);
    EXPECT_EQ(received, 62);
    EXPECT_EQ(usb_standin::OutTransfers(reader).size(), 1u);
    hid_close(device);
}

} // namespace
