/*
 * The one intrusive circular doubly linked list of the system. A record
 * begins with an RS_LIST_NODE; a list head is a bare node. An empty list is
 * a head whose links both point at itself. Appending keeps insertion order.
 */
#ifndef RESTSERVER_LIST_H
#define RESTSERVER_LIST_H

typedef struct RS_LIST_NODE {
    struct RS_LIST_NODE *next;
    struct RS_LIST_NODE *prev;
} RS_LIST_NODE;

static inline void RsListInit(RS_LIST_NODE *pstHead) {
    pstHead->next = pstHead;
    pstHead->prev = pstHead;
}

static inline int RsListIsEmpty(const RS_LIST_NODE *pstHead) {
    return pstHead->prev == pstHead;
}

/* Tail insertion: between the head's prev and the head. */
static inline void RsListAppend(RS_LIST_NODE *pstHead, RS_LIST_NODE *pstNode) {
    RS_LIST_NODE *pstLast = pstHead->prev;
    pstNode->prev = pstLast;
    pstNode->next = pstHead;
    pstLast->next = pstNode;
    pstHead->prev = pstNode;
}

static inline void RsListRemove(RS_LIST_NODE *pstNode) {
    pstNode->prev->next = pstNode->next;
    pstNode->next->prev = pstNode->prev;
    RsListInit(pstNode);
}

#ifdef __cplusplus
/*
 * Visits every node from the first on. The next link is read before the
 * visitor runs, so the visitor may free the node it is given. A null link
 * ends the walk as the head does.
 */
template <typename Visit>
void RsListWalk(RS_LIST_NODE *pstHead, Visit &&visit) {
    if (RsListIsEmpty(pstHead)) return;
    RS_LIST_NODE *pstCur = pstHead->next;
    while (pstCur != nullptr && pstCur != pstHead) {
        RS_LIST_NODE *pstNext = pstCur->next;
        visit(pstCur);
        pstCur = pstNext;
    }
}

/* The record that begins with the node. */
template <typename Record>
Record *RsListRecord(RS_LIST_NODE *pstNode) {
    return reinterpret_cast<Record *>(pstNode);
}
#endif

#endif
