// Runs a target over files: every file named, and every file in the directories named. What
// libFuzzer has found or was given to begin with is so part of every test run.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);
// A target may have something to prepare.
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int *count, char ***arguments);

namespace
{

std::set<std::string> FilesOf(const std::string &path)
{
    std::set<std::string> files;
    if (!std::filesystem::is_directory(path))
        files.insert(path);
    else
        for (const auto &entry : std::filesystem::directory_iterator(path))
            if (entry.is_regular_file())
                files.insert(entry.path().string());
    return files;
}

// On the heap in its exact size, so that a sanitizer sees the first byte read behind it.
bool RunFile(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file)
    {
        std::fprintf(stderr, "cannot read %s\n", path.c_str());
        return false;
    }
    const std::vector<char> bytes((std::istreambuf_iterator<char>(file)), {});
    const std::unique_ptr<uint8_t[]> copy(new uint8_t[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), copy.get());
    std::printf("%s\n", path.c_str());
    std::fflush(stdout); // so that the last line names the file that ends the program
    LLVMFuzzerTestOneInput(copy.get(), bytes.size());
    return true;
}

} // namespace

int main(int count, char **arguments)
{
    if (LLVMFuzzerInitialize != nullptr)
        LLVMFuzzerInitialize(&count, &arguments);
    size_t ran = 0;
    bool good = true;
    for (int i = 1; i < count; i++)
        for (const std::string &path : FilesOf(arguments[i]))
        {
            good = RunFile(path) && good;
            ran++;
        }
    std::printf("%zu inputs\n", ran);
    return good && ran > 0 ? 0 : 1; // an empty corpus tests nothing
}
