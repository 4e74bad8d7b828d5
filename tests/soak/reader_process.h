// The program vantor-reader as a process of its own, so that what it keeps is not this process's.
#pragma once

#include <string>
#include <sys/types.h>

#include "support/scratch.h"

struct ReaderProcess
{
    testing_support::Scratch directory;
    std::string terminal; // a link to the terminal, which stays
    pid_t process = -1;
    int control = -1;

    ReaderProcess();
    ~ReaderProcess();
    ReaderProcess(const ReaderProcess &) = delete;
    ReaderProcess &operator=(const ReaderProcess &) = delete;

    void Control(const std::string &line) const; // "unplug"; throws unless it is answered with ok
};
