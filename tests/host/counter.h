// A host application at a counter: its own copy of the library, opened on a virtual reader.
#pragma once

#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <iconv.h>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/host_library.h"
#include "vreader/virtual_reader.h"

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

// A built-in profile with keys of its own put into its "reader".
inline std::string ProfileText(const std::string &name, const std::string &readerKeys)
{
    std::string text = ReadFile(VANTOR_SOURCE_DIR "/vreader/profiles/" + name + ".json");
    const std::string place = "\"serial\": \"VIRTUAL-0001\"";
    const size_t at = text.find(place);
    EXPECT_NE(at, std::string::npos);
    return text.insert(at + place.size(), ", " + readerKeys);
}

struct Counter
{
    HostLibrary library;
    vreader::RunningReader *reader = nullptr;
    std::mutex traceLock;
    std::string trace;

    // A built-in profile ("" is the default one).
    explicit Counter(const std::string &profile, const std::string &configIni = ShippedConfig(),
                     const std::string &readerKeys = "",
                     const std::function<void(const std::string &)> &watch = nullptr)
        : library(configIni)
    {
        vreader::ReaderOptions options;
        if (readerKeys.empty())
            options.profile = profile;
        else
            options.profileText = ProfileText(profile, readerKeys);
        options.trace = [this, watch](const std::string &line)
        {
            {
                const std::lock_guard<std::mutex> hold(traceLock);
                trace += line + "\n";
            }
            if (watch)
                watch(line);
        };
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

    std::string Trace()
    {
        const std::lock_guard<std::mutex> hold(traceLock);
        return trace;
    }

    // The reader's information is asked for at the line's usual speed.
    bool AnswersAt9600() const
    {
        unsigned char information[256] = {};
        uint32_t length = 0;
        return CALL(library, BO_GetDevInfo)(0, information, &length) == 0 &&
               Control("info").find("\"baud\":9600") != std::string::npos;
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
