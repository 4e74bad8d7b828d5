// The host's transaction text: letter-coded fields that go into the terminal's transaction data.
#pragma once

// Reads the fields P, Q, R, S, T, U and V of the text, in this order, into g_szTxData; a field that
// is absent leaves the stored value. Returns 0, or -1007 after logging the message of the first
// field with characters it may not have.
int ReadTransactionInput(const char *text);

// Sets 9F37 of g_szTxData to four fresh bytes.
void DrawUnpredictableNumber();
