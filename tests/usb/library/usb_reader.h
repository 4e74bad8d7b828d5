// The virtual reader on the virtual bus: what a host writes as output reports reaches it, what it
// answers comes back as input reports.
#pragma once

#include <algorithm>
#include <atomic>
#include <string>

#include "standins/usb/usb_standin.h"
#include "vreader/virtual_reader.h"

struct UsbReader
{
    std::atomic<uint8_t> modeId{0}; // of the last output report
    int device;
    vreader::RunningReader *reader;
    std::string error;

    explicit UsbReader(const std::string &profile = "", uint8_t address = 2,
                       const usb_standin::DeviceModel &model = usb_standin::ReaderModel())
        : device(usb_standin::Plug(model, 1, address))
    {
        vreader::ReaderOptions options;
        options.profile = profile;
        reader = vreader::StartReaderOnLine(
            options, [this](const uint8_t *bytes, size_t count) { Answer(bytes, count); }, &error);
        usb_standin::OnOutReport(device,
                                 [this](const usb_standin::Bytes &report) { Take(report); });
    }

    ~UsbReader()
    {
        usb_standin::OnOutReport(device, nullptr);
        vreader::StopReader(reader);
    }

    UsbReader(const UsbReader &) = delete;
    UsbReader &operator=(const UsbReader &) = delete;

    // Output report: mode id, payload length, payload, zeroes.
    void Take(const usb_standin::Bytes &report)
    {
        modeId = report.at(0);
        if (report.size() == 64 && report[1] <= 62)
            vreader::GiveBytes(reader, report.data() + 2, report[1]);
    }

    // Input reports: mode id and length for a header, 62 bytes of payload padded with zeroes.
    void Answer(const uint8_t *bytes, size_t count)
    {
        for (size_t done = 0; done < count; done += 62)
        {
            const size_t length = std::min<size_t>(62, count - done);
            usb_standin::Bytes report(64);
            report[0] = modeId;
            report[1] = static_cast<uint8_t>(length);
            std::copy_n(bytes + done, length, report.begin() + 2);
            usb_standin::SendReport(device, report);
        }
    }
};
