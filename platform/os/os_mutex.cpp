// Re-entrant mutexes behind integer handles. Recursive because some holders
// call writers that take the same lock again.
#include <pthread.h>

#include <new>

#include "plat_os.h"

namespace {

struct Mutex {
    pthread_mutex_t lock;
};

Mutex *FromHandle(VOS_MUTEX_ID id) {
    return reinterpret_cast<Mutex *>(id);
}

}  // namespace

extern "C" PLAT_API u32 VOS_MutexInit(VOS_MUTEX_ID *pMutex, u32 /*uiFlags*/) {
    if (pMutex == nullptr) return PLAT_ERR;
    *pMutex = 0;
    auto *mutex = new (std::nothrow) Mutex;
    if (mutex == nullptr) return PLAT_ERR;

    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    int rc = pthread_mutex_init(&mutex->lock, &attr);
    pthread_mutexattr_destroy(&attr);
    if (rc != 0) {
        delete mutex;
        return PLAT_ERR;
    }
    *pMutex = reinterpret_cast<VOS_MUTEX_ID>(mutex);
    return PLAT_OK;
}

extern "C" PLAT_API u32 VOS_MutexLock(VOS_MUTEX_ID mutex) {
    if (mutex == 0) return PLAT_ERR;
    return pthread_mutex_lock(&FromHandle(mutex)->lock) == 0 ? PLAT_OK : PLAT_ERR;
}

extern "C" PLAT_API u32 VOS_MutexUnlock(VOS_MUTEX_ID mutex) {
    if (mutex == 0) return PLAT_ERR;
    return pthread_mutex_unlock(&FromHandle(mutex)->lock) == 0 ? PLAT_OK : PLAT_ERR;
}

extern "C" PLAT_API u32 VOS_MutexDestroy(VOS_MUTEX_ID *pMutex) {
    if (pMutex == nullptr || *pMutex == 0) return PLAT_ERR;
    Mutex *mutex = FromHandle(*pMutex);
    pthread_mutex_destroy(&mutex->lock);
    delete mutex;
    *pMutex = 0;
    return PLAT_OK;
}
