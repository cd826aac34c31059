// Intrusive AVL tree. Each node stores the heights of its two subtrees, an
// absent subtree counting -1 and a leaf 0. The tree keeps its smallest and
// largest nodes at hand so that in-order walks start without a descent.
#include <algorithm>

#include "plat_os.h"

namespace {

using Node = VOS_AVL3_NODE;
using Tree = VOS_AVL3_TREE;
using Info = VOS_AVL3_TREE_INFO;

s16 Height(const Node *node) {
    return node == nullptr ? -1 : static_cast<s16>(1 + std::max(node->sLHeight, node->sRHeight));
}

void ResetLinks(Node *node) {
    node->pstParent = node->pstLeft = node->pstRight = nullptr;
    node->sLHeight = node->sRHeight = -1;
}

void *RecordOf(Node *node, const Info *info) {
    return node == nullptr ? nullptr : reinterpret_cast<char *>(node) - info->usNodeOffset;
}

const void *KeyOf(Node *node, const Info *info) {
    return static_cast<char *>(RecordOf(node, info)) + info->usKeyOffset;
}

Node *Leftmost(Node *node) {
    while (node->pstLeft != nullptr)
        node = node->pstLeft;
    return node;
}

Node *Rightmost(Node *node) {
    while (node->pstRight != nullptr)
        node = node->pstRight;
    return node;
}

Node *Successor(Node *node) {
    if (node->pstRight != nullptr) return Leftmost(node->pstRight);
    while (node->pstParent != nullptr && node == node->pstParent->pstRight)
        node = node->pstParent;
    return node->pstParent;
}

Node *Predecessor(Node *node) {
    if (node->pstLeft != nullptr) return Rightmost(node->pstLeft);
    while (node->pstParent != nullptr && node == node->pstParent->pstLeft)
        node = node->pstParent;
    return node->pstParent;
}

// Puts `replacement` where `old` hangs from its parent (or the root).
void ReplaceChild(Tree *tree, Node *old, Node *replacement) {
    Node *parent = old->pstParent;
    if (parent == nullptr) {
        tree->pstRoot = replacement;
    } else if (parent->pstLeft == old) {
        parent->pstLeft = replacement;
    } else {
        parent->pstRight = replacement;
    }
    if (replacement != nullptr) replacement->pstParent = parent;
}

Node *RotateLeft(Tree *tree, Node *top) {
    Node *pivot = top->pstRight;
    ReplaceChild(tree, top, pivot);
    top->pstRight = pivot->pstLeft;
    if (top->pstRight != nullptr) top->pstRight->pstParent = top;
    pivot->pstLeft = top;
    top->pstParent = pivot;
    top->sRHeight = Height(top->pstRight);
    pivot->sLHeight = Height(top);
    return pivot;
}

Node *RotateRight(Tree *tree, Node *top) {
    Node *pivot = top->pstLeft;
    ReplaceChild(tree, top, pivot);
    top->pstLeft = pivot->pstRight;
    if (top->pstLeft != nullptr) top->pstLeft->pstParent = top;
    pivot->pstRight = top;
    top->pstParent = pivot;
    top->sLHeight = Height(top->pstLeft);
    pivot->sRHeight = Height(top);
    return pivot;
}

// Restores the balance of one node whose subtree heights are current;
// returns the node now at the top of that subtree.
Node *Balance(Tree *tree, Node *node) {
    int skew = node->sLHeight - node->sRHeight;
    if (skew > 1) {
        if (node->pstLeft->sRHeight > node->pstLeft->sLHeight) RotateLeft(tree, node->pstLeft);
        return RotateRight(tree, node);
    }
    if (skew < -1) {
        if (node->pstRight->sLHeight > node->pstRight->sRHeight) RotateRight(tree, node->pstRight);
        return RotateLeft(tree, node);
    }
    return node;
}

// Refreshes heights and rebalances from `node` up to the root.
void Retrace(Tree *tree, Node *node) {
    while (node != nullptr) {
        node->sLHeight = Height(node->pstLeft);
        node->sRHeight = Height(node->pstRight);
        node = Balance(tree, node)->pstParent;
    }
}

void Link(Tree *tree, Node *node, Node *parent, bool asLeft) {
    ResetLinks(node);
    node->pstParent = parent;
    if (parent == nullptr) {
        tree->pstRoot = tree->pstFirst = tree->pstLast = node;
        return;
    }
    if (asLeft) {
        parent->pstLeft = node;
        if (parent == tree->pstFirst) tree->pstFirst = node;
    } else {
        parent->pstRight = node;
        if (parent == tree->pstLast) tree->pstLast = node;
    }
    Retrace(tree, parent);
}

// Unlinks a node with two children by moving its in-order successor into its
// place; returns the lowest node whose subtree changed.
Node *UnlinkWithSuccessor(Tree *tree, Node *node) {
    Node *successor = Leftmost(node->pstRight);
    Node *changed = successor;
    if (successor != node->pstRight) {
        changed = successor->pstParent;
        changed->pstLeft = successor->pstRight;
        if (successor->pstRight != nullptr) successor->pstRight->pstParent = changed;
        successor->pstRight = node->pstRight;
        successor->pstRight->pstParent = successor;
    }
    successor->pstLeft = node->pstLeft;
    successor->pstLeft->pstParent = successor;
    ReplaceChild(tree, node, successor);
    return changed;
}

bool IsLinked(const Tree *tree, const Node *node) {
    return node->pstParent != nullptr || tree->pstRoot == node;
}

}  // namespace

