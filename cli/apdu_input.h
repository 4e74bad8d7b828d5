// Command APDUs as people write them: arguments, script files, standard input.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tool
{

struct ApduInput
{
    std::vector<std::string> apdus; // upper-case hexadecimal text
    std::string error;              // "" when all are well formed
};

// Adds one APDU: blanks are left out, lower case is raised, 4 to 512 bytes. `where` begins the
// error text ("argument 2", "setup.apdu:7").
void AddApdu(ApduInput *input, std::string_view text, const std::string &where);

// Adds the APDUs of a script: one a line; "#" begins a comment, blank lines do not count.
void AddScript(ApduInput *input, std::string_view script, const std::string &name);

} // namespace tool
