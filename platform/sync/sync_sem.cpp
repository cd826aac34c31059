// ZEP semaphores: POSIX unnamed semaphores with the platform's status codes.
#include <cerrno>

#include "plat_kernel.h"
#include "plat_sync.h"

extern "C" PLAT_API u32 ZEP_SemInit(sem_t *pstSem, s32 iShared, u32 uiValue) {
    if (pstSem == nullptr) return PLAT_ERR;
    return sem_init(pstSem, iShared, uiValue) == 0 ? PLAT_OK : PLAT_ERR;
}

// A signal delivered to the waiting thread must not look like a wake-up. A
// wait that will block, from an engine entry, tells the engine first.
extern "C" PLAT_API u32 ZEP_SemWait(sem_t *pstSem) {
    if (pstSem == nullptr) return PLAT_ERR;
    if (sem_trywait(pstSem) == 0) return PLAT_OK;
    REST_EntryBlocking();
    while (sem_wait(pstSem) != 0) {
        if (errno != EINTR) return PLAT_ERR;
    }
    return PLAT_OK;
}

extern "C" PLAT_API u32 ZEP_SemPost(sem_t *pstSem) {
    if (pstSem == nullptr) return PLAT_ERR;
    return sem_post(pstSem) == 0 ? PLAT_OK : PLAT_ERR;
}

extern "C" PLAT_API u32 ZEP_SemDestroy(sem_t *pstSem) {
    if (pstSem == nullptr) return PLAT_ERR;
    return sem_destroy(pstSem) == 0 ? PLAT_OK : PLAT_ERR;
}
