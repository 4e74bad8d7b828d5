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

// The same for the chosen set of calls: those of the terminal interface open and close the reader
// themselves, each for itself.
void WithCallSet(const Options &options, Report *report, const std::function<void()> &work);

// Opens the port for something small between two calls of the terminal interface.
int OpenReader(const Options &options);

// Runs a call that waits for a card, with a countdown when standard error is a terminal.
int WaitingForCard(const Options &options, const std::function<int()> &call,
                   const char *awaited = "the card");

bool IsCancelled();

// Records a failed call; cancelling explains every failure that comes after it. True when the
// code is a failure.
bool Failed(const Options &options, Report *report, const char *call, int code);

// The library's own text of a code of the BO_ calls, "设备未连接".
std::string ErrorText(int code);

// config.ini as the library sees it at this moment.
int ConfiguredCommandSet();
std::string SettingsPath();
void GiveLogAPlace();

} // namespace tool
