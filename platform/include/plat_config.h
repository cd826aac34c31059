/*
 * Platform configuration: the file ../conf/platform.json, the globals it
 * fills, the local node and the microservice REST record.
 */
#ifndef PLAT_CONFIG_H
#define PLAT_CONFIG_H

#include "plat_types.h"

PLAT_BEGIN_DECLS

/* Application configuration. Byte layout is fixed: readers index it. */
typedef struct {
    u32 uiServingWord;      /* byte 0: passed to the HTTP engine at start */
    u8 aucReserved[24];     /* bytes 4..27 */
    u32 uiAuthEnable;       /* byte 28: 0 = no authentication */
    char acServiceName[64]; /* byte 32 */
} SSP_BASE_APP_CONFIG_S;

/* Decrypt library record: the decrypted TLS key password at byte 2944. */
typedef struct {
    u8 aucReserved[2944];
    char acKeyPassword[256];
} DECRYPT_INFO_S;

PLAT_API extern SSP_BASE_APP_CONFIG_S g_stSspBaseAppConfig;
PLAT_API extern DECRYPT_INFO_S g_decrypt_info_s;
PLAT_API extern u32 g_frame_slot_id;
PLAT_API extern char g_acProcessNodeSlot[64];

/* Binary IP address as the node layer hands it out (24 bytes). */
typedef struct {
    u32 uiFamily;   /* PLAT_AF_INET or PLAT_AF_INET6; 0 = no address */
    u8 aucAddr[16]; /* network byte order; IPv4 uses the first 4 bytes */
    u32 uiReserved;
} LOC_IP_ADDR_S;

#define PLAT_AF_INET 4u
#define PLAT_AF_INET6 6u

/* Microservice REST configuration; offsets are read by index. */
typedef struct {
    u32 uiReserved;         /* 0 */
    u8 ucCaFileNum;         /* 4 */
    u8 ucCipherNum;         /* 5 */
    u16 usPort;             /* 6 */
    LOC_IP_ADDR_S stHostIp; /* 8 */
    char *pcSslVersion;     /* 32 */
    u64 ulSslOpaque1;       /* 40: passed through to the engine */
    char **ppcCaFiles;      /* 48 */
    u64 ulSslOpaque2;       /* 56: passed through */
    char *pcCertFile;       /* 64 */
    u64 ulSslOpaque3;       /* 72: passed through */
    char *pcKeyFile;        /* 80 */
    char *pcKeyPassword;    /* 88 */
    char **ppcCiphers;      /* 96 */
} MicroserviceRestCfg;

/* HTTP engine settings ("kernel"); 0 means "use the engine's default". */
typedef struct {
    u32 uiIoThreads;
    u32 uiWorkers;
    u32 uiGroupWorkers;
    u32 uiQueueDepth;
    u32 uiStopGraceMs;
    u32 uiHeaderLimit;
    u32 uiTargetLimit;
    u32 uiBodyLimit;
    u32 uiHeaderTimeoutMs;
    u32 uiIdleTimeoutMs;
    u32 uiWriteTimeoutMs;
    u32 uiMaxConnections;
    u32 uiMaxFields;
} PLAT_KERNEL_CFG_S;

#define PLAT_PORT_MAP_MAX 16

/* Security service the REST client talks to. */
typedef struct {
    char acHost[64];
    char acScheme[8]; /* "http" or "https" */
    u32 uiPortMapCount;
    u16 ausPortFrom[PLAT_PORT_MAP_MAX];
    u16 ausPortTo[PLAT_PORT_MAP_MAX];
} PLAT_SECURITY_SERVICE_CFG_S;

/* Operations listener ("ops"): readiness and metrics on an address of their own. */
typedef struct {
    u32 uiEnabled; /* 0: no listener, and no metrics are counted */
    u16 usPort;    /* required when enabled */
    u8 aucPad[2];
    char acHost[64]; /* IPv4 or IPv6 text; "127.0.0.1" by default */
} PLAT_OPS_CFG_S;

/* Reads ../conf/platform.json once; 0 on success. Idempotent. */
PLAT_API u32 PLAT_Init(void);
/* Same from a JSON text (tests); replaces any earlier configuration. */
PLAT_API u32 PLAT_InitFromText(const char *pcJson);
/* Why the last PLAT_Init or PLAT_InitFromText failed ("" after success). */
PLAT_API const char *PLAT_LastError(void);

PLAT_API const PLAT_KERNEL_CFG_S *PLAT_KernelCfgGet(void);
PLAT_API const PLAT_SECURITY_SERVICE_CFG_S *PLAT_SecurityServiceCfgGet(void);
PLAT_API const PLAT_OPS_CFG_S *PLAT_OpsCfgGet(void);

/* Local node. */
PLAT_API u32 Loc_GetLocalIpAddress(LOC_IP_ADDR_S *pstAddr);
PLAT_API u32 Loc_IpAddressBinToStr(const LOC_IP_ADDR_S *pstAddr, char *pcBuf, u32 uiBufSize);
PLAT_API u32 Loc_GetLocalInstanceID(void);

/* Builds the record from "rest"; null when absent or its host is unusable. */
PLAT_API MicroserviceRestCfg *Haf_GenMicroserviceRestCfg(void);
/* Releases the record and clears the caller's pointer. */
PLAT_API void Haf_FreeMicroserviceRestCfg(MicroserviceRestCfg **ppstCfg);

PLAT_END_DECLS

#endif
