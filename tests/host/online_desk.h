// The desk on which whole online transactions run: a fresh copy of the library, the virtual reader
// with cards that have keys, and the virtual issuer.
#pragma once

#include <stdexcept>

#include "host/online_host.h"
#include "vreader/virtual_reader.h"

namespace testing_support
{

struct OnlineDesk : OnlineHost
{
    vreader::RunningReader *reader = nullptr;

    OnlineDesk(Family chosenFamily, const std::string &framing)
        : OnlineHost(chosenFamily, WithSetting(ShippedConfig(), "Iccmd", framing), 3, "")
    {
        vreader::ReaderOptions options;
        options.profile = "online";
        std::string error;
        reader = vreader::StartReader(options, &error);
        if (reader == nullptr)
            throw std::runtime_error("no virtual reader: " + error);
        CPP_CALL(library, GSetComName, "_Z11GSetComNameiPKc")
        (3, vreader::TerminalName(reader).c_str());
        name = vreader::TerminalName(reader).substr(strlen("/dev/"));
        Open();
    }
    ~OnlineDesk()
    {
        CALL(library, BO_Close)();
        vreader::StopReader(reader);
    }
    OnlineDesk(const OnlineDesk &) = delete;
    OnlineDesk &operator=(const OnlineDesk &) = delete;

    void Control(const std::string &line) const
    {
        ASSERT_EQ("ok", vreader::Control(reader, line).substr(0, 2)) << line;
    }
    // Puts one of the profile's cards in place.
    void Lay(const std::string &card, const std::string &cardPan)
    {
        contactless = card.find("contactless") != std::string::npos ||
                      card.find("one-step") != std::string::npos;
        pan = cardPan;
        Control(std::string("swap ") + (contactless ? "contactless " : "contact ") + card);
    }
};

} // namespace testing_support
