// Token expiry: the current local second as text against the token's
// expiresAt, compared byte-wise. A value that agrees in its first 19
// characters and goes on (fractions, a zone letter) counts as valid for that
// whole second; an empty one has always expired.
#include <time.h>

#include "auth/restserver_auth_token.h"
#include "core/restserver_log.h"
#include "plat_os.h"
#include "plat_sync.h"
#include "plat_text.h"

namespace {

constexpr u32 kExpired = 0xFFFFFFFFu;
constexpr u32 kSelfTestRefused = 1;
constexpr u32 kTimeTextSize = 32;

// The current local second as text. Every checked request asks, and breaking
// the time down and formatting it cost far more than the comparison, so each
// thread keeps the text of the last second it made and makes it again only
// when the clock's second moves. The local time is a function of that second,
// so the text is the one a fresh call would make.
const char *NowText() {
    thread_local struct {
        time_t lSecond = -1;
        char acText[kTimeTextSize];
    } t_stNow;
    timespec stClock = {};
    (void)clock_gettime(CLOCK_REALTIME, &stClock);
    if (stClock.tv_sec != t_stNow.lSecond) {
        SYS_TIME_S stNow = {};
        (void)ZEP_LMT_SystimeGet(&stNow);
        t_stNow.acText[0] = '\0';
        (void)snprintf_s(t_stNow.acText, sizeof(t_stNow.acText), sizeof(t_stNow.acText) - 1,
                         "%04d-%02d-%02dT%02d:%02d:%02d", stNow.usYear, stNow.ucMonth, stNow.ucDay, stNow.ucHour,
                         stNow.ucMinute, stNow.ucSecond);
        t_stNow.lSecond = stClock.tv_sec;
    }
    return t_stNow.acText;
}

}  // namespace

extern "C" RS_API u32 RsAuthTokenCheck(const RsTokenItem *pstItem) {
    if (pstItem == nullptr) return kExpired;
    const char *pcNow = NowText();
    if (VOS_StrCmp(pcNow, pstItem->expiresAt) <= 0) return 0;
    RS_LOG(RS_LOG_ERROR, "token Expire Time timeBuffer:%s, tokenExpireTime:%s", pcNow, pstItem->expiresAt);
    return kExpired;
}

extern "C" RS_API u32 RsAuthTokenCheckTest(void) {
    RsTokenItem stItem = {"2019-05-30:12:00:00", "sample-domain-id", "sample-user-id", "sample-user", nullptr, 0,
                          "sample-domain",       "sample-project-id"};
    if (RsAuthTokenCheck(&stItem) != 0) {
        RS_LOG(RS_LOG_ERROR, "Auth filter token check fail.");
        return kSelfTestRefused;
    }
    RS_LOG(RS_LOG_INFO, "Auth filter token check succ.");
    return 0;
}
