// vantor: answers "is it the reader, the card, the cable or my code?" in a minute.

#include <CLI/CLI.hpp>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "apdu_input.h"
#include "commands.h"
#include "session.h"

namespace tool
{

// The library's table of port names holds 63 characters and a NUL.
static const size_t kMostPortCharacters = 63;
static const size_t kMostScriptBytes = 4 * 1024 * 1024; // a device such as /dev/zero has no end

static const char kExamples[] = R"(Examples:
  vantor info                                    the reader on USB
  vantor --port ttyS0 ic reset                   power the card in the slot, explain its ATR
  vantor --port pts/3 ic info --tags AE          card number and track 2 only
  vantor ic log --json                           the transactions as JSON
  vantor ic apdu 00A404000E315041592E5359532E444446303100 00B2010C00
  vantor ic apdu --script select.apdu            one APDU a line, # begins a comment
  vantor error -1013                             what a code means and what to try
  vantor config set Iccmd 1                      a reader that speaks the Union command set

Exit status: 0 done, 1 the operation failed or was cancelled, 2 wrong use.
VANTOR_PORT in the environment names the port when --port does not.
)";

// What the arguments say before it has been checked.
struct Arguments
{
    Options options;
    std::string port = "USB";
    bool contactless = false;
    bool automatic = false;
    std::string tags = kAllCardLetters;
    std::vector<uint32_t> beep;
    std::vector<std::string> hex;
    std::string script;
    std::string code;
    std::string setting;
    std::string value;
};

struct Chosen
{
    const char *name;
    Command command;
    std::string (*check)(Arguments *arguments); // nullptr: nothing to check
};

// ---- Checks: they come before anything is opened ----

static std::string CheckPort(Arguments *arguments)
{
    const std::string &port = arguments->port;
    if (port == "USB" || port == "usb")
        arguments->options.port = "USB";
    else
        arguments->options.port = port.substr(0, 1) == "/" ? port : "/dev/" + port;
    if (port.empty() || arguments->options.port.size() > kMostPortCharacters)
        return "--port takes USB, ttyS0, pts/3 or a path of at most 63 characters";
    return "";
}

static std::string CheckMode(Arguments *arguments)
{
    if (arguments->contactless && arguments->automatic)
        return "--contactless and --auto exclude each other";
    arguments->options.mode = arguments->contactless ? 1 : arguments->automatic ? 2 : 0;
    return "";
}

static std::string CheckTags(Arguments *arguments)
{
    std::string &letters = arguments->options.letters;
    for (const char character : arguments->tags)
    {
        const char letter = static_cast<char>(toupper(static_cast<unsigned char>(character)));
        if (letter < 'A' || letter > 'N')
            return "--tags takes letters A to N, not \"" + arguments->tags + "\"";
        letters += letter;
    }
    return letters.empty() ? "--tags takes letters A to N" : CheckMode(arguments);
}

static std::string CheckBeep(Arguments *arguments)
{
    if (arguments->beep.size() > 3)
        return "beep takes at most three numbers";
    for (size_t i = 0; i < arguments->beep.size(); i++)
    {
        // The first number is scaled down to a byte, the others are bytes.
        const uint32_t limit = i == 0 ? 25599 : 255;
        if (arguments->beep[i] > limit)
            return "beep: " + std::to_string(arguments->beep[i]) + " is above " +
                   std::to_string(limit);
        arguments->options.beep[i] = arguments->beep[i];
    }
    return "";
}

static bool ReadAll(FILE *file, std::string *text)
{
    char part[4096];
    for (size_t count; (count = fread(part, 1, sizeof part, file)) > 0;)
    {
        text->append(part, count);
        if (text->size() > kMostScriptBytes)
            return false;
    }
    return ferror(file) == 0; // a directory opens, but does not read
}

static bool ReadScript(const std::string &path, std::string *text)
{
    FILE *file = fopen(path.c_str(), "rbe");
    if (file == nullptr)
        return false;
    const bool isRead = ReadAll(file, text);
    fclose(file);
    return isRead;
}

