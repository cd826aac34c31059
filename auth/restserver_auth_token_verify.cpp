// Token verification: the header form of a token is wrapped back into a PEM
// block, written to the token file and checked by the openssl tool against
// the two certificate files; what the tool prints is the token's JSON.
#include <limits.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <mutex>

#include "auth/restserver_auth_cert.h"
#include "core/restserver_log.h"
#include "core/restserver_metrics.h"
#include "plat_text.h"

namespace {

constexpr u32 kNoOutput = 1;
constexpr u32 kPathSize = 4096;
constexpr u32 kCommandSize = 256;
constexpr u32 kLineSize = 256;
constexpr u32 kPemLineChars = 64;
const char kPemBegin[] = "-----BEGIN CMS-----\n";
const char kPemEnd[] = "-----END CMS-----\n";
const char *const kCertDir = "../data/vog_cert";
// The tool writes the content while it checks the digest, so a token whose
// content was altered still prints it before the tool fails: its output is
// passed on only when it succeeded. Its messages are dropped: every token,
// a forged one included, would otherwise write them to the host's stderr.
const char *const kVerifyFormat =
    "out=$(openssl cms -verify -in %s -certfile %s -CAfile %s -inform PEM -nosmimecap -nodetach -nocerts -noattr"
    " 2>/dev/null)"
    " && printf '%%s\\n' \"$out\"";

// The token file has one fixed path: one verification at a time writes,
// verifies and removes it.
std::mutex g_tokenFileMutex;

u32 RunVerify(const char *pcCommand, char *pcOut, u32 uiOutSize) {
    (void)memset_s(pcOut, uiOutSize, 0, uiOutSize);
    if (GetPlainToken(pcCommand, pcOut, uiOutSize) == 0) return 0;
    // Nothing printed: the certificates may have been renewed; fetch them and try once more.
    RS_LOG(RS_LOG_ERROR, "Certificate is expired, please reload !\n");
    if (RsAuthCertLoad(1) != 0) {
        RS_LOG(RS_LOG_ERROR, "Reload certificate failed !\n");
        return kNoOutput;
    }
    (void)GetPlainToken(pcCommand, pcOut, uiOutSize);
    return 0;
}

// Steps on the token file, under the token file mutex.
CFJSON *VerifyTokenFile(const char *pcPem, const char *pcTokenPath) {
    std::lock_guard<std::mutex> stLock(g_tokenFileMutex);
    u32 uiPemLen = static_cast<u32>(strlen(pcPem));
    (void)DumpCertContent(pcTokenPath, pcPem, uiPemLen);
    // What the tool prints is the signed content, always shorter than its PEM block.
    char *pcOut = static_cast<char *>(malloc(uiPemLen + 1));
    if (pcOut == nullptr) return nullptr;
    char acCommand[kCommandSize] = {0};
    (void)snprintf_s(acCommand, sizeof(acCommand), sizeof(acCommand) - 1, kVerifyFormat, "../data/vog_cert/mytoken",
                     "../data/vog_cert/signCert.pem", "../data/vog_cert/caCert.pem");
    if (RunVerify(acCommand, pcOut, uiPemLen + 1) != 0) {
        free(pcOut);
        return nullptr;
    }
    CFJSON *pstContent = CFJSON_Parse(pcOut);
    free(pcOut);
    if (unlink(pcTokenPath) != 0) {
        RS_LOG(RS_LOG_ERROR, "unlink the file of token failed !");
        CFJSON_Delete(pstContent);
        return nullptr;
    }
    return pstContent;
}

}  // namespace

extern "C" RS_API CFJSON *GetTokenJsonObject(const char *pcToken) {
    if (pcToken == nullptr) return nullptr;
    char *pcPem = FormatToken(pcToken);
    if (pcPem == nullptr) {
        RS_LOG(RS_LOG_ERROR, "FormatToken is null !\n");
        return nullptr;
    }
    static_assert(kPathSize >= PATH_MAX, "realpath writes up to PATH_MAX bytes");
    char acPath[kPathSize] = {0};
    if (realpath(kCertDir, acPath) == nullptr) {
        free(pcPem);
        RS_LOG(RS_LOG_ERROR, "realpath is null !\n");
        return nullptr;
    }
    (void)strcat_s(acPath, sizeof(acPath), "/mytoken");
    CFJSON *pstContent = nullptr;
    try {
        pstContent = VerifyTokenFile(pcPem, acPath);
    } catch (...) {  // the token file mutex could not be taken
        pstContent = nullptr;
    }
    free(pcPem);
    return pstContent;
}

