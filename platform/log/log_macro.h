// The platform's own log line (engine, client, monitor): through the platform log,
// only when logging is on.
#pragma once

#include "plat_log.h"

#define PLAT_LOG(level, fmt, ...)                                                                                    \
    do {                                                                                                             \
        if (g_stLogCfgs.uiEnable != 0) {                                                                             \
            QOR_CFrameLogToFile(g_stLogCfgs.pHandle, __FILE__, sizeof(__FILE__) - 1, __func__, sizeof(__func__) - 1, \
                                __LINE__, (level), fmt, ##__VA_ARGS__);                                              \
        }                                                                                                            \
    } while (0)
