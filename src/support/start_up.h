// What the library prepares when it is loaded, before anything else is called.
#pragma once

#include <cstddef>

// The directory of the library's own file: libraryPath up to its last "/"; the whole path when it
// holds none; "." when the path is not known (null). Cut to the size given, NUL included.
void LibraryDirectory(const char *libraryPath, char *directory, size_t size);

// Sets the configuration path, the log level, the log directory (made when missing, old files
// deleted), the log file of today and the library directory. Every failure is ignored: without a
// configuration file the defaults hold, without a log directory log writes fail.
void PrepareSupport(const char *libraryPath);
