#include "vreader/profile_memory.h"

#include "vreader/cards/description.h"

namespace vreader
{

bool ReadMemorySettings(const nlohmann::json &settings, Reader *reader, std::string *error)
{
    const Place place{&settings, "reader", error};
    reader->firstSector = NumberAt(place, "firstSector", 0, 1, reader->firstSector);
    return !Failed(place);
}

} // namespace vreader
