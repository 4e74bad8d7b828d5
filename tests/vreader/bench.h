// A reader in a thread, and a host that writes literal bytes to its terminal.
#pragma once

#include "vreader/virtual_reader.h"

#include <cerrno>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

namespace vreader_test
{

// The host's side of a terminal, as a plain descriptor.
struct Host
{
    int descriptor = -1;

    explicit Host(const std::string &name) : descriptor(open(name.c_str(), O_RDWR | O_NOCTTY))
    {
        EXPECT_GE(descriptor, 0) << name;
    }
    ~Host()
    {
        Close();
    }
    Host(const Host &) = delete;
    Host &operator=(const Host &) = delete;

    void Close()
    {
        if (descriptor >= 0)
            close(descriptor);
        descriptor = -1;
    }

    void Write(const std::string &bytes) const
    {
        for (size_t done = 0; done < bytes.size();)
        {
            const ssize_t count = write(descriptor, bytes.data() + done, bytes.size() - done);
            ASSERT_GT(count, 0);
            done += static_cast<size_t>(count);
        }
    }

    // What one read gives; empty when nothing comes in time or the line is gone.
    std::string ReadSome(int timeoutMs = 5000) const
    {
        pollfd waiting = {descriptor, POLLIN, 0};
        if (poll(&waiting, 1, timeoutMs) <= 0)
            return "";
        char buffer[4096];
        const ssize_t count = read(descriptor, buffer, sizeof buffer);
        return count > 0 ? std::string(buffer, static_cast<size_t>(count)) : "";
    }

    std::string ReadUntil(char last, int timeoutMs = 5000) const
    {
        std::string bytes;
        while (bytes.empty() || bytes.back() != last)
        {
            const std::string more = ReadSome(timeoutMs);
            if (more.empty())
                break;
            bytes += more;
        }
        return bytes;
    }

    std::string ReadExactly(size_t count, int timeoutMs = 5000) const
    {
        std::string bytes;
        while (bytes.size() < count)
        {
            const std::string more = ReadSome(timeoutMs);
            if (more.empty())
                break;
            bytes += more;
        }
        return bytes;
    }

    // A framed command out, everything up to the end byte of its answer back.
    std::string Exchange(const std::string &command) const
    {
        Write(command);
        return ReadUntil('\003');
    }
};

// Cards with a few short answers, so that every expected byte can stand in a test.
inline const char kProfile[] = R"({
  "reader": {"information": "READER 7", "serial": "SN0001"},
  "cards": {
    "plain": {"kind": "transcript", "label": "plain card", "atr": "3B021450",
              "exchanges": [{"cmd": "00B2010C00", "rsp": "70039F1F009000"},
                            {"cmd": "80CA9F3600", "rsp": "6A88"}]},
    "other": {"kind": "transcript", "label": "other card", "atr": "3B00",
              "exchanges": [{"cmd": "00B2010C00", "rsp": "7000 9000"}]},
    "near":  {"kind": "transcript", "label": "near card", "atr": "3B8001",
              "exchanges": [{"cmd": "00B2011400", "rsp": "77009000"}]}
  },
  "contact": "plain",
  "contactless": "near"
})";

struct Bench
{
    std::string error;
    vreader::RunningReader *reader = nullptr;

    explicit Bench(vreader::ReaderOptions options = {})
    {
        if (options.profileText.empty() && options.profile.empty())
            options.profileText = kProfile;
        reader = vreader::StartReader(options, &error);
        EXPECT_NE(reader, nullptr) << error;
    }
    explicit Bench(const std::string &profileText) : Bench(WithProfile(profileText))
    {
    }
    ~Bench()
    {
        vreader::StopReader(reader);
    }
    Bench(const Bench &) = delete;
    Bench &operator=(const Bench &) = delete;

    static vreader::ReaderOptions WithProfile(const std::string &profileText)
    {
        vreader::ReaderOptions options;
        options.profileText = profileText;
        return options;
    }
    std::string Name() const
    {
        return vreader::TerminalName(reader);
    }
    std::string Control(const std::string &line) const
    {
        return vreader::Control(reader, line);
    }
    // The lines of the trace, one string.
    std::string Trace() const
    {
        return Control("trace");
    }
};

} // namespace vreader_test
