/*
 * HTTP engine: servers, endpoints, TLS, URL registration, and the request and
 * response operations that entry functions call on the engine's threads.
 */
#ifndef PLAT_KERNEL_H
#define PLAT_KERNEL_H

#include "plat_types.h"

PLAT_BEGIN_DECLS

typedef void *REST_HANDLE; /* a server */
typedef void *REST_REQ;    /* a request being answered; valid during its entry call */

typedef void (*REST_ENTRY)(REST_REQ req, void *pUser, void *pReserved);

/* TLS settings block (128 bytes, fixed layout). */
typedef struct {
    const char *pcSslVersion;  /* 0: "TLSv1.2" (1.2 and up) or "TLSv1.3" (1.3 only) */
    u64 ulOpaque1;             /* 8: passed through */
    char **ppcCaFiles;         /* 16: client certificates are verified when given */
    u32 uiCaFileNum;           /* 24 */
    u64 ulOpaque2;             /* 32 */
    const char *pcCertFile;    /* 40: PEM chain; with no version, chain or key: plain HTTP */
    u64 ulOpaque3;             /* 48 */
    const char *pcKeyFile;     /* 56: PEM key */
    const char *pcKeyPassword; /* 64 */
    u64 ulZero1;               /* 72 */
    u64 ulZero2;               /* 80 */
    u32 uiZero3;               /* 88 */
    char **ppcCiphers;         /* 96: TLS 1.2 cipher names and TLS 1.3 suite names */
    u32 uiCipherNum;           /* 104 */
    u8 aucReserved[20];        /* 108..127 */
} REST_SSL_PARAM;

/* Listening endpoint. */
typedef struct {
    u32 uiAddrKind;        /* 0: 1 = IPv6 text, 0 otherwise */
    u16 usPort;            /* 4 */
    u8 aucPad[2];          /* 6 */
    const char *pcAddress; /* 8 */
} REST_END_POINT;

typedef struct {
    const char *pcName;
    const char *pcValue;
} REST_HEAD_ITEM;

/* Per-server counters. */
typedef struct {
    u64 ulConnectionsOpen;
    u64 ulConnectionsTotal;
    u64 aulResponses[6]; /* index = status / 100 (1xx..5xx); 0 unused */
    u64 ulBytesIn;
    u64 ulBytesOut;
} REST_STATS;

#define REST_METHOD_GET 0u
#define REST_METHOD_POST 1u
#define REST_METHOD_HEAD 2u
#define REST_METHOD_PUT 3u
#define REST_METHOD_DELETE 4u
#define REST_METHOD_OPTIONS 5u
#define REST_METHOD_TRACE 6u
#define REST_METHOD_CONNECT 7u
#define REST_METHOD_PATCH 8u
#define REST_METHOD_OTHER 9u

#define REST_GROUP_NONE 0xFFFFFFFFu

/* Server life. Results are 0 on success unless said otherwise. */
PLAT_API u32 REST_ServerInit(void);
PLAT_API REST_HANDLE REST_ServerCreate(u32 uiFlags);
PLAT_API u32 REST_ServerSSLEnable(REST_HANDLE hServer, const REST_SSL_PARAM *pstParam);
PLAT_API u32 REST_EndPointBind(REST_HANDLE hServer, const REST_END_POINT *pstEndPoint, u32 uiBacklog, u32 uiFlags);
PLAT_API u32 REST_GroupEnable(u32 uiCount);
PLAT_API u32 REST_ServerGenFuncAdd(REST_HANDLE hServer, REST_ENTRY pfnEntry, void *pUser);
PLAT_API u32 REST_ServerSvcNameSet(REST_HANDLE hServer, const char *pcName);
PLAT_API u32 REST_ServerInstIDSet(REST_HANDLE hServer, const char *pcInstId);
PLAT_API u32 REST_ServerBraceFuncAdd(REST_HANDLE hServer, const char *pcPath, REST_ENTRY pfnEntry, void *pUser);
PLAT_API u32 REST_ServerBraceFuncAddbyGroup(REST_HANDLE hServer, const char *pcPath, REST_ENTRY pfnEntry, void *pUser,
                                            u32 uiGroup);
/* Returns once listening (0), or non-zero when no endpoint could be bound or
 * TLS was asked for and cannot be applied (the server then serves nothing). */
PLAT_API u32 REST_ServerStart(REST_HANDLE hServer, u32 uiWord);
/* Stops accepting, lets entries finish within the grace period, closes and
 * joins. Non-zero when the grace period ended with entries still running:
 * the server keeps what they use and cannot be destroyed. */
PLAT_API u32 REST_ServerStop(REST_HANDLE hServer);
/* Stops the server and frees it; non-zero (and nothing freed) while entries
 * of it still run. The handle is invalid afterwards. */
PLAT_API u32 REST_ServerDestroy(REST_HANDLE hServer);
PLAT_API u32 REST_ServerStatsGet(REST_HANDLE hServer, REST_STATS *pstStats);
/*
 * What the last start gave: 0 with the bound addresses ("127.0.0.1:8443",
 * the real port when 0 was asked for; several joined by ", "), or non-zero
 * with why the server does not serve (a bind failure with its reason, the
 * TLS setting at fault, "not started"). The text is cut to the buffer.
 */
