// The settings file: any file, any names; a write changes one entry and nothing else.
#include <filesystem>

#include "fuzz/support/room.h"
#include "fuzz/support/world.h"
#include "vantor/support.h"

namespace
{

using fuzz::Bytes;
using fuzz::Room;

const std::string &Path()
{
    static const std::string path = fuzz::ScratchFile("settings/config.ini");
    return path;
}

void Read(Room *section, Room *key, Room *otherwise)
{
    Room value(256, 0), text(256, 0);
    FUZZ_CHECK(_IniReadValue(section->Text(), key->Text(), otherwise->Text(), value.Text(),
                             Path().c_str()) == 0);
    value.TextLength();
    FUZZ_CHECK(GGetConfigString(section->Text(), key->Text(), otherwise->Text(), text.Text(), 1) ==
               0);
    FUZZ_CHECK(std::strcmp(value.Text(), text.Text()) == 0);
    int number = 0;
    FUZZ_CHECK(GGetConfigInt(section->Text(), key->Text(), 7, &number) == 0);
}

// `after` is `before` with one line of at most 255 bytes in the place of "key=value".
bool IsReplacement(const Bytes &before, const Bytes &after, const std::string &entry)
{
    if (before == after)
        return true;
    if (after.size() < entry.size())
        return false;
    for (size_t at = 0; at + entry.size() <= after.size() && at <= before.size(); at++)
    {
        const size_t behind = after.size() - at - entry.size();
        if (behind <= before.size() - at && before.size() - at - behind <= 255 &&
            std::memcmp(after.data() + at, entry.data(), entry.size()) == 0 &&
            std::equal(before.begin(), before.begin() + static_cast<long>(at), after.begin()) &&
            std::equal(before.end() - static_cast<long>(behind), before.end(),
                       after.end() - static_cast<long>(behind)))
            return true;
    }
    return false;
}

void Write(Room *section, Room *key, Room *value, const Bytes &before)
{
    FUZZ_CHECK(_IniWriteValue(section->Text(), key->Text(), value->Text(), Path().c_str()) == 0);
    const Bytes after = fuzz::ReadScratch(Path());
    const std::string cut = std::string(value->Text()).substr(0, 255);
    const std::string entry = std::string(key->Text()) + "=" + cut + "\n";
    FUZZ_CHECK(IsReplacement(before, after, entry));
    // Nothing is left beside the file.
    const auto directory = std::filesystem::path(Path()).parent_path();
    FUZZ_CHECK(std::distance(std::filesystem::directory_iterator(directory), {}) == 1);
    if (before == after)
        return;
    Room again(256, 0);
    FUZZ_CHECK(_IniReadValue(section->Text(), key->Text(), "", again.Text(), Path().c_str()) == 0);
    again.TextLength();
}

} // namespace

// Section, key, value, then the file.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::Input input{data, size};
    Room section(input.Text()), key(input.Text()), value(input.Text());
    const Bytes file = input.Rest();
    static const bool made =
        std::filesystem::create_directory(std::filesystem::path(Path()).parent_path());
    FUZZ_CHECK(made);
    fuzz::WriteScratch(Path(), file.data(), file.size());
    GSetConfigFilePath(Path().c_str());
    Read(&section, &key, &value);
    Write(&section, &key, &value, file);
    return 0;
}
