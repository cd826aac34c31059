// The intrusive AVL tree against std::map: same contents, same order, and the
// structural invariants (parent links, stored heights, balance, first/last).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <random>
#include <vector>

#include "plat_os.h"

namespace {

struct Record {
    u32 tag;  // keeps the key and node away from offset 0
    int key;
    VOS_AVL3_NODE node;
};

s32 CompareInts(const void *a, const void *b) {
    int left = *static_cast<const int *>(a);
    int right = *static_cast<const int *>(b);
    return (left > right) - (left < right);
}

const VOS_AVL3_TREE_INFO kInfo = {CompareInts, offsetof(Record, key), offsetof(Record, node)};

Record *RecordOfNode(VOS_AVL3_NODE *node) {
    return reinterpret_cast<Record *>(reinterpret_cast<char *>(node) - offsetof(Record, node));
}

// Walks a subtree checking links, order and heights; returns its real height.
int CheckSubtree(const VOS_AVL3_NODE *node, const VOS_AVL3_NODE *parent, const int *low, const int *high) {
    if (node == nullptr) return -1;
    EXPECT_EQ(node->pstParent, parent);
    int key = RecordOfNode(const_cast<VOS_AVL3_NODE *>(node))->key;
    if (low != nullptr) {
        EXPECT_GT(key, *low);
    }
    if (high != nullptr) {
        EXPECT_LT(key, *high);
    }
    int left = CheckSubtree(node->pstLeft, node, low, &key);
    int right = CheckSubtree(node->pstRight, node, &key, high);
    EXPECT_EQ(node->sLHeight, left) << "key " << key;
    EXPECT_EQ(node->sRHeight, right) << "key " << key;
    EXPECT_LE(std::abs(left - right), 1) << "key " << key;
    return 1 + std::max(left, right);
}

void CheckTree(VOS_AVL3_TREE *tree, const std::map<int, Record *> &model) {
    CheckSubtree(tree->pstRoot, nullptr, nullptr, nullptr);
    std::vector<int> walked;
    for (auto *rec = static_cast<Record *>(VOS_AVL3_First(tree, &kInfo)); rec != nullptr;
         rec = static_cast<Record *>(VOS_AVL3_Next(&rec->node, &kInfo))) {
        walked.push_back(rec->key);
        ASSERT_LE(walked.size(), model.size()) << "walk runs past the model";
    }
    std::vector<int> expected;
    for (const auto &entry : model)
        expected.push_back(entry.first);
    EXPECT_EQ(walked, expected);
}

void CheckEnds(const VOS_AVL3_TREE &tree, const std::map<int, Record *> &model) {
    if (model.empty()) {
        ASSERT_EQ(tree.pstRoot, nullptr);
        ASSERT_EQ(tree.pstFirst, nullptr);
        ASSERT_EQ(tree.pstLast, nullptr);
        return;
    }
    ASSERT_EQ(tree.pstFirst, &model.begin()->second->node);
    ASSERT_EQ(tree.pstLast, &model.rbegin()->second->node);
}

TEST(VosAvl3, RandomOperationsMatchOrderedMap) {
    constexpr int kKeySpace = 4000;
    constexpr int kOperations = 200000;
    constexpr int kCheckEvery = 997;

    std::vector<Record> records(kKeySpace);
    for (int key = 0; key < kKeySpace; ++key) {
        records[key].key = key;
        VOS_AVL3_INIT_NODE(records[key].node);
    }
    Record probe{};
    VOS_AVL3_TREE tree{};
    std::map<int, Record *> model;
    std::mt19937 random(12345);
    std::uniform_int_distribution<int> pickKey(0, kKeySpace - 1);
    std::uniform_int_distribution<int> pickOp(0, 99);

    for (int op = 0; op < kOperations; ++op) {
        int key = pickKey(random);
        int kind = pickOp(random);
        bool present = model.count(key) != 0;
        if (kind < 45) {
            // A second record with a present key must find the first one and stay out.
            Record *candidate = present ? &probe : &records[key];
            candidate->key = key;
            VOS_AVL3_INIT_NODE(candidate->node);
            void *found = VOS_AVL3_Insert_Or_Find(&tree, &candidate->node, &kInfo);
            if (present) {
                ASSERT_EQ(found, model[key]);
                ASSERT_EQ(probe.node.pstParent, nullptr);
                ASSERT_NE(tree.pstRoot, &probe.node);
            } else {
                ASSERT_EQ(found, nullptr);
                model[key] = candidate;
            }
        } else if (kind < 80) {
            if (!present) continue;
            VOS_AVL3_Delete(&tree, &records[key].node);
            model.erase(key);
            const VOS_AVL3_NODE &gone = records[key].node;
            ASSERT_TRUE(gone.pstParent == nullptr && gone.pstLeft == nullptr && gone.pstRight == nullptr);
        } else {
            ASSERT_EQ(VOS_AVL3_Find(&tree, &key, &kInfo), present ? model[key] : nullptr) << "key " << key;
        }
        CheckEnds(tree, model);
        if (op % kCheckEvery == 0) {
            CheckTree(&tree, model);
            if (HasFailure()) return;
        }
    }
    CheckTree(&tree, model);
}

TEST(VosAvl3, SortedInsertsStayBalancedAndDrainInAnyOrder) {
    constexpr int kCount = 1024;
    std::vector<Record> records(kCount);
    VOS_AVL3_TREE tree{};
    std::map<int, Record *> model;
    for (int key = 0; key < kCount; ++key) {
        records[key].key = key;
        VOS_AVL3_INIT_NODE(records[key].node);
        ASSERT_EQ(VOS_AVL3_Insert_Or_Find(&tree, &records[key].node, &kInfo), nullptr);
        model[key] = &records[key];
    }
    CheckTree(&tree, model);
    // A perfectly fed AVL tree of 1024 ascending keys is 11 levels tall at most.
    EXPECT_LE(1 + std::max(tree.pstRoot->sLHeight, tree.pstRoot->sRHeight), 10);

    // Remove the root repeatedly: always the two-children case while it lasts.
    while (tree.pstRoot != nullptr) {
        Record *root = RecordOfNode(tree.pstRoot);
        VOS_AVL3_Delete(&tree, tree.pstRoot);
        model.erase(root->key);
        CheckEnds(tree, model);
    }
    CheckTree(&tree, model);
}

TEST(VosAvl3, NullArgumentsAreHarmless) {
    VOS_AVL3_TREE tree{};
    Record rec{};
    rec.key = 1;
    VOS_AVL3_INIT_NODE(rec.node);
    int key = 1;
    const VOS_AVL3_TREE_INFO noCompare = {nullptr, kInfo.usKeyOffset, kInfo.usNodeOffset};

    EXPECT_EQ(VOS_AVL3_Insert_Or_Find(nullptr, &rec.node, &kInfo), nullptr);
    EXPECT_EQ(VOS_AVL3_Insert_Or_Find(&tree, nullptr, &kInfo), nullptr);
    EXPECT_EQ(VOS_AVL3_Insert_Or_Find(&tree, &rec.node, nullptr), nullptr);
    EXPECT_EQ(VOS_AVL3_Insert_Or_Find(&tree, &rec.node, &noCompare), nullptr);
    EXPECT_EQ(tree.pstRoot, nullptr) << "a refused insert links nothing";

    EXPECT_EQ(VOS_AVL3_Find(nullptr, &key, &kInfo), nullptr);
    EXPECT_EQ(VOS_AVL3_Find(&tree, nullptr, &kInfo), nullptr);
    EXPECT_EQ(VOS_AVL3_Find(&tree, &key, nullptr), nullptr);
    EXPECT_EQ(VOS_AVL3_First(nullptr, &kInfo), nullptr);
    EXPECT_EQ(VOS_AVL3_First(&tree, &kInfo), nullptr);
    EXPECT_EQ(VOS_AVL3_Next(nullptr, &kInfo), nullptr);
    VOS_AVL3_Delete(nullptr, &rec.node);
    VOS_AVL3_Delete(&tree, nullptr);

    // Deleting a node that was never inserted leaves the tree untouched.
    Record other{};
    other.key = 2;
    VOS_AVL3_INIT_NODE(other.node);
    ASSERT_EQ(VOS_AVL3_Insert_Or_Find(&tree, &rec.node, &kInfo), nullptr);
    VOS_AVL3_Delete(&tree, &other.node);
    EXPECT_EQ(tree.pstRoot, &rec.node);
    EXPECT_EQ(VOS_AVL3_Find(&tree, &key, &kInfo), &rec);
}

}  // namespace
