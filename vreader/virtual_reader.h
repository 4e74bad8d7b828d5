// The virtual reader as a library: the reader's side of every protocol, in a thread of this
// process.
//
//     std::string error;
//     vreader::RunningReader *reader = vreader::StartReader({}, &error);
//     host.open(vreader::TerminalName(reader));           // "/dev/pts/7"
//     vreader::Control(reader, "remove contact");         // the control socket's own language
//     vreader::StopReader(reader);
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace vreader
{

struct ReaderOptions
{
    std::string profile;       // path of a JSON profile; empty: the default profile
    std::string profileText;   // the profile's JSON itself; goes before `profile`
    bool pace = false;         // bytes take the time that the configured line speed gives them
    std::string controlSocket; // path of a Unix socket to serve; empty: none
    std::function<void(const std::string &line)> trace; // called once a trace line; may be empty
};

struct RunningReader;

// Opens a pseudo-terminal and serves it from a thread. Null and an error text when it cannot.
RunningReader *StartReader(const ReaderOptions &options, std::string *error);

// The same reader on any other line: what it answers goes to `send`, called by the reader's own
// thread. What the host wrote is handed in with GiveBytes, by any thread.
using SendBytes = std::function<void(const uint8_t *bytes, size_t count)>;
RunningReader *StartReaderOnLine(const ReaderOptions &options, SendBytes send, std::string *error);
void GiveBytes(RunningReader *reader, const uint8_t *bytes, size_t count);

// The same reader as a USB device. Exactly one of `attach`, `listen` and `connect` is given.
struct UsbOptions
{
    uint16_t vendorId = 0x1BC3;
    uint16_t productId = 0x0151;
    std::string manufacturer = "Vantor"; // texts in UTF-8; an empty one is left out
    std::string product = "Virtual reader";
    std::string serialNumber = "VIRTUAL-01";
    bool outEndpoint = true; // false: output reports come by SET_REPORT
    bool attach = false;     // plug it into this machine's kernel (vhci-hcd, root)
    std::string listen;      // "[ADDRESS:]PORT": serve "usbip attach" over TCP
    // Gives the device's end of a USB/IP connection, each time the reader is plugged in; -1 and an
    // error text.
    std::function<int(std::string *error)> connect;
};

// With `attach` the reader is usable when this returns: the kernel has configured it.
RunningReader *StartUsbReader(const ReaderOptions &options, const UsbOptions &usb,
                              std::string *error);

// The address a USB reader listens on, "127.0.0.1:3240"; empty for any other reader.
std::string UsbAddress(const RunningReader *reader);

// The terminal's device path, "/dev/pts/7"; empty for a reader on another line.
std::string TerminalName(const RunningReader *reader);

// One line of the control language (docs/virtual-reader.md), answered as the socket answers it:
// "ok", "ok ..." or "error: ...", without the line end.
std::string Control(RunningReader *reader, const std::string &line);

// Ends the thread, closes the line (a host then sees the terminal vanish) and frees the reader.
void StopReader(RunningReader *reader);

} // namespace vreader
