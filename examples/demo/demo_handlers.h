/*
 * The functions the demo module exports: the handlers its "url" lines name and
 * the init function its "load" line names. Everything else stays hidden.
 */
#ifndef DEMO_HANDLERS_H
#define DEMO_HANDLERS_H

#include <stdint.h>

#include "restserver_handler.h"

#define DEMO_EXPORT __attribute__((visibility("default")))

DEMO_EXPORT uint32_t DemoModuleInit(uint32_t uiArg1, uint32_t uiArg2);

DEMO_EXPORT uint32_t DemoHello(RS_REQUEST *pstRequest, RS_RESPONSE *pstResponse);
DEMO_EXPORT uint32_t DemoEcho(RS_REQUEST *pstRequest, RS_RESPONSE *pstResponse);
DEMO_EXPORT uint32_t DemoItems(RS_REQUEST *pstRequest, RS_RESPONSE *pstResponse);
DEMO_EXPORT uint32_t DemoStream(RS_REQUEST *pstRequest, RS_RESPONSE *pstResponse);
DEMO_EXPORT uint32_t DemoAdmin(RS_REQUEST *pstRequest, RS_RESPONSE *pstResponse);
DEMO_EXPORT uint32_t DemoNotFound(RS_REQUEST *pstRequest, RS_RESPONSE *pstResponse);

#endif
