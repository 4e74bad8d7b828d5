// vantor-issuer: the bank behind the card, for whoever has none to ask.
#include "vreader/cards/tlv.h"
#include "vreader/issuer/issuer.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <unistd.h>

namespace
{

constexpr int kDone = 0;
constexpr int kNoAnswer = 1;
constexpr int kWrongUse = 2;

constexpr size_t kLongestInput = 65536;

constexpr char kExamples[] = R"(Examples:
  vantor-issuer 9F2608...                       by amount: 00, 01 or 05
  vantor ic arqc --hex ... | vantor-issuer --explain   the text from standard input, the why on
                                                stderr
  vantor-issuer --script 'put-data 9F79=000000010000' 9F2608...
  vantor-issuer --pan 6200001234567890128 --psn 01 9F2608...
  vantor-issuer load --request HEX --answer HEX --date 20250302 --time 091530

Scripts: block-card, block-application, unblock-application, unblock-pin, pin-change NEW,
  pin-change OLD NEW, put-data TAG=HEX, raw HEX

Standard output has the text for the library's calls and nothing else.
Exit status: 0 an answer, 1 none (the cryptogram does not verify, the text cannot be read),
  2 wrong options)";

struct CommandLine
{
    std::string arqc;
    std::string masterKey;
    std::string cryptogramKey;
    std::string macKey;
    std::string enciphermentKey;
    std::string profile = "online";
    std::string card;
    std::string pan;
    std::string sequenceNumber;
    std::string cdol1;
    std::vector<std::string> data;
    std::string referAbove;
    std::string declineAbove;
    std::string code;
    std::vector<std::string> scripts;
    std::string scriptIdentifier;
    std::string scriptTemplate = "72";
    bool explain = false;
    bool spoilArpc = false;
    bool spoilMac = false;
};

struct PurseLine
{
    vreader::PurseRequest request;
    std::string key;
    unsigned account = 2;
    bool explain = false;
};

void Complain(const std::string &text)
{
    // What is quoted may come from anywhere and must not drive a terminal.
    std::string shown = "vantor-issuer: ";
    for (const char character : text)
    {
        const auto code = static_cast<unsigned char>(character);
        shown += code < 0x20 || code == 0x7F ? '?' : character;
    }
    std::fprintf(stderr, "%s\n", shown.c_str());
}

bool Refuse(const std::string &text)
{
    Complain(text);
    return false;
}

void DeclareOptions(CLI::App *app, CommandLine *line)
{
    app->footer(kExamples);
    app->add_option("ARQC", line->arqc, "the ARQC text; - or nothing: from standard input");
    app->add_option("--master-key", line->masterKey, "one issuer master key for everything")
        ->type_name("HEX32");
    app->add_option("--cryptogram-key", line->cryptogramKey, "master key of the cryptograms")
        ->type_name("HEX32");
    app->add_option("--mac-key", line->macKey, "master key of the script MACs")->type_name("HEX32");
    app->add_option("--encipherment-key", line->enciphermentKey, "master key of enciphered PINs")
        ->type_name("HEX32");
    CLI::Option *card = app->add_option("--card", line->card, "keys, PAN and CDOL1 of this card");
    app->add_option("--profile", line->profile, "the profile it stands in (default online)")
        ->type_name("NAME|FILE")
        ->needs(card);
    app->add_option("--pan", line->pan, "card number, instead of 5A")->type_name("DIGITS");
    app->add_option("--psn", line->sequenceNumber, "PAN sequence number, instead of 5F34")
        ->type_name("NN");
    app->add_option("--cdol1", line->cdol1, "the cryptogram is over this data-object list")
        ->type_name("HEX");
    app->add_option("--data", line->data, "an object that the list asks for and the text lacks")
        ->type_name("TAG=HEX")
        ->allow_extra_args(false);
    app->add_option("--refer-above", line->referAbove, "above it 01 (default 1000.00)")
        ->type_name("AMOUNT");
    app->add_option("--decline-above", line->declineAbove, "above it 05 (default 5000.00)")
        ->type_name("AMOUNT");
    app->add_option("--code", line->code, "this response code, whatever the amount")
        ->type_name("CC");
    app->add_option("--script", line->scripts, "a script command; may be repeated")
        ->type_name("SCRIPT")
        ->allow_extra_args(false);
    app->add_option("--script-id", line->scriptIdentifier, "9F18 (default 00000001)")
        ->type_name("HEX8");
    app->add_option("--template", line->scriptTemplate, "the template of the scripts")
        ->check(CLI::IsMember({"71", "72"}))
        ->type_name("71|72");
    app->add_flag("--explain", line->explain, "tell on standard error how the answer came about");
    app->add_flag("--spoil-arpc", line->spoilArpc, "answer with a wrong ARPC");
    app->add_flag("--spoil-mac", line->spoilMac, "give scripts wrong MACs");
}

