// Finding the rule for a request key: depth-first over the trie, trying at
// every level the literal segment, then a placeholder, then "***", and
// backing up when a branch dead-ends. Segments are views into the key, so a
// request costs no allocation (keys of more than 64 segments excepted).
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "auth/restserver_auth_rules.h"
#include "auth/restserver_auth_trie_index.h"

namespace {

constexpr u32 kInlineSegments = 64;
constexpr RsKeySegment kPlaceholder = {"*", 1};
constexpr RsKeySegment kAnySuffix = {"***", 3};

bool SameText(const RsKeySegment &stLeft, const RsKeySegment &stRight) {
    return stLeft.uiLen == stRight.uiLen && memcmp(stLeft.pcText, stRight.pcText, stLeft.uiLen) == 0;
}

// The first leaf in list order is the newest rule ending at this node.
RsAuthConfigTrieNode *FirstLeafChild(const RsAuthConfigTrieNode *pstNode) {
    if (pstNode == nullptr) return nullptr;
    for (RsAuthConfigTrieNode *pstChild = pstNode->children; pstChild != nullptr; pstChild = pstChild->next) {
        if (pstChild->isLeaf != 0) return pstChild;
    }
    return nullptr;
}

// Empty segments (doubled, leading or trailing "/") do not count. Fills at
// most uiMax entries of the table and returns the count of all.
u32 SplitKey(const char *pcKey, RsKeySegment *pstSegments, u32 uiMax) {
    u32 uiCount = 0;
    const char *pcCur = pcKey;
    while (*pcCur != '\0') {
        while (*pcCur == '/')
            ++pcCur;
        if (*pcCur == '\0') break;
        const char *pcStart = pcCur;
        while (*pcCur != '\0' && *pcCur != '/')
            ++pcCur;
        if (uiCount < uiMax) pstSegments[uiCount] = {pcStart, static_cast<u32>(pcCur - pcStart)};
        ++uiCount;
    }
    return uiCount;
}

}  // namespace

extern "C" RS_API RsAuthConfigTrieNode *SearchNextNode(RsAuthConfigTrieNode *pstFirst, const char *pcName) {
    if (pcName == nullptr) return nullptr;
    return RsTrieSiblingWalk(pstFirst, {pcName, static_cast<u32>(strlen(pcName))});
}

namespace {

// The names of the nodes a search went through, one per depth; uiDepth is
// how many of them lead to the node found.
struct Trail {
    const char **ppcNames;
    u32 uiMax;
    u32 uiDepth;
};

void TrailNote(Trail *pstTrail, u32 uiDepth, const RsAuthConfigTrieNode *pstChild) {
    if (pstTrail != nullptr && pstChild != nullptr && uiDepth < pstTrail->uiMax)
        pstTrail->ppcNames[uiDepth] = pstChild->name;
}

// "***" is returned as found, without descending: it swallows every remaining
// segment. A key segment that is itself "***" therefore ends the search here.
RsAuthConfigTrieNode *Search(RsAuthConfigTrieNode *pstNode, const RsKeySegment *pstSegments, u32 uiCount, u32 uiDepth,
                             Trail *pstTrail) {
    if (pstNode == nullptr || pstSegments == nullptr || uiDepth >= uiCount || pstNode->children == nullptr) {
        return nullptr;
    }
    const RsKeySegment astCandidates[] = {pstSegments[uiDepth], kPlaceholder, kAnySuffix};
    for (const RsKeySegment &stCandidate : astCandidates) {
        RsAuthConfigTrieNode *pstChild = RsTrieChildFind(&pstNode->children, stCandidate);
        TrailNote(pstTrail, uiDepth, pstChild);
        if (SameText(stCandidate, kAnySuffix)) {
            if (pstTrail != nullptr) pstTrail->uiDepth = uiDepth + 1;
            return pstChild;
        }
        if (uiDepth + 1 < uiCount) {
            pstChild = Search(pstChild, pstSegments, uiCount, uiDepth + 1, pstTrail);
        } else if (pstTrail != nullptr) {
            pstTrail->uiDepth = uiDepth + 1;
        }
        if (FirstLeafChild(pstChild) != nullptr) return pstChild;
    }
    return nullptr;
}

RsAuthConfigTrieNode *FindLeaf(const char *pcKey, Trail *pstTrail) {
    if (pcKey == nullptr) return nullptr;
    RsKeySegment astInline[kInlineSegments];
    RsKeySegment *pstSegments = astInline;
    u32 uiCount = SplitKey(pcKey, astInline, kInlineSegments);
    if (uiCount == 0) return nullptr;
    if (uiCount > kInlineSegments) {
        pstSegments = static_cast<RsKeySegment *>(malloc(uiCount * sizeof(RsKeySegment)));
        if (pstSegments == nullptr) return nullptr;
        (void)SplitKey(pcKey, pstSegments, uiCount);
    }
    RsAuthConfigTrieNode *pstLeaf = FirstLeafChild(Search(&g_AuthConfigTrieRoot, pstSegments, uiCount, 0, pstTrail));
    if (pstSegments != astInline) free(pstSegments);
    return pstLeaf;
}

}  // namespace

extern "C" RS_API RsAuthConfigTrieNode *RecursiveSearch(RsAuthConfigTrieNode *pstNode, const RsKeySegment *pstSegments,
                                                        u32 uiCount, u32 uiDepth) {
    return Search(pstNode, pstSegments, uiCount, uiDepth, nullptr);
}

extern "C" RS_API RsAuthConfigTrieNode *SearchAuthConfigTrieNode(const char *pcKey) {
    return FindLeaf(pcKey, nullptr);
}

extern "C" RS_API RsAuthConfigTrieNode *RsAuthTrieSearchTraced(const char *pcKey, const char **ppcNames, u32 uiMax,
                                                               u32 *puiDepth) {
    Trail stTrail = {ppcNames, uiMax, 0};
    RsAuthConfigTrieNode *pstLeaf = FindLeaf(pcKey, &stTrail);
    if (puiDepth != nullptr) *puiDepth = pstLeaf != nullptr ? std::min(stTrail.uiDepth, uiMax) : 0;
    return pstLeaf;
}

extern "C" RS_API RsExprNode *SearchAuthExpression(const char *pcKey) {
    RsAuthConfigTrieNode *pstLeaf = SearchAuthConfigTrieNode(pcKey);
    return pstLeaf == nullptr ? nullptr : pstLeaf->expressionTree;
}
