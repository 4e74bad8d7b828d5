// vantor: answers "is it the reader, the card, the cable or my code?" in a minute.

#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sys/random.h>

#include "arguments.h"
#include "commands.h"
#include "memory_command_line.h"
#include "session.h"

namespace tool
{

static const char kExamples[] = R"(Examples:
  vantor info                                    the reader on USB
  vantor --port ttyS0 ic reset                   power the card in the slot, explain its ATR
  vantor --port pts/3 ic info --tags AE          card number and track 2 only
  vantor ic log --json                           the transactions as JSON
  vantor ic apdu 00A404000E315041592E5359532E444446303100 00B2010C00
  vantor ic apdu --script select.apdu            one APDU a line, # begins a comment
  vantor ic arqc --amount 12.34 --save /tmp/t    the card's request cryptogram, decoded
  vantor ic complete --saved /tmp/t --arpc 910A...   the issuer's answer goes to the card
  vantor ic transaction --amount 12.34           both halves, the virtual issuer between them
  vantor ic transaction --amount 12.34 -- --script 'put-data 9F79=000000010000'
  vantor purse load --amount 50.00 --pin 123456
  vantor mag read --tracks 2,3                   wait for a swipe, show what the tracks hold
  vantor mag write --track3 0100=0               asks before it overwrites
  vantor id read --photo face.png                an identity card's fields, and its photo
  vantor m1 dump --key A1A2A3A4A5A6              a Mifare Classic card, as far as the key opens it
  vantor m0 read 4 --count 4                     four pages of an Ultralight C card
  vantor error -1013                             what a code means and what to try
  vantor config set Iccmd 1                      a reader that speaks the Union command set

Exit status: 0 done, 1 the operation failed or was cancelled, 2 wrong use.
VANTOR_PORT in the environment names the port when --port does not.
)";

struct Chosen
{
    const char *name;
    Command command;
    std::string (*check)(Arguments *arguments); // nullptr: nothing to check
};

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

static void AddInterfaceOption(CLI::App *command, Arguments *arguments)
{
    command
        ->add_option("--interface", arguments->callSet,
                     "the library's calls to use: bo, or terminal (the terminal-standard calls)")
        ->type_name("SET")
        ->check(CLI::IsMember({"bo", "terminal"}).description(""));
}

// The commands that go through either set of calls.
static void AddCallSetOptions(CLI::App *command, Arguments *arguments)
{
    AddModeOptions(command, arguments);
    AddInterfaceOption(command, arguments);
    command->add_option("--aid", arguments->aid, "the application (terminal interface only)")
        ->type_name("HEX");
}

static void AddTransactionOptions(CLI::App *command, Arguments *arguments)
{
    TransactionInput &input = arguments->transaction;
    command->add_option("--amount", input.amount, "the amount, 12.34")->type_name("YUAN");
    command->add_option("--other", input.other, "the other amount (0)")->type_name("YUAN");
    command->add_option("--currency", input.currency, "a name or a number (CNY)")
        ->type_name("CODE");
    command->add_option("--date", input.date, "2025-01-31 (today)")->type_name("DATE");
    command->add_option("--time", input.time, "23:59:59 (now)")->type_name("TIME");
    command->add_option("--type", input.type, "transaction type, two digits (00)")->type_name("NN");
    command->add_option("--merchant", input.merchant, "the merchant's name, 20 bytes of GBK")
        ->type_name("NAME");
    command->add_option("--letters", input.letters, "fields as the calls take them, P012...")
        ->type_name("TEXT");
    AddCallSetOptions(command, arguments);
}

static void AddIssuerOptions(CLI::App *command, Arguments *arguments)
{
    command
        ->add_option("--issuer", arguments->options.issuer, "the issuer's program (vantor-issuer)")
        ->type_name("PROGRAM");
    command
        ->add_option("OPTIONS", arguments->options.issuerOptions,
                     "behind --: options for the issuer's program")
        ->type_name("");
}

static void AddScriptsOnlyFlag(CLI::App *command, Arguments *arguments)
{
    command->add_flag("--scripts-only", arguments->options.scriptsOnly,
                      "issuer authentication and scripts, no second cryptogram");
}

