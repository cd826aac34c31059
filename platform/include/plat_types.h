/* Fixed-width types and the export marker shared by every platform header. */
#ifndef PLAT_TYPES_H
#define PLAT_TYPES_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define PLAT_BEGIN_DECLS extern "C" {
#define PLAT_END_DECLS }
#else
#define PLAT_BEGIN_DECLS
#define PLAT_END_DECLS
#endif

#define PLAT_API __attribute__((visibility("default")))

typedef uint8_t u8;
typedef uint16_t u16;
typedef uint32_t u32;
typedef uint64_t u64;
typedef int8_t s8;
typedef int16_t s16;
typedef int32_t s32;
typedef int64_t s64;

#define PLAT_OK 0u
#define PLAT_ERR 0xFFFFFFFFu

#endif
