// The intrusive AVL tree against std::map under random inserts (of new and
// present keys), deletes (of linked and unlinked nodes) and finds.
#include <gtest/gtest.h>

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
    return (*static_cast<const int *>(a) > *static_cast<const int *>(b)) -
           (*static_cast<const int *>(a) < *static_cast<const int *>(b));
}

const VOS_AVL3_TREE_INFO kInfo = {CompareInts, offsetof(Record, key), offsetof(Record, node)};

// Checks links, stored heights and balance below `node`, collecting its keys in order; returns its height.
int Check(const VOS_AVL3_NODE *node, const VOS_AVL3_NODE *parent, std::vector<int> &keys) {
    if (node == nullptr) return -1;
    EXPECT_EQ(node->pstParent, parent);
    int left = Check(node->pstLeft, node, keys);
    keys.push_back(
        reinterpret_cast<const Record *>(reinterpret_cast<const char *>(node) - offsetof(Record, node))->key);
    int right = Check(node->pstRight, node, keys);
    EXPECT_TRUE(node->sLHeight == left && node->sRHeight == right && std::abs(left - right) <= 1) << keys.back();
    return 1 + std::max(left, right);
}

TEST(VosAvl3, RandomOperationsMatchOrderedMap) {
    std::vector<Record> records(4000);  // zeroed: every node starts unlinked
    Record probe{};
    VOS_AVL3_TREE tree{};
    std::map<int, Record *> model;
    auto checkTree = [&] {
        std::vector<int> expected, linked, walked;
        for (const auto &entry : model)
            expected.push_back(entry.first);
        Check(tree.pstRoot, nullptr, linked);
        for (void *rec = VOS_AVL3_First(&tree, &kInfo); rec != nullptr && walked.size() <= model.size();
             rec = VOS_AVL3_Next(&static_cast<Record *>(rec)->node, &kInfo))
            walked.push_back(static_cast<Record *>(rec)->key);
        EXPECT_EQ(linked, expected) << "in order from the root";
        EXPECT_EQ(walked, expected) << "walked from the first";
    };
    std::mt19937 random(12345);
    for (int op = 0; op < 200000 && !HasFailure(); ++op) {
        int key = static_cast<int>(random() % records.size()), kind = static_cast<int>(random() % 100);
        bool present = model.count(key) != 0;
        if (kind < 45) {  // a second record with a present key finds the first and stays out
            Record *candidate = present ? &probe : &records[key];
            candidate->key = key;
            VOS_AVL3_INIT_NODE(candidate->node);
            ASSERT_EQ(VOS_AVL3_Insert_Or_Find(&tree, &candidate->node, &kInfo), present ? model[key] : nullptr);
            if (!present) model[key] = candidate;
        } else if (kind < 80) {  // an absent key's node is unlinked: deleting it changes nothing
            VOS_AVL3_Delete(&tree, &records[key].node);
            model.erase(key);
        } else {
            ASSERT_EQ(VOS_AVL3_Find(&tree, &key, &kInfo), present ? model[key] : nullptr) << "key " << key;
        }
        ASSERT_EQ(tree.pstFirst, model.empty() ? nullptr : &model.begin()->second->node);
        ASSERT_EQ(tree.pstLast, model.empty() ? nullptr : &model.rbegin()->second->node);
        if (op % 997 == 0) checkTree();
    }
    checkTree();
}

}  // namespace
