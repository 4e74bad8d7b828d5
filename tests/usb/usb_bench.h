// A virtual bus for one test: empty before, and nothing may be left of it after.
#pragma once

#include <chrono>
#include <gtest/gtest.h>

#include "standins/usb/usb_standin.h"
#include "vantor/hid.h"

namespace usb_standin
{

inline void PrintTo(const Census &census, std::ostream *out)
{
    *out << census.contexts << " contexts, " << census.handles << " handles, " << census.references
         << " references, " << census.claims << " claims, " << census.transfers << " transfers, "
         << census.configurations << " configurations";
}

} // namespace usb_standin

struct UsbBench : testing::Test
{
    UsbBench()
    {
        usb_standin::Reset();
    }

    ~UsbBench() override
    {
        EXPECT_EQ(usb_standin::Count(), usb_standin::kNothingHeld);
        EXPECT_EQ(usb_standin::Misuse(), std::vector<std::string>());
        usb_standin::Reset();
    }
};

// The reader, plugged in at bus 1, address 2, and opened by its ids.
struct OpenReader : UsbBench
{
    int reader;
    hid_device *device = nullptr;

    explicit OpenReader(const usb_standin::DeviceModel &model = usb_standin::ReaderModel())
        : reader(usb_standin::Plug(model, 1, 2)), device(hid_open(0x1BC3, 0x0151, nullptr))
    {
        EXPECT_NE(device, nullptr);
    }

    ~OpenReader() override
    {
        hid_close(device);
    }

    // What the device sends next, once it has been queued.
    void Queue(const usb_standin::Bytes &report)
    {
        const size_t submitted = usb_standin::InTransfers(reader).size();
        usb_standin::SendReport(reader, report);
        ASSERT_TRUE(usb_standin::WaitForSubmissions(reader, submitted + 1));
    }
};

inline usb_standin::Bytes ReportOf(uint8_t value, size_t size = 64)
{
    return usb_standin::Bytes(size, value);
}

struct Stopwatch
{
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();

    double Milliseconds() const
    {
        return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
            .count();
    }
};
