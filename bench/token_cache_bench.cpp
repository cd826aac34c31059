// Token cache costs with real tokens signed by a test PKI: a miss (one
// verification by the openssl tool), a hit on 8 threads with 1,000 cached
// 3,000-character tokens, and hits on 4 threads while 8 others present
// garbage tokens as fast as they can, against the same hits without the
// garbage, alternated over rounds (the median ratio is reported). Hit costs
// are CPU time of the hitting threads.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "auth/restserver_auth_token.h"
#include "tests/support/test_pki.h"

namespace {

constexpr int kCached = 1000;
constexpr int kMisses = 20;
constexpr size_t kTokenChars = 3000;
constexpr int kQuietHitters = 4;
constexpr int kGarbageThreads = 8;
constexpr int kRounds = 7;
constexpr int kHitsPerRound = 200000;

std::vector<std::string> g_cached, g_fresh;

std::string Content(int n, size_t pad) {
    return R"({"token": {"expires_at": "2999-01-01T00:00:00Z", "user": {"id": "u)" + std::to_string(n) +
           R"("}}, "roles": ["op_admin"], "pad": ")" + std::string(pad, 'p') + "\"}";
}

// A deployment-like folder whose bin/ is the working directory, its
// certificates, 1,000 tokens verified into the cache and 20 more kept fresh.
void Prepare() {
    char root[] = "/tmp/rs-token-bench-XXXXXX";
    if (mkdtemp(root) == nullptr) abort();
    std::filesystem::create_directories(std::string(root) + "/bin");
    std::filesystem::current_path(std::string(root) + "/bin");
    rstest::TestPki pki(std::string(root) + "/pki");
    std::filesystem::create_directories("../data/vog_cert");
    std::ofstream("../data/vog_cert/caCert.pem") << pki.Pem("ca");
    std::ofstream("../data/vog_cert/signCert.pem") << pki.Pem("sign");
    size_t bare = pki.Token(Content(0, 0)).size();
    size_t pad = bare < kTokenChars ? (kTokenChars - bare) * 3 / 4 : 0;
    for (int i = 0; i < kCached + kMisses; ++i)
        (i < kCached ? g_cached : g_fresh).push_back(pki.Token(Content(i, pad)));
    for (const std::string &token : g_cached)
        if (RsLoadDecryptedToken(token.c_str()) == nullptr) abort();
}

double ThreadCpuNs() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

void BM_TokenHit(benchmark::State &state) {
    size_t next = static_cast<size_t>(state.thread_index()) * 125;
    double start = ThreadCpuNs();
    for (auto _ : state)
        benchmark::DoNotOptimize(RsLoadDecryptedToken(g_cached[next++ % kCached].c_str()));
    state.counters["cpu_ns_per_hit"] = benchmark::Counter(
        (ThreadCpuNs() - start) / static_cast<double>(state.iterations()), benchmark::Counter::kAvgThreads);
    state.counters["token_chars"] =
        benchmark::Counter(static_cast<double>(g_cached[0].size()), benchmark::Counter::kAvgThreads);
}
BENCHMARK(BM_TokenHit)->Threads(8);

// CPU per hit of kQuietHitters threads, each making kHitsPerRound hits.
double HitRoundCpuNs() {
    std::atomic<double> total{0};
    std::vector<std::thread> hitters;
    for (int t = 0; t < kQuietHitters; ++t)
        hitters.emplace_back([&total, t] {
            double start = ThreadCpuNs();
            for (int i = 0; i < kHitsPerRound; ++i)
                benchmark::DoNotOptimize(RsLoadDecryptedToken(g_cached[(t * 250 + i) % kCached].c_str()));
            total += ThreadCpuNs() - start;
        });
    for (std::thread &hitter : hitters)
        hitter.join();
    return total / (kQuietHitters * static_cast<double>(kHitsPerRound));
}

void BM_HitsUnderGarbage(benchmark::State &state) {
    std::vector<double> quiet, noisy, ratios;
    std::atomic<long> garbageCalls{0};
    for (auto _ : state) {
        for (int round = 0; round < kRounds; ++round) {
            quiet.push_back(HitRoundCpuNs());
            std::atomic<bool> stop{false};
            std::vector<std::thread> garbage;
            for (int g = 0; g < kGarbageThreads; ++g)
                garbage.emplace_back([&, g] {
                    static const char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+-";
                    std::mt19937 random(static_cast<unsigned>(round * 100 + g));
                    std::string token(kTokenChars, 'A');
                    while (!stop.load()) {
                        for (char &c : token)
                            c = kAlphabet[random() % 64];
                        benchmark::DoNotOptimize(RsLoadDecryptedToken(token.c_str()));
                        ++garbageCalls;
                    }
                });
            std::this_thread::sleep_for(std::chrono::milliseconds(50));  // the verifier is busy by now
            noisy.push_back(HitRoundCpuNs());
            stop = true;
            for (std::thread &thread : garbage)
                thread.join();
            ratios.push_back(noisy.back() / quiet.back());
        }
    }
    auto median = [](std::vector<double> values) {
        std::sort(values.begin(), values.end());
        return values[values.size() / 2];
    };
    state.counters["quiet_cpu_ns_per_hit"] = median(quiet);
    state.counters["garbage_cpu_ns_per_hit"] = median(noisy);
    state.counters["median_ratio"] = median(ratios);
    state.counters["garbage_requests"] = static_cast<double>(garbageCalls.load());
}
BENCHMARK(BM_HitsUnderGarbage)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

// Last: each miss adds an entry, and the hits above need their 1,000 in place.
void BM_TokenMiss(benchmark::State &state) {
    size_t next = 0;
    for (auto _ : state)
        if (RsLoadDecryptedToken(g_fresh[next++].c_str()) == nullptr) state.SkipWithError("verification failed");
}
BENCHMARK(BM_TokenMiss)->Iterations(kMisses)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    Prepare();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
