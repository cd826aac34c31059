/*
 * Reads a whole JSON file into a parsed document. Every caller has its own
 * wording for each failure, so it hands the helper its messages; the helper
 * logs the one that applies at level 5.
 */
#ifndef RESTSERVER_JSON_FILE_H
#define RESTSERVER_JSON_FILE_H

#include "plat_json.h"
#include "plat_types.h"
#include "restserver_export.h"

RS_BEGIN_DECLS

#define RS_JSON_PATH_SIZE 4096u
#define RS_JSON_LINE_SIZE 1024u

/* The caller's message for each failure; a null append message keeps append failures silent. */
typedef struct {
    const char *pcPathAllocFail;
    const char *pcPathInvalid;
    const char *pcOpenFail;
    const char *pcTextAllocFail;
    const char *pcAppendFail;
    const char *pcParseFail;
} RS_JSON_FILE_MSGS;

/* 0 with the document in *ppstDoc (the caller deletes it), or 0xFFFFFFFF with *ppstDoc untouched. */
RS_API u32 RsJsonFileRead(const char *pcPath, const RS_JSON_FILE_MSGS *pstMsgs, CFJSON **ppstDoc);
/* Why this thread's last RsJsonFileRead failed, for an operator ("No such file
 * or directory", "not JSON from line 3"); "" after a success. */
RS_API const char *RsJsonFileWhy(void);

RS_END_DECLS

#endif
