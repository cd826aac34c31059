/*
 * The demo's items: an in-memory map from id to value text, shared by every
 * request thread and guarded by one mutex. Bounded in count and value size.
 */
#ifndef DEMO_ITEM_STORE_H
#define DEMO_ITEM_STORE_H

#include <stddef.h>

#define DEMO_ITEM_MAX_COUNT 1000
#define DEMO_ITEM_MAX_VALUE 65536

typedef enum {
    DEMO_ITEM_CREATED,
    DEMO_ITEM_REPLACED,
    DEMO_ITEM_FULL, /* the store holds DEMO_ITEM_MAX_COUNT items */
    DEMO_ITEM_NO_MEMORY
} DEMO_ITEM_PUT_RESULT;

/* Removes every item. */
void DemoItemStoreClear(void);

/* Stores a copy of the value under the id. */
DEMO_ITEM_PUT_RESULT DemoItemPut(const char *pcId, const char *pcValue);

/* A heap copy of the id's value for the caller to free, or NULL when unknown. */
char *DemoItemGet(const char *pcId);

/* 1 when the id was removed, 0 when it was unknown. */
int DemoItemDelete(const char *pcId);

#endif
