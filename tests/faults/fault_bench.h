// Runs a public function again and again, and each time another one of the calls that it makes
// fails: the first, the second, ... until it runs through without making so many.
//
// Each time: the result is one that its header names. What was allocated is released, no file and
// no thread is left, no lock is held; but for what is documented to stay. The same function then
// does its work.
#pragma once

#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "standins/calls/calls.h"
#include "standins/calls/quick_reader.h"
#include "standins/usb/usb_standin.h"
#include "support/host_library.h"
#include "support/pty_line.h"
#include "vantor/hid.h"

namespace faults
{

enum class Line
{
    None,
    Serial,
    Usb
};

// A host application: a fresh copy of the library, and a reader at the other end of its line.
struct Host
{
    testing_support::HostLibrary library;
    testing_support::PtyLine terminal;
    QuickReader reader;
    Line line;
    int usbDevice = -1;
    uint8_t modeId = 0; // of the last output report

    // What a scenario keeps between its steps.
    std::string text;
    std::string path;
    int32_t cardType = 0;
    std::vector<unsigned char> list;
    hid_device *device = nullptr;
    hid_device_info *devices = nullptr;
    void *handle = nullptr;
    FILE *file = nullptr;

    Host(Line chosenLine, const std::string &configIni, const std::string &profile,
         const std::string &swiped);
    ~Host();
    Host(const Host &) = delete;
    Host &operator=(const Host &) = delete;

    int Open() const; // BO_Open on the line
    DEVCONTEXT *Device() const;
    std::string PortName() const; // for the terminal-standard calls
    void Answer(const vreader::Bytes &bytes) const;
};

using Step = std::function<void(Host &host)>;

struct Scenario
{
    std::string name; // the function, a remark behind a blank
    Line line = Line::None;
    std::function<int(Host &host)> call; // gives the function's result
    std::set<int> failures = {};         // the results for such failures, as its header names them
    Step prepare = {};                   // before each call: without faults
    Step finish = {};                    // behind each call: releases what it gave
    int expected = 0;                    // the result of a call that meets no fault
    std::string profile = "default";
    std::string settings = {}; // "key=value" lines in the place of the shipped ones
    bool opens = true;         // the device is open before the call
    bool forgets = false;      // the call deliberately leaves the device behind
    std::string swiped = {};   // the magnetic card that is swiped
};

// ---- Writing scenarios down ----

Scenario Make(const char *name, Line line, const std::function<int(Host &)> &call,
              const std::set<int> &failures = {});
Scenario Alone(Scenario scenario); // the device is not open before the call
Scenario With(Scenario scenario, const std::string &settings);
Scenario Expecting(Scenario scenario, int result);
Scenario After(Scenario scenario, const Step &prepare);
Scenario On(Scenario scenario, const std::string &profile); // with these cards
// While the call runs, every call of that function fails so: what the library does then has its
// own calls, and each of them fails in turn as well.
Scenario Denying(Scenario scenario, const std::string &function, const std::string &fault);

inline void PrintTo(const Scenario &scenario, std::ostream *out)
{
    *out << scenario.name;
}

// Names a scenario in ctest: "BO_Open_over_usb_with_log".
std::string TestName(const Scenario &scenario);

// Tries every fault of every call. At log level 0; with the log, at level 2.
void TryEveryFault(const Scenario &scenario);
Scenario WithLog(Scenario scenario);

// What belongs to every set of scenarios.
struct EveryCall : testing::TestWithParam<Scenario>
{
};

inline std::string ParameterName(const testing::TestParamInfo<Scenario> &info)
{
    return TestName(info.param);
}

} // namespace faults
