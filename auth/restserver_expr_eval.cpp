// Decides an expression tree against a caller's token record. Runs on every
// checked request: it only reads, allocates nothing and takes no lock.
#include "auth/restserver_auth_expr.h"
#include "plat_os.h"

namespace {

// The whole term text, "role:" included, must occur inside one of the role strings.
u32 HasRole(const char *pcTerm, const RsTokenItem *pstItem) {
    for (u32 uiIdx = 0; uiIdx < pstItem->roleCount; ++uiIdx) {
        const char *pcRole = pstItem->roles[uiIdx];
        if (pcRole != nullptr && VOS_StrStr(pcRole, pcTerm) != nullptr) return 1;
    }
    return 0;
}

}  // namespace

// Both operands of and/or are always evaluated; permission, service and stray
// bracket leaves are not checked here and count as true.
extern "C" RS_API u32 ExpressionParse(const RsExprNode *pstNode, const RsTokenItem *pstItem) {
    if (pstNode == nullptr || pstItem == nullptr) return 1;
    switch (pstNode->kind) {
        case RS_TOKEN_OR: {
            u32 uiLeft = ExpressionParse(pstNode->left, pstItem);
            u32 uiRight = ExpressionParse(pstNode->right, pstItem);
            return (uiLeft != 0 || uiRight != 0) ? 1 : 0;
        }
        case RS_TOKEN_AND: {
            u32 uiLeft = ExpressionParse(pstNode->left, pstItem);
            u32 uiRight = ExpressionParse(pstNode->right, pstItem);
            return (uiLeft != 0 && uiRight != 0) ? 1 : 0;
        }
        case RS_TOKEN_NOT:
            return ExpressionParse(pstNode->left, pstItem) == 0 ? 1 : 0;
        case RS_TOKEN_ROLE:
            return pstItem->roles == nullptr ? 0 : HasRole(pstNode->text, pstItem);
        case RS_TOKEN_DOMAIN:
            return VOS_StrStr(pstItem->userDomainName, pstNode->text) != nullptr ? 1 : 0;
        default:
            return 1;
    }
}
