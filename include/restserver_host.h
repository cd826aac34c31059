/*
 * Host interface: initialise the library once, make instances (at most ten),
 * start them, read their start-up state and destroy them.
 */
#ifndef RESTSERVER_HOST_H
#define RESTSERVER_HOST_H

#include "restserver_export.h"

RS_BEGIN_DECLS

/* A server instance; the host holds its address as the handle. */
typedef struct RS_INSTANCE RS_INSTANCE;

#define RS_MAX_INST_NUM 10u
#define RS_INST_ID_NONE 255u

/* Start-up states read with RsStateGet. */
#define RS_STATE_IDLE 0u
#define RS_STATE_PARSING 1u
#define RS_STATE_LOADING 2u
#define RS_STATE_REGISTERING 3u
#define RS_STATE_STARTING 4u
#define RS_STATE_LISTENING 5u
#define RS_STATE_FAILED 6u

/* Statuses: 0 success, 0xFFFFFFFF failure. */
RS_API uint32_t RESTSERVER_GlobalInit(void);
RS_API uint32_t RESTSERVER_GlobalUnInit(void);
RS_API uint32_t RESTSERVER_InstMake(RS_INSTANCE **ppstInst, uint8_t *pucInstId);
/* Runs the start-up in the calling thread; the outcome is read with RsStateGet. */
RS_API uint32_t RESTSERVER_InstStart(RS_INSTANCE *pstInst);
RS_API uint32_t RESTSERVER_InstDestroy(RS_INSTANCE *pstInst);
RS_API uint32_t RsStateGet(RS_INSTANCE *pstInst);
/*
 * Instead of RESTSERVER_InstStart, on a made instance: runs the start's own
 * parse, load (modules opened, init functions run) and register phases, and
 * judges the TLS settings, without binding or listening. Every problem met
 * goes to the problem sink, as at a start. 0 when the instance would start,
 * 0xFFFFFFFF when it would fail or could not serve. Destroy it afterwards.
 */
RS_API uint32_t RESTSERVER_InstCheck(RS_INSTANCE *pstInst);

/*
 * Start-up report of an instance, once RESTSERVER_InstStart returned: the
 * URLs its handler configuration names and how many of them the engine
 * serves, and where it listens: uiListening 1 with the bound addresses
 * ("127.0.0.1:8443", the real port when port 0 was configured), or 0 with
 * why it serves nothing (a bind failure and its reason, the TLS setting at
 * fault, no kernel server). Waits for the listen thread to finish starting
 * the engine; call it from the thread that starts and destroys instances.
 * 0, or 0xFFFFFFFF for a null argument.
 */
typedef struct {
    uint32_t uiUrlsConfigured;
    uint32_t uiUrlsRegistered;
    uint32_t uiListening;
    char acListen[256];
} RS_INST_REPORT;

RS_API uint32_t RESTSERVER_InstReportGet(RS_INSTANCE *pstInst, RS_INST_REPORT *pstReport);

/*
 * Problems an operator must see (a module that does not load, a function not
 * found, a configuration line not understood, a URL not registered, a trace
 * file that cannot be written) are logged and also handed to this sink, one
 * line each, with the instance id (255: the whole process). It may be called
 * from any thread. Null removes the sink.
 */
typedef void (*RS_PROBLEM_SINK)(uint8_t ucInstId, const char *pcText, void *pUser);
RS_API void RESTSERVER_ProblemSinkSet(RS_PROBLEM_SINK pfnSink, void *pUser);

/*
 * Why the auth filter passes or refuses a request, decided as the filter
 * decides it: the access rules are loaded as a bring-up loads them (their
 * problems go to the problem sink), the request key is looked up in the
 * rule trie, and the rule's expression is evaluated for the caller. The
 * caller is the token pcToken (header form, verified with the openssl tool
 * against ../data/vog_cert and checked for expiry, as the filter does) or,
 * without one, a caller holding pcRoles (comma-separated, "role:" added
 * where missing) in domain pcDomain; with neither, a request without a token.
 * pcUri is the path as the engine passes it on (a query is left out).
 * 0 with pstOut filled, 0xFFFFFFFF when the rules cannot be loaded or an
 * argument is null.
 */
#define RS_EXPLAIN_TEXT_SIZE 512u
typedef struct {
    uint32_t uiAuthOn;                       /* 0: authentication is off in platform.json, every request passes */
    uint32_t uiRuleFound;                    /* 0: no rule matches the key, refused to everyone */
    uint32_t uiGranted;                      /* the verdict: 1 passes the filter, 0 refused (403) */
    char acKey[RS_EXPLAIN_TEXT_SIZE];        /* the request key the rules judge */
    char acPath[RS_EXPLAIN_TEXT_SIZE];       /* the trie nodes taken, joined by " > " */
    char acRule[RS_EXPLAIN_TEXT_SIZE];       /* the right.json rule reached and its action */
    char acExpression[RS_EXPLAIN_TEXT_SIZE]; /* the action's expression */
    char acTerms[RS_EXPLAIN_TEXT_SIZE];      /* each role and domain term with its value for the caller */
    char acCaller[RS_EXPLAIN_TEXT_SIZE];     /* who was judged, or why the token was refused */
    char acReason[RS_EXPLAIN_TEXT_SIZE];     /* the verdict in words */
} RS_ACCESS_EXPLAIN;

RS_API uint32_t RESTSERVER_AccessExplain(const char *pcMethod, const char *pcUri, const char *pcRoles,
                                         const char *pcDomain, const char *pcToken, RS_ACCESS_EXPLAIN *pstOut);

/* Request tracing: on (uiEnable non-zero) with batches of uiMax records
 * written to ../var/log/slot-<slot>/rest_req_trace_info.log, or off. */
RS_API void RsTraceParaSet(uint32_t uiMax, uint32_t uiEnable);
/* Before tracing is switched on: whether the trace file can be opened for
 * appending (created when missing). 0, or the errno of the failed open; the
 * file's path goes to pcPath either way. */
RS_API uint32_t RESTSERVER_TraceFileCheck(char *pcPath, uint32_t uiSize);

/* The screen log file, where assertion reports and stack traces go. */
RS_API void _lwGetScreenFileName(char *pcBuf, uint32_t uiBufSize);

RS_END_DECLS

#endif
