/* What every topic header of libvantor shares: the export mark and the C/C++ linkage brackets. */
#ifndef VANTOR_EXPORT_H
#define VANTOR_EXPORT_H

#include <stddef.h>
#include <stdint.h>

/* Marks a declaration that the shared library exports. The export test reads this mark. */
#ifndef VANTOR_API
#define VANTOR_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
#define VANTOR_C_BEGIN                                                                             \
    extern "C"                                                                                     \
    {
#define VANTOR_C_END }
/* In C++ the mangled name follows from the declaration itself. */
#define VANTOR_CPP_SYMBOL(name)
#else
#define VANTOR_C_BEGIN
#define VANTOR_C_END
/* A few calls are exported under their C++ symbol; C reaches them by that name. */
#define VANTOR_CPP_SYMBOL(name) __asm__(name)
#endif

#endif
