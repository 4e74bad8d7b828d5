// The checks of the memory card commands.
#include <cerrno>
#include <climits>
#include <cstdlib>

#include "arguments.h"
#include "memory_session.h"
#include "memory_text.h"
#include "presentation.h"

namespace tool
{

static bool ToNumber(const std::string &text, long least, long most, long *number)
{
    char *end = nullptr;
    errno = 0;
    *number = strtol(text.c_str(), &end, 10);
    return !text.empty() && *end == '\0' && errno == 0 && *number >= least && *number <= most;
}

// Hexadecimal digits, or a text that is filled with zero bytes.
static std::string CheckData(Arguments *arguments, size_t bytes)
{
    const MemoryArguments &given = arguments->memory;
    std::string *data = &arguments->options.memory.data;
    const std::string size = std::to_string(bytes);
    if (given.data.empty() != given.text.has_value())
        return "give the data either as " + size + " bytes in hexadecimal digits or with --text";
    if (!given.text)
        return ToDigits(given.data, bytes, data)
                   ? ""
                   : "the data must be " + size + " bytes in hexadecimal digits, not \"" +
                         given.data + "\"";
    if (given.text->size() > bytes)
        return "--text takes at most " + size + " bytes";
    std::string text = *given.text;
    text.resize(bytes, '\0');
    *data = Hex(text);
    return "";
}

// ---- Mifare Classic ----

static const char kNewCardKey[] = "FFFFFFFFFFFF";

static std::string AddKeys(const std::vector<std::string> &given, int type,
                           std::vector<MemoryKey> *keys)
{
    for (const std::string &text : given)
    {
        MemoryKey key;
        key.type = type;
        if (!ToDigits(text, 6, &key.key))
            return std::string(type == kKeyA ? "--key" : "--key-b") +
                   " takes six bytes in hexadecimal digits, not \"" + text + "\"";
        keys->push_back(key);
    }
    return "";
}

static std::string CheckM1Keys(Arguments *arguments)
{
    const MemoryArguments &given = arguments->memory;
    std::vector<MemoryKey> *keys = &arguments->options.memory.keys;
    std::string wrong = AddKeys(given.keys, kKeyA, keys);
    if (wrong.empty())
        wrong = AddKeys(given.keysB, kKeyB, keys);
    if (wrong.empty() && !given.keyFile.empty())
    {
        std::string text;
        wrong = ReadScript(given.keyFile, &text) ? ReadKeys(text, keys)
                                                 : "cannot read the key file " + given.keyFile;
    }
    if (keys->empty() && given.keyFile.empty())
        keys->push_back({kAnySector, kKeyA, kNewCardKey});
    return wrong;
}

static std::string CheckBlock(Arguments *arguments)
{
    long block = 0;
    if (!ToNumber(arguments->memory.place, 0, 255, &block))
        return "the block is a number from 0 to 255, not \"" + arguments->memory.place + "\"";
    arguments->options.memory.block = static_cast<int>(block);
    return CheckM1Keys(arguments);
}

std::string CheckM1Read(Arguments *arguments)
{
    const std::string wrong = CheckBlock(arguments);
    const MemoryOptions &memory = arguments->options.memory;
    return wrong.empty() && memory.block + memory.count > 256 ? "the last block is 255" : wrong;
}

std::string CheckM1Write(Arguments *arguments)
{
    std::string wrong = CheckBlock(arguments);
    if (wrong.empty())
        wrong = CheckData(arguments, kBlockSize);
    if (!wrong.empty())
        return wrong;
    const MemoryOptions &memory = arguments->options.memory;
    if (IsTrailer(memory.block) && !HasSoundAccessBits(Bytes(memory.data)))
        return "the access bits (bytes 7 to 9) contradict each other: they would lock the sector "
               "for ever";
    return CheckConfirmation(memory.yes, BlockWarning(memory.block));
}

std::string CheckM1Value(Arguments *arguments)
{
    const std::string wrong = CheckBlock(arguments);
    const std::string &text = arguments->memory.value;
    if (!wrong.empty() || text.empty())
        return wrong;
    long value = 0;
    if (!ToNumber(text, INT32_MIN, INT32_MAX, &value))
        return "--set takes a number from -2147483648 to 2147483647, not \"" + text + "\"";
    MemoryOptions &memory = arguments->options.memory;
    memory.value = static_cast<int32_t>(value);
    return IsTrailer(memory.block) ? "block " + std::to_string(memory.block) +
                                         " is a sector's trailer and holds no value"
                                   : "";
}

std::string CheckM1Amount(Arguments *arguments)
{
    const std::string wrong = CheckBlock(arguments);
    if (!wrong.empty())
        return wrong;
    long amount = 0;
    if (!ToNumber(arguments->memory.amount, 1, INT32_MAX, &amount))
        return "the amount is a number from 1 to 2147483647, not \"" + arguments->memory.amount +
               "\"";
    arguments->options.memory.amount = static_cast<int>(amount);
    return "";
}

std::string CheckM1Dump(Arguments *arguments)
{
    return CheckM1Keys(arguments);
}

// ---- Ultralight C ----

static const char kNewUltralightKey[] = "49454D4B41455242214E4143554F5946";

std::string CheckM0Dump(Arguments *arguments)
{
    const std::vector<std::string> &keys = arguments->memory.keys;
    if (!keys.empty() &&
        !ToDigits(keys.front(), kUltralightKeySize, &arguments->options.memory.key))
        return "--key takes 16 bytes in hexadecimal digits, not \"" + keys.front() + "\"";
    return "";
}

std::string CheckM0Key(Arguments *arguments)
{
    const std::string wrong = CheckM0Dump(arguments);
    if (arguments->memory.keys.empty())
        arguments->options.memory.key = kNewUltralightKey;
    return wrong;
}

static std::string CheckPage(Arguments *arguments)
{
    const auto page = PageNumber(arguments->memory.place);
    if (!page)
        return "the page is a hexadecimal number from 00 to 2F, not \"" + arguments->memory.place +
               "\"";
    arguments->options.memory.block = *page;
    return CheckM0Dump(arguments);
}

std::string CheckM0Read(Arguments *arguments)
{
    const std::string wrong = CheckPage(arguments);
    const MemoryOptions &memory = arguments->options.memory;
    if (!wrong.empty() || memory.block + memory.count - 1 <= kLastReadablePage)
        return wrong;
    return "the last page that can be read is 2B; 2C to 2F hold the key";
}

std::string CheckM0Write(Arguments *arguments)
{
    std::string wrong = CheckPage(arguments);
    if (wrong.empty())
        wrong = CheckData(arguments, kPageSize);
    const MemoryOptions &memory = arguments->options.memory;
    return wrong.empty() ? CheckConfirmation(memory.yes, PageWarning(memory.block)) : wrong;
}

std::string CheckM0SetKey(Arguments *arguments)
{
    const std::string wrong = CheckM0Dump(arguments);
    if (!wrong.empty())
        return wrong;
    if (!ToDigits(arguments->memory.newKey, kUltralightKeySize, &arguments->options.memory.newKey))
        return "the new key must be 16 bytes in hexadecimal digits";
    return CheckConfirmation(arguments->options.memory.yes, NewKeyWarning());
}

} // namespace tool
