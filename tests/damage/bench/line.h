// A line inside the process: the C library's clock and pauses, the serial line and the USB reports
// of the code under test end here, so that a reader that says nothing costs no time.
//
// What the reader answers is a script. A command that is not the next one of the script is looked
// for in the rest of it, since a damaged answer makes the library ask for other things; what stands
// nowhere is refused as a card refuses it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support/golden_line.h"

namespace damage_testing
{

using testing_support::GoldenExchange;

constexpr size_t kNoRow = static_cast<size_t>(-1);

struct Line
{
    bool plugged = false; // else every call goes to the real thing
    bool usb = false;     // answers come in input reports of 64 bytes

    const std::vector<GoldenExchange> *rows = nullptr;
    size_t damagedRow = kNoRow; // whose answer is `damaged`, the first time it is asked for
    const std::string *damaged = nullptr;
    // USB: the reports of the damaged answer as they are, short and long ones too.
    const std::vector<std::string> *damagedReports = nullptr;

    size_t next = 0;     // the row that is due
    bool inOrder = true; // nothing but the script has been asked for
    std::string heard;   // a command that has not come to its end
    std::string waiting; // what the reader has said and nobody has read
    std::vector<std::string> reports;
    size_t firstReport = 0;

    int exchanges = 0;
    int64_t began = 0;        // microseconds of the clock when the call began
    int64_t microseconds = 0; // since then
    int64_t paused = 0;       // of these, in usleep
};

extern Line g_line;

// Before each call: the script from its beginning. What an earlier call has left unread stays.
void Rewind(const std::vector<GoldenExchange> &rows);

// What has been left unread is thrown away.
void EmptyLine();

// An empty line that is left alone until nobody waits for an answer on it any more.
void LeaveAlone();

// An answer as the input reports of the reader: mode id, length, 62 bytes of payload.
std::vector<std::string> InReports(const std::string &answer);

// "Iccmd" and the like, of [devcfg]; the settings of a plugged line are here and not in a file.
void SetSetting(const std::string &key, int value);
void ClearSettings();

// What the plugged line's log calls have formatted, in characters: the texts themselves go nowhere.
extern uint64_t g_loggedCharacters;

} // namespace damage_testing