CLI::App *DeclarePurse(CLI::App *app, const char *name, const char *help, const char *keyHelp,
                       PurseLine *line)
{
    CLI::App *command = app->add_subcommand(name, help);
    command->add_option("--request", line->request.dataHex, "the 11 data bytes of INITIALIZE")
        ->required()
        ->type_name("HEX");
    command->add_option("--answer", line->request.answerHex, "the card's answer to it")
        ->required()
        ->type_name("HEX");
    command->add_option("--date", line->request.date, "transaction date")
        ->required()
        ->type_name("YYYYMMDD");
    command->add_option("--time", line->request.time, "transaction time")
        ->required()
        ->type_name("hhmmss");
    command->add_option("--account", line->account, "1 deposit, 2 purse (default)")
        ->check(CLI::IsMember({1, 2}))
        ->type_name("1|2");
    command->add_option("--key", line->key, keyHelp)->type_name("HEX32");
    command->add_flag("--explain", line->explain, "tell how the answer came about");
    return command;
}

bool ReadKey(const std::string &text, const char *option, vreader::TripleDesKey *key)
{
    return text.empty() || vreader::KeyFromText(text, key) ||
           Refuse(std::string(option) + " takes 32 hexadecimal digits");
}

bool ReadKeys(const CommandLine &line, vreader::IssuerKeys *keys)
{
    return ReadKey(line.masterKey, "--master-key", &keys->cryptogram) &&
           ReadKey(line.masterKey, "--master-key", &keys->mac) &&
           ReadKey(line.masterKey, "--master-key", &keys->encipherment) &&
           ReadKey(line.cryptogramKey, "--cryptogram-key", &keys->cryptogram) &&
           ReadKey(line.macKey, "--mac-key", &keys->mac) &&
           ReadKey(line.enciphermentKey, "--encipherment-key", &keys->encipherment);
}

bool ReadHex(const std::string &text, const char *option, std::vector<uint8_t> *bytes)
{
    const std::optional<vreader::Bytes> read = vreader::BytesFromHex(text);
    if (!read)
        return Refuse(std::string(option) + " takes hexadecimal digits in pairs");
    *bytes = *read;
    return true;
}

bool ReadAmount(const std::string &text, const char *option, uint64_t *amount)
{
    return text.empty() || vreader::AmountFromText(text, amount) ||
           Refuse(std::string(option) + " takes an amount such as 1000.00");
}

bool ReadFurtherData(const CommandLine &line, vreader::IssuerRules *rules)
{
    for (const std::string &text : line.data)
    {
        const size_t equals = text.find('=');
        const std::optional<vreader::Tag> tag = vreader::TagFromText(text.substr(0, equals));
        const std::optional<vreader::Bytes> value =
            equals == std::string::npos ? std::nullopt
                                        : vreader::BytesFromHex(text.substr(equals + 1));
        if (!tag || !value)
            return Refuse("--data takes TAG=HEX, such as 9F21=091530");
        vreader::AppendTlv(&rules->furtherData, *tag, *value);
    }
    return true;
}