static std::string CheckApdus(Arguments *arguments)
{
    ApduInput input;
    std::string script;
    if (!arguments->script.empty() && arguments->script != "-")
    {
        if (!ReadScript(arguments->script, &script))
            return "cannot read the script " + arguments->script + " (at most 4 MiB)";
        AddScript(&input, script, arguments->script);
    }
    bool fromInput = arguments->script == "-" ||
                     (arguments->hex.empty() && arguments->script.empty() && !isatty(STDIN_FILENO));
    for (size_t i = 0; i < arguments->hex.size(); i++)
    {
        if (arguments->hex[i] == "-")
            fromInput = true;
        else
            AddApdu(&input, arguments->hex[i], "APDU " + std::to_string(i + 1));
    }
    script.clear();
    if (fromInput && !ReadAll(stdin, &script))
        return "cannot read standard input (at most 4 MiB)";
    AddScript(&input, script, "standard input");
    if (!input.error.empty())
        return input.error;
    if (input.apdus.empty())
        return "no APDU given: as arguments, with --script FILE, or on standard input";
    arguments->options.apdus = input.apdus;
    return CheckMode(arguments);
}

static std::string CheckCode(Arguments *arguments)
{
    char *end = nullptr;
    errno = 0;
    const long code = strtol(arguments->code.c_str(), &end, 10);
    if (arguments->code.empty() || *end != '\0' || errno != 0 || code < -99999 || code > 99999)
        return "\"" + arguments->code + "\" is no result code";
    // Failures are negative; "error 1004" can only mean -1004.
    arguments->options.code = static_cast<int>(code > 0 ? -code : code);
    return "";
}

static std::string CheckGet(Arguments *arguments)
{
    return arguments->setting.empty()
               ? ""
               : CheckSetting(arguments->setting, nullptr, &arguments->options);
}

static std::string CheckSet(Arguments *arguments)
{
    return CheckSetting(arguments->setting, &arguments->value, &arguments->options);
}

// ---- The command line ----

// The checks name their ranges themselves when they refuse a value; in the help they are noise.
static void AddGlobalOptions(CLI::App *app, Arguments *arguments)
{
    Options &options = arguments->options;
    app->add_option("--port", arguments->port, "USB (default), ttyS0, pts/3, /dev/ttyUSB0")
        ->type_name("PORT")
        ->envname("VANTOR_PORT");
    app->add_option("--baud", options.baud, "line speed at which the reader listens (9600)")
        ->type_name("N")
        ->check(
            CLI::IsMember({1200, 2400, 4800, 9600, 19200, 38400, 57600, 115200}).description(""));
    app->add_option("--timeout", options.timeoutSeconds,
                    "time to wait for a card (10; 0: no limit)")
        ->type_name("SECONDS")
        ->check(CLI::Range(0, 86400).description(""));
    app->add_option("--slot", options.slot, "contact slot (0)")
        ->type_name("N")
        ->check(CLI::Range(0, 255).description(""));
    app->add_flag("--json", options.json, "one JSON document on standard output");
    app->add_flag("--mask", options.mask, "hide card, track and identity numbers");
    app->set_version_flag("--version", std::string("vantor ") + VANTOR_TOOL_VERSION);
}

static CLI::App *AddCommand(CLI::App *parent, const char *name, const char *description,
                            const Chosen &command, Chosen *chosen)
{
    CLI::App *added = parent->add_subcommand(name, description);
    added->callback([command, chosen] { *chosen = command; });
    added->fallthrough();
    return added;
}

static void AddModeOptions(CLI::App *command, Arguments *arguments)
{
    command->add_flag("--contactless", arguments->contactless, "the card on the antenna");
    command->add_flag("--auto", arguments->automatic, "whichever card is there, contact first");
}

