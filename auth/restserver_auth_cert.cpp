// The certificate files a token is verified against: fetched from the
// security service when one is missing, at most once in five minutes, and
// written whole under the authentication mutex.
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <atomic>

#include "auth/restserver_auth_cert.h"
#include "auth/restserver_auth_lock.h"
#include "core/restserver_end_point.h"
#include "core/restserver_log.h"
#include "core/restserver_tick.h"
#include "plat_client.h"
#include "plat_config.h"
#include "plat_text.h"

RS_API VOS_CPU_TICK_S g_AuthCertLoadTime = {0, 0};

namespace {

constexpr u32 kFailed = 0xFFFFFFFFu;
constexpr u32 kPathSize = 4096;
constexpr u32 kAddressSize = 64;
constexpr u16 kCertServicePort = 32018;
constexpr u32 kHttpOk = 200;
const char *const kCertDir = "../data/vog_cert";
const char *const kCaCertFile = "../data/vog_cert/caCert.pem";
const char *const kSignCertFile = "../data/vog_cert/signCert.pem";

// Held for one scope; the mutex is re-entrant, so a holder may write files.
struct AuthLock {
    AuthLock() {
        RsAuthMutexInit();
        (void)VOS_MutexLock(g_AuthMutex);
    }
    ~AuthLock() { (void)VOS_MutexUnlock(g_AuthMutex); }
    AuthLock(const AuthLock &) = delete;
    AuthLock &operator=(const AuthLock &) = delete;
};

// Several request threads may test and stamp the load time at once.
VOS_CPU_TICK_S LoadTimeGet() {
    return {__atomic_load_n(&g_AuthCertLoadTime.uiLow, __ATOMIC_RELAXED),
            __atomic_load_n(&g_AuthCertLoadTime.uiHigh, __ATOMIC_RELAXED)};
}

void LoadTimeSet(const VOS_CPU_TICK_S &stTick) {
    __atomic_store_n(&g_AuthCertLoadTime.uiLow, stTick.uiLow, __ATOMIC_RELAXED);
    __atomic_store_n(&g_AuthCertLoadTime.uiHigh, stTick.uiHigh, __ATOMIC_RELAXED);
}

// True while the last fetch lies less than five minutes back.
// Every authenticated request asks whether both certificates are there. Once
// both were found readable, the answer is trusted for a second: two access
// calls per request are a quarter of what authentication costs a cached
// token, and a file removed meanwhile is noticed a second later at most.
constexpr u64 kCertsTrustNs = 1000000000ull;
std::atomic<u64> g_ulCertsSeenNs{0};

u64 TickNsNow() {
    VOS_CPU_TICK_S stNow = {0, 0};
    (void)VOS_GetCpuTick(&stNow.uiLow, &stNow.uiHigh);
    return (static_cast<u64>(stNow.uiHigh) << 32) | stNow.uiLow;
}

bool CertsPresent() {
    u64 ulNow = TickNsNow();
    u64 ulSeen = g_ulCertsSeenNs.load(std::memory_order_relaxed);
    if (ulSeen != 0 && ulNow - ulSeen < kCertsTrustNs) return true;
    if (access(kCaCertFile, R_OK) != 0 || access(kSignCertFile, R_OK) != 0) return false;
    g_ulCertsSeenNs.store(ulNow, std::memory_order_relaxed);
    return true;
}

bool FetchedRecently(const VOS_CPU_TICK_S &stNow) {
    VOS_CPU_TICK_S stLast = LoadTimeGet();
    if (stLast.uiLow == 0 && stLast.uiHigh == 0) return false;
    VOS_CPU_TICK_S stDelta = {0, 0};
    RsGetDeltaCpuTick(&stLast, &stNow, &stDelta);
    u32 uiMsHigh = 0;
    u32 uiMsLow = 0;
    (void)VOS_CpuTick2Ms(&stDelta, &uiMsHigh, &uiMsLow);
    RS_LOG(RS_LOG_ERROR, "======== %d", uiMsLow);
    if (uiMsLow >= RS_CERT_RELOAD_INTERVAL_MS) return false;
    RS_LOG(RS_LOG_ERROR, "Please wait 5 minutes!\n");
    return true;
}

// Writes both certificates of a 200 answer into the resolved folder.
u32 CertFilesWrite(const char *pcBody, char *pcPath) {
    CFJSON *pstAnswer = CFJSON_Parse(pcBody);
    if (pstAnswer == nullptr) {
        RS_LOG(RS_LOG_ERROR, "request vog cert fail!\n");
        return kFailed;
    }
    const char *pcCa = CFJSON_StringValueGet(CFJSON_ObjectItemGet(pstAnswer, "ca"));
    const char *pcSign = CFJSON_StringValueGet(CFJSON_ObjectItemGet(pstAnswer, "signingCert"));
    if (pcCa == nullptr || pcSign == nullptr) {
        CFJSON_Delete(pstAnswer);
        RS_LOG(RS_LOG_ERROR, "CA or sign cert is null!\n");
        return kFailed;
    }
    RS_LOG(RS_LOG_INFO, "caContent :ok,  signContent :ok\n");
    (void)strcat_s(pcPath, kPathSize, "/");
    (void)strcat_s(pcPath, kPathSize, "caCert.pem");
    (void)DumpCertContent(pcPath, pcCa, static_cast<u32>(strlen(pcCa)));
    char *pcName = VOS_StrStr(pcPath, "caCert.pem");
    if (pcName != nullptr) (void)strcpy_s(pcName, kPathSize - static_cast<size_t>(pcName - pcPath), "signCert.pem");
    (void)DumpCertContent(pcPath, pcSign, static_cast<u32>(strlen(pcSign)));
    CFJSON_Delete(pstAnswer);
    return 0;
}

// One request to the security service under the authentication mutex.
u32 CertFetch(char *pcPath) {
    LOC_IP_ADDR_S stAddr = {};
    char acAddress[kAddressSize] = {0};
    (void)Loc_GetLocalIpAddress(&stAddr);
    (void)Loc_IpAddressBinToStr(&stAddr, acAddress, kAddressSize);
    RS_LOG(RS_LOG_INFO, "get localipaddr : %s\n", acAddress);

    AuthLock stLock;
    RS_END_POINT stEndPoint = {0, kCertServicePort, {0, 0}, acAddress};
    char *pcBody = nullptr;
    u32 uiLen = 0;
    u32 uiHttpCode = 0;
    // The endpoint record is laid out as the platform's.
    u32 uiRet = SSP_RestRequestSendEx(SSP_REST_GET, reinterpret_cast<const REST_END_POINT *>(&stEndPoint),
                                      "/rest/vog/v1/certificates", &pcBody, &uiLen, &uiHttpCode);
    RS_LOG(RS_LOG_INFO, "SSP_RestRequestSendEx uiRet:%d uiHttpCode:%d\n", uiRet, uiHttpCode);
    u32 uiResult = 0;
    if (uiRet == 0 && uiHttpCode == kHttpOk) uiResult = CertFilesWrite(pcBody != nullptr ? pcBody : "", pcPath);
    if (pcBody != nullptr) SSP_ResponseBodyFree(pcBody);
    return uiResult;
}

}  // namespace

