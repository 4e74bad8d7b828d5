// The arguments, understood and checked.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tool
{

struct Options
{
    std::string port = "USB"; // "USB" or a device path
    int baud = 9600;
    int timeoutSeconds = 10; // 0: no limit
    uint32_t slot = 0;
    bool json = false;
    bool mask = false;
    int mode = 0;                    // 0 contact, 1 contactless, 2 whichever comes
    std::string letters;             // ic info
    std::vector<std::string> apdus;  // ic apdu
    uint32_t beep[3] = {50, 1, 1};   // beep
    int code = 0;                    // error
    std::string section, key, value; // config; an empty key is "all settings"
};

} // namespace tool
