// Writing letter-coded text: a letter, the value's length as three decimal digits, the value.
#pragma once

#include <cstdint>

// A value of at most 999 characters, as it is. Gives the place behind it; no NUL is written.
char *AppendItem(char *out, char letter, const char *value, int length);

// A card's value of at most kResponseArea bytes, as it is.
char *AppendBytesItem(char *out, char letter, const uint8_t *bytes, int count);

// Bytes as upper-case hexadecimal text; at most 256 of its characters are written.
constexpr int kLongestHexItem = 256;
char *AppendHexItem(char *out, char letter, const uint8_t *bytes, int count);

// The same, ended before the first 'F': the digits of a number without its padding.
char *AppendDigitsItem(char *out, char letter, const uint8_t *bytes, int count);
