/* Export marker and fixed-width types of the public headers. */
#ifndef RESTSERVER_EXPORT_H
#define RESTSERVER_EXPORT_H

#include <stdint.h>

#ifdef __cplusplus
#define RS_BEGIN_DECLS extern "C" {
#define RS_END_DECLS }
#else
#define RS_BEGIN_DECLS
#define RS_END_DECLS
#endif

#define RS_API __attribute__((visibility("default")))

#endif
