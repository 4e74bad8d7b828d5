// A room in which an example runs as its reader would run it: the virtual reader as a program with
// a control socket, and a copy of the library with settings and a log of its own.
#pragma once

#include <string>
#include <vector>

#include "cli/child.h"
#include "support/scratch.h"

struct ExampleRoom
{
    testing_support::Scratch scratch; // also the working directory of the example
    std::string device;               // "/dev/pts/7"
    std::string port;                 // "pts/7"
    explicit ExampleRoom(const std::string &profile);
    ~ExampleRoom();
    ExampleRoom(const ExampleRoom &) = delete;
    ExampleRoom &operator=(const ExampleRoom &) = delete;

    // words: the example below the build's examples/ ("c/card_data"), and its arguments.
    Child Start(const std::vector<std::string> &words, const ChildOptions &options = {}) const;
    ChildResult Run(const std::vector<std::string> &words, const ChildOptions &options = {}) const;
    std::string Control(const std::string &line) const; // fails the test on "error: ..."
    void AddPhotoDecoder() const;

  private:
    Child reader_;
};
