/* In-memory item map: a singly linked list under one mutex. */
#define _POSIX_C_SOURCE 200809L /* strdup */

#include "item_store.h"

#include <pthread.h>
#include <stdlib.h>
#include <string.h>

typedef struct DEMO_ITEM {
    struct DEMO_ITEM *pstNext;
    char *pcId;
    char *pcValue;
} DEMO_ITEM;

static pthread_mutex_t g_stItemLock = PTHREAD_MUTEX_INITIALIZER;
static DEMO_ITEM *g_pstItems = NULL;
static size_t g_ulItemCount = 0;

/* The link that points at the id's item (or the list's end); lock held. */
static DEMO_ITEM **DemoItemLink(const char *pcId) {
    DEMO_ITEM **ppstLink = &g_pstItems;
    while (*ppstLink != NULL && strcmp((*ppstLink)->pcId, pcId) != 0)
        ppstLink = &(*ppstLink)->pstNext;
    return ppstLink;
}

static void DemoItemFree(DEMO_ITEM *pstItem) {
    free(pstItem->pcId);
    free(pstItem->pcValue);
    free(pstItem);
}

void DemoItemStoreClear(void) {
    pthread_mutex_lock(&g_stItemLock);
    while (g_pstItems != NULL) {
        DEMO_ITEM *pstItem = g_pstItems;
        g_pstItems = pstItem->pstNext;
        DemoItemFree(pstItem);
    }
    g_ulItemCount = 0;
    pthread_mutex_unlock(&g_stItemLock);
}

/* Replaces the value of an existing item; the copy is made before the lock. */
static DEMO_ITEM_PUT_RESULT DemoItemReplace(DEMO_ITEM *pstItem, char *pcCopy) {
    free(pstItem->pcValue);
    pstItem->pcValue = pcCopy;
    return DEMO_ITEM_REPLACED;
}

static DEMO_ITEM_PUT_RESULT DemoItemAppend(DEMO_ITEM **ppstLink, const char *pcId, char *pcCopy) {
    if (g_ulItemCount >= DEMO_ITEM_MAX_COUNT) return DEMO_ITEM_FULL;
    DEMO_ITEM *pstItem = calloc(1, sizeof(*pstItem));
    char *pcIdCopy = strdup(pcId);
    if (pstItem == NULL || pcIdCopy == NULL) {
        free(pstItem);
        free(pcIdCopy);
        return DEMO_ITEM_NO_MEMORY;
    }
    pstItem->pcId = pcIdCopy;
    pstItem->pcValue = pcCopy;
    *ppstLink = pstItem;
    ++g_ulItemCount;
    return DEMO_ITEM_CREATED;
}

DEMO_ITEM_PUT_RESULT DemoItemPut(const char *pcId, const char *pcValue) {
    char *pcCopy = strdup(pcValue);
    if (pcCopy == NULL) return DEMO_ITEM_NO_MEMORY;
    pthread_mutex_lock(&g_stItemLock);
    DEMO_ITEM **ppstLink = DemoItemLink(pcId);
    DEMO_ITEM_PUT_RESULT enResult =
        *ppstLink != NULL ? DemoItemReplace(*ppstLink, pcCopy) : DemoItemAppend(ppstLink, pcId, pcCopy);
    pthread_mutex_unlock(&g_stItemLock);
    if (enResult == DEMO_ITEM_FULL || enResult == DEMO_ITEM_NO_MEMORY) free(pcCopy);
    return enResult;
}

char *DemoItemGet(const char *pcId) {
    pthread_mutex_lock(&g_stItemLock);
    DEMO_ITEM *pstItem = *DemoItemLink(pcId);
    char *pcCopy = pstItem != NULL ? strdup(pstItem->pcValue) : NULL;
    pthread_mutex_unlock(&g_stItemLock);
    return pcCopy;
}

int DemoItemDelete(const char *pcId) {
    pthread_mutex_lock(&g_stItemLock);
    DEMO_ITEM **ppstLink = DemoItemLink(pcId);
    DEMO_ITEM *pstItem = *ppstLink;
    if (pstItem != NULL) {
        *ppstLink = pstItem->pstNext;
        --g_ulItemCount;
    }
    pthread_mutex_unlock(&g_stItemLock);
    if (pstItem == NULL) return 0;
    DemoItemFree(pstItem);
    return 1;
}
