// Files that a profile names: from the directory the profile lies in, or built into the program.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace vreader
{

// A file of vreader/profiles/ built into the program; `name` is relative to that directory and has
// forward slashes: "default.json", "transcripts/01-upi-contact-3apps.json".
struct EmbeddedFile
{
    const char *name;
    const char *data;
    size_t size;
};

// Makes a table of built-in files known. The table stays the caller's and must outlive every later
// ReadProfileFile; a second call replaces the first. Without a call there are no built-in files.
void RegisterEmbeddedFiles(const EmbeddedFile *files, size_t count);

// The contents of `name`. An absolute name is read as it stands. A relative one is looked for in
// `directory`, then among the built-in files; an empty `directory` means built-in files only.
// Nothing when there is no such file, when it is no regular file, or when it exceeds 16 MB.
std::optional<std::string> ReadProfileFile(const std::string &directory, const std::string &name);

} // namespace vreader
