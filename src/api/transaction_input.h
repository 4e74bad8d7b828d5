// The host's transaction text: letter-coded fields that go into the terminal's transaction data.
#pragma once

// Whether the text has 1 to 1024 characters.
bool IsTransactionText(const char *text);

// Reads the fields P, Q, R, S, T, U and V of the text, in this order, into g_szTxData; a field that
// is absent leaves the stored value. Returns 0, or -1007 after logging the message of the first
// field with characters it may not have.
int ReadTransactionInput(const char *text);

// The reading of the variant calls, in which V too is hexadecimal. The request takes the fields J
// to V and passes over one with bad characters; the completion takes P to V and answers a bad P to
// U with its message and -1007.
void ReadVariantRequestInput(const char *text);
int ReadVariantCompletionInput(const char *text);

// Sets 9F37 of g_szTxData to four fresh bytes.
void DrawUnpredictableNumber();
