/*
 * Finding a child of a rule trie node by name. Short sibling lists are
 * walked; a list that grows past a few nodes gets a hash index beside it, so
 * a level with hundreds of services costs one lookup rather than a walk.
 * Internal to the library; the index changes under the rules writer lock.
 */
#ifndef RESTSERVER_AUTH_TRIE_INDEX_H
#define RESTSERVER_AUTH_TRIE_INDEX_H

#include "auth/restserver_auth_rules.h"

/* The first node from pstFirst on named as stName, walking the list; null when none is. */
RsAuthConfigTrieNode *RsTrieSiblingWalk(RsAuthConfigTrieNode *pstFirst, const RsKeySegment &stName);
/* The first node of the list *ppstList named as stName, null when none is. */
RsAuthConfigTrieNode *RsTrieChildFind(RsAuthConfigTrieNode *const *ppstList, const RsKeySegment &stName);
/* Records the node just linked at the front of *ppstList. */
void RsTrieChildAdded(RsAuthConfigTrieNode *const *ppstList);
/* Forgets every list, before their nodes are released. */
void RsTrieIndexClear(void);

#endif
