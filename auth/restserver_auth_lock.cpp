// The locks of authentication. The authentication mutex is made once per
// process: a later instance's bring-up must not re-make a lock that a
// request of an earlier one holds. The reader-writer lock lets a second
// instance's bring-up load rules while the first serves.
#include <pthread.h>

#include "auth/restserver_auth_lock.h"

RS_API VOS_MUTEX_ID g_AuthMutex = 0;

namespace {

pthread_rwlock_t s_stRulesLock = PTHREAD_RWLOCK_INITIALIZER;
pthread_once_t s_stAuthMutexOnce = PTHREAD_ONCE_INIT;

}  // namespace

extern "C" RS_API void RsAuthMutexInit(void) {
    (void)pthread_once(&s_stAuthMutexOnce, [] { (void)VOS_MutexInit(&g_AuthMutex, 0); });
}

extern "C" RS_API void RsAuthRulesReadLock(void) {
    (void)pthread_rwlock_rdlock(&s_stRulesLock);
}

extern "C" RS_API void RsAuthRulesWriteLock(void) {
    (void)pthread_rwlock_wrlock(&s_stRulesLock);
}

extern "C" RS_API void RsAuthRulesUnlock(void) {
    (void)pthread_rwlock_unlock(&s_stRulesLock);
}
