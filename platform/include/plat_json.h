/* JSON documents. Lookups return null on any failure, never crash on null. */
#ifndef PLAT_JSON_H
#define PLAT_JSON_H

#include "plat_types.h"

PLAT_BEGIN_DECLS

typedef struct CFJSON CFJSON;

PLAT_API CFJSON *CFJSON_Parse(const char *pcText);
/* As CFJSON_Parse; on failure *puiErrorOffset is where the text stops being JSON. */
PLAT_API CFJSON *CFJSON_ParseAt(const char *pcText, u32 *puiErrorOffset);
PLAT_API CFJSON *CFJSON_ObjectItemGet(const CFJSON *pstObject, const char *pcName);
PLAT_API CFJSON *CFJSON_ArrayItemGet(const CFJSON *pstArray, u32 uiIndex);
/* Element count of an array; 0 for anything else. */
PLAT_API u32 CFJSON_ArraySizeGet(const CFJSON *pstArray);
/* With a null item: the object's first member; else the member after pstItem. */
PLAT_API CFJSON *CFJSON_NextItemGet(const CFJSON *pstObject, const CFJSON *pstItem);
PLAT_API const char *CFJSON_StringKeyGet(const CFJSON *pstItem);
/* The text of a string value; null for any other kind. */
PLAT_API const char *CFJSON_StringValueGet(const CFJSON *pstItem);
PLAT_API CFJSON *CFJSON_ObjectCreate(void);
PLAT_API u32 CFJSON_AddString2Object(CFJSON *pstObject, const char *pcName, const char *pcValue);
/* Unformatted text, released with CFJSON_Free. */
PLAT_API char *CFJSON_Print(const CFJSON *pstItem);
PLAT_API void CFJSON_Free(void *pText);
PLAT_API void CFJSON_Delete(CFJSON *pstItem);

PLAT_END_DECLS

#endif
