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

// The terminal's device path, "/dev/pts/7"; empty for a reader on another line.
std::string TerminalName(const RunningReader *reader);

// One line of the control language (docs/virtual-reader.md), answered as the socket answers it:
// "ok", "ok ..." or "error: ...", without the line end.
std::string Control(RunningReader *reader, const std::string &line);

// Ends the thread, closes the line (a host then sees the terminal vanish) and frees the reader.
void StopReader(RunningReader *reader);

} // namespace vreader
