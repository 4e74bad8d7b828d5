// What a reader answers, built anew here: none of the library's own code is in it.
#pragma once

#include "fuzz/support/input.h"

namespace fuzz
{

enum class Framing
{
    kRaw,
    kKrel,
    kUnion,
    kIdentity
};

// Which framing a command came in.
Framing FramingOf(const Bytes &command);

// A payload as the reader sends it. KrelIc carries 334 bytes, the rest is left out.
Bytes KrelAnswer(const Bytes &payload);
Bytes UnionAnswer(const Bytes &payload);
Bytes IdentityAnswer(const Bytes &payload);

// A whole payload, status included, in the framing of the command.
Bytes FramedAnswer(Framing framing, const Bytes &payload);

// Data behind the status of success, in the framing of the command.
Bytes GoodAnswer(Framing framing, const Bytes &data);

} // namespace fuzz