// Every attempt that reaches the service starts a new five-minute period,
// answered or not; only an unusable 200 answer fails the load.
extern "C" RS_API u32 RsAuthCertLoad(u32 uiForce) {
    if (uiForce == 0 && CertsPresent()) {
        RS_LOG(RS_LOG_INFO, "cert already exist!\n");
        return 0;
    }
    VOS_CPU_TICK_S stNow = {0, 0};
    (void)VOS_GetCpuTick(&stNow.uiLow, &stNow.uiHigh);
    if (FetchedRecently(stNow)) return 0;

    char *pcPath = static_cast<char *>(malloc(kPathSize));
    if (pcPath == nullptr) {
        RS_LOG(RS_LOG_ERROR, "malloc vog certpath fail!\n");
        return kFailed;
    }
    if (realpath(kCertDir, pcPath) == nullptr) {
        free(pcPath);
        RS_LOG(RS_LOG_ERROR, "vog certpath fail!\n");
        return kFailed;
    }
    u32 uiResult = CertFetch(pcPath);
    free(pcPath);
    if (uiResult != 0) return uiResult;
    LoadTimeSet(stNow);
    RS_LOG(RS_LOG_INFO, "Load cert success !\n");
    return 0;
}

extern "C" RS_API u32 DumpCertContent(const char *pcPath, const char *pcContent, u32 uiLen) {
    if (pcPath == nullptr || pcContent == nullptr) return kFailed;
    AuthLock stLock;
    if (access(pcPath, R_OK) == 0 && unlink(pcPath) != 0) {
        RS_LOG(RS_LOG_ERROR, "unlink the file failed !");
        return kFailed;
    }
    int iFd = open(pcPath, O_RDWR | O_CREAT | O_APPEND, 0640);
    if (iFd < 0) return kFailed;
    if (strlen(pcContent) != uiLen) RS_LOG(RS_LOG_ERROR, "cert content len invalid!\n");
    ssize_t lWritten = write(iFd, pcContent, uiLen);
    (void)close(iFd);
    if (lWritten < 0) {
        RS_LOG(RS_LOG_ERROR, "write cert fail!\n");
        return kFailed;
    }
    return 0;
}
