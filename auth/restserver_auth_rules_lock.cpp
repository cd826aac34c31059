// One process-wide reader-writer lock over the token table and the rule
// trie: a second instance's bring-up may load rules while the first serves.
#include <pthread.h>

#include "auth/restserver_auth.h"

namespace {

pthread_rwlock_t s_stRulesLock = PTHREAD_RWLOCK_INITIALIZER;

}  // namespace

extern "C" RS_API void RsAuthRulesReadLock(void) {
    (void)pthread_rwlock_rdlock(&s_stRulesLock);
}

extern "C" RS_API void RsAuthRulesWriteLock(void) {
    (void)pthread_rwlock_wrlock(&s_stRulesLock);
}

extern "C" RS_API void RsAuthRulesUnlock(void) {
    (void)pthread_rwlock_unlock(&s_stRulesLock);
}
