/*
 * Synchronous response rendezvous: a handler that must wait for an answer
 * produced on another thread meets that thread through its session.
 *
 * Protocol, per request:
 *   handler (request thread):
 *     1. id = RESTSERVER_SessionIdGet(request); RESTSERVER_SemInit(id, &h)
 *     2. hand the work to the answering thread together with id (never h)
 *     3. RESTSERVER_SemWait(h)
 *     4. RESTSERVER_RspMsgPick(h, &msg); answer the request; release msg
 *        with DMS_MsgFree; RESTSERVER_SemDestroy(h); return
 *   answering thread:
 *     a. RESTSERVER_SemFind(id, &h)        -- fails once the request ended
 *     b. RESTSERVER_RspMsgSet(h, msg)      -- from here the list owns msg
 *     c. RESTSERVER_SemWake(h)             -- last use: never touch h again
 *
 * The handle lives inside the session. RESTSERVER_SemFind holds the session
 * until RESTSERVER_SemWake, so the answering side may go on with steps b and
 * c even when the handler has returned meanwhile (its wait failed, say): the
 * message is then released with the session and the wake reaches nobody.
 * Every successful RESTSERVER_SemFind must therefore end with a
 * RESTSERVER_SemWake, also when no message could be set. There is no
 * time-out. A wake that comes before the wait is not lost. A second
 * RESTSERVER_SemInit on one session hands back the semaphore already made.
 * Messages still queued when the session ends are released with
 * DMS_MsgFree(0x80D60001, msg).
 *
 * Every operation returns 0, or 0xFFFFFFFF with a log line.
 */
#ifndef RESTSERVER_RENDEZVOUS_H
#define RESTSERVER_RENDEZVOUS_H

#include "restserver_export.h"

RS_BEGIN_DECLS

typedef struct RS_SESSION_SEM RS_SESSION_SEM;

/* Makes the session's semaphore (count 0); a second call returns the same one. */
RS_API uint32_t RESTSERVER_SemInit(uint32_t uiSessionId, RS_SESSION_SEM **ppstHandle);
/* The answering side's lookup; holds the session until RESTSERVER_SemWake. */
RS_API uint32_t RESTSERVER_SemFind(uint32_t uiSessionId, RS_SESSION_SEM **ppstHandle);
/* Blocks without a time limit until woken. */
RS_API uint32_t RESTSERVER_SemWait(RS_SESSION_SEM *pstHandle);
RS_API uint32_t RESTSERVER_SemWake(RS_SESSION_SEM *pstHandle);
RS_API uint32_t RESTSERVER_SemDestroy(RS_SESSION_SEM *pstHandle);
/* Queues a platform message at the tail; the list owns it on success. */
RS_API uint32_t RESTSERVER_RspMsgSet(RS_SESSION_SEM *pstHandle, void *pMsg);
/* Takes the oldest message out; the caller owns it on success. */
RS_API uint32_t RESTSERVER_RspMsgPick(RS_SESSION_SEM *pstHandle, void **ppMsg);
/* 1 when no message is queued, else 0. Takes no lock. */
RS_API uint32_t RESTSERVER_RspMsgListIsEmpty(RS_SESSION_SEM *pstHandle);

RS_END_DECLS

#endif
