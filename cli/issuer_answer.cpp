#include "issuer_answer.h"

#include "presentation.h"

namespace tool
{

// The columns of ObjectsText.
static const size_t kTagWidth = 6;
static const size_t kNameWidth = 25;

std::string ResponseCodeMeaning(std::string_view code)
{
    static const struct
    {
        const char *code;
        const char *meaning;
    } kCodes[] = {
        {"00", "approved"},
        {"10", "approved for a part of the amount"},
        {"11", "approved"},
        {"01", "refer to the issuer"},
        {"02", "refer to the issuer"},
        {"05", "declined"},
    };
    for (const auto &known : kCodes)
        if (code == known.code)
            return known.meaning;
    return "declined"; // as the library takes every other code: it asks the card for an AAC
}

static const size_t kArpcSize = 8;

static std::string ResponseCode(const std::string &authenticationData)
{
    return authenticationData.size() < kArpcSize + 2
               ? ""
               : TextOrHex(std::string_view(authenticationData).substr(kArpcSize, 2));
}

static const char *CommandName(std::string_view command)
{
    static const struct
    {
        unsigned instruction;
        const char *name;
    } kCommands[] = {
        {0x16, "CARD BLOCK"},        {0x18, "APPLICATION UNBLOCK"},
        {0x1E, "APPLICATION BLOCK"}, {0x24, "PIN CHANGE"},
        {0xDA, "PUT DATA"},          {0xDC, "UPDATE RECORD"},
        {0xD6, "UPDATE BINARY"},
    };
    for (const auto &known : kCommands)
        if (command.size() >= 4 && ByteAt(command, 1) == known.instruction)
            return known.name;
    return "a command";
}

struct Script
{
    std::string identifier; // hexadecimal, "" without one
    std::vector<std::string> commands;
    std::string error;
};

static Script ReadScript(std::string_view bytes)
{
    const DataObjects content = ParseObjects(bytes);
    Script script;
    script.error = content.error;
    for (const DataObject &object : content.objects)
    {
        if (object.tag == "9F18")
            script.identifier = Hex(object.value);
        if (object.tag == "86")
            script.commands.push_back(object.value);
    }
    return script;
}

static bool IsScript(const DataObject &object)
{
    return object.tag == "71" || object.tag == "72";
}

std::string IssuerAnswerText(const DataObjects &list)
{
    std::string text;
    for (const DataObject &object : list.objects)
    {
        const std::string start = "  " + Padded(object.tag, kTagWidth);
        if (object.tag == "91")
        {
            const std::string code = ResponseCode(object.value);
            text += start + Padded("Issuer authentication", kNameWidth) + "ARPC " +
                    Hex(std::string_view(object.value).substr(0, kArpcSize)) +
                    (code.empty() ? ", no response code"
                                  : ", code " + code + ", " + ResponseCodeMeaning(code)) +
                    "\n";
            continue;
        }
        if (!IsScript(object))
        {
            text += start + Padded("", kNameWidth) + Hex(object.value) + "\n";
            continue;
        }
        const Script script = ReadScript(object.value);
        text += start + Padded("Script", kNameWidth) +
                (script.identifier.empty() ? "no identifier" : "identifier " + script.identifier) +
                (script.error.empty() ? "" : ", " + script.error) + "\n";
        for (const std::string &command : script.commands)
            text += std::string(2 + kTagWidth + kNameWidth, ' ') + "- " + CommandName(command) +
                    " " + Hex(command) + "\n";
    }
    return text + (list.error.empty() ? "" : "  " + list.error + "\n");
}

Json IssuerAnswerJson(const DataObjects &list)
{
    Json answer = {{"arpc", nullptr}, {"response_code", nullptr}, {"meaning", nullptr}};
    answer["scripts"] = Json::array();
    for (const DataObject &object : list.objects)
    {
        if (object.tag == "91")
        {
            const std::string code = ResponseCode(object.value);
            answer["arpc"] = Hex(std::string_view(object.value).substr(0, kArpcSize));
            answer["response_code"] = code.empty() ? Json(nullptr) : Json(code);
            answer["meaning"] = code.empty() ? Json(nullptr) : Json(ResponseCodeMeaning(code));
        }
        if (!IsScript(object))
            continue;
        const Script script = ReadScript(object.value);
        Json commands = Json::array();
        for (const std::string &command : script.commands)
            commands.push_back({{"name", CommandName(command)}, {"apdu", Hex(command)}});
        answer["scripts"].push_back(
            {{"tag", object.tag},
             {"identifier", script.identifier.empty() ? Json(nullptr) : Json(script.identifier)},
             {"commands", commands}});
    }
    return answer;
}

std::string ScriptResultMeaning(std::string_view text)
{
    static const std::string_view kTag = "DF3105";
    if (text.size() != 16 || text.substr(0, kTag.size()) != kTag)
        return "no script result";
    const char result = text[6];
    const char sequence = text[7];
    const std::string identifier(text.substr(8));
    const std::string of = identifier == "00000000" ? "" : " (script " + identifier + ")";
    if (result == '2')
        return "the script was carried out" + of;
    if (result != '1')
        return "unknown script result" + of;
    if (sequence == '0')
        return "no script was run" + of;
    return std::string("the card refused the script, sequence digit ") + sequence + of;
}

} // namespace tool
