// The token cache: one record per distinct token text, so the openssl tool
// runs once per token rather than once per request.
//
// Layout: a singly linked list after the head node g_pTokenCacheMap, oldest
// first, and beside it a hash index from token text to node for O(1)
// lookups. A writer-preferring reader-writer lock guards both: lookups read,
// appends and evictions write. Verification runs outside the lock, so a
// lookup never waits for one.
//
// Misses: concurrent requests with the same new token share one verification
// (single flight); the others wait for it and then look again. At most
// RS_TOKEN_VERIFY_MAX_WAITING distinct tokens are verified or queued at once;
// a request beyond that gets no record, so a flood of unknown tokens delays
// only other new tokens, never cached ones.
//
// Lifetime: each thread publishes the record it got last in a hold slot
// (set under the lock). Eviction unlinks nodes at once but releases a node's
// record only when no slot holds it; held ones wait in a retired chain and
// are looked at again at the next eviction.
//
// Repeat callers: each thread also remembers the entry it found last, with
// the number of evictions so far. A caller on a kept-alive connection sends
// the same token on every request, and while no eviction has happened that
// entry is still cached: the thread publishes its hold, sees the count
// unchanged and compares the text, without the lock or the hash. An eviction
// counts itself before it reads the hold slots, so either it sees the hold or
// the thread sees the new count and looks the token up as before.
#include <pthread.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <vector>

#include "auth/restserver_auth_cert.h"
#include "auth/restserver_auth_token.h"
#include "core/restserver_log.h"
#include "core/restserver_metrics.h"
#include "plat_kernel.h"
#include "plat_text.h"

RS_API RsTokenCacheNode *g_pTokenCacheMap = nullptr;

namespace {

// Written by its own thread only; read by eviction under the cache's write lock.
struct alignas(64) HoldSlot {
    std::atomic<const RsTokenItem *> pstHeld{nullptr};
};

struct Holders {
    std::mutex mutex;
    std::vector<HoldSlot *> slots;
};

// A signed token ends with its signature, which differs from token to token:
// hashing the length and the last 256 characters finds a token of thousands
// of characters at a fraction of the cost of hashing it whole. Only verified
// tokens are indexed, so no caller can fill a bucket with look-alikes.
struct TokenTailHash {
    size_t operator()(std::string_view token) const {
        constexpr size_t kTail = 256;
        std::string_view tail = token.size() > kTail ? token.substr(token.size() - kTail) : token;
        return std::hash<std::string_view>{}(tail) ^ (token.size() * 0x9E3779B97F4A7C15ull);
    }
};

struct Cache {
    pthread_rwlock_t stLock;
    std::unordered_map<std::string_view, RsTokenCacheNode *, TokenTailHash> index;  // views of each node's token
    RsTokenCacheNode *pstTail = nullptr;                                            // newest entry; the head when empty
    RsTokenCacheNode *pstRetired = nullptr;  // evicted, still held, chained by next
    u32 uiCount = 0;
    std::atomic<u64> ulEvictions{0};  // changed under the write lock only

