// restserver-host --check: a start without the listening. The platform
// configuration, one instance's bring-up (rules, service files) and its
// parse, load and register phases run through the library's own start-up,
// whose problems arrive through the problem sink; the token certificates,
// which a start leaves to the first request, are judged as verification
// would judge them.
#include <cstdio>

#include "auth_readiness.h"
#include "operator_commands.h"
#include "plat_config.h"
#include "restserver_host.h"

namespace host {

namespace {

void ProblemCount(uint8_t id, const char *text, void *user) {
    (void)id;
    ++*static_cast<unsigned *>(user);
    std::printf("%s\n", text);
}

int Verdict(unsigned problems) {
    if (problems == 0) {
        std::printf("configuration ok\n");
    } else {
        std::printf("%u problem%s\n", problems, problems == 1 ? "" : "s");
    }
    return problems == 0 ? 0 : 1;
}

}  // namespace

int CheckCommand() {
    unsigned problems = 0;
    if (PLAT_Init() != PLAT_OK) {
        std::printf("%s\n", PLAT_LastError());
        return Verdict(1);
    }
    if (RESTSERVER_GlobalInit() != 0) {
        std::printf("the library could not be initialised\n");
        return Verdict(1);
    }
    RESTSERVER_ProblemSinkSet(ProblemCount, &problems);
    for (const std::string &problem : AuthReadinessProblems())
        ProblemCount(RS_INST_ID_NONE, problem.c_str(), &problems);
    RS_INSTANCE *instance = nullptr;
    uint8_t id = RS_INST_ID_NONE;
    if (RESTSERVER_InstMake(&instance, &id) != 0 || instance == nullptr) {
        ProblemCount(RS_INST_ID_NONE, "no instance can be made (out of memory or slots)", &problems);
    } else {
        unsigned before = problems;
        if (RESTSERVER_InstCheck(instance) != 0 && problems == before)
            ProblemCount(id, "the instance would fail to start (see the log)", &problems);
        RESTSERVER_InstDestroy(instance);
    }
    RESTSERVER_ProblemSinkSet(nullptr, nullptr);
    RESTSERVER_GlobalUnInit();
    std::fflush(stdout);
    return Verdict(problems);
}

}  // namespace host
