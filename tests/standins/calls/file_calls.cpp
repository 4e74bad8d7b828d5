// Streams, and files and directories by their names.
#include <cstdarg>
#include <cstdio>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "standins/calls/rows.h"

namespace library_calls
{

namespace
{

// The stream that a read from failed last, until another one is opened.
FILE *s_unread;

Row s_fopen;

FILE *Fopen(const char *path, const char *mode)
{
    s_unread = nullptr;
    const Fault *fault = Enter(s_fopen);
    return fault != nullptr ? Spoiled<FILE *>(*fault) : fopen(path, mode);
}

int Ferror(FILE *file)
{
    return file == s_unread ? 1 : ferror(file);
}

Row s_fread;

size_t Fread(void *buffer, size_t size, size_t count, FILE *file)
{
    const Fault *fault = Enter(s_fread);
    if (fault != nullptr && fault->manner == Manner::Instead)
    {
        s_unread = file;
        return Spoiled<size_t>(*fault);
    }
    return fread(buffer, size, fault != nullptr ? count / 2 : count, file);
}

size_t FreadChecked(void *buffer, size_t /*room*/, size_t size, size_t count, FILE *file)
{
    return Fread(buffer, size, count, file);
}

Row s_fwrite;

size_t Fwrite(const void *bytes, size_t size, size_t count, FILE *file)
{
    const Fault *fault = Enter(s_fwrite);
    if (fault != nullptr && fault->manner == Manner::Instead)
        return Spoiled<size_t>(*fault);
    return fwrite(bytes, size, fault != nullptr ? count / 2 : count, file);
}

Row s_readdir;

dirent *Readdir(DIR *directory)
{
    const Fault *fault = Enter(s_readdir);
    if (fault != nullptr && fault->manner == Manner::Instead)
        return Spoiled<dirent *>(*fault);
    dirent *entry = readdir(directory);
    if (fault != nullptr && entry != nullptr)
        entry->d_type = DT_UNKNOWN; // as on some file systems
    return entry;
}

Row s_vsnprintf;

__attribute__((format(printf, 3, 0))) int Vsnprintf(char *text, size_t size, const char *format,
                                                    va_list arguments)
{
    const Fault *fault = Enter(s_vsnprintf);
    return fault != nullptr ? Spoiled<int>(*fault) : vsnprintf(text, size, format, arguments);
}

__attribute__((format(printf, 5, 0))) int VsnprintfChecked(char *text, size_t size, int /*flag*/,
                                                           size_t /*room*/, const char *format,
                                                           va_list arguments)
{
    return Vsnprintf(text, size, format, arguments);
}

} // namespace

void AddStreamsAndDirectories(RowList *rows)
{
    rows->insert(
        rows->end(),
        {
            Special(&s_fopen, "fopen", Address(&Fopen), {Fails(0, EMFILE), Fails(0, ENOSPC)}),
            Alias("ferror", Address(&Ferror)),
            Special(&s_fread, "fread", Address(&Fread), {Fails(0, EIO), Short()}),
            Alias("__fread_chk", Address(&FreadChecked)),
            Special(&s_fwrite, "fwrite", Address(&Fwrite), {Fails(0, ENOSPC), Short()}),
            Passes<&fflush>("fflush", {Fails(EOF, ENOSPC)}),
            Passes<&fclose>("fclose", {FailsAfter(EOF, ENOSPC)}),
            Special(&s_vsnprintf, "vsnprintf", Address(&Vsnprintf), {Fails(-1, ENOMEM)}),
            Alias("__vsnprintf_chk", Address(&VsnprintfChecked)),
            Passes<&fchmod>("fchmod", {Fails(-1, EPERM)}),
            Passes<&fchown>("fchown", {Fails(-1, EPERM)}),
            Passes<&fstat>("fstat", {Fails(-1, EIO)}),
            Passes<&fstatat>("fstatat", {Fails(-1, ENOENT)}),
            Passes<&stat>("stat", {Fails(-1, EACCES)}),
            Passes<&ftruncate>("ftruncate", {Fails(-1, EIO), Fails(-1, EINTR)}),
            Passes<&lseek>("lseek", {Fails(-1, EIO)}),
            Passes<&posix_fallocate>("posix_fallocate",
                                     {Gives(ENOSPC), Gives(EOPNOTSUPP), Gives(EINTR)}),
            Passes<&mkdir>("mkdir", {Fails(-1, EACCES), Fails(-1, ENOSPC)}),
            Passes<&rmdir>("rmdir", {Fails(-1, EBUSY)}),
            Passes<&mkostemp>("mkostemp", {Fails(-1, EACCES), Fails(-1, ENOSPC)}),
            Passes<&rename>("rename", {Fails(-1, EACCES), Fails(-1, ENOSPC)}),
            Passes<&unlink>("unlink", {Fails(-1, EACCES)}),
            Passes<&remove>("remove", {Fails(-1, EACCES)}),
            Passes<&opendir>("opendir", {Fails(0, EMFILE)}),
            Special(&s_readdir, "readdir", Address(&Readdir),
                    {Fails(0, EIO), {"of unknown kind", Manner::Short, 0, 0, false}}),
            Passes<&closedir>("closedir", {FailsAfter(-1, EINTR)}),
            Passes<&dladdr>("dladdr", {GivesZero("unknown")}),
            Passes<&dlopen>("dlopen", {Fails(0, ENOMEM)}),
            Passes<&dlsym>("dlsym", {Fails(0, ENOENT)}),
            Passes<&dlclose>("dlclose", {FailsAfter(-1, EINVAL)}),
        });
}

} // namespace library_calls
