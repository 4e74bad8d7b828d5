// The names that the codes of a resident card stand for, in UCS-2 as a card holds its fields.
#pragma once

#include <cstddef>

// The name of an ethnic group by its code, without the suffix that means nationality. Null for a
// code without a name.
const char16_t *NationName(int code);