    Cache() {
        pthread_rwlockattr_t stAttr;
        (void)pthread_rwlockattr_init(&stAttr);
        (void)pthread_rwlockattr_setkind_np(&stAttr, PTHREAD_RWLOCK_PREFER_WRITER_NONRECURSIVE_NP);
        (void)pthread_rwlock_init(&stLock, &stAttr);
        (void)pthread_rwlockattr_destroy(&stAttr);
    }
};

struct Flight {
    bool bDone = false;
    std::condition_variable cv;
};

struct Flights {
    std::mutex mutex;
    std::unordered_map<std::string, std::shared_ptr<Flight>> map;
};

// Process-long and never destroyed: request threads may still use them while the process exits.
Cache &CacheGet() {
    static Cache *pstCache = new Cache;
    return *pstCache;
}

Holders &HoldersGet() {
    static Holders *pstHolders = new Holders;
    return *pstHolders;
}

Flights &FlightsGet() {
    static Flights *pstFlights = new Flights;
    return *pstFlights;
}

struct ThreadHold {
    HoldSlot *pstSlot = nullptr;
    ~ThreadHold() {
        if (pstSlot == nullptr) return;
        Holders &stHolders = HoldersGet();
        std::lock_guard<std::mutex> stGuard(stHolders.mutex);
        std::erase(stHolders.slots, pstSlot);
        delete pstSlot;
    }
};

thread_local ThreadHold t_stHold;

// The entry this thread found last in the index, and the eviction count then.
struct LastFound {
    const RsTokenCacheNode *pstNode = nullptr;
    RsTokenItem *pstItem = nullptr;
    u64 ulEvictions = 0;
};

thread_local LastFound t_stLast;

HoldSlot &SlotGet() {
    if (t_stHold.pstSlot == nullptr) {
        auto stSlot = std::make_unique<HoldSlot>();
        Holders &stHolders = HoldersGet();
        std::lock_guard<std::mutex> stGuard(stHolders.mutex);
        stHolders.slots.push_back(stSlot.get());
        t_stHold.pstSlot = stSlot.release();
    }
    return *t_stHold.pstSlot;
}

class CacheLock {
public:
    CacheLock(Cache &stCache, bool bWrite) : stCache_(stCache) {
        if (bWrite)
            (void)pthread_rwlock_wrlock(&stCache_.stLock);
        else
            (void)pthread_rwlock_rdlock(&stCache_.stLock);
    }
    ~CacheLock() { (void)pthread_rwlock_unlock(&stCache_.stLock); }
    CacheLock(const CacheLock &) = delete;
    CacheLock &operator=(const CacheLock &) = delete;

private:
    Cache &stCache_;
};

void ItemFree(RsTokenItem *pstItem) {
    if (pstItem == nullptr) return;
    for (u32 i = 0; i < pstItem->roleCount; ++i)
        free(pstItem->roles[i]);
    free(pstItem->roles);
    free(pstItem);
}

void NodesFree(RsTokenCacheNode *pstNode) {
    while (pstNode != nullptr) {
        RsTokenCacheNode *pstNext = pstNode->next;
        free(pstNode->token);
        ItemFree(pstNode->item);
        free(pstNode);
        pstNode = pstNext;
    }
}

bool HeadEnsure() {
    if (__atomic_load_n(&g_pTokenCacheMap, __ATOMIC_ACQUIRE) != nullptr) return true;
    Cache &stCache = CacheGet();
    CacheLock stLock(stCache, true);
    if (g_pTokenCacheMap != nullptr) return true;
    auto *pstHead = static_cast<RsTokenCacheNode *>(calloc(1, sizeof(RsTokenCacheNode)));
    if (pstHead == nullptr) return false;
    stCache.pstTail = pstHead;
    __atomic_store_n(&g_pTokenCacheMap, pstHead, __ATOMIC_RELEASE);
    return true;
}

// A hit becomes the thread's held record while the lock still keeps eviction out.
RsTokenItem *Find(std::string_view token, HoldSlot &stSlot, u32 *puiCount) {
    Cache &stCache = CacheGet();
    CacheLock stLock(stCache, false);
    if (puiCount != nullptr) *puiCount = stCache.uiCount;
    auto it = stCache.index.find(token);
    if (it == stCache.index.end()) return nullptr;
    stSlot.pstHeld.store(it->second->item, std::memory_order_relaxed);
    t_stLast = {it->second, it->second->item, stCache.ulEvictions.load(std::memory_order_relaxed)};
    return it->second->item;
}

// The entry found last, when no eviction has happened since and the token is
// its text. The hold is published before the node is read: from then on an
// eviction either sees it or has already changed the count.
RsTokenItem *FindLast(const char *pcToken, HoldSlot &stSlot) {
    const LastFound &stLast = t_stLast;
    std::atomic<u64> &ulEvictions = CacheGet().ulEvictions;
    if (stLast.pstNode == nullptr || ulEvictions.load(std::memory_order_relaxed) != stLast.ulEvictions) return nullptr;
    stSlot.pstHeld.store(stLast.pstItem, std::memory_order_seq_cst);
    if (ulEvictions.load(std::memory_order_seq_cst) == stLast.ulEvictions &&
        strcmp(stLast.pstNode->token, pcToken) == 0)
        return stLast.pstItem;
    stSlot.pstHeld.store(nullptr, std::memory_order_release);  // after the comparison read the node
    return nullptr;
}

bool Held(const RsTokenItem *pstItem, const std::vector<HoldSlot *> &slots) {
    for (const HoldSlot *pstSlot : slots) {
        if (pstSlot->pstHeld.load(std::memory_order_seq_cst) == pstItem) return true;
    }
    return false;
}

// Under the write lock: unlinks the 64 oldest into the retired chain, then
// returns the retired nodes no thread holds, for release after the lock.
RsTokenCacheNode *EvictLocked(Cache &stCache) {
    RsTokenCacheNode *pstHead = g_pTokenCacheMap;
    if (pstHead == nullptr || pstHead->next == nullptr) return nullptr;
    // Counted before the hold slots are read; see FindLast.
    stCache.ulEvictions.fetch_add(1, std::memory_order_seq_cst);
    for (u32 i = 0; i < RS_TOKEN_CACHE_EVICT && pstHead->next != nullptr; ++i) {
        RsTokenCacheNode *pstOld = pstHead->next;
        pstHead->next = pstOld->next;
        stCache.index.erase(std::string_view(pstOld->token));
        RsMetricAdd(RS_METRIC_TOKEN_CACHE_EVICTION, 1);
        pstOld->next = stCache.pstRetired;
        stCache.pstRetired = pstOld;
        --stCache.uiCount;
    }
    if (pstHead->next == nullptr) stCache.pstTail = pstHead;

    Holders &stHolders = HoldersGet();
    std::lock_guard<std::mutex> stGuard(stHolders.mutex);
    RsTokenCacheNode *pstFree = nullptr;
    for (RsTokenCacheNode **ppstLink = &stCache.pstRetired; *ppstLink != nullptr;) {
        RsTokenCacheNode *pstNode = *ppstLink;
        if (Held(pstNode->item, stHolders.slots)) {
            ppstLink = &pstNode->next;
            continue;
        }
        *ppstLink = pstNode->next;
        pstNode->next = pstFree;
        pstFree = pstNode;
    }
    return pstFree;
}

// Links a verified node as the newest entry, evicting first when full. A
// node for a token that landed meanwhile is released and the entry kept.
RsTokenItem *Append(RsTokenCacheNode *pstNode, HoldSlot &stSlot) {
    Cache &stCache = CacheGet();
    RsTokenCacheNode *pstFree = nullptr;
    RsTokenItem *pstItem = nullptr;
    u32 uiFullCount = 0;
    {
        CacheLock stLock(stCache, true);
        auto [it, bInserted] = stCache.index.try_emplace(std::string_view(pstNode->token), pstNode);
        if (bInserted) {
            if (stCache.uiCount >= RS_TOKEN_CACHE_MAX) {
                uiFullCount = stCache.uiCount;
                pstFree = EvictLocked(stCache);
            }
            stCache.pstTail->next = pstNode;
            stCache.pstTail = pstNode;
            ++stCache.uiCount;
        } else {
            pstFree = pstNode;
        }
        pstItem = it->second->item;
        stSlot.pstHeld.store(pstItem, std::memory_order_relaxed);
    }
    if (uiFullCount != 0) RS_LOG(RS_LOG_WARN, "uiTokenCacheMapCount exceed %d !", uiFullCount);
    NodesFree(pstFree);
    return pstItem;
}

RsTokenItem *ItemMake(const CFJSON *pstContent) {
    auto *pstItem = static_cast<RsTokenItem *>(calloc(1, sizeof(RsTokenItem)));
    if (pstItem == nullptr) return nullptr;
    GetTokenJsonItemByPath(pstContent, "token/expires_at", pstItem->expiresAt, RS_TOKEN_FIELD_SIZE);
    GetTokenJsonItemByPath(pstContent, "token/user/domain/id", pstItem->userDomainId, RS_TOKEN_FIELD_SIZE);
    GetTokenJsonItemByPath(pstContent, "token/user/id", pstItem->userId, RS_TOKEN_FIELD_SIZE);
    GetTokenJsonItemByPath(pstContent, "token/user/name", pstItem->userName, RS_TOKEN_FIELD_SIZE);
    GetTokenJsonItemByPath(pstContent, "token/user/domain/name", pstItem->userDomainName, RS_TOKEN_FIELD_SIZE);
    GetTokenJsonItemByPath(pstContent, "token/project/id", pstItem->projectId, RS_TOKEN_FIELD_SIZE);
    RsTokenItemProc(pstContent, pstItem);
    return pstItem;
}

// Verifications run one at a time on a thread of their own at a low
// priority, which the openssl tool it starts inherits: a flood of unknown
// tokens then takes the processor last, after the requests of known callers.
class Verifier {
public:
    CFJSON *Verify(const char *pcToken) {
        std::unique_lock<std::mutex> stGuard(mutex_);
        if (!started_) {
            std::thread([this] { Run(); }).detach();
            started_ = true;
        }
        Job stJob{pcToken};
        jobs_.push_back(&stJob);
        wake_.notify_all();
        wake_.wait(stGuard, [&] { return stJob.bDone; });
        return stJob.pstContent;
    }

private:
    struct Job {
        const char *pcToken;
        CFJSON *pstContent = nullptr;
        bool bDone = false;
    };

