#include "auth_test_util.h"

#include <string.h>

namespace authtest {

Caller::Caller(std::vector<std::string> roles, const std::string &domainName) : roleTexts(std::move(roles)) {
    for (auto &role : roleTexts)
        rolePtrs.push_back(role.data());
    item.roles = rolePtrs.empty() ? nullptr : rolePtrs.data();
    item.roleCount = static_cast<u32>(rolePtrs.size());
    strncpy(item.userDomainName, domainName.c_str(), sizeof(item.userDomainName) - 1);
}

std::string TokenTexts(const RsExprToken *pstList) {
    std::string out;
    for (const RsExprToken *pstTok = pstList; pstTok != nullptr; pstTok = pstTok->next) {
        if (!out.empty()) out += ' ';
        out += pstTok->text;
    }
    return out;
}

std::string TreeText(const RsExprNode *pstNode) {
    if (pstNode == nullptr) return "-";
    switch (pstNode->kind) {
        case RS_TOKEN_AND:
        case RS_TOKEN_OR:
            if (pstNode->left == nullptr && pstNode->right == nullptr) break;  // an operator standing as a leaf
            return std::string(pstNode->kind == RS_TOKEN_AND ? "and(" : "or(") + TreeText(pstNode->left) + "," +
                   TreeText(pstNode->right) + ")";
        case RS_TOKEN_NOT:
            return "not(" + TreeText(pstNode->left) + ")";
        default:
            break;
    }
    return pstNode->text;
}

void AddRule(const std::string &rule) {
    std::vector<char> buf(rule.begin(), rule.end());
    buf.push_back('\0');
    AddItemToAuthConfigTrie(buf.data());
}

}  // namespace authtest