PLAT_API u32 REST_ServerListenGet(REST_HANDLE hServer, char *pcText, u32 uiSize);
/*
 * Before a start: 0 when the TLS asked for was applied or none was asked
 * for, else non-zero with why it cannot be (the setting or file at fault),
 * which is what a start would then refuse with. The text is cut to the buffer.
 */
PLAT_API u32 REST_ServerTlsProblemGet(REST_HANDLE hServer, char *pcText, u32 uiSize);

/* Request. Texts are NUL-terminated and owned by the request. */
PLAT_API u32 REST_RequestMethodGet(REST_REQ req);
PLAT_API const char *REST_RequestUriGet(REST_REQ req);
PLAT_API const char *REST_RequestHeadValueGet(REST_REQ req, const char *pcName);
PLAT_API u32 REST_RequestHeadGet(REST_REQ req, const REST_HEAD_ITEM **ppstItems, u32 *puiCount);
PLAT_API u32 REST_RequestQueryCountGet(REST_REQ req);
PLAT_API const char *REST_RequestQueryValueGet(REST_REQ req, const char *pcName);
PLAT_API const char *REST_RequestBraceVarGet(REST_REQ req, const char *pcName);
PLAT_API const char *REST_RequestBodyGet(REST_REQ req, u32 *puiLen);

/* From an entry about to wait for a while (on another thread, a child
 * process, the network): its event loop gets a spare thread at once rather
 * than when the engine notices the wait. Does nothing outside an entry. */
PLAT_API void REST_EntryBlocking(void);

/* Response: one whole answer, or a chunked one (start, chunks, end). */
PLAT_API u32 REST_ResponseHeadAdd(REST_REQ req, const char *pcName, const char *pcValue);
PLAT_API u32 REST_ResponseSend(REST_REQ req, u32 uiStatus, const char *pcData, u32 uiLen);
PLAT_API u32 REST_ResponseChunkSendStart(REST_REQ req, u32 uiStatus);
PLAT_API u32 REST_ResponseChunkSend(REST_REQ req, const char *pcData, u32 uiLen);
PLAT_API u32 REST_ResponseChunkSendEnd(REST_REQ req);

/*
 * Operations listener, from the "ops" member of the platform configuration:
 * GET /ready and GET /metrics in plain HTTP on an address of their own
 * (loopback by default), apart from every server's routes and filters.
 * /ready answers 200 when the readiness function says ready (0), else 503
 * with the text it gave; /metrics shows the engine's counts and every
 * counter of plat_metrics.h. Metrics are counted only while it runs.
 */
typedef u32 (*REST_READY_FUNC)(char *pcWhy, u32 uiSize); /* 0: ready; else why not, cut to the buffer */

/* Null, or before any is set: /ready answers 503. */
PLAT_API void REST_OpsReadyFuncSet(REST_READY_FUNC pfnReady);
/* Starts the listener when "ops.enabled" is true; 0 when it listens or is
 * not enabled, or was already started. Non-zero when it cannot listen. */
PLAT_API u32 REST_OpsStart(void);
/* Stops the listener and the counting; 0 also when it was not running. */
PLAT_API u32 REST_OpsStop(void);
/* 0 with the bound address ("127.0.0.1:9464") while it listens, else
 * non-zero with why not ("not enabled", a bind failure). Cut to the buffer. */
PLAT_API u32 REST_OpsListenGet(char *pcText, u32 uiSize);

PLAT_END_DECLS

#ifdef __cplusplus
#include <cstddef>
static_assert(sizeof(REST_SSL_PARAM) == 128);
static_assert(offsetof(REST_SSL_PARAM, pcSslVersion) == 0);
static_assert(offsetof(REST_SSL_PARAM, ulOpaque1) == 8);
static_assert(offsetof(REST_SSL_PARAM, ppcCaFiles) == 16);
static_assert(offsetof(REST_SSL_PARAM, uiCaFileNum) == 24);
static_assert(offsetof(REST_SSL_PARAM, ulOpaque2) == 32);
static_assert(offsetof(REST_SSL_PARAM, pcCertFile) == 40);
static_assert(offsetof(REST_SSL_PARAM, ulOpaque3) == 48);
static_assert(offsetof(REST_SSL_PARAM, pcKeyFile) == 56);
static_assert(offsetof(REST_SSL_PARAM, pcKeyPassword) == 64);
static_assert(offsetof(REST_SSL_PARAM, ulZero1) == 72);
static_assert(offsetof(REST_SSL_PARAM, ulZero2) == 80);
static_assert(offsetof(REST_SSL_PARAM, uiZero3) == 88);
static_assert(offsetof(REST_SSL_PARAM, ppcCiphers) == 96);
static_assert(offsetof(REST_SSL_PARAM, uiCipherNum) == 104);
static_assert(offsetof(REST_SSL_PARAM, aucReserved) == 108);
static_assert(sizeof(REST_END_POINT) == 16);
static_assert(offsetof(REST_END_POINT, uiAddrKind) == 0);
static_assert(offsetof(REST_END_POINT, usPort) == 4);
static_assert(offsetof(REST_END_POINT, pcAddress) == 8);
#endif

#endif
