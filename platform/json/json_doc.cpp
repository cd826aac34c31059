// CFJSON: the platform JSON layer, a thin null-safe face on cJSON. CFJSON is
// an opaque name for a cJSON node; every lookup returns null on any failure.
#include <cjson/cJSON.h>

#include "plat_json.h"

namespace {

cJSON *Node(const CFJSON *item) {
    return reinterpret_cast<cJSON *>(const_cast<CFJSON *>(item));
}
CFJSON *Wrap(cJSON *node) {
    return reinterpret_cast<CFJSON *>(node);
}

}  // namespace

extern "C" PLAT_API CFJSON *CFJSON_Parse(const char *pcText) {
    if (pcText == nullptr) return nullptr;
    return Wrap(cJSON_Parse(pcText));
}

extern "C" PLAT_API CFJSON *CFJSON_ObjectItemGet(const CFJSON *pstObject, const char *pcName) {
    if (pcName == nullptr || !cJSON_IsObject(Node(pstObject))) return nullptr;
    return Wrap(cJSON_GetObjectItemCaseSensitive(Node(pstObject), pcName));
}

extern "C" PLAT_API CFJSON *CFJSON_ArrayItemGet(const CFJSON *pstArray, u32 uiIndex) {
    if (!cJSON_IsArray(Node(pstArray)) || uiIndex > INT32_MAX) return nullptr;
    return Wrap(cJSON_GetArrayItem(Node(pstArray), static_cast<int>(uiIndex)));
}

extern "C" PLAT_API u32 CFJSON_ArraySizeGet(const CFJSON *pstArray) {
    if (!cJSON_IsArray(Node(pstArray))) return 0;
    return static_cast<u32>(cJSON_GetArraySize(Node(pstArray)));
}

extern "C" PLAT_API CFJSON *CFJSON_NextItemGet(const CFJSON *pstObject, const CFJSON *pstItem) {
    if (!cJSON_IsObject(Node(pstObject))) return nullptr;
    if (pstItem == nullptr) return Wrap(Node(pstObject)->child);
    return Wrap(Node(pstItem)->next);
}

extern "C" PLAT_API const char *CFJSON_StringKeyGet(const CFJSON *pstItem) {
    if (pstItem == nullptr) return nullptr;
    return Node(pstItem)->string;
}

extern "C" PLAT_API const char *CFJSON_StringValueGet(const CFJSON *pstItem) {
    if (!cJSON_IsString(Node(pstItem))) return nullptr;
    return Node(pstItem)->valuestring;
}

extern "C" PLAT_API CFJSON *CFJSON_ObjectCreate(void) {
    return Wrap(cJSON_CreateObject());
}

extern "C" PLAT_API u32 CFJSON_AddString2Object(CFJSON *pstObject, const char *pcName, const char *pcValue) {
    if (!cJSON_IsObject(Node(pstObject)) || pcName == nullptr || pcValue == nullptr) return PLAT_ERR;
    return cJSON_AddStringToObject(Node(pstObject), pcName, pcValue) != nullptr ? PLAT_OK : PLAT_ERR;
}

extern "C" PLAT_API char *CFJSON_Print(const CFJSON *pstItem) {
    if (pstItem == nullptr) return nullptr;
    return cJSON_PrintUnformatted(Node(pstItem));
}

extern "C" PLAT_API void CFJSON_Free(void *pText) {
    if (pText != nullptr) cJSON_free(pText);
}

extern "C" PLAT_API void CFJSON_Delete(CFJSON *pstItem) {
    cJSON_Delete(Node(pstItem));
}
