/*
 * Bounded text operations. The destination size comes first; a copy or
 * append that does not fit fails and leaves the destination empty. The
 * formatting forms with a character limit cut at the limit and report -1.
 * Results: 0 (EOK) on success, an errno value on failure; the formatting
 * forms return the number of characters written or -1.
 */
#ifndef PLAT_TEXT_H
#define PLAT_TEXT_H

#include <stdarg.h>

#include "plat_types.h"

PLAT_BEGIN_DECLS

#ifndef EOK
#define EOK 0
#endif

typedef int errno_t;

PLAT_API errno_t strcpy_s(char *pcDest, size_t ulDestMax, const char *pcSrc);
PLAT_API errno_t strncpy_s(char *pcDest, size_t ulDestMax, const char *pcSrc, size_t ulCount);
PLAT_API errno_t strcat_s(char *pcDest, size_t ulDestMax, const char *pcSrc);
PLAT_API errno_t memcpy_s(void *pDest, size_t ulDestMax, const void *pSrc, size_t ulCount);
PLAT_API errno_t memset_s(void *pDest, size_t ulDestMax, int iValue, size_t ulCount);
PLAT_API int snprintf_s(char *pcDest, size_t ulDestMax, size_t ulCount, const char *pcFmt, ...)
    __attribute__((format(printf, 4, 5)));
PLAT_API int sprintf_s(char *pcDest, size_t ulDestMax, const char *pcFmt, ...) __attribute__((format(printf, 3, 4)));
PLAT_API int vsnprintf_s(char *pcDest, size_t ulDestMax, size_t ulCount, const char *pcFmt, va_list args)
    __attribute__((format(printf, 4, 0)));
PLAT_API char *strtok_s(char *pcText, const char *pcDelim, char **ppcContext);

PLAT_END_DECLS

#endif
