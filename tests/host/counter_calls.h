// The calls of a counter application, on a copy of the library of its own.
#pragma once

#include <cstring>
#include <gtest/gtest.h>
#include <iconv.h>
#include <string>

#include "support/host_library.h"

namespace testing_support
{

enum class IdentityCall
{
    kPlain,
    kPic,
    kFb,
    kVariant
};

struct IdentityResult
{
    int result = 0;
    std::string bytes; // as the call gave them
    std::string utf8;
    uint32_t length = 77;
    int32_t longTermFlag = 7;
};

struct StripeResult
{
    int result = 0;
    std::string one, two, three;
    std::string lengths;
};

// By the system's converter, which knows nothing of the library's tables.
inline std::string Utf8(std::string gb18030)
{
    iconv_t converter = iconv_open("UTF-8", "GB18030");
    std::string text(gb18030.size() * 4, '\0');
    char *from = gb18030.data();
    char *to = text.data();
    size_t fromLeft = gb18030.size();
    size_t toLeft = text.size();
    const size_t failed = iconv(converter, &from, &fromLeft, &to, &toLeft);
    iconv_close(converter);
    if (failed != 0)
        return "no GB18030";
    text.resize(text.size() - toLeft);
    return text;
}

struct CounterCalls
{
    HostLibrary library;

    explicit CounterCalls(const std::string &configIni) : library(configIni)
    {
    }

    IdentityResult Read(IdentityCall call, const char *photo = nullptr, int timeoutSeconds = 5)
    {
        IdentityResult read;
        char info[1024] = {};
        uint32_t *const length = &read.length;
        if (call == IdentityCall::kPlain)
            read.result = CALL(library, BO_ReadIdInfo)(photo, 0, info, length, &read.longTermFlag,
                                                       0, nullptr, nullptr, timeoutSeconds);
        else if (call == IdentityCall::kPic)
            read.result = CALL(library, BO_ReadIdInfo_Pic)(photo, 0, info, length, timeoutSeconds);
        else if (call == IdentityCall::kFb)
            read.result = CALL(library, BO_ReadIdInfo_Pic_FB)(
                photo, nullptr, nullptr, nullptr, info, length, nullptr, nullptr, timeoutSeconds);
        else
            read.result = CALL(library, BO_ReadIdInfo_Pic_YC)(
                photo, nullptr, nullptr, nullptr, sizeof info, info, length, timeoutSeconds);
        read.bytes.assign(info, strnlen(info, sizeof info));
        if (!read.bytes.empty())
        {
            EXPECT_EQ(read.length, read.bytes.size());
        }
        read.utf8 = Utf8(read.bytes);
        return read;
    }

    StripeResult Swipe(uint32_t mode, int timeoutSeconds = 5) const
    {
        char tracks[3][256] = {};
        uint32_t lengths[3] = {7, 7, 7};
        StripeResult read;
        read.result = CALL(library, BO_ReadMagCard)(
            0, mode, sizeof tracks[0], tracks[0], &lengths[0], sizeof tracks[1], tracks[1],
            &lengths[1], sizeof tracks[2], tracks[2], &lengths[2], timeoutSeconds);
        read.one.assign(tracks[0], strnlen(tracks[0], sizeof tracks[0]));
        read.two.assign(tracks[1], strnlen(tracks[1], sizeof tracks[1]));
        read.three.assign(tracks[2], strnlen(tracks[2], sizeof tracks[2]));
        read.lengths = std::to_string(lengths[0]) + " " + std::to_string(lengths[1]) + " " +
                       std::to_string(lengths[2]);
        return read;
    }

    int Write(const char *track2, const char *track3, int timeoutSeconds = 5) const
    {
        return CALL(library, BO_WriteMagCard)(0, 0, 0, track2, 0, track3, 0, timeoutSeconds);
    }
};

} // namespace testing_support
