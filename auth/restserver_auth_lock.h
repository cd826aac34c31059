/*
 * The locks of authentication: the authentication mutex of the certificate
 * and token loading, which its holder may take again, and the reader-writer
 * lock over the token table and the rule trie.
 */
#ifndef RESTSERVER_AUTH_LOCK_H
#define RESTSERVER_AUTH_LOCK_H

#include "plat_os.h"
#include "restserver_export.h"

RS_BEGIN_DECLS

/* Made once per process by the kernel bring-up; later calls keep it. */
RS_API extern VOS_MUTEX_ID g_AuthMutex;
RS_API void RsAuthMutexInit(void);

/* Loads write the token table and the trie under the writer side; requests read under the reader side. */
RS_API void RsAuthRulesReadLock(void);
RS_API void RsAuthRulesWriteLock(void);
RS_API void RsAuthRulesUnlock(void);

RS_END_DECLS

#endif
