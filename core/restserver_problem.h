/*
 * Problems an operator must see, beyond the log: a module that does not
 * load, a function not found, a configuration line not understood, a URL not
 * registered, a trace file that cannot be written. Each is logged where it
 * arises and also handed to the host's sink, when it set one.
 */
#ifndef RESTSERVER_PROBLEM_H
#define RESTSERVER_PROBLEM_H

#include "plat_types.h"
#include "restserver_export.h"

RS_BEGIN_DECLS

/* Formats one line (at most 511 characters) for the sink; instance 255 names the process. */
RS_API void RsProblemReport(u8 ucInstId, const char *pcFormat, ...) __attribute__((format(printf, 2, 3)));

RS_END_DECLS

#endif
