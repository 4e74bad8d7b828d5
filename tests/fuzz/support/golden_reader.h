// A reader with a card of every kind, each answer fixed: what a session meets where its input does
// not say otherwise. It remembers nothing, so that an answer depends on its command alone.
#pragma once

#include "fuzz/support/frames.h"

namespace fuzz
{

Bytes GoldenAnswer(const Bytes &command);

} // namespace fuzz
