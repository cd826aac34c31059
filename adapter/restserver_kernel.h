/*
 * Kernel bring-up inside the adapter: the server cell, the TLS settings
 * block and the endpoint handed to the engine, the dead-loop monitor, the
 * listen thread and the root handler every URL enters through.
 */
#ifndef RESTSERVER_KERNEL_H
#define RESTSERVER_KERNEL_H

#include <pthread.h>

#include "adapter/restserver_web_adp_socf.h"
#include "core/restserver_end_point.h"

RS_BEGIN_DECLS

/*
 * The engine's server handle of one instance, and its listen thread, joined
 * before the server is stopped so the thread never outlives the cell.
 */
struct RS_KERNEL_SERVER {
    void *hServer;
    pthread_t ulListenThread;
    u8 bListenThread;
    u32 uiUrlsRegistered; /* URLs the engine took, for the start-up report */
    u8 bStopped;
    u8 bBusy; /* the stop left handlers running: the engine server is kept */
};

/* TLS settings block given to the engine (128 bytes). */
typedef struct {
    const char *pcSslVersion;
    u64 ulOpaque1; /* passed through from the microservice record */
    char **ppcCaFiles;
    u32 uiCaFileNum;
    u64 ulOpaque2;
    const char *pcCertFile;
    u64 ulOpaque3;
    const char *pcKeyFile;
    const char *pcKeyPassword;
    u64 ulZero1;
    u64 ulZero2;
    u32 uiZero3;
    char **ppcCiphers;
    u32 uiCipherNum;
    u8 aucReserved[20];
} RS_SSL_PARAM;

RS_API u32 RsServerDeadLoopInit(void);
RS_API void RsServerDeadLoopCallBack(void);
RS_API u32 RsSslInit(void);
/* Address kind and 16-bit port of a configured domain; the address is not copied. */
RS_API void RsEndPointFill(RS_END_POINT *pstEndPoint, const char *pcAddress, const char *pcPort);
RS_API void *RsSocfListenProcess(void *pServer);

/* The engine's entry for every registered URL. */
RS_API void RsSocfRootHandler(void *pReqHandle, void *pContext, void *pReserved);

RS_END_DECLS

#endif
