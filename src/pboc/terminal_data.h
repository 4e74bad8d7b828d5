// Reading the terminal's three data stores.
#pragma once

#include <cstdint>

#include "pboc/tlv.h"

// The value of a tag in the first store that holds it: transaction data, then
// application-initiation data, then further terminal data. -99 when none does or it does not fit.
int CopyTerminalValue(const Tag &tag, uint8_t *value, int capacity, int *length);

// Where the transaction data hold the value of a tag, inside g_szTxData; false when they do not.
bool FindTransactionValue(const Tag &tag, TlvObject *object);
