/* Operating-system layer: mutexes, text, files, ticks, call stack, AVL tree. */
#ifndef PLAT_OS_H
#define PLAT_OS_H

#include "plat_types.h"

PLAT_BEGIN_DECLS

/* Mutexes are re-entrant: the holder may lock again. Handle 0 = none. */
typedef uintptr_t VOS_MUTEX_ID;
PLAT_API u32 VOS_MutexInit(VOS_MUTEX_ID *pMutex, u32 uiFlags);
PLAT_API u32 VOS_MutexLock(VOS_MUTEX_ID mutex);
PLAT_API u32 VOS_MutexUnlock(VOS_MUTEX_ID mutex);
PLAT_API u32 VOS_MutexDestroy(VOS_MUTEX_ID *pMutex);

PLAT_API s32 VOS_StrCmp(const char *pcLeft, const char *pcRight);
PLAT_API u32 VOS_StrLen(const char *pcText);
PLAT_API char *VOS_StrStr(const char *pcHaystack, const char *pcNeedle);

/* Files: thin stdio wrappers; a handle or null. */
PLAT_API void *VOS_VFS_FOpen(const char *pcPath, const char *pcMode);
PLAT_API size_t VOS_VFS_FWrite(const void *pData, size_t ulItemSize, size_t ulCount, void *pFile);
PLAT_API s32 VOS_VFS_FClose(void *pFile);

/* Monotonic tick counter (nanoseconds), split in two 32-bit words. */
typedef struct {
    u32 uiLow;
    u32 uiHigh;
} VOS_CPU_TICK_S;
PLAT_API u32 VOS_GetCpuTick(u32 *puiLow, u32 *puiHigh);
/* Converts a tick count to milliseconds, delivered as high and low words. */
PLAT_API u32 VOS_CpuTick2Ms(const VOS_CPU_TICK_S *pstTick, u32 *puiMsHigh, u32 *puiMsLow);
/* Test hook: a clock in nanoseconds that VOS_GetCpuTick reads instead of the monotonic one; null restores it. */
typedef u64 (*PLAT_TICK_SOURCE)(void);
PLAT_API void PLAT_TickSourceSet(PLAT_TICK_SOURCE pfnSource);

/* Return addresses of the caller, innermost first; uiSkip frames skipped. */
PLAT_API u32 VOS_CallStackSelfGet(u32 uiMaxFrames, u32 uiSkip, void **ppAddrs, u32 *puiCount);
/* Symbol name of an address ("??" when unknown); valid until the next call on this thread. */
PLAT_API const char *VOS_SymNameGet(void *pAddr);

/* Intrusive AVL tree. The node lives inside the caller's record. */
typedef struct VOS_AVL3_NODE {
    struct VOS_AVL3_NODE *pstParent;
    struct VOS_AVL3_NODE *pstLeft;
    struct VOS_AVL3_NODE *pstRight;
    s16 sLHeight;
    s16 sRHeight;
} VOS_AVL3_NODE;

typedef struct {
    VOS_AVL3_NODE *pstRoot;
    VOS_AVL3_NODE *pstFirst;
    VOS_AVL3_NODE *pstLast;
} VOS_AVL3_TREE;

/* Compares two keys: negative, 0 or positive. */
typedef s32 (*VOS_AVL3_COMPARE)(const void *pKeyA, const void *pKeyB);

typedef struct {
    VOS_AVL3_COMPARE pfnCompare;
    u16 usKeyOffset;  /* key position inside the record */
    u16 usNodeOffset; /* node position inside the record */
} VOS_AVL3_TREE_INFO;

#define VOS_AVL3_INIT_NODE(node)                                 \
    do {                                                         \
        (node).pstParent = (node).pstLeft = (node).pstRight = 0; \
        (node).sLHeight = (node).sRHeight = -1;                  \
    } while (0)

/* Inserts the record; null when inserted, else the record already holding the key. */
PLAT_API void *VOS_AVL3_Insert_Or_Find(VOS_AVL3_TREE *pstTree, VOS_AVL3_NODE *pstNode,
                                       const VOS_AVL3_TREE_INFO *pstInfo);
/* The record with this key, or null. */
PLAT_API void *VOS_AVL3_Find(VOS_AVL3_TREE *pstTree, const void *pKey, const VOS_AVL3_TREE_INFO *pstInfo);
PLAT_API void VOS_AVL3_Delete(VOS_AVL3_TREE *pstTree, VOS_AVL3_NODE *pstNode);
/* In-order walk: the first record, then the one after a given record; null at the end. */
PLAT_API void *VOS_AVL3_First(VOS_AVL3_TREE *pstTree, const VOS_AVL3_TREE_INFO *pstInfo);
PLAT_API void *VOS_AVL3_Next(VOS_AVL3_NODE *pstNode, const VOS_AVL3_TREE_INFO *pstInfo);

PLAT_END_DECLS

#endif
