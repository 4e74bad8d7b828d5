// Mifare Classic cards.
//
// The library's M1_ functions are used beside its BO_ calls: those cannot reach sector 0 and block
// 0, and cannot carry a key with a zero byte.
#include "commands.h"

#include <array>
#include <cstring>

#include "memory_session.h"
#include "memory_text.h"
#include "presentation.h"
#include "session.h"
#include "vantor.h"

namespace tool
{

static const int kKeyRefused = -5003;
static const int kReadRefused = -5004;

static bool PowerOnAgain()
{
    unsigned char identification[256];
    uint32_t length = 0;
    M1_PowerOff(&context, kCardTimeoutMs);
    return M1_PowerOn(&context, identification, &length, kCardTimeoutMs) == 0;
}

static const MemoryCardClass kCardClass = {"BO_M1Powerup", BO_M1Powerup, BO_M1Powerdown,
                                           PowerOnAgain};

// ---- Keys ----

// The library takes a key as a text. Six bytes are what a reader expects; with a zero byte among
// them the key goes as twelve digits.
static int Verify(const Options &options, int sector, const MemoryKey &key)
{
    const std::string bytes = Bytes(key.key);
    const std::string &text = bytes.find('\0') == std::string::npos ? bytes : key.key;
    return BO_GetErrorCode(M1_Verify(&context, sector + options.memory.firstSector, key.type,
                                     text.c_str(), kCardTimeoutMs));
}

static bool Fits(const MemoryKey &key, int sector)
{
    return key.sector == kAnySector || key.sector == sector;
}

static std::string RefusedKeys(const std::string &names, int sector)
{
    return names.empty() ? "there is no key for sector " + std::to_string(sector)
                         : "the card refused key " + names + " of sector " + std::to_string(sector);
}

// Tries the keys that fit, the card powered up again behind each refusal.
static bool Authenticate(const Options &options, Report *report, int sector)
{
    std::string refused;
    for (const MemoryKey &key : options.memory.keys)
    {
        if (!Fits(key, sector))
            continue;
        const int code = Verify(options, sector, key);
        if (code == 0)
        {
            report->result["key"] = KeyName(key.type);
            return true;
        }
        if (code != kKeyRefused)
        {
            Failed(options, report, "M1_Verify", code);
            return false;
        }
        if (!PowerUpAfterRefusal(options, report, kCardClass, "M1_Verify", code))
            return false;
        refused += (refused.empty() ? "" : ", ") + std::string(KeyName(key.type));
    }
    FailWith(options, report, "M1_Verify", kKeyRefused, RefusedKeys(refused, sector),
             "give the right key with --key (A), --key-b or --key-file; the refusal halted the "
             "card, it was powered up again");
    return false;
}

// ---- Single blocks ----

static int ReadBlock(int block, std::string *bytes)
{
    unsigned char out[4096] = {};
    uint32_t length = 0;
    const int code = BO_GetErrorCode(M1_ReadBlock(&context, block, out, &length, kCardTimeoutMs));
    if (code != 0)
        return code;
    bytes->assign(reinterpret_cast<const char *>(out), std::min<size_t>(length, sizeof out));
    return bytes->size() == kBlockSize ? 0 : -1013;
}

static int ReadValue(int block, int32_t *value)
{
    unsigned char out[4096] = {};
    uint32_t length = 0;
    const int code = BO_GetErrorCode(M1_ReadValue(&context, block, out, &length, kCardTimeoutMs));
    if (code != 0)
        return code;
    *value = ValueFromBytes({reinterpret_cast<const char *>(out), sizeof *value});
    return length == sizeof *value ? 0 : -1013;
}

static Json BlockJson(const Options &options, int block, const std::string &bytes)
{
    const Hidden hidden = options.mask ? HiddenInBlock(block) : Hidden{};
    Json json = {{"block", block}, {"data", HexWithout(bytes, hidden)}};
    if (const auto value = ValueOf(bytes))
        json["value"] = *value;
    if (IsTrailer(block))
        json["trailer"] = true;
    return json;
}

static std::string BlockLine(const Options &options, int block, const std::string &bytes)
{
    const std::string number = std::to_string(block);
    const Hidden hidden = options.mask ? HiddenInBlock(block) : Hidden{};
    std::string line = std::string(4 - std::min<size_t>(number.size(), 4), ' ') + number + "  " +
                       HexAndText(bytes, hidden);
    if (IsTrailer(block))
        line += "  trailer";
    else if (const auto value = ValueOf(bytes))
        line += "  value " + std::to_string(*value);
    return line + "\n";
}

void M1Read(const Options &options, Report *report)
{
    WithMemoryCard(options, report, kCardClass,
                   [&](const std::string &)
                   {
                       const MemoryOptions &memory = options.memory;
                       report->result["blocks"] = Json::array();
                       for (int block = memory.block; block < memory.block + memory.count; block++)
                       {
                           const bool isNewSector =
                               block == memory.block || block == FirstBlockOf(SectorOf(block));
                           if (isNewSector && !Authenticate(options, report, SectorOf(block)))
                               return;
                           std::string bytes;
                           const int code = ReadBlock(block, &bytes);
                           if (Failed(options, report, "M1_ReadBlock", code))
                               return;
                           report->result["blocks"].push_back(BlockJson(options, block, bytes));
                           Say(*report, BlockLine(options, block, bytes));
                       }
                   });
}

void M1Write(const Options &options, Report *report)
{
    if (!Confirmed(options, report, BlockWarning(options.memory.block)))
        return;
    WithMemoryCard(options, report, kCardClass,
                   [&](const std::string &)
                   {
                       const int block = options.memory.block;
                       const std::string data = Bytes(options.memory.data);
                       if (!Authenticate(options, report, SectorOf(block)))
                           return;
                       const int code = BO_GetErrorCode(M1_WriteBlock(
                           &context, block, reinterpret_cast<const unsigned char *>(data.data()),
                           static_cast<int>(data.size()), kCardTimeoutMs));
                       if (Failed(options, report, "M1_WriteBlock", code))
                           return;
                       report->result["block"] = block;
                       Say(*report, "block " + std::to_string(block) + " written\n");
                   });
}

// ---- Values ----

static void ShowValue(Report *report, int block, const Json &before, int32_t value)
{
    report->result["block"] = block;
    if (!before.is_null())
        report->result["before"] = before;
    report->result["value"] = value;
    Say(*report, "block " + std::to_string(block) + "  " +
                     (before.is_null() ? "" : before.dump() + " -> ") + std::to_string(value) +
                     "\n");
}

// Reads a value before and after it is changed; `change` is null when it is to be read only.
static void ChangeValue(const Options &options, Report *report, const char *call,
                        int (*change)(const Options &options), bool hasBefore)
{
    WithMemoryCard(options, report, kCardClass,
                   [&](const std::string &)
                   {
                       const int block = options.memory.block;
                       if (!Authenticate(options, report, SectorOf(block)))
                           return;
                       int32_t value = 0;
                       if (hasBefore &&
                           Failed(options, report, "M1_ReadValue", ReadValue(block, &value)))
                           return;
                       const Json before = hasBefore ? Json(value) : Json();
                       if (change != nullptr)
                       {
                           const int code = BO_GetErrorCode(change(options));
                           if (Failed(options, report, call, code))
                               return;
                           report->result["changed"] = true; // also when it is not read back
                       }
                       if (Failed(options, report, "M1_ReadValue", ReadValue(block, &value)))
                           return;
                       ShowValue(report, block, before, value);
                   });
}

static int SetValue(const Options &options)
{
    const std::string bytes = BytesOfValue(*options.memory.value);
    uint32_t value = 0; // its bytes go out as they lie in memory
    memcpy(&value, bytes.data(), sizeof value);
    return M1_WriteValue(&context, options.memory.block, &value, kCardTimeoutMs);
}

static int Increase(const Options &options)
{
    return M1_IncreaseValue(&context, options.memory.block, options.memory.amount, kCardTimeoutMs);
}

static int Decrease(const Options &options)
{
    return M1_DecreaseValue(&context, options.memory.block, options.memory.amount, kCardTimeoutMs);
}

void M1Value(const Options &options, Report *report)
{
    const bool sets = options.memory.value.has_value();
    ChangeValue(options, report, "M1_WriteValue", sets ? SetValue : nullptr, false);
}

void M1Increment(const Options &options, Report *report)
{
    ChangeValue(options, report, "M1_IncreaseValue", Increase, true);
}

void M1Decrement(const Options &options, Report *report)
{
    ChangeValue(options, report, "M1_DecreaseValue", Decrease, true);
}

// ---- Dump ----

struct SectorDump
{
    int sector;
    std::string keys; // those that opened it, "A", "A B"
    std::array<std::string, 16> blocks;
};

static bool IsComplete(const SectorDump &dump)
{
    for (int i = 0; i < BlocksOf(dump.sector); i++)
        if (dump.blocks[static_cast<size_t>(i)].empty())
            return false;
    return true;
}

// Reads what this key opens of the blocks that are still missing. A refusal halts the card: power
// up, authenticate again, go on with the next block.
static bool DumpWithKey(const Options &options, Report *report, const MemoryKey &key,
                        SectorDump *dump)
{
    for (int i = 0; i < BlocksOf(dump->sector); i++)
    {
        std::string *bytes = &dump->blocks[static_cast<size_t>(i)];
        if (!bytes->empty())
            continue;
        int code = ReadBlock(FirstBlockOf(dump->sector) + i, bytes);
        if (code == 0)
            continue;
        bytes->clear();
        if (code != kReadRefused)
            return !Failed(options, report, "M1_ReadBlock", code);
        if (!PowerUpAfterRefusal(options, report, kCardClass, "M1_ReadBlock", code))
            return false;
        code = Verify(options, dump->sector, key);
        if (Failed(options, report, "M1_Verify", code))
            return false;
    }
    return true;
}

static bool DumpSector(const Options &options, Report *report, SectorDump *dump)
{
    for (const MemoryKey &key : options.memory.keys)
    {
        if (!Fits(key, dump->sector))
            continue;
        if (IsComplete(*dump))
            return true;
        const int code = Verify(options, dump->sector, key);
        if (code == 0)
        {
            dump->keys += (dump->keys.empty() ? "" : " ") + std::string(KeyName(key.type));
            if (!DumpWithKey(options, report, key, dump))
                return false;
            continue;
        }
        if (code != kKeyRefused)
            return !Failed(options, report, "M1_Verify", code);
        if (!PowerUpAfterRefusal(options, report, kCardClass, "M1_Verify", code))
            return false;
    }
    return true;
}

static void ShowSector(const Options &options, Report *report, const SectorDump &dump)
{
    Json sector = {{"sector", dump.sector},
                   {"key", dump.keys.empty() ? Json(nullptr) : Json(dump.keys)},
                   {"blocks", Json::array()}};
    const std::string name = "sector " + std::to_string(dump.sector);
    Say(*report,
        name + (dump.keys.empty() ? ": not readable, no key fits\n" : ", key " + dump.keys + "\n"));
    for (int i = 0; i < BlocksOf(dump.sector); i++)
    {
        const int block = FirstBlockOf(dump.sector) + i;
        const std::string &bytes = dump.blocks[static_cast<size_t>(i)];
        sector["blocks"].push_back(bytes.empty() ? Json({{"block", block}, {"data", nullptr}})
                                                 : BlockJson(options, block, bytes));
        if (!bytes.empty())
            Say(*report, BlockLine(options, block, bytes));
        else if (!dump.keys.empty())
            Say(*report, BlockLine(options, block, "").substr(0, 6) + "not readable\n");
    }
    report->result["sectors"].push_back(sector);
}

// The select acknowledge is the third byte of what readers give; the Union command set puts two
// status bytes before it.
static bool IsLargeCard(const std::string &identification)
{
    const size_t at = ConfiguredCommandSet() == 1 ? 8 : 4;
    return identification.size() >= at + 2 && identification.compare(at, 2, "18") == 0;
}

void M1Dump(const Options &options, Report *report)
{
    WithMemoryCard(
        options, report, kCardClass,
        [&](const std::string &identification)
        {
            const std::string &wanted = options.memory.size;
            const bool large = wanted.empty() ? IsLargeCard(identification) : wanted == "4K";
            int readable = 0;
            report->result["size"] = large ? "4K" : "1K";
            report->result["sectors"] = Json::array();
            Say(*report, std::string("Mifare Classic ") + (large ? "4K, " : "1K, ") +
                             report->result["identification"].get<std::string>() + "\n");
            for (int sector = 0; sector < (large ? 40 : 16); sector++)
            {
                SectorDump dump{sector, "", {}};
                if (!DumpSector(options, report, &dump))
                    return;
                ShowSector(options, report, dump);
                readable += dump.keys.empty() ? 0 : 1;
            }
            if (readable == 0)
                FailWith(options, report, "M1_Verify", kKeyRefused, "no key opens any sector",
                         "give the right keys with --key (A), --key-b or --key-file");
        });
}

} // namespace tool
