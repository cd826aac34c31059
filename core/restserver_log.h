/*
 * The system's one way to log: the platform log call, made only when the
 * platform's log configuration has logging on at the line's level (so the
 * arguments of a dropped line are never computed), with the caller's file,
 * function and line.
 */
#ifndef RESTSERVER_LOG_H
#define RESTSERVER_LOG_H

#include <string.h>

#include "plat_log.h"

#define RS_LOG_FINE 1u
#define RS_LOG_INFO 2u
#define RS_LOG_WARN 4u
#define RS_LOG_ERROR 5u

#define RS_LOG(level, ...)                                                                            \
    do {                                                                                              \
        if (g_stLogCfgs.uiEnable != 0 && (level) >= g_stLogCfgs.uiLevel) {                            \
            QOR_CFrameLogToFile(g_stLogCfgs.pHandle, __FILE__, (u32)(sizeof(__FILE__) - 1), __func__, \
                                (u32)strlen(__func__), (u32)__LINE__, (level), __VA_ARGS__);          \
        }                                                                                             \
    } while (0)

#endif
