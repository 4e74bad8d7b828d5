// The text that an identity call gives: a card's fields in the layout of the call.
#pragma once

constexpr int kIdentityTextSize = 1024; // the longest text and its NUL take 525
constexpr int kIdentityFieldSize = 256;

using IdentityField = int (*)(const unsigned char *record, char *out);

// The fields of a layout in their order; null: an empty one.
struct IdentityLayout
{
    const IdentityField *fields;
    int count;
};

// One layout for each kind of card.
struct IdentityLayouts
{
    IdentityLayout resident; // N
    IdentityLayout gat;      // J
    IdentityLayout foreign;  // I
};

extern const IdentityLayouts kAllFields;
extern const IdentityLayouts kPictureFields;       // two fields less, but for a GAT card
extern const IdentityLayouts kPictureFieldsByCode; // the same with a country as its code
extern const IdentityLayouts kVariantFields;

struct IdentityText
{
    char characters[kIdentityTextSize];
    int length;
};

// "I", "J" or "N".
char IdentityCardKind(const unsigned char *record);

IdentityText MakeIdentityText(const unsigned char *record, const IdentityLayouts &layouts);
