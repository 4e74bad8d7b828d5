#include "commands.h"

#include "advice.h"
#include "presentation.h"
#include "session.h"
#include "vantor.h"

namespace tool
{

static const char *CommandSetName(int iccmd)
{
    return iccmd == 0 ? "Krel" : iccmd == 1 ? "Union" : "unknown";
}

// In the long Union form the answer begins with its own length, which is no information. A byte
// that may as well be a character is left in place.
static std::string Information(const unsigned char *info, uint32_t length)
{
    const char *bytes = reinterpret_cast<const char *>(info);
    const size_t skipped = length > 0 && info[0] == length && info[0] < 0x20 ? 1 : 0;
    return std::string(bytes + skipped, length - skipped);
}

static Json TextAndHex(const std::string &bytes)
{
    const std::optional<std::string> text = TextFromGb(WithoutPadding(bytes));
    return {{"text", text ? Json(*text) : Json(nullptr)}, {"hex", Hex(bytes)}};
}

// The serial number is asked for in the Krel framing whatever Iccmd says: a reader that speaks
// Union only is silent, which says nothing about its health.
static void AddSerialNumber(Report *report)
{
    char serialNumber[64] = {};
    uint32_t length = 0;
    const int code = BO_GetErrorCode(BO_GetDevSn(serialNumber, &length));
    if (code != 0)
    {
        report->result["serial_number"] = nullptr;
        Say(*report, "  Serial number   not given (" + std::to_string(code) + ", " +
                         ErrorText(code) + ")\n");
        return;
    }
    const std::string bytes(serialNumber, std::min<size_t>(length, sizeof serialNumber));
    report->result["serial_number"] = TextAndHex(bytes);
    const std::string text = TextOrHex(bytes);
    Say(*report, "  Serial number   " + (text.empty() ? "not set" : text) + "\n");
}

void Info(const Options &options, Report *report)
{
    WithReader(
        options, report,
        [&]
        {
            unsigned char info[1024] = {};
            uint32_t length = 0;
            const int code = BO_GetDevInfo(0, info, &length);
            if (Failed(options, report, "BO_GetDevInfo", code))
                return;
            const std::string bytes = Information(info, std::min<uint32_t>(length, sizeof info));
            const int iccmd = ConfiguredCommandSet();
            int lineSpeed = 0;
            GGetConfigInt("devcfg", "DevBaud", 9600, &lineSpeed);
            report->result["port"] = options.port;
            report->result["information"] = TextAndHex(bytes);
            const std::string text = TextOrHex(bytes);
            Say(*report, "Reader on " + options.port + "\n");
            Say(*report, "  Information     " + (text.empty() ? "none given" : text) + "\n");
            AddSerialNumber(report);
            report->result["line_speed"] = options.port == "USB" ? Json(nullptr) : Json(lineSpeed);
            report->result["command_set"] = {{"iccmd", iccmd}, {"name", CommandSetName(iccmd)}};
            report->result["settings_file"] = SettingsPath();
            if (options.port != "USB")
                Say(*report, "  Line speed      " + std::to_string(lineSpeed) + " baud\n");
            Say(*report, std::string("  Command set     ") + CommandSetName(iccmd) +
                             " (Iccmd=" + std::to_string(iccmd) + ")\n");
            Say(*report, "  Settings        " + SettingsPath() + "\n");
            report->cancelled = IsCancelled();
        });
}

void Beep(const Options &options, Report *report)
{
    WithReader(options, report,
               [&]
               {
                   const int code = BO_Beep(options.beep[0], options.beep[1], options.beep[2]);
                   if (Failed(options, report, "BO_Beep", code))
                       return;
                   Say(*report, "beeped\n");
               });
}

// The terminal interface has a numbering of its own, without texts.
static void ExplainTerminalCode(const Options &options, Report *report)
{
    const int code = options.code;
    const Advice advice = FindTerminalAdvice(code, {options.port, ConfiguredCommandSet()});
    report->result = {{"code", code},    {"public_code", nullptr},    {"terminal_code", code},
                      {"text", nullptr}, {"meaning", advice.meaning}, {"try", advice.advice}};
    Say(*report, std::to_string(code) + "  of the terminal interface\n" + advice.meaning + "\n");
    if (!advice.advice.empty())
        Say(*report, "try: " + advice.advice + "\n");
}

void ExplainError(const Options &options, Report *report)
{
    if (options.callSet == CallSet::kTerminal)
    {
        ExplainTerminalCode(options, report);
        return;
    }
    const int code = options.code;
    const int publicCode = code == 0 ? 0 : BO_GetErrorCode(code);
    const int terminalCode = Vantor_GetErrorCode(publicCode);
    const Advice advice = FindAdvice("", code, {options.port, ConfiguredCommandSet()});
    report->result = {{"code", code},
                      {"public_code", publicCode},
                      {"terminal_code", terminalCode},
                      {"text", ErrorText(publicCode)},
                      {"meaning", advice.meaning},
                      {"try", advice.advice}};
    Say(*report, std::to_string(code) + "  " + ErrorText(publicCode) + "\n");
    if (publicCode != code)
        Say(*report, "inside the library; the calls give " + std::to_string(publicCode) + "\n");
    Say(*report, advice.meaning + "\n");
    if (!advice.advice.empty())
        Say(*report, "try: " + advice.advice + "\n");
}

} // namespace tool
