#include "vreader/issuer/scripts.h"

#include "vreader/cards/tlv.h"
#include "vreader/words.h"

#include <algorithm>

namespace vreader
{

namespace
{

constexpr size_t kMacSize = 4;
constexpr size_t kLongestData = 255 - kMacSize;

struct ScriptCommand
{
    std::array<uint8_t, 4> header{};
    Bytes data;
    std::string newPin;
    std::string currentPin;
    Bytes raw; // sent as it stands
};

// What the words behind the name say; false when they say nothing of use.
using ReadArguments = bool (*)(const std::vector<std::string> &arguments, ScriptCommand *command);

bool IsPin(const std::string &text)
{
    return text.size() >= 4 && text.size() <= 12 &&
           text.find_first_not_of("0123456789") == std::string::npos;
}

bool NoArguments(const std::vector<std::string> &arguments, ScriptCommand *)
{
    return arguments.empty();
}

// P2 02 sets a PIN, P2 01 replaces one that is named.
bool Pins(const std::vector<std::string> &arguments, ScriptCommand *command)
{
    if (arguments.empty() || arguments.size() > 2 || !IsPin(arguments.front()) ||
        !IsPin(arguments.back()))
        return false;
    command->newPin = arguments.back();
    command->currentPin = arguments.size() == 2 ? arguments.front() : "";
    command->header[3] = arguments.size() == 2 ? 0x01 : 0x02;
    return true;
}

bool TagAndValue(const std::vector<std::string> &arguments, ScriptCommand *command)
{
    const std::string text = arguments.size() == 1 ? arguments.front() : "";
    const size_t equals = text.find('=');
    if (equals == std::string::npos)
        return false;
    const std::optional<Tag> tag = TagFromText(text.substr(0, equals));
    const std::optional<Bytes> value = BytesFromHex(text.substr(equals + 1));
    if (!tag || *tag > 0xFFFF || !value || value->empty() || value->size() > kLongestData)
        return false;
    command->header[2] = static_cast<uint8_t>(*tag >> 8);
    command->header[3] = static_cast<uint8_t>(*tag);
    command->data = *value;
    return true;
}

bool RawCommand(const std::vector<std::string> &arguments, ScriptCommand *command)
{
    const std::optional<Bytes> bytes =
        arguments.size() == 1 ? BytesFromHex(arguments.front()) : std::nullopt;
    if (!bytes || bytes->empty())
        return false;
    command->raw = *bytes;
    return true;
}

struct ScriptWord
{
    const char *name;
    uint8_t cla;
    uint8_t ins;
    ReadArguments read;
    const char *usage;
};

constexpr ScriptWord kScriptWords[] = {
    {"block-card", 0x84, 0x16, NoArguments, "block-card"},
    {"block-application", 0x84, 0x1E, NoArguments, "block-application"},
    {"unblock-application", 0x84, 0x18, NoArguments, "unblock-application"},
    {"unblock-pin", 0x84, 0x24, NoArguments, "unblock-pin"},
    {"pin-change", 0x84, 0x24, Pins, "pin-change NEW, or pin-change OLD NEW (4 to 12 digits)"},
    {"put-data", 0x04, 0xDA, TagAndValue, "put-data TAG=HEX, such as 9F79=000000010000"},
    {"raw", 0x00, 0x00, RawCommand, "raw HEX (a whole command)"},
};

std::optional<ScriptCommand> ReadScript(const std::string &script, std::string *error)
{
    Words words{script};
    const std::string name = NextWord(&words);
    std::vector<std::string> arguments;
    for (std::string word = NextWord(&words); !word.empty(); word = NextWord(&words))
        arguments.push_back(word);
    std::string known;
    for (const ScriptWord &word : kScriptWords)
    {
        known += (known.empty() ? "" : ", ") + std::string(word.name);
        if (name != word.name)
            continue;
        ScriptCommand command;
        command.header = {word.cla, word.ins, 0x00, 0x00};
        if (word.read(arguments, &command))
            return command;
        *error = "script \"" + script + "\": expected " + word.usage;
        return std::nullopt;
    }
    *error = "script \"" + script + "\": there is no \"" + name + "\"; known are " + known;
    return std::nullopt;
}

// The command as it is sent: header, data (enciphered for a PIN), MAC.
Bytes Secured(const ScriptSession &session, const ScriptCommand &command)
{
    if (!command.raw.empty())
        return command.raw;
    Bytes data = command.data;
    if (!command.newPin.empty())
    {
        const Block block =
            MakePinBlock(session.cardKeys.cryptogram, command.newPin, command.currentPin);
        data = EncipherScriptData(DeriveSessionKey(session.cardKeys.encipherment, session.counter),
                                  Bytes(block.begin(), block.end()));
    }
    const std::array<uint8_t, 5> header = {command.header[0], command.header[1], command.header[2],
                                           command.header[3],
                                           static_cast<uint8_t>(data.size() + kMacSize)};
    std::array<uint8_t, 4> mac = ScriptMac(DeriveSessionKey(session.cardKeys.mac, session.counter),
                                           header, session.counter, session.arqc, data);
    if (session.spoilsMacs)
        mac[3] = static_cast<uint8_t>(mac[3] ^ 0x01);
    Bytes bytes(header.begin(), header.end());
    AppendBytes(&bytes, data);
    bytes.insert(bytes.end(), mac.begin(), mac.end());
    return bytes;
}

} // namespace

bool IsScript(const std::string &script, std::string *error)
{
    return ReadScript(script, error).has_value();
}

Bytes BuildScripts(const ScriptSession &session, const IssuerRules &rules,
                   std::vector<std::string> *explanation, std::string *error)
{
    if (rules.scripts.empty())
        return {};
    Bytes contents;
    if (!rules.scriptIdentifier.empty())
        AppendTlv(&contents, 0x9F18, rules.scriptIdentifier);
    for (const std::string &script : rules.scripts)
    {
        const std::optional<ScriptCommand> command = ReadScript(script, error);
        if (!command)
            return {};
        const Bytes bytes = Secured(session, *command);
        AppendTlv(&contents, 0x86, bytes);
        explanation->push_back("script      " + HexText(bytes) + "  " + script);
    }
    return Tlv(rules.scriptTemplate, contents);
}

} // namespace vreader
