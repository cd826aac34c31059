// Reading a verified token's JSON content into its record: texts by member
// path, roles from the top-level "roles" array.
#include <stdlib.h>
#include <string.h>

#include "auth/restserver_auth_token.h"
#include "core/restserver_log.h"
#include "plat_text.h"

namespace {

void RolesRelease(RsTokenItem *pstItem, u32 uiCount) {
    for (u32 i = 0; i < uiCount; ++i) {
        free(pstItem->roles[i]);
        pstItem->roles[i] = nullptr;
    }
}

}  // namespace

// An overlong value leaves the field empty rather than cut: the bounded copy fails whole.
extern "C" RS_API void GetTokenJsonItemByPath(const CFJSON *pstObject, const char *pcPath, char *pcDest,
                                              u32 uiDestSize) {
    if (pstObject == nullptr || pcPath == nullptr || pcDest == nullptr) return;
    size_t ulLen = strlen(pcPath) + 1;
    char *pcSteps = static_cast<char *>(malloc(ulLen));
    if (pcSteps == nullptr) return;
    (void)strcpy_s(pcSteps, ulLen, pcPath);
    char *pcContext = nullptr;
    const CFJSON *pstMember = nullptr;
    for (char *pcName = strtok_s(pcSteps, "/", &pcContext); pcName != nullptr;
         pcName = strtok_s(nullptr, "/", &pcContext)) {
        pstMember = CFJSON_ObjectItemGet(pstMember == nullptr ? pstObject : pstMember, pcName);
        if (pstMember == nullptr) break;
    }
    const char *pcValue = CFJSON_StringValueGet(pstMember);
    if (pcValue != nullptr) (void)strcpy_s(pcDest, uiDestSize, pcValue);
    free(pcSteps);
}

// Any element that is not a string drops every role: a partial list could grant less, or more, than meant.
extern "C" RS_API void RsTokenItemProc(const CFJSON *pstObject, RsTokenItem *pstItem) {
    if (pstObject == nullptr || pstItem == nullptr || CFJSON_ObjectItemGet(pstObject, "token") == nullptr) return;
    const CFJSON *pstRoles = CFJSON_ObjectItemGet(pstObject, "roles");
    if (pstRoles == nullptr) return;
    pstItem->roleCount = CFJSON_ArraySizeGet(pstRoles);
    pstItem->roles = static_cast<char **>(calloc(pstItem->roleCount == 0 ? 1 : pstItem->roleCount, sizeof(char *)));
    if (pstItem->roles == nullptr) {
        pstItem->roleCount = 0;
        return;
    }
    for (u32 i = 0; i < pstItem->roleCount; ++i) {
        const char *pcRole = CFJSON_StringValueGet(CFJSON_ArrayItemGet(pstRoles, i));
        size_t ulSize = pcRole != nullptr ? strlen(pcRole) + 1 : 0;
        char *pcCopy = pcRole != nullptr ? static_cast<char *>(malloc(ulSize)) : nullptr;
        if (pcCopy == nullptr) {
            RolesRelease(pstItem, i);
            pstItem->roleCount = 0;
            return;
        }
        if (strcpy_s(pcCopy, ulSize, pcRole) != EOK) RS_LOG(RS_LOG_ERROR, "RsTokenItemProc strcpy_s error");
        pstItem->roles[i] = pcCopy;
    }
}
