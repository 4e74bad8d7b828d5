#include "commands.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "session.h"
#include "vantor.h"

namespace tool
{

// One line of a value is at most 255 characters; the library's work texts hold 256.
static const size_t kMostCharacters = 255;
static const char kBaudRates[] = "1200 2400 4800 9600 19200 38400 57600 115200";

static const struct Setting
{
    const char *section;
    const char *key;
    const char *allowed; // the values separated by blanks; nullptr: any number of at least 0
    const char *meaning;
} kSettings[] = {
    {"devcfg", "DevBaud", kBaudRates, "line speed that BO_Open moves reader and host to"},
    {"devcfg", "IdBaud", kBaudRates, "line speed of the identity module"},
    {"devcfg", "IcBaud", kBaudRates, "line speed of the IC module"},
    {"devcfg", "Iccmd", "0 1", "command set of the reader: 0 Krel, 1 Union"},
    {"devcfg", "devtype", nullptr, "USB reports: 0 with a mode id for each module, else without"},
    {"devcfg", "IdChange", nullptr,
     "identity module switched in: 1 by the reader, 2 by the module itself"},
    {"log", "loglevel", nullptr, "log: 0 nothing, 1 errors, 2 everything (card data too)"},
    {"log", "saveday", nullptr, "days that a log file is kept, at most 365"},
};

static const Setting *FindSetting(const std::string &section, const std::string &key)
{
    for (const Setting &setting : kSettings)
        if (key == setting.key && (section.empty() || section == setting.section))
            return &setting;
    return nullptr;
}

// The library takes any text; a value that it would silently read as something else is no use.
static std::string CheckValue(const Setting &setting, const std::string &value)
{
    const bool isNumber = !value.empty() && value.size() <= 9 &&
                          value.find_first_not_of("0123456789") == std::string::npos;
    if (setting.allowed == nullptr)
        return isNumber ? "" : std::string(setting.key) + " takes a number, not \"" + value + "\"";
    const std::string list = std::string(" ") + setting.allowed + " ";
    if (isNumber && list.find(" " + value + " ") != std::string::npos)
        return "";
    return std::string(setting.key) + " takes one of: " + setting.allowed;
}

std::string CheckSetting(const std::string &name, const std::string *value, Options *options)
{
    const size_t dot = name.find('.');
    options->section = dot == std::string::npos ? "" : name.substr(0, dot);
    options->key = dot == std::string::npos ? name : name.substr(dot + 1);
    const Setting *setting = FindSetting(options->section, options->key);
    if (setting == nullptr && options->section.empty())
    {
        std::string known;
        for (const Setting &each : kSettings)
            known += std::string(" ") + each.key;
        return "no setting \"" + name + "\"; there are:" + known + " (others as SECTION.KEY)";
    }
    if (setting != nullptr)
        options->section = setting->section;
    if (options->section.empty() || options->key.empty() ||
        name.find_first_of("=[]\r\n") != std::string::npos || name.size() > 100)
        return "\"" + name + "\" cannot name a setting";
    if (value == nullptr)
        return "";
    options->value = *value;
    if (value->size() > kMostCharacters || value->find_first_of("\r\n") != std::string::npos)
        return "a value is one line of at most 255 characters";
    return setting == nullptr ? "" : CheckValue(*setting, *value);
}

// Opens the file as the library opens it, for reading and writing: one it cannot open so gives
// it the defaults, and says nothing. "" when all is well.
static std::string FileTrouble(const std::string &path, std::string *advice)
{
    const int descriptor = open(path.c_str(), O_RDWR | O_CLOEXEC);
    if (descriptor >= 0)
    {
        close(descriptor);
        return "";
    }
    const int error = errno;
    if (error == ENOENT)
    {
        *advice = "put the library's config.ini there; until then all settings have their defaults";
        return "the settings file is missing: " + path;
    }
    *advice = "the library reads settings only from a file that it may write; until then all "
              "settings have their defaults";
    return "the settings file cannot be opened for writing: " + path + " (" + strerror(error) + ")";
}

// A default that no file holds tells "missing" from every value.
static bool ReadSetting(const std::string &section, const std::string &key, std::string *value)
{
    static const char kMissing[] = "\x01missing\x01";
    char text[1024] = {};
    GGetConfigString(section.c_str(), key.c_str(), kMissing, text, sizeof text);
    *value = text;
    return *value != kMissing;
}

static bool FileFails(Report *report)
{
    std::string advice;
    const std::string path = SettingsPath();
    report->result["file"] = path;
    const std::string trouble = FileTrouble(path, &advice);
    if (trouble.empty())
        return false;
    report->failure = Failure{"", 0, "", trouble, advice};
    return true;
}

static void MissingKey(const Options &options, Report *report)
{
    report->failure =
        Failure{"", 0, "",
                SettingsPath() + " has no line \"" + options.key + "=\" in section [" +
                    options.section + "]",
                "add the line with an editor; the library only replaces lines that are there"};
}

static void AllSettings(Report *report)
{
    report->result["settings"] = Json::array();
    Say(*report, SettingsPath() + "\n");
    for (const Setting &setting : kSettings)
    {
        std::string value;
        const bool present = ReadSetting(setting.section, setting.key, &value);
        report->result["settings"].push_back({{"section", setting.section},
                                              {"key", setting.key},
                                              {"value", present ? Json(value) : Json(nullptr)},
                                              {"meaning", setting.meaning}});
        std::string line = std::string("  ") + setting.section + "." + setting.key;
        line.resize(20, ' ');
        line += present ? value : "missing";
        line.resize(std::max<size_t>(line.size() + 1, 30), ' ');
        Say(*report, line + setting.meaning + "\n");
    }
}

void ConfigGet(const Options &options, Report *report)
{
    if (FileFails(report))
        return;
    if (options.key.empty())
    {
        AllSettings(report);
        return;
    }
    std::string value;
    if (!ReadSetting(options.section, options.key, &value))
    {
        MissingKey(options, report);
        return;
    }
    report->result["section"] = options.section;
    report->result["key"] = options.key;
    report->result["value"] = value;
    Say(*report, value + "\n");
}

void ConfigSet(const Options &options, Report *report)
{
    if (FileFails(report))
        return;
    std::string before;
    if (!ReadSetting(options.section, options.key, &before))
    {
        MissingKey(options, report);
        return;
    }
    GSetConfigString(options.section.c_str(), options.key.c_str(), options.value.c_str());
    std::string after;
    ReadSetting(options.section, options.key, &after);
    report->result["section"] = options.section;
    report->result["key"] = options.key;
    report->result["before"] = before;
    report->result["value"] = after;
    if (after == options.value)
    {
        Say(*report, options.section + "." + options.key + ": " + before + " -> " + after + "  (" +
                         SettingsPath() + ")\n");
        return;
    }
    report->failure =
        Failure{"", 0, "", options.section + "." + options.key + " still reads \"" + after + "\"",
                "does " + SettingsPath() +
                    " hold more than one line that begins "
                    "with \"" +
                    options.key + "\", and may its directory be written?"};
}

} // namespace tool