static void AddTransactionCommands(CLI::App *ic, Arguments *arguments, Chosen *chosen)
{
    CLI::App *arqc = AddCommand(ic, "arqc", "ask a bank card for a request cryptogram (ARQC)",
                                {"ic arqc", IcArqc, CheckRequest}, chosen);
    AddTransactionOptions(arqc, arguments);
    arqc->add_option("--save", arguments->file, "leave the card powered, keep what completes it")
        ->type_name("FILE");
    arqc->add_flag("--hex", arguments->options.hexOnly, "print the text for the issuer only");
    CLI::App *complete = AddCommand(ic, "complete", "give the issuer's answer to the card",
                                    {"ic complete", IcComplete, CheckComplete}, chosen);
    complete->add_option("--arpc", arguments->arpc, "the issuer's answer, 910A...")
        ->type_name("HEX")
        ->required();
    complete->add_option("--saved", arguments->file, "the file of ic arqc --save")
        ->type_name("FILE")
        ->required();
    AddScriptsOnlyFlag(complete, arguments);
    CLI::App *round =
        AddCommand(ic, "transaction", "a whole online transaction with the virtual issuer",
                   {"ic transaction", IcTransaction, CheckRound}, chosen);
    AddTransactionOptions(round, arguments);
    AddScriptsOnlyFlag(round, arguments);
    AddIssuerOptions(round, arguments);
}

static void AddPurseOptions(CLI::App *command, Arguments *arguments)
{
    AddModeOptions(command, arguments);
    command->add_option("--aid", arguments->aid, "the application (A00000000386980701)")
        ->type_name("HEX");
    command->add_option("--pin", arguments->options.purse.pin, "the PIN is shown to the card first")
        ->type_name("DIGITS");
}

static void AddPurseOrder(CLI::App *command, Arguments *arguments)
{
    PurseOptions &purse = arguments->options.purse;
    AddPurseOptions(command, arguments);
    command->add_flag("--deposit", purse.deposit, "the deposit (ED), not the purse (EP)");
    command->add_option("--amount", arguments->transaction.amount, "the amount, 12.34")
        ->type_name("YUAN")
        ->required();
    command->add_option("--date", arguments->transaction.date, "2025-01-31 (today)")
        ->type_name("DATE");
    command->add_option("--time", arguments->transaction.time, "23:59:59 (now)")->type_name("TIME");
    command->add_option("--terminal", arguments->purseTerminal, "six bytes (000000000001)")
        ->type_name("HEX");
    command->add_option("--key-index", arguments->keyIndex, "of the load or purchase key (1)")
        ->type_name("N")
        ->check(CLI::Range(0, 255).description(""));
    AddIssuerOptions(command, arguments);
}

