/*
 * The rendezvous example: GET rv/{word} is answered by the module's worker
 * thread through the rendezvous; GET rv-direct/{word} gives the same answer
 * on the request thread, for comparison.
 */
#ifndef RV_HANDLERS_H
#define RV_HANDLERS_H

#include <stddef.h>

#include "restserver_handler.h"

/* Owner of the answer messages; queued ones are released with it at request end. */
#define RV_MSG_OWNER 0x80D60001u
#define RV_ANSWER_LEN 128u

RS_API uint32_t RvModuleInit(uint32_t uiArg1, uint32_t uiArg2);
RS_API uint32_t RvWorkerAnswer(RS_REQUEST *pstRequest, RS_RESPONSE *pstResponse);
RS_API uint32_t RvDirectAnswer(RS_REQUEST *pstRequest, RS_RESPONSE *pstResponse);
void RvAnswerFormat(char *pcText, size_t ulSize, const char *pcWord);

#endif
