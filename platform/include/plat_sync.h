/* Semaphores, time and the common root path. */
#ifndef PLAT_SYNC_H
#define PLAT_SYNC_H

#include <semaphore.h>

#include "plat_types.h"

PLAT_BEGIN_DECLS

/* POSIX semaphores; each returns 0, or 0xFFFFFFFF (-1) on failure. */
PLAT_API u32 ZEP_SemInit(sem_t *pstSem, s32 iShared, u32 uiValue);
PLAT_API u32 ZEP_SemWait(sem_t *pstSem);
PLAT_API u32 ZEP_SemPost(sem_t *pstSem);
PLAT_API u32 ZEP_SemDestroy(sem_t *pstSem);

/* Local time record, 12 bytes. */
typedef struct {
    u16 usYear;
    u8 ucMonth;
    u8 ucDay;
    u8 ucHour;
    u8 ucMinute;
    u8 ucSecond;
    u8 ucWeek; /* 0 = Sunday */
    u32 uiMillisecond;
} SYS_TIME_S;

PLAT_API u32 ZEP_LMT_SystimeGet(SYS_TIME_S *pstTime);
PLAT_API u32 SSP_Local_SystimeGet(SYS_TIME_S *pstTime);

/* Fills the buffer with node.common_root; 0 on success. */
PLAT_API u32 ZEP_GetCommonRootPath(char *pcBuf, u32 uiBufSize);

PLAT_END_DECLS

#endif
