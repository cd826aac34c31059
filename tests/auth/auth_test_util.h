// Shared helpers of the auth tests: a token record with given roles, and
// readable renderings of token lists and expression trees.
#pragma once

#include <string>
#include <vector>

#include "auth/restserver_auth_lock.h"
#include "auth/restserver_auth_rules.h"

namespace authtest {

// Owns the role strings the record points at.
struct Caller {
    std::vector<std::string> roleTexts;
    std::vector<char *> rolePtrs;
    RsTokenItem item{};

    explicit Caller(std::vector<std::string> roles, const std::string &domainName = "");
};

// Token texts separated by single blanks.
std::string TokenTexts(const RsExprToken *pstList);
// and(l,r), or(l,r), not(x), leaves by their text, "-" for a missing operand.
std::string TreeText(const RsExprNode *pstNode);

// Inserts one rule text into the trie (the trie splits its own copy).
void AddRule(const std::string &rule);

}  // namespace authtest
