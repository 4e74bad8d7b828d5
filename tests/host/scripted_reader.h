// A host application with its own copy of the library, and a reader that is a scripted line.
#pragma once

#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "support/host_library.h"
#include "support/log_messages.h"
#include "support/reader_script.h"

namespace testing_support
{

struct ScriptedReader
{
    HostLibrary library;
    ReaderScript script;
    std::unique_ptr<GoldenLine> line;

    explicit ScriptedReader(const std::string &configIni = ShippedConfig()) : library(configIni)
    {
        script.united = configIni.find("\nIccmd=1") != std::string::npos;
    }
    ~ScriptedReader()
    {
        if (line)
            line->Finish();
    }

    // Puts the scripted line on serial port 3.
    void Plug()
    {
        line = std::make_unique<GoldenLine>(script.rows);
        CPP_CALL(library, GSetComName, "_Z11GSetComNameiPKc")(3, line->path.c_str());
    }
    void PlugAndOpen()
    {
        Plug();
        ASSERT_EQ(0, CALL(library, BO_Open)(3, 9600, 0));
    }
    // Everything that was to go over the line has; nothing else did.
    void Finish()
    {
        line->Finish();
    }
    std::string Log() const
    {
        return LogMessages(library.Log());
    }
    // The log without the lines of the link and of the APDUs.
    std::string BusinessLog() const
    {
        std::string kept;
        const std::string log = Log();
        for (size_t start = 0; start < log.size();)
        {
            const size_t end = log.find("\r\n", start) + 2;
            const std::string message = log.substr(start, end - start);
            bool wanted = true;
            for (const char *noise :
                 {"Info:Send ", "Info:Read Pack", "Info:Cmd:", "Info:PBOC_IcAPDU",
                  "Info:LoadLibrary", "Info:iBaud", "Info:FreeLibrary"})
                wanted = wanted && message.find(noise) != 0;
            if (wanted)
                kept += message;
            start = end;
        }
        return kept;
    }
};

inline std::string Config(const std::string &key, const std::string &value,
                          const std::string &base = ShippedConfig())
{
    return WithSetting(base, key, value);
}

} // namespace testing_support
