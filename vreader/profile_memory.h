// What a profile says about the reader's commands for memory cards.
#pragma once

#include "vreader/modules/reader.h"

namespace vreader
{

// The key "firstSector" of the reader's settings; false and an error text when it is wrong.
bool ReadMemorySettings(const nlohmann::json &settings, Reader *reader, std::string *error);

} // namespace vreader
