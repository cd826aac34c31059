// Where each module and handler record was read (file and line), kept beside
// the records rather than in them, so that the records keep their fields.
// Problems about a record name its line; a record made elsewhere has none.
#pragma once

#include "config/restserver_cfg.h"

void RsConfSourceNote(const void *pRecord, const char *pcFile, u32 uiLine);
void RsConfSourceForget(const void *pRecord);

// "<file> line <n>: " before a problem about the record, or "" when it came from no file.
struct RsConfWhere {
    char acText[RS_PATH_MAX_LEN + 24];
    explicit RsConfWhere(const void *pRecord);
};
