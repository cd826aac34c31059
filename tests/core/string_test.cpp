// String and line utilities: byte-exact copies, splitting, trimming and the
// configuration line reader.
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>

#include <string>
#include <vector>

#include "core/restserver_core.h"
#include "core/restserver_diag.h"
#include "core/restserver_string.h"

namespace {

TEST(StrLCopy, ReportsSourceLengthAndAlwaysTerminates) {
    struct Case {
        const char *source;
        u64 size;
        u64 want_result;
        std::string want_dest;
    };
    const Case cases[] = {
        {"hello", 16, 5, "hello"}, {"hello", 6, 5, "hello"}, {"hello", 5, 5, "hell"},
        {"hello", 1, 5, ""},       {"", 4, 0, ""},
    };
    for (const auto &c : cases) {
        char dest[16];
        memset(dest, 'x', sizeof(dest));
        EXPECT_EQ(RsStrLCopy(dest, c.source, c.size), c.want_result) << c.source << " size " << c.size;
        EXPECT_EQ(std::string(dest), c.want_dest) << c.source << " size " << c.size;
    }
}

TEST(StrLCopy, SizeZeroWritesNothingAndReturnsZero) {
    char dest[4] = {'a', 'b', 'c', '\0'};
    EXPECT_EQ(RsStrLCopy(dest, "hello", 0), 0u);
    EXPECT_STREQ(dest, "abc");
}

TEST(StrDup, CopiesOrGivesNull) {
    EXPECT_EQ(RsStrDup(nullptr), nullptr);
    for (const char *source : {"", "a", "with space\tand tab"}) {
        char *copy = RsStrDup(source);
        ASSERT_NE(copy, nullptr);
        EXPECT_NE(copy, source);
        EXPECT_STREQ(copy, source);
        free(copy);
    }
}

TEST(StrNCpy, CutsAtLimitAndIgnoresEmptyInput) {
    struct Case {
        const char *source;
        u64 limit;
        std::string want;
    };
    const Case cases[] = {
        {"abcdef", 5, "abcde"}, {"abcde", 5, "abcde"},    {"ab", 5, "ab"},
        {"", 5, "previous"},    {nullptr, 5, "previous"}, {"abcdef", 0, "previous"},
    };
    for (const auto &c : cases) {
        char dest[16] = "previous";
        EXPECT_EQ(RsStrNCpy(dest, c.source, c.limit), 0u);
        EXPECT_EQ(std::string(dest), c.want) << (c.source ? c.source : "(null)") << " limit " << c.limit;
    }
    EXPECT_EQ(RsStrNCpy(nullptr, "abc", 3), 0u);
}

TEST(StrSplit, SkipsEmptyTokensAndEndsWithNull) {
    struct Case {
        std::string text;
        const char *delim;
        u64 count;
        std::vector<std::string> want;
    };
    const Case cases[] = {
        {"  url   /a  b ", " ", 4, {"url", "/a", "b"}},
        {"a b c", " ", 3, {"a", "b"}},
        {"a b c", " ", 1, {}},
        {"   ", " ", 4, {}},
        {"", " ", 4, {}},
        {"one", " ", 4, {"one"}},
        {"a,b;c", ",;", 8, {"a", "b", "c"}},
        {"x y z w", " ", 4, {"x", "y", "z"}},
    };
    for (const auto &c : cases) {
        std::string text = c.text;
        std::vector<char *> fields(c.count + 1, reinterpret_cast<char *>(0x1));
        u32 stored = RsStrSplit(text.data(), c.delim, fields.data(), c.count);
        ASSERT_EQ(stored, c.want.size()) << "'" << c.text << "' count " << c.count;
        for (size_t i = 0; i < c.want.size(); ++i)
            EXPECT_EQ(std::string(fields[i]), c.want[i]);
        if (c.count > 0)
            EXPECT_EQ(fields[stored], nullptr) << "'" << c.text << "'";
        else
            EXPECT_EQ(fields[0], reinterpret_cast<char *>(0x1)) << "count 0 must write nothing";
    }
}

TEST(StrTrim, KeepsTheLastCharacterOfAllWhitespace) {
    struct Case {
        std::string text;
        std::string want;
    };
    const Case cases[] = {
        {" a ", "a"},
        {"   ", " "},
        {"a", "a"},
        {"", ""},
        {"\t\r\nab c\v\f", "ab c"},
        {"x\r", "x"},
        {"\xA0z\xA0", "\xA0z\xA0"},
        {"\xC2\x85", "\xC2\x85"},
    };
    for (const auto &c : cases) {
        std::string text = c.text;
        char *start = RsStrTrim(text.data(), text.size());
        EXPECT_GE(start, text.data());
        EXPECT_EQ(std::string(start), c.want) << "'" << c.text << "'";
    }
}

// Reads every piece RsReadLine returns for the given file content.
std::vector<std::string> ReadAll(const std::string &content, int size) {
    FILE *file = tmpfile();
    fwrite(content.data(), 1, content.size(), file);
    rewind(file);
    std::vector<std::string> lines;
    std::vector<char> buf(size);
    while (char *line = RsReadLine(file, buf.data(), size))
        lines.emplace_back(line);
    fclose(file);
    return lines;
}

TEST(ReadLine, CommentsBlankLinesTabsAndLineEnds) {
    struct Case {
        std::string content;
        std::vector<std::string> want;
    };
    const Case cases[] = {
        {" \t \n", {""}},
        {"   # comment\n", {""}},
        {"#\n", {""}},
        {"\turl\t/a\tb\r\n", {"url /a b\r"}},
        {"load x # not a comment\n", {"load x # not a comment"}},
        {"a\nb", {"a", "b"}},
        {"trailing  \n", {"trailing  "}},
        {"\xA0x\n", {"\xA0x"}},
        {"", {}},
    };
    for (const auto &c : cases)
        EXPECT_EQ(ReadAll(c.content, 512), c.want) << "'" << c.content << "'";
}

TEST(ReadLine, LongLineComesBackInPieces) {
    std::string line(600, 'a');
    line[511] = 'b';
    auto pieces = ReadAll(line + "\n", 512);
    ASSERT_EQ(pieces.size(), 2u);
    EXPECT_EQ(pieces[0], std::string(511, 'a'));
    EXPECT_EQ(pieces[1], "b" + std::string(88, 'a'));
}

}  // namespace
