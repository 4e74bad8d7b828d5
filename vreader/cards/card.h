// What every virtual card is to the reader: an ATR at power-on, then answers to commands.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace vreader
{

using Bytes = std::vector<uint8_t>;

struct MemoryTraits;

struct Card
{
    std::string kind;  // "transcript", "pboc", "social-security", "hostile"
    std::string label; // a person's name for it, shown by the control channel
    Bytes answerToReset;
    std::function<void()> powerOn; // starts a fresh card session
    std::function<void()> powerOff;
    std::function<Bytes(const Bytes &command)> transmit; // response data and SW1 SW2
    // A remark on the last command for the trace ("not in the recording"), or an empty text.
    std::function<std::string()> remark;
    // Makes the next `count` commands that begin with `prefix` answer `statusWord`; count 0: all of
    // them from now on. Status word 0 forgets what was injected for exactly this prefix (an empty
    // prefix: everything). The card itself does not see a command that is answered so.
    std::function<void(const Bytes &prefix, uint16_t statusWord, unsigned count)> injectStatus;
    std::shared_ptr<const MemoryTraits> memory; // of a memory card; null for all others
};

// Builds a card from its description in a profile; `directory` is where relative file names start.
// Null and an error text that names the offending key when the description is wrong.
std::shared_ptr<Card> MakeCard(const nlohmann::json &description, const std::string &directory,
                               std::string *error);

// "SELECT 1PAY.SYS.DDF01", "READ RECORD 1 SFI 1", "GET PROCESSING OPTIONS": a command for people.
std::string CommandName(const Bytes &command);
// "9000 success", "6A82 file not found": a status word for people.
std::string StatusName(uint16_t statusWord);

} // namespace vreader
