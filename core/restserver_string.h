/*
 * String and line utilities: bounded copies, duplication, splitting and
 * trimming of NUL-terminated byte strings, and the handler configuration
 * files' line reader.
 */
#ifndef RESTSERVER_STRING_H
#define RESTSERVER_STRING_H

#include <stdio.h>

#include "plat_types.h"
#include "restserver_export.h"

RS_BEGIN_DECLS

RS_API u64 RsStrLCopy(char *pcDest, const char *pcSrc, u64 ulSize);
RS_API char *RsStrDup(const char *pcSrc);
RS_API u32 RsStrNCpy(char *pcDest, const char *pcSrc, u64 ulMax);
RS_API u32 RsStrSplit(char *pcText, const char *pcDelim, char **ppcFields, u64 ulCount);
RS_API char *RsStrTrim(char *pcText, u64 ulLen);
RS_API char *RsReadLine(FILE *pstFile, char *pcBuf, s32 iSize);

RS_END_DECLS

#endif
