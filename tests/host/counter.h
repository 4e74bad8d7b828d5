// A host application at a counter: its own copy of the library, opened on a virtual reader.
#pragma once

#include <functional>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>

#include "host/counter_calls.h"
#include "vreader/virtual_reader.h"

namespace testing_support
{

// A built-in profile with keys of its own put into its "reader".
inline std::string ProfileText(const std::string &name, const std::string &readerKeys)
{
    std::string text = ReadFile(VANTOR_SOURCE_DIR "/vreader/profiles/" + name + ".json");
    const std::string place = "\"serial\": \"VIRTUAL-0001\"";
    const size_t at = text.find(place);
    EXPECT_NE(at, std::string::npos);
    return text.insert(at + place.size(), ", " + readerKeys);
}

struct Counter : CounterCalls
{
    vreader::RunningReader *reader = nullptr;

    // A built-in profile ("" is the default one).
    explicit Counter(const std::string &profile, const std::string &configIni = ShippedConfig(),
                     const std::string &readerKeys = "",
                     const std::function<void(const std::string &)> &watch = nullptr)
        : CounterCalls(configIni)
    {
        vreader::ReaderOptions options;
        if (readerKeys.empty())
            options.profile = profile;
        else
            options.profileText = ProfileText(profile, readerKeys);
        options.trace = watch;
        std::string error;
        reader = vreader::StartReader(options, &error);
        if (reader == nullptr)
            throw std::runtime_error("no virtual reader: " + error);
        EXPECT_EQ(Open(), 0);
    }
    ~Counter()
    {
        CALL(library, BO_Close)();
        vreader::StopReader(reader);
    }
    Counter(const Counter &) = delete;
    Counter &operator=(const Counter &) = delete;

    int Open() const
    {
        CPP_CALL(library, GSetComName, "_Z11GSetComNameiPKc")
        (3, vreader::TerminalName(reader).c_str());
        return CALL(library, BO_Open)(3, 9600, '0');
    }

    std::string Control(const std::string &line) const
    {
        const std::string answer = vreader::Control(reader, line);
        EXPECT_EQ(answer.substr(0, 2), "ok") << line << ": " << answer;
        return answer;
    }

    int Exchanges() const
    {
        return std::stoi(Control("exchanges").substr(3));
    }

    // Everything up to the last answer that the host has had; what is shown to `watch` comes later.
    std::string Trace() const
    {
        return Control("trace");
    }

    // The reader's information is asked for at the line's usual speed.
    bool AnswersAt9600() const
    {
        unsigned char information[256] = {};
        uint32_t length = 0;
        return CALL(library, BO_GetDevInfo)(0, information, &length) == 0 &&
               Control("info").find("\"baud\":9600") != std::string::npos;
    }
};

} // namespace testing_support
