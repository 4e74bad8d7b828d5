// The terminal's side of a transaction: three stores of primitive TLV objects. They are changed in
// place and never change size, so a value persists from one call to the next.
#include "pboc/terminal_data.h"

#include "vantor/pboc.h"

// clang-format off
unsigned char g_szTxData[88] = {
    0x8A, 2, '0', '0',                        // authorisation response code
    0x9F, 0x02, 6, 0, 0, 0, 0, 0, 0x12,       // amount, authorised
    0x9F, 0x03, 6, 0, 0, 0, 0, 0, 0,          // amount, other
    0x9F, 0x1A, 2, 0x01, 0x56,                // terminal country code
    0x95, 5, 0x00, 0x00, 0x00, 0x08, 0x00,    // terminal verification results
    0x5F, 0x2A, 2, 0x01, 0x56,                // transaction currency code
    0x9A, 3, '0', '0', '0',                   // transaction date: the characters, not BCD
    0x9C, 1, 0x01,                            // transaction type
    0x9F, 0x37, 4, 0x12, 0x34, 0x56, 0x78,    // unpredictable number, replaced before use
    0x82, 2, 0, 0,                            // application interchange profile
    0x9F, 0x21, 3, 0, 0, 0,                   // transaction time
    0x9F, 0x4E, 20,                           // merchant name and location
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
};
int32_t g_iTxDataLen = 87;

unsigned char g_szAppInitData[114] = {
    0x9F, 0x02, 6, 0, 0, 0, 0, 0, 0x12,
    0x9F, 0x03, 6, 0, 0, 0, 0, 0, 0,
    0x9F, 0x1A, 2, 0x01, 0x56,
    0x95, 5, 0x00, 0x00, 0x00, 0x08, 0x00,
    0x5F, 0x2A, 2, 0x01, 0x56,
    0x9C, 1, 0x01,
    0x9F, 0x37, 4, 0x12, 0x34, 0x56, 0x78,
    0x9F, 0x66, 4, 0xF4, 0x00, 0x00, 0x00,    // terminal transaction qualifiers
    0x9F, 0x7A, 1, 0x00,                      // electronic cash terminal support indicator
    0x9F, 0x7B, 6, 0, 0, 0x01, 0, 0, 0,       // electronic cash terminal transaction limit
    0x9F, 0x4E, 20,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0x9A, 3, '0', '0', '0',
    0xDF, 0x60, 1, 0x00,                      // CAPP transaction indicator
    0xDF, 0x69, 1, 0x01,                      // SM algorithm support indicator
    0x9F, 0x21, 3, 0, 0, 0,
    0x9F, 0x33, 3, 0x20, 0xA1, 0x00,          // terminal capabilities
};
int32_t g_iAppInitDataLen = 113;

unsigned char g_szExData[50] = {
    0x9F, 0x35, 1, 0x22,                      // terminal type
    0x9F, 0x45, 2, 0, 0,                      // data authentication code
    0x9F, 0x4C, 8, 0, 0, 0, 0, 0, 0, 0, 0,    // ICC dynamic number
    0x9F, 0x34, 3, 0x3F, 0x00, 0x00,          // cardholder verification method results
    0x9F, 0x7C, 20,                           // customer exclusive data
    0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xAA,
    0xBB, 0xCC, 0xDD, 0xEE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
};
int32_t g_iExDataLen = 49;
// clang-format on

char g_IccAppData[8000] = {};

namespace
{

// The lengths are exported variables: what a host wrote there must not carry a walk past its store.
int LengthInUse(int32_t length, size_t storeSize)
{
    const int size = static_cast<int>(storeSize);
    return length < 0 ? 0 : length > size ? size : length;
}

} // namespace

int CopyTerminalValue(const Tag &tag, uint8_t *value, int capacity, int *length)
{
    const struct
    {
        const uint8_t *bytes;
        int length;
    } stores[] = {
        {g_szTxData, LengthInUse(g_iTxDataLen, sizeof g_szTxData)},
        {g_szAppInitData, LengthInUse(g_iAppInitDataLen, sizeof g_szAppInitData)},
        {g_szExData, LengthInUse(g_iExDataLen, sizeof g_szExData)},
    };
    TlvObject object{};
    for (const auto &store : stores)
        if (FindObject(tag, store.bytes, store.length, &object))
        {
            if (object.length > capacity)
                return kNotFound;
            *length = CopyValue(tag, store.bytes, store.length, value, capacity);
            return 0;
        }
    return kNotFound;
}

bool FindTransactionValue(const Tag &tag, TlvObject *object)
{
    return FindObject(tag, g_szTxData, LengthInUse(g_iTxDataLen, sizeof g_szTxData), object);
}

int PBOC_SetTxDataTagValue(const unsigned char *tag, int tagLength, const unsigned char *value,
                           int valueLength)
{
    return PBOC_SetTagValue(tag, tagLength, g_szTxData,
                            LengthInUse(g_iTxDataLen, sizeof g_szTxData), value, valueLength);
}

int PBOC_SetAppInitDataTagValue(const unsigned char *tag, int tagLength, const unsigned char *value,
                                int valueLength)
{
    return PBOC_SetTagValue(tag, tagLength, g_szAppInitData,
                            LengthInUse(g_iAppInitDataLen, sizeof g_szAppInitData), value,
                            valueLength);
}
