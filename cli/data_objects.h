// BER-TLV data objects of a transaction, made fit to be read: what goes to the issuer, what comes
// back, what the card answers.
//
// All of it comes from a card or from an issuer and may be anything; a list that ends within an
// object is shown as far as it goes and says so.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "card_fields.h"

namespace tool
{

struct DataObject
{
    std::string tag;   // "9F26"
    std::string value; // bytes
};

struct DataObjects
{
    std::vector<DataObject> objects;
    std::string error; // "" when the whole list was well formed
};

// Tags of one or two bytes, lengths of one byte, 81 or 82; templates are not entered.
DataObjects ParseObjects(std::string_view bytes);
const std::string *FindObject(const DataObjects &list, std::string_view tag);
std::string ObjectText(std::string_view tag, std::string_view value); // upper-case hexadecimal

// What GENERATE AC answers: the objects inside template 77, or the bare value of template 80
// (cryptogram information data, counter, cryptogram, issuer application data).
DataObjects CryptogramObjects(std::string_view bytes);

// "ARQC", "TC", "AAC", "AAR": which cryptogram the information data tell of; "?" without any.
std::string CryptogramKind(const DataObjects &list);

// One line an object, with its meaning, further lines for single bits. Under `mask` account numbers
// keep their first six and last four digits.
std::string ObjectsText(const DataObjects &list, bool mask);
Json ObjectsJson(const DataObjects &list, bool mask);

} // namespace tool
