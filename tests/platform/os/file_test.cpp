// File wrappers write exactly the bytes handed to them.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "plat_os.h"

namespace {

std::string ReadAll(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

TEST(VosFile, AppendModeAddsExactBytes) {
    char path[] = "/tmp/vos_file_XXXXXX";
    int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    close(fd);

    const std::string first("line one\n", 9);
    const std::string second("bin\0ary", 7);
    for (const std::string *chunk : {&first, &second}) {
        void *file = VOS_VFS_FOpen(path, "a");
        ASSERT_NE(file, nullptr);
        EXPECT_EQ(VOS_VFS_FWrite(chunk->data(), 1, chunk->size(), file), chunk->size());
        EXPECT_EQ(VOS_VFS_FClose(file), 0);
    }
    EXPECT_EQ(ReadAll(path), first + second);
    unlink(path);
}

TEST(VosFile, NullArgumentsAreRefused) {
    EXPECT_EQ(VOS_VFS_FOpen(nullptr, "a"), nullptr);
    EXPECT_EQ(VOS_VFS_FOpen("/tmp/x", nullptr), nullptr);
    EXPECT_EQ(VOS_VFS_FOpen("/nonexistent-dir/file", "w"), nullptr);
    EXPECT_EQ(VOS_VFS_FWrite(nullptr, 1, 1, stdout), 0u);
    EXPECT_EQ(VOS_VFS_FWrite("a", 1, 1, nullptr), 0u);
    EXPECT_EQ(VOS_VFS_FClose(nullptr), -1);
}

}  // namespace
