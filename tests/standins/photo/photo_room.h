// A working directory of its own for one test, with the libraries for photos that the test puts
// there.
#pragma once

#include <filesystem>
#include <string>

#include "support/scratch.h"

namespace testing_support
{

struct PhotoRoom
{
    Scratch directory;
    std::filesystem::path before = std::filesystem::current_path();

    PhotoRoom()
    {
        std::filesystem::current_path(directory.path);
    }
    ~PhotoRoom()
    {
        std::filesystem::current_path(before);
    }
    PhotoRoom(const PhotoRoom &) = delete;
    PhotoRoom &operator=(const PhotoRoom &) = delete;

    // Puts a stand-in ("libwlt.so", "libfailing_wlt.so") there under the name it is asked for.
    void Decoder(const std::string &standin = "libwlt.so") const
    {
        std::filesystem::copy_file(VANTOR_STANDINS "/" + standin, "libwlt.so");
    }
    void Converter(const std::string &standin) const
    {
        std::filesystem::copy_file(VANTOR_STANDINS "/" + standin, "libPicConvert.so");
    }
    // The companion, which is no stand-in.
    void RealConverter() const
    {
        const std::filesystem::path library = VANTOR_LIBRARY;
        std::filesystem::copy_file(library.parent_path() / "libPicConvert.so", "libPicConvert.so");
    }
};

} // namespace testing_support
