// The world around the library in one run of a target: a reader that answers as the input says, a
// clock on which nothing takes time but waiting, settings and a log. It is laid anew for each run,
// so that an input does the same every time.
//
// The line stands where the serial line and the HID channel stand: their functions are wrapped by
// the linker (see CMakeLists.txt), and everything above them is the library's own.
#pragma once

#include <functional>

#include "fuzz/support/frames.h"
#include "vantor/transport.h"

namespace fuzz
{

// What the reader says to one command. It lies there at once; then there is silence, and a wait for
// more of it takes no time of this world's.
struct Answer
{
    Bytes bytes;
    size_t piece = 0;   // bytes that one read gives at most; 0: all there are
    bool gone = false;  // behind the bytes the line is gone: reads and writes fail
    int written = kAll; // what the write of the command gives
    static constexpr int kAll = INT32_MAX;
};

using Answerer = std::function<Answer(const Bytes &command)>;

enum class LineKind
{
    kSerial,
    kUsb
};

struct World
{
    // `settings`: lines of [devcfg], as they stand in the file.
    World(const std::string &settings, Answerer answerer);
    ~World();
    World(const World &) = delete;
    World &operator=(const World &) = delete;
};

// The device context on this world's line, closed; for calls that take one.
void PlaceOnLine(DEVCONTEXT *deviceContext, LineKind kind);

// Opens the library's own context on it, as Vantor_Open does.
void OpenLine(LineKind kind);

// A new line in the place of the old one, and the settings as they were at first.
void MendLine();

// Commands that the line has carried in this run.
int Exchanges();

// A reader that has answered so many commands is gone, whatever the input says: 4000 at first.
void LimitExchanges(int most);

// After that many pauses of 100 ms in one call another thread ends the wait: 40 at first.
void EndOfCall();

// A directory of this process, for files; removed at its end.
const std::string &ScratchDirectory();
std::string ScratchFile(const std::string &name);
void WriteScratch(const std::string &path, const void *bytes, size_t count);
Bytes ReadScratch(const std::string &path);

} // namespace fuzz