    void Run() {
        constexpr int kNice = 10;
        (void)setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), kNice);
        std::unique_lock<std::mutex> stGuard(mutex_);
        for (;;) {
            wake_.wait(stGuard, [this] { return !jobs_.empty(); });
            Job *pstJob = jobs_.front();
            jobs_.pop_front();
            stGuard.unlock();
            CFJSON *pstContent = GetTokenJsonObject(pstJob->pcToken);
            stGuard.lock();
            pstJob->pstContent = pstContent;
            pstJob->bDone = true;
            wake_.notify_all();
        }
    }

    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<Job *> jobs_;
    bool started_ = false;
};

Verifier &VerifierGet() {
    static Verifier *pstVerifier = new Verifier;  // process-long, like its thread
    return *pstVerifier;
}

// Verifies a new token and caches its record; nothing is cached when the verification fails.
RsTokenItem *VerifyAndAppend(const char *pcToken, HoldSlot &stSlot) {
    CFJSON *pstContent = VerifierGet().Verify(pcToken);
    if (pstContent == nullptr) {
        RS_LOG(RS_LOG_ERROR, "get token json obj fail.");
        return nullptr;
    }
    RsTokenItem *pstItem = ItemMake(pstContent);
    CFJSON_Delete(pstContent);
    if (pstItem == nullptr) return nullptr;
    auto *pstNode = static_cast<RsTokenCacheNode *>(calloc(1, sizeof(RsTokenCacheNode)));
    if (pstNode == nullptr) {
        RS_LOG(RS_LOG_ERROR, "Token cache map alloc fail.");
        ItemFree(pstItem);
        return nullptr;
    }
    pstNode->item = pstItem;
    size_t ulSize = strlen(pcToken) + 1;
    pstNode->token = static_cast<char *>(malloc(ulSize));
    if (pstNode->token == nullptr) {
        RS_LOG(RS_LOG_ERROR, "pNewAuthToken malloc failed !");
        NodesFree(pstNode);
        return nullptr;
    }
    (void)memcpy_s(pstNode->token, ulSize, pcToken, ulSize);
    try {
        return Append(pstNode, stSlot);
    } catch (...) {  // no memory for the index entry
        NodesFree(pstNode);
        return nullptr;
    }
}

