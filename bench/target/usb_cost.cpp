// What the HID channel adds to bare libusb, over a real kernel's USB stack: the time of an exchange
// of one report each way, and the processor time of a wait. Prints each with its aim; status 1 when
// one is missed.
//
// An exchange is measured with a reader that answers at once, where the processor is all there is,
// and with one that answers a millisecond later, the least that a bus of a report a millisecond
// allows.
#include <algorithm>
#include <array>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <libusb.h>
#include <mutex>
#include <thread>

#include "target/usb_reader.h"
#include "vantor/hid.h"

namespace
{

constexpr unsigned short kVendor = 0x1BC3;
constexpr unsigned short kProduct = 0x0151;
constexpr int kRounds = 5;
constexpr int kExchanges = 300; // of a round
constexpr int kWaitMs = 18000;  // of a round; no multiple of the read limits of 5 s
constexpr size_t kReport = 64;

using Report = std::array<unsigned char, kReport>;

[[noreturn]] void Fail(const char *what)
{
    std::printf("usb_cost: %s\n", what);
    std::exit(2);
}

double Seconds(clockid_t clock)
{
    timespec now;
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// A side of the comparison: one exchange, and one wait in which nothing comes.
struct Side
{
    std::function<void()> exchange;
    std::function<void()> wait;
};

// libusb alone, the interface taken from the kernel's driver.
struct BareDevice
{
    libusb_context *usb = nullptr;
    libusb_device_handle *handle = nullptr;

    BareDevice()
    {
        libusb_init(&usb);
        handle = libusb_open_device_with_vid_pid(usb, kVendor, kProduct);
        if (handle == nullptr || libusb_set_auto_detach_kernel_driver(handle, 1) != 0 ||
            libusb_claim_interface(handle, 0) != 0)
            Fail("libusb does not get the reader");
    }
    ~BareDevice()
    {
        libusb_release_interface(handle, 0);
        libusb_close(handle);
        libusb_exit(usb);
    }
    BareDevice(const BareDevice &) = delete;
    BareDevice &operator=(const BareDevice &) = delete;

    void Write(const Report &report) const
    {
        Report copy = report;
        int count = 0;
        if (libusb_interrupt_transfer(handle, 0x02, copy.data(), kReport, &count, 1000) != 0)
            Fail("libusb cannot write");
    }
    bool Read(Report *report, unsigned timeoutMs) const
    {
        int count = 0;
        return libusb_interrupt_transfer(handle, 0x81, report->data(), kReport, &count,
                                         timeoutMs) == 0 &&
               count == static_cast<int>(kReport);
    }
};

// One thread that reads, and a condition by which it hands a report over: the least that lets a
// host wait with a limit while input reports are received all the time.
struct BareLoop
{
    BareDevice device;
    std::mutex lock;
    std::condition_variable changed;
    bool there = false;
    bool ending = false;
    Report report = {};
    std::thread reading{[this] { Run(); }};

    ~BareLoop()
    {
        {
            const std::lock_guard<std::mutex> guard(lock);
            ending = true;
        }
        device.Write({0x00, 0x01}); // comes back and ends the read
        reading.join();
    }

    void Run()
    {
        Report received = {};
        for (;;)
        {
            const bool came = device.Read(&received, 5000);
            const std::lock_guard<std::mutex> guard(lock);
            if (ending)
                return;
            if (came)
            {
                report = received;
                there = true;
                changed.notify_one();
            }
        }
    }
    bool Take(int timeoutMs)
    {
        std::unique_lock<std::mutex> guard(lock);
        const bool came =
            changed.wait_for(guard, std::chrono::milliseconds(timeoutMs), [this] { return there; });
        there = false;
        return came;
    }
};

struct Cost
{
    double exchange = 1e9; // seconds of the best round
    double paced = 1e9;    // the same at a report a millisecond
    double wait = 1e9;     // processor seconds of the best round
};

double SecondsOf(const Side &side)
{
    side.exchange(); // the first one wakes what sleeps
    const double began = Seconds(CLOCK_MONOTONIC);
    for (int i = 0; i < kExchanges; ++i)
        side.exchange();
    return (Seconds(CLOCK_MONOTONIC) - began) / kExchanges;
}

void Measure(const target::UsbReader &reader, const Side &side, Cost *cost)
{
    cost->exchange = std::min(cost->exchange, SecondsOf(side));
    reader.Control("usb in delay 1 count 0");
    cost->paced = std::min(cost->paced, SecondsOf(side));
    reader.Control("usb clear");
    reader.Control("usb echo on");
    const double began = Seconds(CLOCK_PROCESS_CPUTIME_ID);
    side.wait();
    cost->wait = std::min(cost->wait, Seconds(CLOCK_PROCESS_CPUTIME_ID) - began);
}

void MeasureBare(const target::UsbReader &reader, Cost *cost)
{
    const BareDevice device;
    const Report out = {0x02, 0x03, 0xAA, 0xBB, 0xCC};
    const auto exchange = [&]
    {
        Report in = {};
        device.Write(out);
        if (!device.Read(&in, 1000) || in != out)
            Fail("the report did not come back");
    };
    Measure(reader, {exchange, [] {}}, cost);
}

void MeasureLoop(const target::UsbReader &reader, Cost *cost)
{
    BareLoop loop;
    const Report out = {0x02, 0x03, 0xAA, 0xBB, 0xCC};
    const auto exchange = [&]
    {
        loop.device.Write(out);
        if (!loop.Take(1000) || loop.report != out)
            Fail("the report did not come back");
    };
    Measure(reader, {exchange, [&] { loop.Take(kWaitMs); }}, cost);
}

void MeasureLibrary(const target::UsbReader &reader, Cost *cost)
{
    hid_device *device = hid_open(kVendor, kProduct, nullptr);
    if (device == nullptr)
        Fail("the library does not get the reader");
    const unsigned char out[] = {0xAA, 0xBB, 0xCC};
    const auto exchange = [&]
    {
        unsigned char in[kReport] = {};
        if (hid_write_modeid(device, out, sizeof out, 2) < 0 ||
            hid_read_modeid(device, in, sizeof in, 1000) < 3 ||
            !std::equal(out, out + sizeof out, in))
            Fail("the report did not come back");
    };
    const auto wait = [&]
    {
        unsigned char in[kReport] = {};
        if (hid_read_timeout(device, in, sizeof in, kWaitMs) != 0)
            Fail("something came");
    };
    Measure(reader, {exchange, wait}, cost);
    hid_close(device);
}

bool Print(const char *name, double ours, double reference, const char *against, double aim)
{
    const double ratio = ours / reference;
    std::printf("%-24s %9.1f us  %9.1f us  %-21s ratio %.3f  aim %.2f  %s\n", name, ours * 1e6,
                reference * 1e6, against, ratio, aim, ratio <= aim ? "met" : "missed");
    return ratio <= aim;
}

} // namespace

int main()
{
    target::UsbReader reader;
    reader.Control("usb echo on");
    Cost bare;
    Cost loop;
    Cost library;
    for (int round = 0; round < kRounds; ++round)
    {
        MeasureBare(reader, &bare);
        MeasureLoop(reader, &loop);
        MeasureLibrary(reader, &library);
    }
    bool met = Print("exchange", library.exchange, loop.exchange, "thread and condition", 1.10);
    met &= Print("exchange, 1 ms a report", library.paced, bare.paced, "libusb alone", 1.10);
    met &=
        Print("exchange, 1 ms a report", library.paced, loop.paced, "thread and condition", 1.10);
    met &= Print("waiting, processor time", library.wait, loop.wait, "thread and condition", 1.05);
    std::printf("for comparison: an exchange by libusb alone, no thread, %.1f us\n",
                bare.exchange * 1e6);
    return met ? 0 : 1;
}
