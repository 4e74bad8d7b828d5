// One connection to the reader: open, work, close on every way out; visible waits; Ctrl-C.
#pragma once

#include <functional>
#include <string>

#include "options.h"
#include "report.h"

namespace tool
{

// Opens the port, runs `work`, closes. From here on Ctrl-C (and SIGTERM, SIGHUP) cancels the
// running call through the library; a second one ends the program at once.
void WithReader(const Options &options, Report *report, const std::function<void()> &work);

// Runs a call that waits for a card, with a countdown when standard error is a terminal.
int WaitingForCard(const Options &options, const std::function<int()> &call);

bool IsCancelled();

// Records a failed call; cancelling explains every failure that comes after it. True when the
// code is a failure.
bool Failed(const Options &options, Report *report, const char *call, int code);

// The library's own text of a code, "设备未连接".
std::string ErrorText(int code);

// config.ini as the library sees it at this moment.
int ConfiguredCommandSet();
std::string SettingsPath();
void GiveLogAPlace();

} // namespace tool
