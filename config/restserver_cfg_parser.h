/*
 * Parse phase: the platform's microservice configuration gives the domain
 * and its TLS entry, the handler configuration files give modules and URL
 * handlers, line by line through the tag table.
 */
#ifndef RESTSERVER_CFG_PARSER_H
#define RESTSERVER_CFG_PARSER_H

#include "config/restserver_cfg.h"

RS_BEGIN_DECLS

/* Parse state of one handler configuration file. */
#define RS_CONF_LINE_SIZE 512u

typedef struct {
    RS_INSTANCE *pstInst;
    RS_META_MODULE *pstCurModule;
    RS_META_DOMAIN *pstCurDomain;
    RS_META_AUTH *pstCurAuth;
    char acLine[RS_CONF_LINE_SIZE];
} RS_CONF_CONTEXT;

typedef u32 (*RS_CONF_TAG_PARSER)(char *pcValue, RS_CONF_CONTEXT *pstContext);

typedef struct {
    const char *pcTag;
    RS_CONF_TAG_PARSER pfnParser;
} RS_CONF_TAG_ENTRY;

#define RS_CONF_TAG_NUM 2u

RS_API extern const RS_CONF_TAG_ENTRY g_astContifureEntries[RS_CONF_TAG_NUM];

/* Parse phase: the platform's microservice configuration, then the two handler files. */
RS_API u32 RsConfParser(RS_INSTANCE *pstInst);
RS_API u32 RsConfMicroServiceCfgRead(RS_CONF_CONTEXT *pstContext);
RS_API u32 RsConfRestBussinessCfgRead(RS_CONF_CONTEXT *pstContext, const char *pcPath);
RS_API void RsConfLineParser(char *pcLine, RS_CONF_CONTEXT *pstContext);
RS_API void RsConfLineExtract(char **ppcTag, char **ppcValue);
RS_API u32 RsConfDoParser(const char *pcTag, char *pcRawCfg, RS_CONF_CONTEXT *pstContext);
RS_API u32 RsConfConfigLoadParser(char *pcValue, RS_CONF_CONTEXT *pstContext);
RS_API u32 RsConfConfigUrlParser(char *pcValue, RS_CONF_CONTEXT *pstContext);

RS_END_DECLS

#endif
