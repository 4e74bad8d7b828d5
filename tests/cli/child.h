// A program as a child process: its output, its exit status, signals at chosen moments.
#pragma once

#include <string>
#include <vector>

struct ChildOptions
{
    std::vector<std::string> environment; // "NAME=value", added to the test's own
    std::string input;                    // standard input; empty: it is at its end
    int terminal = -1;                    // descriptor to use as standard error; -1: a pipe
};

struct ChildResult
{
    int status = -1; // exit status; 128 + number when a signal ended it
    std::string out;
    std::string err;
};

struct Child
{
    int pid = -1;
    int out = -1;
    int err = -1; // -1 with a terminal
};

Child StartChild(const std::vector<std::string> &words, const ChildOptions &options = {});
ChildResult WaitForChild(Child child); // ends the child and fails the test after 60 seconds
ChildResult RunChild(const std::vector<std::string> &words, const ChildOptions &options = {});

// Reads until the text has been seen; false when the end or 30 seconds come first.
bool ReadUntil(int descriptor, const std::string &text, std::string *seen);
