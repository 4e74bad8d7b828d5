// The files of vreader/profiles/ as the build found them (written by embed_profiles.cmake).
#pragma once

#include "vreader/cards/profile_files.h"

namespace vreader
{

extern const EmbeddedFile kEmbeddedFiles[];
extern const size_t kEmbeddedFileCount;

} // namespace vreader