// The header form carries "-" where the PEM body has "/"; lines are 64
// characters, and an empty token still gives one (empty) line.
extern "C" RS_API char *FormatToken(const char *pcToken) {
    if (pcToken == nullptr) return nullptr;
    u32 uiLen = static_cast<u32>(strlen(pcToken));
    u32 uiTotalLen = uiLen + uiLen / kPemLineChars + 40;
    if (uiTotalLen == 0) {
        RS_LOG(RS_LOG_ERROR, "malloc newtoken fail!uiTotalLen is not valid\n");
        return nullptr;
    }
    char *pcPem = static_cast<char *>(malloc(uiTotalLen));
    if (pcPem == nullptr) {
        RS_LOG(RS_LOG_ERROR, "malloc newtoken null !\n");
        return nullptr;
    }
    u32 uiUsed = sizeof(kPemBegin) - 1;
    (void)memcpy_s(pcPem, uiTotalLen, kPemBegin, uiUsed);
    u32 uiDone = 0;
    do {
        u32 uiLineEnd = uiDone + kPemLineChars < uiLen ? uiDone + kPemLineChars : uiLen;
        for (; uiDone < uiLineEnd; ++uiDone)
            pcPem[uiUsed++] = pcToken[uiDone] == '-' ? '/' : pcToken[uiDone];
        pcPem[uiUsed++] = '\n';
    } while (uiDone < uiLen);
    (void)memcpy_s(pcPem + uiUsed, uiTotalLen - uiUsed, kPemEnd, sizeof(kPemEnd));
    RS_LOG(RS_LOG_INFO, "FormatToken success!\n");
    return pcPem;
}

// SIGCHLD is set to ignore for the whole process: the tool's exit status is
// never used, and ignored children are reaped by the kernel.
extern "C" RS_API u32 GetPlainToken(const char *pcCommand, char *pcOut, u32 uiOutSize) {
    if (pcCommand == nullptr || pcOut == nullptr || uiOutSize == 0) return kNoOutput;
    struct sigaction stIgnore = {};
    stIgnore.sa_handler = SIG_IGN;
    (void)sigemptyset(&stIgnore.sa_mask);
    (void)sigaction(SIGCHLD, &stIgnore, nullptr);
    FILE *pstPipe = popen(pcCommand, "r");
    if (pstPipe == nullptr) {
        RS_LOG(RS_LOG_ERROR, "fp is NULL !");
        return kNoOutput;
    }
    RsMetricAdd(RS_METRIC_OPENSSL_RUN, 1);
    char acLine[kLineSize] = {0};
    u32 uiUsed = 0;
    while (uiUsed < uiOutSize - 1 && fgets(acLine, sizeof(acLine), pstPipe) != nullptr) {
        (void)strcpy_s(pcOut + uiUsed, uiOutSize - uiUsed, acLine);
        uiUsed += static_cast<u32>(strlen(acLine));
    }
    (void)pclose(pstPipe);
    if (pcOut[0] == '\0') {
        RS_LOG(RS_LOG_ERROR, "pDecodeToken is NULL !");
        return kNoOutput;
    }
    RS_LOG(RS_LOG_INFO, "DecodeToken success.");
    return 0;
}

extern "C" RS_API u32 RsFormatTokenTest(void) {
    char acToken[131] = {0};
    for (u32 i = 0; i < 13; ++i)
        (void)strcat_s(acToken, sizeof(acToken), "qwertzuiop");
    char *pcPem = FormatToken(acToken);
    if (pcPem == nullptr) {
        RS_LOG(RS_LOG_ERROR, "Format token fail!\n");
        return 0;
    }
    RS_LOG(RS_LOG_INFO, "Format token: %s\n", pcPem);
    free(pcPem);
    return 0;
}
