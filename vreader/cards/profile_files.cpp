#include "vreader/cards/profile_files.h"

#include <filesystem>
#include <fstream>

namespace vreader
{

namespace
{

constexpr std::uintmax_t kLargestFile = 16u * 1024 * 1024;

const EmbeddedFile *g_embeddedFiles = nullptr;
size_t g_embeddedFileCount = 0;

std::optional<std::string> ReadRegularFile(const std::filesystem::path &path)
{
    // A profile may name a pipe or a device, whose reading would never end.
    std::error_code problem;
    if (!std::filesystem::is_regular_file(path, problem))
        return std::nullopt;
    const std::uintmax_t size = std::filesystem::file_size(path, problem);
    if (problem || size > kLargestFile)
        return std::nullopt;
    std::ifstream file(path, std::ios::binary);
    std::string contents(static_cast<size_t>(size), '\0');
    if (!file.read(contents.data(), static_cast<std::streamsize>(size)))
        return std::nullopt;
    return contents;
}

} // namespace

void RegisterEmbeddedFiles(const EmbeddedFile *files, size_t count)
{
    g_embeddedFiles = files;
    g_embeddedFileCount = count;
}

std::optional<std::string> ReadProfileFile(const std::string &directory, const std::string &name)
{
    if (name.empty() || name.find('\0') != std::string::npos)
        return std::nullopt;
    const std::filesystem::path path(name);
    if (path.is_absolute())
        return ReadRegularFile(path);
    if (!directory.empty())
    {
        if (auto contents = ReadRegularFile(std::filesystem::path(directory) / path))
            return contents;
    }
    for (size_t i = 0; i < g_embeddedFileCount; ++i)
    {
        if (name == g_embeddedFiles[i].name)
            return std::string(g_embeddedFiles[i].data, g_embeddedFiles[i].size);
    }
    return std::nullopt;
}

} // namespace vreader
