// A card behind a scripted line, as the tests of the PBOC commands use it.
#pragma once

#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "support/log_capture.h"
#include "support/pboc_data.h"
#include "support/reader_script.h"
#include "support/scratch.h"
#include "vantor/link.h"
#include "vantor/pboc.h"
#include "vantor/support.h"

namespace wire_testing
{

// The line, and an area that shows what a call left alone.
struct Card : testing::Test
{
    testing_support::Scratch directory;
    testing_support::LogCapture log{0};
    testing_support::ReaderScript script;
    std::unique_ptr<testing_support::GoldenLine> line;
    DEVCONTEXT device{};
    uint8_t area[VANTOR_PBOC_AREA_SIZE + 1];
    int32_t length = -7;

    Card()
    {
        memset(area, 0xEE, sizeof area);
    }

    void Insert()
    {
        testing_support::WriteFile(directory.path + "/config.ini", std::string("[devcfg]\nIccmd=") +
                                                                       (script.united ? "1" : "0") +
                                                                       "\n");
        GSetConfigFilePath((directory.path + "/config.ini").c_str());
        line = std::make_unique<testing_support::GoldenLine>(script.rows);
        GSetComName(3, line->path.c_str());
        ASSERT_EQ(0, Vantor_Open(&device, 3, 9600, 0));
    }

    ~Card() override
    {
        if (line)
            line->Finish();
        Vantor_Close(&device);
    }

    int Send(const std::string &commandHex, int cardType = 0)
    {
        Insert();
        std::vector<uint8_t> command = testing_support::BytesOf(commandHex);
        const int size = static_cast<int>(command.size());
        command.resize(command.size() < 5 ? 5 : command.size());
        const int result = PBOC_IcAPDU(&device, cardType, command.data(), size, area, &length);
        line->Finish();
        return result;
    }

    std::string Given() const
    {
        return length < 0 ? "untouched" : testing_support::HexOf(area, static_cast<size_t>(length));
    }
};

inline std::string Bytes(int count, const char *byte = "11")
{
    std::string hex;
    for (int i = 0; i < count; i++)
        hex += byte;
    return hex;
}

} // namespace wire_testing
