// DMS messages: heap blocks with a hidden header in front of the caller's
// bytes. The magic lets DMS_MsgFree refuse a pointer it never handed out
// instead of corrupting the heap.
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <shared_mutex>

#include "plat_msg.h"

namespace {

constexpr u32 kMsgMagic = 0xD35A6E01u;

// 16 bytes keep the caller's bytes aligned like malloc's.
struct alignas(16) MsgHeader {
    u32 magic;
    u32 owner;
    u32 length;
    u32 reserved;
};

struct FreeHook {
    std::shared_mutex mutex;
    PLAT_MSG_FREE_HOOK hook = nullptr;
    void *user = nullptr;
};

FreeHook &Hook() {
    static FreeHook *state = new FreeHook;  // never destroyed: messages may be freed during exit
    return *state;
}

MsgHeader *HeaderOf(const void *msg) {
    return reinterpret_cast<MsgHeader *>(const_cast<char *>(static_cast<const char *>(msg)) - sizeof(MsgHeader));
}

// Held shared while the hook runs, so clearing it waits for running calls.
void CallHook(u32 owner, void *msg) {
    FreeHook &state = Hook();
    std::shared_lock<std::shared_mutex> lock(state.mutex);
    if (state.hook != nullptr) state.hook(owner, msg, state.user);
}

}  // namespace

extern "C" PLAT_API void *DMS_MsgAlloc(u32 uiOwner, u32 uiLength) {
    auto *header = static_cast<MsgHeader *>(calloc(1, sizeof(MsgHeader) + uiLength));
    if (header == nullptr) return nullptr;
    header->magic = kMsgMagic;
    header->owner = uiOwner;
    header->length = uiLength;
    return header + 1;
}

// The hook sees every call, refused ones included, before the block goes.
extern "C" PLAT_API u32 DMS_MsgFree(u32 uiOwner, void *pMsg) {
    CallHook(uiOwner, pMsg);
    if (pMsg == nullptr) return PLAT_ERR;
    MsgHeader *header = HeaderOf(pMsg);
    if (header->magic != kMsgMagic) return PLAT_ERR;
    header->magic = 0;  // a second free of the same block is refused while the memory is unreused
    free(header);
    return PLAT_OK;
}

extern "C" PLAT_API u32 DMS_MsgLengthGet(const void *pMsg) {
    if (pMsg == nullptr) return 0;
    const MsgHeader *header = HeaderOf(pMsg);
    return header->magic == kMsgMagic ? header->length : 0;
}

extern "C" PLAT_API void PLAT_MsgFreeHookSet(PLAT_MSG_FREE_HOOK pfnHook, void *pUser) {
    FreeHook &state = Hook();
    std::unique_lock<std::shared_mutex> lock(state.mutex);
    state.hook = pfnHook;
    state.user = pUser;
}