// The first request with a new token verifies it; later ones with the same
// token wait for that verification and then look again.
RsTokenItem *LoadMissing(const char *pcToken, HoldSlot &stSlot) {
    Flights &stFlights = FlightsGet();
    std::string stKey(pcToken);
    std::unique_lock<std::mutex> stGuard(stFlights.mutex);
    if (auto it = stFlights.map.find(stKey); it != stFlights.map.end()) {
        std::shared_ptr<Flight> pstFlight = it->second;
        REST_EntryBlocking();
        pstFlight->cv.wait(stGuard, [&] { return pstFlight->bDone; });
        stGuard.unlock();
        return Find(stKey, stSlot, nullptr);
    }
    if (RsTokenItem *pstItem = Find(stKey, stSlot, nullptr); pstItem != nullptr) return pstItem;
    if (stFlights.map.size() >= RS_TOKEN_VERIFY_MAX_WAITING) {
        stGuard.unlock();
        RS_LOG(RS_LOG_ERROR, "Token refused: %u token verifications waiting.", RS_TOKEN_VERIFY_MAX_WAITING);
        return nullptr;
    }
    auto pstFlight = std::make_shared<Flight>();
    stFlights.map.emplace(stKey, pstFlight);
    stGuard.unlock();
    REST_EntryBlocking();  // the openssl tool runs, or another verification is waited for
    RsTokenItem *pstItem = VerifyAndAppend(pcToken, stSlot);
    stGuard.lock();
    stFlights.map.erase(stKey);
    pstFlight->bDone = true;
    stGuard.unlock();
    pstFlight->cv.notify_all();
    return pstItem;
}

}  // namespace

