// A host's desk: its own copy of the library, and a virtual reader on a serial line or on USB. Any
// number of them work beside each other in one process.
#pragma once

#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "support/host_library.h"
#include "usb/library/usb_reader.h"
#include "vreader/virtual_reader.h"

namespace threads_testing
{

enum class Line
{
    kSerial,
    kUsb
};

struct Desk
{
    testing_support::HostLibrary library;
    Line line;
    uint16_t productId; // on USB; the terminal calls find 0x0151 only
    std::unique_ptr<UsbReader> usb;
    vreader::RunningReader *reader = nullptr;

    // Desks on USB differ by their number.
    Desk(Line kind, const std::string &profile, uint8_t number, const std::string &config)
        : library(config), line(kind), productId(static_cast<uint16_t>(0x0151 + number))
    {
        std::string error;
        if (line == Line::kUsb)
        {
            usb_standin::DeviceModel model = usb_standin::ReaderModel();
            model.deviceDescriptor[10] = static_cast<uint8_t>(productId & 0xFF);
            usb = std::make_unique<UsbReader>(profile, static_cast<uint8_t>(2 + number), model);
            reader = usb->reader;
            error = usb->error;
        }
        else
        {
            vreader::ReaderOptions options;
            options.profile = profile;
            reader = vreader::StartReader(options, &error);
        }
        EXPECT_NE(reader, nullptr) << error;
        if (line == Line::kSerial)
            CPP_CALL(library, GSetComName, "_Z11GSetComNameiPKc")
        (3, vreader::TerminalName(reader).c_str());
    }
    ~Desk()
    {
        CALL(library, BO_Close)();
        if (line == Line::kSerial)
            vreader::StopReader(reader);
        else
            usb_standin::Unplug(usb->device);
    }
    Desk(const Desk &) = delete;
    Desk &operator=(const Desk &) = delete;

    int Open() const
    {
        return line == Line::kUsb ? CALL(library, BO_Open_PID)(0x1BC3, productId)
                                  : CALL(library, BO_Open)(3, 9600, 0);
    }
    // For the calls that open by name.
    std::string PortName() const
    {
        return line == Line::kUsb ? "USB" : vreader::TerminalName(reader).substr(5);
    }
    void Control(const std::string &command) const
    {
        EXPECT_EQ(vreader::Control(reader, command), "ok") << command;
    }
    // What the reader says about itself; the failure's code when it cannot be heard.
    std::string Information() const
    {
        unsigned char info[256];
        uint32_t length = 0;
        const int result = CALL(library, BO_GetDevInfo)(0, info, &length);
        return result == 0 ? std::string(info, info + length) : std::to_string(result);
    }
};

} // namespace threads_testing