extern "C" PLAT_API void *VOS_AVL3_Insert_Or_Find(VOS_AVL3_TREE *pstTree, VOS_AVL3_NODE *pstNode,
                                                  const VOS_AVL3_TREE_INFO *pstInfo) {
    if (pstTree == nullptr || pstNode == nullptr || pstInfo == nullptr || pstInfo->pfnCompare == nullptr)
        return nullptr;
    const void *key = KeyOf(pstNode, pstInfo);
    Node *parent = nullptr;
    bool asLeft = false;
    for (Node *cursor = pstTree->pstRoot; cursor != nullptr;) {
        s32 order = pstInfo->pfnCompare(key, KeyOf(cursor, pstInfo));
        if (order == 0) return RecordOf(cursor, pstInfo);
        parent = cursor;
        asLeft = order < 0;
        cursor = asLeft ? cursor->pstLeft : cursor->pstRight;
    }
    Link(pstTree, pstNode, parent, asLeft);
    return nullptr;
}

extern "C" PLAT_API void *VOS_AVL3_Find(VOS_AVL3_TREE *pstTree, const void *pKey, const VOS_AVL3_TREE_INFO *pstInfo) {
    if (pstTree == nullptr || pKey == nullptr || pstInfo == nullptr || pstInfo->pfnCompare == nullptr) return nullptr;
    Node *cursor = pstTree->pstRoot;
    while (cursor != nullptr) {
        s32 order = pstInfo->pfnCompare(pKey, KeyOf(cursor, pstInfo));
        if (order == 0) return RecordOf(cursor, pstInfo);
        cursor = order < 0 ? cursor->pstLeft : cursor->pstRight;
    }
    return nullptr;
}

extern "C" PLAT_API void VOS_AVL3_Delete(VOS_AVL3_TREE *pstTree, VOS_AVL3_NODE *pstNode) {
    if (pstTree == nullptr || pstNode == nullptr || !IsLinked(pstTree, pstNode)) return;
    if (pstTree->pstFirst == pstNode) pstTree->pstFirst = Successor(pstNode);
    if (pstTree->pstLast == pstNode) pstTree->pstLast = Predecessor(pstNode);

    Node *changed;
    if (pstNode->pstLeft != nullptr && pstNode->pstRight != nullptr) {
        changed = UnlinkWithSuccessor(pstTree, pstNode);
    } else {
        changed = pstNode->pstParent;
        ReplaceChild(pstTree, pstNode, pstNode->pstLeft != nullptr ? pstNode->pstLeft : pstNode->pstRight);
    }
    Retrace(pstTree, changed);
    ResetLinks(pstNode);
}

extern "C" PLAT_API void *VOS_AVL3_First(VOS_AVL3_TREE *pstTree, const VOS_AVL3_TREE_INFO *pstInfo) {
    if (pstTree == nullptr || pstInfo == nullptr) return nullptr;
    return RecordOf(pstTree->pstFirst, pstInfo);
}

extern "C" PLAT_API void *VOS_AVL3_Next(VOS_AVL3_NODE *pstNode, const VOS_AVL3_TREE_INFO *pstInfo) {
    if (pstNode == nullptr || pstInfo == nullptr) return nullptr;
    return RecordOf(Successor(pstNode), pstInfo);
}
