// Reading a card's description: every read says where it stands, and the first mistake is kept.
//
// A read never fails on the spot: it notes the mistake and gives an empty value, so that a
// description reads from top to bottom and is asked once, at the end, whether all was well.
#pragma once

#include "vreader/cards/tlv.h"

#include <initializer_list>

namespace vreader
{

struct Place
{
    const nlohmann::json *value;
    std::string path;     // "applications[0].gpo.aip"; empty for the whole description
    std::string *problem; // the first mistake found anywhere in this description
};

bool Failed(const Place &place);
// Notes "PATH: expected WHAT, found VALUE", unless a mistake is known already.
void Expected(const Place &place, const std::string &what);
// Notes "PATH: TEXT", unless a mistake is known already.
void Complain(const Place &place, const std::string &text);

Place Below(const Place &place, const std::string &key); // the key must exist
Place Element(const Place &place, size_t index);
std::optional<Place> Find(const Place &place, const char *key);

// Complains unless the place is an object with no keys beside these ("note" is always allowed).
bool IsObjectOf(const Place &place, std::initializer_list<const char *> keys);
bool IsArray(const Place &place, const char *what);

bool FlagAt(const Place &place, const char *key, bool otherwise);
unsigned NumberAt(const Place &place, const char *key, unsigned least, unsigned most,
                  unsigned otherwise);
std::string TextAt(const Place &place, const char *key, const std::string &otherwise);
Bytes HexAt(const Place &place, const char *key, const Bytes &otherwise);

std::string Text(const Place &place);
Bytes Hex(const Place &place);
uint16_t StatusWord(const Place &place);
// A number that stands as a key: file identifiers "1" to "30", record numbers "1" to "255".
std::optional<unsigned> KeyNumber(const std::string &key, unsigned least, unsigned most);

// The JSON in the file that the place names (as ReadProfileFile finds it); null, and a mistake
// noted, when it cannot be read.
nlohmann::json FileContents(const Place &place, const std::string &directory);

// A value: hexadecimal digits, "text:…" for the bytes of the text, or "dol:9F02 6, 9F37 4" for a
// data-object list (tag and decimal length, in turn).
Bytes Value(const Place &place);

// Data objects one after the other: hexadecimal digits taken as they stand, an object
// {"5A": VALUE, …} (written in the order of the tags), or an array of such objects (as it stands).
// The value of a constructed tag is itself a list of data objects.
Bytes DataObjects(const Place &place);

} // namespace vreader