extern "C" RS_API RsTokenItem *RsLoadDecryptedToken(const char *pcToken) {
    if (pcToken == nullptr) {
        RS_LOG(RS_LOG_ERROR, "Token is null.");
        return nullptr;
    }
    if (!HeadEnsure()) {
        RS_LOG(RS_LOG_ERROR, "g_pTokenCacheMap malloc failed !");
        return nullptr;
    }
    try {
        HoldSlot &stSlot = SlotGet();
        RsTokenItem *pstItem = FindLast(pcToken, stSlot);
        u32 uiCount = 0;
        if (pstItem == nullptr) pstItem = Find(pcToken, stSlot, &uiCount);
        RsMetricAdd(pstItem != nullptr ? RS_METRIC_TOKEN_CACHE_HIT : RS_METRIC_TOKEN_CACHE_MISS, 1);
        if (pstItem != nullptr) return pstItem;
        stSlot.pstHeld.store(nullptr, std::memory_order_relaxed);
        RS_LOG(RS_LOG_WARN, "===uiTokenCacheMapCount %d !", uiCount);
        return LoadMissing(pcToken, stSlot);
    } catch (...) {  // no memory for the hold slot or the flight
        return nullptr;
    }
}

extern "C" RS_API void RsTokenItemRelease(void) {
    // Release: the holder's reads of the record come before an eviction that sees the slot empty.
    if (t_stHold.pstSlot != nullptr) t_stHold.pstSlot->pstHeld.store(nullptr, std::memory_order_release);
}

extern "C" RS_API void RsTokenCacheMapOverrunProc(void) {
    Cache &stCache = CacheGet();
    RsTokenCacheNode *pstFree = nullptr;
    {
        CacheLock stLock(stCache, true);
        pstFree = EvictLocked(stCache);
    }
    NodesFree(pstFree);
}
