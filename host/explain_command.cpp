// restserver-host --explain METHOD URI: which access rule a request reaches
// and what the auth filter makes of it, decided by the library's own rule
// load, trie search, token verification and evaluator.
#include <cstdio>
#include <fstream>
#include <sstream>

#include "operator_commands.h"
#include "plat_config.h"
#include "restserver_host.h"

namespace host {

namespace {

void ProblemPrint(uint8_t id, const char *text, void *user) {
    (void)id;
    (void)user;
    std::fprintf(stderr, "restserver-host: %s\n", text);
}

void Line(const char *label, const char *text) {
    std::printf("%-11s %s\n", label, text[0] != '\0' ? text : "-");
}

}  // namespace

int ExplainCommand(const HostOptions &options) {
    std::string token;
    if (!options.token_file.empty()) {
        std::ifstream file(options.token_file);
        std::stringstream text;
        text << file.rdbuf();
        if (!file) {
            std::fprintf(stderr, "restserver-host: cannot read the token file %s\n", options.token_file.c_str());
            return 1;
        }
        token = text.str();
    }
    if (PLAT_Init() != PLAT_OK) {
        std::fprintf(stderr, "restserver-host: cannot explain: %s\n", PLAT_LastError());
        return 1;
    }
    RESTSERVER_ProblemSinkSet(ProblemPrint, nullptr);
    RS_ACCESS_EXPLAIN explain{};
    uint32_t result = RESTSERVER_AccessExplain(options.method.c_str(), options.uri.c_str(),
                                               options.roles_given ? options.roles.c_str() : nullptr,
                                               options.domain_given ? options.domain.c_str() : nullptr,
                                               options.token_file.empty() ? nullptr : token.c_str(), &explain);
    RESTSERVER_ProblemSinkSet(nullptr, nullptr);
    if (result != 0) {
        std::fprintf(stderr, "restserver-host: cannot explain: the access rules are not loaded\n");
        return 1;
    }
    Line("key:", explain.acKey);
    Line("trie path:", explain.uiRuleFound != 0 ? explain.acPath : "no rule matches");
    Line("rule:", explain.acRule);
    Line("expression:", explain.acExpression);
    Line("caller:", explain.acCaller);
    Line("terms:", explain.acTerms);
    Line("verdict:", explain.acReason);
    std::fflush(stdout);
    return explain.uiGranted != 0 ? 0 : 1;
}

}  // namespace host
