/* CPU tick arithmetic shared by the request trace and the certificate loader. */
#ifndef RESTSERVER_TICK_H
#define RESTSERVER_TICK_H

#include "plat_os.h"
#include "restserver_export.h"

RS_BEGIN_DECLS

/* End minus start as 64-bit numbers of (high, low) words. */
RS_API void RsGetDeltaCpuTick(const VOS_CPU_TICK_S *pstStart, const VOS_CPU_TICK_S *pstEnd, VOS_CPU_TICK_S *pstDelta);

RS_END_DECLS

#endif
