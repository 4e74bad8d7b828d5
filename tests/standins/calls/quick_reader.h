// The virtual reader without a thread of its own: what it hears it answers before Hear returns.
#pragma once

#include <functional>
#include <string>

#include "vreader/profile.h"
#include "vreader/wire/command_stream.h"

struct QuickReader
{
    vreader::Profile profile;
    vreader::Reader reader;
    vreader::CommandStream stream;
    std::function<void(const vreader::Bytes &bytes)> send;

    // A built-in profile's name, or a profile's text. A magnetic card of the profile that is named
    // is swiped as soon as a command waits for one.
    explicit QuickReader(const std::string &profileNameOrText, const std::string &swiped = "");

    void Hear(const vreader::Bytes &bytes);
    void Restart(); // as if its supply had been cut

  private:
    std::string swiped_;
};