bool ReadRules(const CommandLine &line, vreader::IssuerKeys *keys, vreader::IssuerRules *rules)
{
    std::string error;
    if (!line.card.empty() &&
        !vreader::IssuerOfProfileCard(line.profile, line.card, keys, rules, &error))
        return Refuse(error);
    if (!line.pan.empty())
        rules->pan = line.pan;
    if (!line.sequenceNumber.empty())
        rules->sequenceNumber = line.sequenceNumber;
    if (!ReadKeys(line, keys) || !ReadFurtherData(line, rules) ||
        !ReadAmount(line.referAbove, "--refer-above", &rules->referAbove) ||
        !ReadAmount(line.declineAbove, "--decline-above", &rules->declineAbove) ||
        (!line.cdol1.empty() && !ReadHex(line.cdol1, "--cdol1", &rules->cdol1)))
        return false;
    if (!line.scriptIdentifier.empty() &&
        (!ReadHex(line.scriptIdentifier, "--script-id", &rules->scriptIdentifier) ||
         rules->scriptIdentifier.size() != 4))
        return Refuse("--script-id takes eight hexadecimal digits");
    for (const std::string &script : line.scripts)
    {
        if (!vreader::IsScript(script, &error))
            return Refuse(error);
    }
    if (!line.code.empty() && line.code.size() != 2)
        return Refuse("--code takes two characters, such as 00");
    rules->responseCode = line.code;
    rules->scripts = line.scripts;
    rules->scriptTemplate = line.scriptTemplate == "71" ? 0x71 : 0x72;
    rules->spoilsArpc = line.spoilArpc;
    rules->spoilsScriptMacs = line.spoilMac;
    return true;
}

std::string StandardInput()
{
    if (isatty(STDIN_FILENO) != 0)
        std::fprintf(stderr, "vantor-issuer: the ARQC text, please (end with Ctrl-D)\n");
    std::string text;
    char buffer[4096];
    for (size_t count = 1; count > 0 && text.size() < kLongestInput;)
    {
        count = std::fread(buffer, 1, sizeof buffer, stdin);
        text.append(buffer, count);
    }
    return text;
}

int Arrived()
{
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0)
        return kDone;
    std::perror("vantor-issuer: the answer could not be written");
    return kNoAnswer;
}

int Print(const std::string &text)
{
    std::printf("%s\n", text.c_str());
    return Arrived();
}

void Explain(const std::vector<std::string> &lines)
{
    for (const std::string &text : lines)
        std::fprintf(stderr, "%s\n", text.c_str());
}

int RunAuthorisation(const CommandLine &line)
{
    vreader::IssuerKeys keys = vreader::ProfileMasterKeys();
    vreader::IssuerRules rules;
    if (!ReadRules(line, &keys, &rules))
        return kWrongUse;
    const bool fromInput = line.arqc.empty() || line.arqc == "-";
    const vreader::IssuerAnswer answer =
        vreader::Authorise(keys, fromInput ? StandardInput() : line.arqc, rules);
    if (line.explain)
        Explain(answer.explanation);
    if (answer.error.empty())
        return Print(answer.hex);
    Complain(answer.error);
    return kNoAnswer;
}

int RunPurse(PurseLine *line, bool isLoad)
{
    vreader::PurseKeys keys = vreader::ProfilePurseKeys();
    if (!ReadKey(line->key, "--key", isLoad ? &keys.load : &keys.purchase))
        return kWrongUse;
    line->request.account = static_cast<uint8_t>(line->account);
    const vreader::PurseAnswer answer = isLoad ? vreader::AuthoriseLoad(keys, line->request)
                                               : vreader::PreparePurchase(keys, line->request);
    if (line->explain)
        Explain(answer.explanation);
    if (answer.error.empty())
        return Print(answer.hex);
    Complain(answer.error);
    return kNoAnswer;
}

} // namespace

int main(int argc, char **argv)
{
    CLI::App app("Verifies an ARQC and answers as the card's issuer would.", "vantor-issuer");
    CommandLine line;
    PurseLine loadLine;
    PurseLine purchaseLine;
    DeclareOptions(&app, &line);
    CLI::App *load = DeclarePurse(&app, "load", "the data of CREDIT FOR LOAD for a purse",
                                  "load key (DLK)", &loadLine);
    CLI::App *purchase = DeclarePurse(&app, "purchase", "the data of DEBIT FOR PURCHASE",
                                      "purchase key (DPK)", &purchaseLine);
    purchase
        ->add_option("--number", purchaseLine.request.terminalNumber,
                     "the terminal's transaction number (default 1)")
        ->type_name("N");
    app.require_subcommand(0, 1);
    try
    {
        app.parse(argc, argv);
    }
    catch (const CLI::ParseError &problem)
    {
        if (app.exit(problem) != 0)
            return kWrongUse;
        return Arrived();
    }
    if (load->parsed())
        return RunPurse(&loadLine, true);
    if (purchase->parsed())
        return RunPurse(&purchaseLine, false);
    return RunAuthorisation(line);
}
