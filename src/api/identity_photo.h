// The photo of an identity card as a file of the host's choice.
#pragma once

// Writes the photo of a raw record to the path: null or empty is nowhere, one that holds ".bmp",
// ".jpg", ".png" or ".gif" is the file, any other the directory for it. Returns the public result
// of the call: 0 when there is nothing to write.
int WriteIdentityPhoto(const unsigned char *record, const char *path);

constexpr int kLongestPhotoPath = 260;
