// What must not stand in a log at the level that is shipped: PINs, keys, tracks, account and
// identity numbers.
#pragma once

#include <string>

namespace testing_support
{

// The first error line of a log that holds such a thing; "" when there is none. Error lines are all
// that the shipped level writes. What a host has read from a memory card is a line of its own, and
// documented.
std::string LineWithSecret(const std::string &log);

// The same in all log files below a directory.
std::string LineWithSecretBelow(const std::string &directory);

} // namespace testing_support
