/* Platform messages: owner-tagged heap blocks handed between threads. */
#ifndef PLAT_MSG_H
#define PLAT_MSG_H

#include "plat_types.h"

PLAT_BEGIN_DECLS

/* A zero-filled message of uiLength bytes owned by uiOwner; null on failure. */
PLAT_API void *DMS_MsgAlloc(u32 uiOwner, u32 uiLength);
/* Releases a message; 0 on success, 0xFFFFFFFF for null or a foreign block. */
PLAT_API u32 DMS_MsgFree(u32 uiOwner, void *pMsg);
/* Length given at allocation, 0 for null. */
PLAT_API u32 DMS_MsgLengthGet(const void *pMsg);

/* Test hook: called on every DMS_MsgFree with its arguments. Null clears it. */
typedef void (*PLAT_MSG_FREE_HOOK)(u32 uiOwner, void *pMsg, void *pUser);
PLAT_API void PLAT_MsgFreeHookSet(PLAT_MSG_FREE_HOOK pfnHook, void *pUser);

PLAT_END_DECLS

#endif