static void AddPurseCommands(CLI::App *app, Arguments *arguments, Chosen *chosen)
{
    CLI::App *purse = app->add_subcommand("purse", "electronic purse and deposit");
    purse->require_subcommand(1)->fallthrough();
    AddPurseOptions(AddCommand(purse, "balance", "what the purse and the deposit hold",
                               {"purse balance", PurseBalance, CheckPurse}, chosen),
                    arguments);
    AddPurseOptions(AddCommand(purse, "log", "the purse's transactions",
                               {"purse log", PurseLog, CheckPurse}, chosen),
                    arguments);
    CLI::App *read =
        AddCommand(purse, "read", "a file of the purse: 21 the application, 22 the cardholder",
                   {"purse read", PurseRead, CheckPurseFile}, chosen);
    AddPurseOptions(read, arguments);
    read->add_option("FILE", arguments->purseFile, "short file identifier, 1 to 30")
        ->type_name("")
        ->required();
    read->add_option("--offset", arguments->offset, "the first byte (0)")
        ->type_name("N")
        ->check(CLI::Range(0, 255).description(""));
    AddPurseOrder(AddCommand(purse, "load", "put money in, authorised by the virtual issuer",
                             {"purse load", PurseLoad, CheckPurseOrder}, chosen),
                  arguments);
    CLI::App *purchase = AddCommand(purse, "purchase", "pay, with the virtual terminal's keys",
                                    {"purse purchase", PursePurchase, CheckPurseOrder}, chosen);
    AddPurseOrder(purchase, arguments);
    purchase
        ->add_option("--number", arguments->options.purse.terminalCount,
                     "the terminal's own transaction number (1)")
        ->type_name("N");
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
    info->add_option("--tags", arguments->tags, "letters of the wanted fields (all)")
        ->type_name("LETTERS");
    AddCallSetOptions(info, arguments);
    AddCallSetOptions(AddCommand(ic, "log", "read a bank card's transactions",
                                 {"ic log", IcLog, CheckCardCall}, chosen),
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
    AddTransactionCommands(ic, arguments, chosen);
}

static void AddStripeCommands(CLI::App *app, Arguments *arguments, Chosen *chosen)
{
    StripeInput &stripe = arguments->stripe;
    CLI::App *mag = app->add_subcommand("mag", "magnetic cards");
    mag->require_subcommand(1)->fallthrough();
    AddCommand(mag, "read", "wait for a swipe and read the tracks",
               {"mag read", MagRead, CheckMagRead}, chosen)
        ->add_option("--tracks", stripe.tracks, "which tracks (1,2,3)")
        ->type_name("LIST");
    CLI::App *write = AddCommand(mag, "write", "wait for a swipe and write track 2, 3 or both",
                                 {"mag write", MagWrite, CheckMagWrite}, chosen);
    write->add_option("--track2", stripe.track2, "text without start and end marks")
        ->type_name("TEXT");
    write->add_option("--track3", stripe.track3, "the same for track 3")->type_name("TEXT");
    write->add_flag("--yes", stripe.yes, "do not ask before overwriting");
    CLI::App *number = AddCommand(mag, "number", "wait for a swipe and take the account number",
                                  {"mag number", MagNumber, CheckMagNumber}, chosen);
    number->add_option("--tracks", stripe.tracks, "where to look (2)")->type_name("LIST");
    number->add_option("--separator", stripe.separator, "what ends the number: =, ' or any (any)")
        ->type_name("CHARACTER");
}

static void AddIdentityCommands(CLI::App *app, Arguments *arguments, Chosen *chosen)
{
    CLI::App *identity = app->add_subcommand("id", "identity cards");
    identity->require_subcommand(1)->fallthrough();
    AddCommand(identity, "read", "read an identity card's fields, and its photo",
               {"id read", IdRead, CheckIdRead}, chosen)
        ->add_option("--photo", arguments->photo, "where the photo goes: .bmp, .jpg, .png, .gif")
        ->type_name("FILE");
    AddCommand(identity, "reset", "reset the identity module", {"id reset", IdReset, nullptr},
               chosen);
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
    AddStripeCommands(app, arguments, chosen);
    AddIdentityCommands(app, arguments, chosen);
    AddPurseCommands(app, arguments, chosen);
    AddMemoryCommands(app, arguments,
                      [chosen](CLI::App *parent, const MemoryCommand &command)
                      {
                          return AddCommand(parent, command.word, command.description,
                                            {command.name, command.run, command.check}, chosen);
                      });
    AddModeOptions(
        AddCommand(app, "ssc", "read a social security card", {"ssc", Ssc, CheckMode}, chosen),
        arguments);
    CLI::App *error = AddCommand(app, "error", "explain a result code",
                                 {"error", ExplainError, CheckCode}, chosen);
    error->add_option("CODE", arguments->code, "the code, -1013")->type_name("")->required();
    AddInterfaceOption(error, arguments);

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
        app.exit(wanted);
        return Finish({});
    }
    catch (const CLI::ParseError &wrong)
    {
        return PrintWrongUse(AsksForJson(count, words), wrong.what());
    }

    const bool json = arguments.options.json;
    std::string wrong = CheckPort(&arguments);
    if (wrong.empty())
        wrong = CheckCallSet(&arguments);
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
    // The library draws the unpredictable number from rand() and leaves the seed to the host.
    unsigned seed = 0;
    if (getrandom(&seed, sizeof seed, 0) == static_cast<ssize_t>(sizeof seed))
        std::srand(seed);
    return tool::Run(count, words);
}
