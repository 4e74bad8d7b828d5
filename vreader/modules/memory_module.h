// The contactless module's commands for memory cards, M1 (Mifare Classic) and M0 (Ultralight C).
#pragma once

#include "vreader/modules/reader.h"

namespace vreader
{

bool IsMemoryOperation(Operation operation);
Reply ServeMemory(Reader *reader, const Request &request);

// "M1 read block", and with its number, "M1 read block 4", for a command of the right length.
const char *MemoryOperationName(Operation operation);
std::string MemoryCommandText(const Request &request);

// The operation on a contactless processor card whose failures have the same statuses; any other
// operation is its own.
Operation StatusModel(Operation operation);

} // namespace vreader
