// The sibling index of the rule trie: (list, name) to the node of that name,
// for lists longer than kScanLimit. Lists only grow until the whole trie is
// cleared, so a list is indexed whole when it passes the limit and node by
// node after that. Names are unique within a list (insertion finds an
// existing node first), so the index answers what a walk would.
#include <cstdint>
#include <functional>
#include <string_view>
#include <unordered_map>

#include "auth/restserver_auth_trie_index.h"

namespace {

// Walking this many siblings costs about what one hash lookup does.
constexpr u32 kScanLimit = 8;

struct ChildKey {
    RsAuthConfigTrieNode *const *ppstList;
    std::string_view name;
    bool operator==(const ChildKey &) const = default;
};

struct ChildKeyHash {
    size_t operator()(const ChildKey &stKey) const {
        return std::hash<std::string_view>{}(stKey.name) ^
               (reinterpret_cast<uintptr_t>(stKey.ppstList) * 0x9E3779B97F4A7C15ull);
    }
};

struct SiblingIndex {
    std::unordered_map<ChildKey, RsAuthConfigTrieNode *, ChildKeyHash> children;
    bool bUsable = true;  // false after an insertion ran out of memory: lists are walked whole
};

// Process-long, like the trie it indexes.
SiblingIndex &IndexGet() {
    static SiblingIndex *pstIndex = new SiblingIndex;
    return *pstIndex;
}

// A shorter name stops at its NUL, which no segment byte equals.
bool NameIs(const char *pcName, const RsKeySegment &stName) {
    for (u32 uiIdx = 0; uiIdx < stName.uiLen; ++uiIdx) {
        if (pcName[uiIdx] != stName.pcText[uiIdx]) return false;
    }
    return pcName[stName.uiLen] == '\0';
}

void Add(SiblingIndex &stIndex, RsAuthConfigTrieNode *const *ppstList, RsAuthConfigTrieNode *pstNode) {
    (void)stIndex.children.try_emplace(ChildKey{ppstList, pstNode->name}, pstNode);
}

}  // namespace

RsAuthConfigTrieNode *RsTrieSiblingWalk(RsAuthConfigTrieNode *pstFirst, const RsKeySegment &stName) {
    for (RsAuthConfigTrieNode *pstNode = pstFirst; pstNode != nullptr; pstNode = pstNode->next) {
        if (NameIs(pstNode->name, stName)) return pstNode;
    }
    return nullptr;
}

RsAuthConfigTrieNode *RsTrieChildFind(RsAuthConfigTrieNode *const *ppstList, const RsKeySegment &stName) {
    RsAuthConfigTrieNode *pstNode = *ppstList;
    for (u32 uiIdx = 0; uiIdx < kScanLimit && pstNode != nullptr; ++uiIdx, pstNode = pstNode->next) {
        if (NameIs(pstNode->name, stName)) return pstNode;
    }
    if (pstNode == nullptr) return nullptr;
    const SiblingIndex &stIndex = IndexGet();
    if (!stIndex.bUsable) return RsTrieSiblingWalk(pstNode, stName);
    auto it = stIndex.children.find(ChildKey{ppstList, {stName.pcText, stName.uiLen}});
    return it == stIndex.children.end() ? nullptr : it->second;
}

void RsTrieChildAdded(RsAuthConfigTrieNode *const *ppstList) {
    SiblingIndex &stIndex = IndexGet();
    if (!stIndex.bUsable) return;
    u32 uiLen = 0;
    for (RsAuthConfigTrieNode *pstNode = *ppstList; pstNode != nullptr && uiLen <= kScanLimit + 1;
         pstNode = pstNode->next)
        ++uiLen;
    if (uiLen <= kScanLimit) return;
    try {
        if (uiLen > kScanLimit + 1) {
            Add(stIndex, ppstList, *ppstList);
            return;
        }
        for (RsAuthConfigTrieNode *pstNode = *ppstList; pstNode != nullptr; pstNode = pstNode->next)
            Add(stIndex, ppstList, pstNode);
    } catch (...) {  // no memory for an entry: the index would miss it
        stIndex.children.clear();
        stIndex.bUsable = false;
    }
}

void RsTrieIndexClear(void) {
    SiblingIndex &stIndex = IndexGet();
    stIndex.children.clear();
    stIndex.bUsable = true;
}
