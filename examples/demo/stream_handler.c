/* GET stream?n=N: a chunked answer of N lines "part i", N from 1 to 10000. */
#include <stdio.h>
#include <stdlib.h>

#include "demo_answer.h"
#include "demo_handlers.h"

#define DEMO_STREAM_DEFAULT_PARTS 10
#define DEMO_STREAM_MAX_PARTS 10000

/* The part count of the query, 0 when it is not a number in range. */
static long DemoStreamParts(RS_REQUEST *pstRequest) {
    const char *pcText = RESTSERVER_HttpQueryValGet(pstRequest, "n");
    if (pcText == NULL) return DEMO_STREAM_DEFAULT_PARTS;
    char *pcEnd = NULL;
    long lParts = strtol(pcText, &pcEnd, 10);
    if (pcEnd == pcText || *pcEnd != '\0' || lParts < 1 || lParts > DEMO_STREAM_MAX_PARTS) return 0;
    return lParts;
}

uint32_t DemoStream(RS_REQUEST *pstRequest, RS_RESPONSE *pstResponse) {
    long lParts = DemoStreamParts(pstRequest);
    if (lParts == 0) return DemoAnswerError(pstResponse, 400, "n must be a number from 1 to 10000");
    if (RESTSERVER_HttpRspStreamOpen(pstResponse, 200) != 0) return 0xFFFFFFFFu;
    for (long lPart = 1; lPart <= lParts; ++lPart) {
        char acLine[32];
        (void)snprintf(acLine, sizeof(acLine), "part %ld\n", lPart);
        if (RESTSERVER_HttpRspStreamWrite(pstResponse, acLine) != 0) break;
    }
    return RESTSERVER_HttpRspStreamClose(pstResponse);
}
