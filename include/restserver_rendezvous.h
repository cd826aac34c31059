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
 * The handle lives inside the session and disappears when the handler
 * returns; there is no reference count and no time-out. After the wake the
 * handler may return at any moment, so the answering side must not use the
 * handle after step c. A wake that comes before the wait is not lost.
 * Messages still queued when the request ends are released with
 * DMS_MsgFree(0x80D60001, msg).
 *
 * Every operation returns 0, or 0xFFFFFFFF with a log line.
 */
#ifndef RESTSERVER_RENDEZVOUS_H
#define RESTSERVER_RENDEZVOUS_H

#include "restserver_export.h"

RS_BEGIN_DECLS

typedef struct RS_SESSION_SEM RS_SESSION_SEM;

/* Makes the session's semaphore (count 0); the handler calls it once. */
RS_API uint32_t RESTSERVER_SemInit(uint32_t uiSessionId, RS_SESSION_SEM **ppstHandle);
/* The answering side's lookup; the semaphore is not touched. */
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
