// A host's side of USB/IP, byte by byte, at the other end of a socket pair.
#pragma once

#include "vreader/virtual_reader.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace vreader_test
{

using UsbBytes = std::vector<uint8_t>;

inline UsbBytes Joined(UsbBytes head, const UsbBytes &tail)
{
    head.insert(head.end(), tail.begin(), tail.end());
    return head;
}

struct UsbClient
{
    int descriptor = -1;

    UsbClient() = default;
    explicit UsbClient(int end) : descriptor(end)
    {
    }
    ~UsbClient()
    {
        Close();
    }
    UsbClient(const UsbClient &) = delete;
    UsbClient &operator=(const UsbClient &) = delete;

    void Close()
    {
        if (descriptor >= 0)
            close(descriptor);
        descriptor = -1;
    }

    void Send(const UsbBytes &bytes) const
    {
        ASSERT_EQ(send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
    }

    // Exactly so many bytes; fewer only when the time passes or the line is gone.
    UsbBytes Receive(size_t count, int timeoutMs = 5000) const
    {
        UsbBytes bytes;
        pollfd waiting = {descriptor, POLLIN, 0};
        while (bytes.size() < count && poll(&waiting, 1, timeoutMs) > 0)
        {
            uint8_t buffer[4096];
            const ssize_t got =
                recv(descriptor, buffer, std::min(sizeof buffer, count - bytes.size()), 0);
            if (got <= 0)
                break;
            bytes.insert(bytes.end(), buffer, buffer + got);
        }
        return bytes;
    }

    // Nothing comes for this long.
    bool IsSilent(int milliseconds = 30) const
    {
        pollfd waiting = {descriptor, POLLIN, 0};
        return poll(&waiting, 1, milliseconds) == 0;
    }

    // The other end has closed.
    bool IsClosed() const
    {
        pollfd waiting = {descriptor, POLLIN, 0};
        uint8_t byte;
        return poll(&waiting, 1, 5000) == 1 && recv(descriptor, &byte, 1, 0) <= 0;
    }

    // CMD_SUBMIT: `direction` 0 out, 1 in.
    static UsbBytes Submit(uint8_t sequence, uint8_t direction, uint8_t endpoint, uint16_t length,
                           const UsbBytes &setup = UsbBytes(8), const UsbBytes &data = {})
    {
        UsbBytes message = {
            0,
            0,
            0,
            1, // CMD_SUBMIT
            0,
            0,
            0,
            sequence, //
            0,
            1,
            0,
            2, // bus 1, device 2
            0,
            0,
            0,
            direction, //
            0,
            0,
            0,
            endpoint, //
            0,
            0,
            0,
            0, // flags
            0,
            0, // length, its lower half follows
            static_cast<uint8_t>(length >> 8),
            static_cast<uint8_t>(length),
            0,
            0,
            0,
            0, // start frame
            0,
            0,
            0,
            0, // packets
            0,
            0,
            0,
            1, // interval
        };
        return Joined(Joined(message, setup), data);
    }

    static UsbBytes Unlink(uint8_t sequence, uint8_t unlinked)
    {
        UsbBytes message = {
            0, 0, 0, 2,        // CMD_UNLINK
            0, 0, 0, sequence, //
            0, 1, 0, 2,        // bus 1, device 2
            0, 0, 0, 0,        // direction
            0, 0, 0, 0,        // endpoint
            0, 0, 0, unlinked, //
        };
        message.resize(48);
        return message;
    }

    // RET_SUBMIT with its data.
    static UsbBytes Reply(uint8_t sequence, const UsbBytes &status, uint8_t moved,
                          const UsbBytes &data = {})
    {
        UsbBytes message = {0, 0, 0, 3, 0, 0, 0, sequence};
        message.resize(20);
        message = Joined(message, status);
        message = Joined(message, {0, 0, 0, moved});
        message.resize(48);
        return Joined(message, data);
    }

    static UsbBytes UnlinkReply(uint8_t sequence, const UsbBytes &status)
    {
        UsbBytes message = {0, 0, 0, 4, 0, 0, 0, sequence};
        message.resize(20);
        message = Joined(message, status);
        message.resize(48);
        return message;
    }

    void Expect(const UsbBytes &message) const
    {
        EXPECT_EQ(Receive(message.size()), message);
    }

    // A control request that reads; what it is answered with.
    UsbBytes Get(const UsbBytes &setup) const
    {
        Send(Submit(0x77, 1, 0, static_cast<uint16_t>(setup[6] | setup[7] << 8), setup));
        const UsbBytes head = Receive(48);
        if (head.size() < 48)
            return {0xDE, 0xAD};
        return head[23] != 0 ? UsbBytes{head[23]} : Receive(head[27]);
    }

    void Set(const UsbBytes &setup, const UsbBytes &data = {}, const UsbBytes &status = UsbBytes(4),
             uint8_t sequence = 0x78) const
    {
        Send(Submit(sequence, 0, 0, static_cast<uint16_t>(data.size()), setup, data));
        Expect(Reply(sequence, status, static_cast<uint8_t>(status[3] == 0 ? data.size() : 0)));
    }

    void Configure() const
    {
        Set({0x00, 0x09, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00});
    }
};

inline const UsbBytes kOk = {0, 0, 0, 0};
inline const UsbBytes kStall = {0xFF, 0xFF, 0xFF, 0xE0};     // -32
inline const UsbBytes kOverflow = {0xFF, 0xFF, 0xFF, 0xB5};  // -75
inline const UsbBytes kProtocol = {0xFF, 0xFF, 0xFF, 0xB9};  // -71
inline const UsbBytes kTakenBack = {0xFF, 0xFF, 0xFF, 0x98}; // -104

// A 64-byte report: these bytes and zero bytes behind them.
inline UsbBytes Padded(UsbBytes bytes)
{
    bytes.resize(64);
    return bytes;
}

// A reader with a short information text, on USB. Each plugging in makes a new connection.
struct UsbTestBench
{
    std::string error;
    UsbClient client;
    vreader::RunningReader *reader = nullptr;

    explicit UsbTestBench(vreader::UsbOptions usb = {})
    {
        vreader::ReaderOptions options;
        options.profileText = R"({"reader": {"information": "READER 7"}})";
        if (usb.listen.empty())
            usb.connect = [this](std::string *) { return Connect(); };
        reader = vreader::StartUsbReader(options, usb, &error);
        EXPECT_NE(reader, nullptr) << error;
    }
    ~UsbTestBench()
    {
        vreader::StopReader(reader);
    }
    UsbTestBench(const UsbTestBench &) = delete;
    UsbTestBench &operator=(const UsbTestBench &) = delete;

    int Connect()
    {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        client.Close();
        client.descriptor = ends[0];
        return ends[1];
    }

    std::string Control(const std::string &line) const
    {
        return vreader::Control(reader, line);
    }

    // What the reader notices in its own time.
    void AwaitRemark(const std::string &text) const
    {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (Control("trace").find(text) == std::string::npos)
        {
            ASSERT_LT(std::chrono::steady_clock::now(), limit) << Control("trace");
            std::this_thread::yield();
        }
    }
};

} // namespace vreader_test