static void AddIcCommands(CLI::App *app, Arguments *arguments, Chosen *chosen)
{
    CLI::App *ic = app->add_subcommand("ic", "IC cards");
    ic->require_subcommand(1)->fallthrough();
    AddModeOptions(AddCommand(ic, "reset", "power the card on and explain its answer to reset",
                              {"ic reset", IcReset, CheckMode}, chosen),
                   arguments);
    CLI::App *info =
        AddCommand(ic, "info", "read a bank card's data", {"ic info", IcInfo, CheckTags}, chosen);
    info->add_option("--tags", arguments->tags, "letters of the wanted fields, A to N (all)")
        ->type_name("LETTERS");
    AddModeOptions(info, arguments);
    AddModeOptions(AddCommand(ic, "log", "read a bank card's transactions",
                              {"ic log", IcLog, CheckMode}, chosen),
                   arguments);
    AddModeOptions(AddCommand(ic, "loads", "read a bank card's load log",
                              {"ic loads", IcLoads, CheckMode}, chosen),
                   arguments);
    CLI::App *apdu = AddCommand(ic, "apdu", "exchange APDUs with the card, in one power-up",
                                {"ic apdu", IcApdu, CheckApdus}, chosen);
    apdu->add_option("HEX", arguments->hex, "command APDUs in hexadecimal; - reads standard input")
        ->type_name("");
    apdu->add_option("--script", arguments->script, "file of APDUs, one a line, # comments")
        ->type_name("FILE");
    AddModeOptions(apdu, arguments);
    AddCommand(ic, "detect", "ask the reader which cards are there (Union command set)",
               {"ic detect", IcDetect, nullptr}, chosen);
}

static void AddCommands(CLI::App *app, Arguments *arguments, Chosen *chosen)
{
    AddCommand(app, "info", "what the reader says about itself", {"info", Info, nullptr}, chosen);
    AddCommand(app, "beep", "sound the buzzer (Union command set)", {"beep", Beep, CheckBeep},
               chosen)
        ->add_option("NUMBERS", arguments->beep,
                     "duration (50) and two further values of the reader's own (1 1)")
        ->type_name("");
    AddIcCommands(app, arguments, chosen);
    AddCommand(app, "error", "explain a result code", {"error", ExplainError, CheckCode}, chosen)
        ->add_option("CODE", arguments->code, "the code, -1013")
        ->type_name("")
        ->required();

    CLI::App *config = app->add_subcommand("config", "the library's settings");
    config->require_subcommand(1)->fallthrough();
    AddCommand(config, "get", "show one setting, or all", {"config get", ConfigGet, CheckGet},
               chosen)
        ->add_option("KEY", arguments->setting, "Iccmd, or SECTION.KEY")
        ->type_name("");
    CLI::App *set =
        AddCommand(config, "set", "change a setting", {"config set", ConfigSet, CheckSet}, chosen);
    set->add_option("KEY", arguments->setting, "Iccmd, or SECTION.KEY")->type_name("")->required();
    set->add_option("VALUE", arguments->value, "the new value")->type_name("")->required();
}

static bool AsksForJson(int count, char **arguments)
{
    for (int i = 1; i < count; i++)
        if (strcmp(arguments[i], "--json") == 0)
            return true;
    return false;
}

static int Run(int count, char **words)
{
    CLI::App app("Talks to a card reader through libvantor.", "vantor");
    Arguments arguments;
    Chosen chosen{};
    app.require_subcommand(1);
    AddGlobalOptions(&app, &arguments);
    app.footer(
        "Options for all commands, and examples: vantor --help\n"); // the commands inherit it
    AddCommands(&app, &arguments, &chosen);
    app.footer(kExamples);
    try
    {
        app.parse(count, words);
    }
    catch (const CLI::Success &wanted) // --help, --version
    {
        return app.exit(wanted);
    }
    catch (const CLI::ParseError &wrong)
    {
        return PrintWrongUse(AsksForJson(count, words), wrong.what());
    }

    const bool json = arguments.options.json;
    std::string wrong = CheckPort(&arguments);
    if (wrong.empty() && chosen.check != nullptr)
        wrong = chosen.check(&arguments);
    if (!wrong.empty())
        return PrintWrongUse(json, wrong);

    Report report;
    report.json = json;
    report.command = chosen.name;
    GiveLogAPlace();
    chosen.command(arguments.options, &report);
    return Finish(report);
}

} // namespace tool

int main(int count, char **words)
{
    // Who reads the output may leave early (| head): the card is powered off and the port closed
    // all the same.
    std::signal(SIGPIPE, SIG_IGN);
    return tool::Run(count, words);
}
