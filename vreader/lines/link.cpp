#include "vreader/lines/link.h"

#include <filesystem>

namespace vreader
{

namespace
{

namespace fs = std::filesystem;

std::string TargetOf(const std::string &path)
{
    std::error_code problem;
    return fs::read_symlink(path, problem).string();
}

} // namespace

bool MakeLink(const std::string &path, const std::string &target, std::string *error)
{
    std::error_code problem;
    if (fs::symlink_status(path, problem).type() != fs::file_type::not_found)
    {
        if (TargetOf(path).rfind("/dev/pts/", 0) != 0)
        {
            *error = "link " + path + ": exists and is no link to a terminal";
            return false;
        }
        fs::remove(path, problem);
    }
    fs::create_symlink(target, path, problem);
    if (problem)
        *error = "link " + path + ": " + problem.message();
    return !problem;
}

void RemoveLink(const std::string &path, const std::string &target)
{
    std::error_code problem;
    if (TargetOf(path) == target)
        fs::remove(path, problem);
}

} // namespace vreader
