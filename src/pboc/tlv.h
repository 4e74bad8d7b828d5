// BER-TLV walks over the bytes of a card or of the terminal's stores; every length is checked
// against the bytes that are there.
#pragma once

#include <cstdint>

constexpr int kNotFound = -99;

// A tag as it stands in the data: one byte, or two.
struct Tag
{
    uint8_t bytes[2];
    int length;
};

// Where an object's value lies. A constructed object counts as empty: `offset` is the start of its
// contents, which a walk enters.
struct TlvObject
{
    int offset;
    int length;
};

// The first object of that tag in document order, at any depth. False when there is none, or when
// the walk meets an object that is malformed or runs past the end first.
bool FindObject(const Tag &tag, const uint8_t *buffer, int bufferLength, TlvObject *object);

// Copies the object's value, cut at `capacity`; gives the bytes copied, 0 when it is not there.
int CopyValue(const Tag &tag, const uint8_t *buffer, int bufferLength, uint8_t *value,
              int capacity);
