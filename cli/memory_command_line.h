// The words and options of the memory card commands.
#pragma once

#include <functional>
#include <string>

#include <CLI/CLI.hpp>

#include "arguments.h"
#include "commands.h"

namespace tool
{

struct MemoryCommand
{
    const char *word; // "read"
    const char *name; // "m1 read"
    const char *description;
    Command run;
    std::string (*check)(Arguments *arguments);
};

using AddMemoryCommand = std::function<CLI::App *(CLI::App *parent, const MemoryCommand &command)>;

void AddMemoryCommands(CLI::App *app, Arguments *arguments, const AddMemoryCommand &add);

} // namespace tool
