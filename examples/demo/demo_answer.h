/* Answers shared by the demo handlers: a JSON object or a one-field error. */
#ifndef DEMO_ANSWER_H
#define DEMO_ANSWER_H

#include <stdint.h>

#include "plat_json.h"
#include "restserver_handler.h"

/* Sends the object with the status and releases it; 0 or 0xFFFFFFFF. */
uint32_t DemoAnswerJson(RS_RESPONSE *pstResponse, uint32_t uiStatus, CFJSON *pstObject);

/* Sends {"error": text} with the status. */
uint32_t DemoAnswerError(RS_RESPONSE *pstResponse, uint32_t uiStatus, const char *pcText);

/* Adds name: value when the value is present; absent values stay absent. */
void DemoJsonAdd(CFJSON *pstObject, const char *pcName, const char *pcValue);

#endif
