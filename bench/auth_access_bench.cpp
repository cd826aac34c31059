// Per-request cost of the access check against 1,000 rules: the trie search
// for a 6-segment key, the whole check (lock, search, verdict), and the
// verdict alone for a caller with 10 roles. Each reports the heap
// allocations it made per request.
#include <benchmark/benchmark.h>
#include <stddef.h>

#include <atomic>
#include <string>
#include <vector>

#include "auth/restserver_auth_lock.h"
#include "auth/restserver_auth_rules.h"
#include "plat_log.h"

// Every allocation in the process passes through here and is counted.
extern "C" {
void *__libc_malloc(size_t);
void *__libc_calloc(size_t, size_t);
void *__libc_realloc(void *, size_t);
void __libc_free(void *);
}

namespace {

std::atomic<u64> g_allocations{0};

}  // namespace

extern "C" void *malloc(size_t size) {
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_malloc(size);
}
extern "C" void *calloc(size_t count, size_t size) {
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_calloc(count, size);
}
extern "C" void *realloc(void *ptr, size_t size) {
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_realloc(ptr, size);
}
extern "C" void free(void *ptr) {
    __libc_free(ptr);
}

namespace {

constexpr int kServices = 100;
constexpr int kResources = 10;
const char *const kKey = "GETrest/svc42/v1/res7/123/detail";  // 6 segments
const char *const kExpression = "role:op_regular | role:op_admin";

// 1,000 rules: 100 services x 10 resources, each with a placeholder level.
void LoadRules() {
    static bool s_bLoaded = false;
    if (s_bLoaded) return;
    s_bLoaded = true;
    g_stLogCfgs.uiEnable = 0;
    (void)RsAuthTokenInfosInit();
    for (int svc = 0; svc < kServices; ++svc) {
        for (int res = 0; res < kResources; ++res) {
            std::string rule =
                "GETrest/svc" + std::to_string(svc) + "/v1/res" + std::to_string(res) + "/{id}/detail/" + kExpression;
            AddItemToAuthConfigTrie(rule.data());
        }
    }
}

// Ten roles, the granting one last, so the verdict scans them all.
struct TenRoleCaller {
    std::vector<std::string> texts;
    std::vector<char *> ptrs;
    RsTokenItem item{};
    TenRoleCaller() {
        for (int i = 0; i < 9; ++i)
            texts.push_back("role:tenant_reader_" + std::to_string(i));
        texts.push_back("role:op_admin");
        for (auto &text : texts)
            ptrs.push_back(text.data());
        item.roles = ptrs.data();
        item.roleCount = static_cast<u32>(ptrs.size());
    }
};

void ReportAllocations(benchmark::State &state, u64 before) {
    state.counters["allocs_per_req"] = benchmark::Counter(static_cast<double>(g_allocations.load() - before) /
                                                          static_cast<double>(state.iterations()));
}

void BM_TrieSearch6Segments(benchmark::State &state) {
    LoadRules();
    u64 before = g_allocations.load();
    for (auto _ : state)
        benchmark::DoNotOptimize(SearchAuthConfigTrieNode(kKey));
    ReportAllocations(state, before);
}
BENCHMARK(BM_TrieSearch6Segments);

void BM_AccessCheck(benchmark::State &state) {
    LoadRules();
    TenRoleCaller caller;
    if (RsAuthAccessCheck(kKey, &caller.item) != 0) state.SkipWithError("the rule does not grant");
    u64 before = g_allocations.load();
    for (auto _ : state)
        benchmark::DoNotOptimize(RsAuthAccessCheck(kKey, &caller.item));
    ReportAllocations(state, before);
}
BENCHMARK(BM_AccessCheck);

void BM_ExpressionVerdict10Roles(benchmark::State &state) {
    LoadRules();
    TenRoleCaller caller;
    const RsExprNode *tree = SearchAuthExpression(kKey);
    u64 before = g_allocations.load();
    for (auto _ : state)
        benchmark::DoNotOptimize(ExpressionParse(tree, &caller.item));
    ReportAllocations(state, before);
}
BENCHMARK(BM_ExpressionVerdict10Roles);

}  // namespace

BENCHMARK_MAIN();
