// What the tests of memory cards from end to end have in common: a host, and a virtual reader whose
// profile says which card lies on the antenna.
#pragma once

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "host/scripted_reader.h"
#include "vreader/virtual_reader.h"

// The M0 calls have C++ symbols.
#define M0_READ(library) CPP_CALL(library, BO_M0Read, "_Z9BO_M0ReadiiiPc")
#define M0_WRITE(library) CPP_CALL(library, BO_M0Write, "_Z10BO_M0WriteiPKc")
#define M0_POWER_ON(library) CPP_CALL(library, BO_M0PowerOn, "_Z12BO_M0PowerOniPcPii")
#define M0_POWER_OFF(library) CPP_CALL(library, BO_M0PowerOff, "_Z13BO_M0PowerOffv")
#define M0_VERIFY_KEY(library) CPP_CALL(library, BO_M0VerifyKey, "_Z14BO_M0VerifyKeyiPKc")
#define M0_DOWN_KEY(library) CPP_CALL(library, BO_M0DownKey, "_Z12BO_M0DownKeyiPKc")

namespace testing_support
{

inline const char kDeliveryKey[] = "49454D4B41455242214E4143554F5946";
inline const char kOtherKey[] = "000102030405060708090A0B0C0D0E0F";

// A host with its own library, and a virtual reader at the other end of serial port 3.
struct Round
{
    HostLibrary library;
    vreader::RunningReader *reader;

    // A built-in profile's name, or a profile's text.
    explicit Round(const std::string &profile, const std::string &framing = "0")
        : library(Config("Iccmd", framing))
    {
        vreader::ReaderOptions options;
        (profile[0] == '{' ? options.profileText : options.profile) = profile;
        std::string error;
        reader = vreader::StartReader(options, &error);
        if (reader == nullptr)
            throw std::runtime_error(error);
        CPP_CALL(library, GSetComName, "_Z11GSetComNameiPKc")
        (3, vreader::TerminalName(reader).c_str());
        EXPECT_EQ(0, CALL(library, BO_Open)(3, 9600, 0));
    }
    ~Round()
    {
        CALL(library, BO_Close)();
        vreader::StopReader(reader);
    }
    Round(const Round &) = delete;
    Round &operator=(const Round &) = delete;

    std::string Control(const std::string &line) const
    {
        return vreader::Control(reader, line);
    }
    // What lies on the antenna, all of it.
    nlohmann::json Memory() const
    {
        return nlohmann::json::parse(Control("memory").substr(3));
    }

    // ---- M1 ----

    std::string PowerUp() const
    {
        char text[64] = {};
        int32_t length = 0;
        EXPECT_EQ(0, CALL(library, BO_M1Powerup)(sizeof text, text, &length, 1));
        return std::string(text, static_cast<size_t>(length));
    }
    int Verify(int sector, int keyType, const std::string &key) const
    {
        return CALL(library, BO_M1Verify)(sector, keyType, key.c_str());
    }
    // The text, or the result in brackets.
    std::string ReadBlock(int block) const
    {
        char text[64] = {};
        const int result = CALL(library, BO_M1ReadBlock)(block, 33, text);
        return result == 0 ? text : "[" + std::to_string(result) + "]";
    }
    std::string ReadValue(int block) const
    {
        char text[64] = {};
        const int result = CALL(library, BO_M1Read)(block, 9, text);
        return result == 0 ? text : "[" + std::to_string(result) + "]";
    }
    int WriteBlock(int block, const std::string &data) const
    {
        return CALL(library, BO_M1WriteBlock)(block, data.c_str());
    }

    // ---- M0 ----

    std::string PowerOnM0() const
    {
        char text[64] = {};
        int32_t length = 0;
        EXPECT_EQ(0, M0_POWER_ON(library)(sizeof text, text, &length, 1));
        return std::string(text, static_cast<size_t>(length));
    }
    std::string ReadPages(int page, int count) const
    {
        char text[512 + 1] = {}; // a text that fills its room has no NUL
        const int result = M0_READ(library)(page, count, sizeof text - 1, text);
        return result == 0 ? text : "[" + std::to_string(result) + "]";
    }
};

} // namespace testing_support
