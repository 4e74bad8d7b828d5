// A host with a reader that is asked for identity cards, and the four calls that read one.
#pragma once

#include <cstring>
#include <string>
#include <vector>

#include "host/scripted_reader.h"
#include "support/identity_card.h"

namespace testing_support
{

// The exchanges of a read, one step behind the other.
struct IdentityReader : ScriptedReader
{
    explicit IdentityReader(const std::string &configIni = ShippedConfig())
        : ScriptedReader(configIni)
    {
    }
    IdentityReader &Sequence(const std::string &bytes)
    {
        script.rows.push_back({bytes, ""});
        return *this;
    }
    IdentityReader &Switch()
    {
        return Sequence(ESC "$S0");
    }
    IdentityReader &Back()
    {
        return Sequence(ESC "$B0");
    }
    IdentityReader &Exchange(const char *command, const std::string &payload)
    {
        script.rows.push_back({IdentityFrame(FromHex(command)), IdentityFrame(payload)});
        return *this;
    }
    IdentityReader &Reset(const char *status = "000090")
    {
        return Exchange("11FF", FromHex(status));
    }
    IdentityReader &Find(const char *status = "00009F")
    {
        return Exchange("2001", FromHex(status));
    }
    IdentityReader &Select(const char *status = "000090")
    {
        return Exchange("2002", FromHex(status));
    }
    IdentityReader &ReadFp(const std::string &payload)
    {
        return Exchange("3010", payload);
    }
    IdentityReader &Read(const std::string &payload)
    {
        return Exchange("3001", payload);
    }
    IdentityReader &WholeRead(const IdentityCard &card)
    {
        return Switch().Reset().Find().Select().ReadFp(card.PayloadWithFingerprint()).Back();
    }
};

enum class Call
{
    kPlain,
    kPic,
    kFb,
    kVariant
};

struct Given
{
    int result = 0;
    std::string text; // as far as the host's own characters
    uint32_t length = 77;
};

struct Arguments
{
    const char *path = nullptr;
    int timeoutSeconds = 5;
    int capacity = 4096;
};

inline Given Make(Call call, const HostLibrary &library, const Arguments &arguments = {})
{
    Given given;
    std::vector<char> info(4097, '#');
    info[4096] = '\0';
    const char *path = arguments.path;
    const int seconds = arguments.timeoutSeconds;
    if (call == Call::kPlain)
        given.result = CALL(library, BO_ReadIdInfo)(path, 99, info.data(), &given.length, nullptr,
                                                    0, nullptr, nullptr, seconds);
    else if (call == Call::kPic)
        given.result =
            CALL(library, BO_ReadIdInfo_Pic)(path, 99, info.data(), &given.length, seconds);
    else if (call == Call::kFb)
        given.result =
            CALL(library, BO_ReadIdInfo_Pic_FB)(path, "face.bmp", nullptr, "card.bmp", info.data(),
                                                &given.length, nullptr, nullptr, seconds);
    else
        given.result = CALL(library, BO_ReadIdInfo_Pic_YC)(path, "face.bmp", "back.bmp", nullptr,
                                                           arguments.capacity, info.data(),
                                                           &given.length, seconds);
    const size_t end = std::string(info.data()).find('#');
    given.text = std::string(info.data(), end == std::string::npos ? strlen(info.data()) : end);
    return given;
}

inline const Call kCalls[] = {Call::kPlain, Call::kPic, Call::kFb, Call::kVariant};

inline uint32_t BaudOf(const HostLibrary &library)
{
    return VARIABLE(library, context).parameters.com.comBaud;
}

} // namespace testing_support
