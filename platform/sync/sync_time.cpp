// Local wall-clock time split into the platform's time record.
#include <ctime>

#include "plat_sync.h"

namespace {

u32 LocalTimeGet(SYS_TIME_S *pstTime) {
    if (pstTime == nullptr) return PLAT_ERR;
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    if (localtime_r(&now.tv_sec, &local) == nullptr) return PLAT_ERR;
    pstTime->usYear = static_cast<u16>(local.tm_year + 1900);
    pstTime->ucMonth = static_cast<u8>(local.tm_mon + 1);
    pstTime->ucDay = static_cast<u8>(local.tm_mday);
    pstTime->ucHour = static_cast<u8>(local.tm_hour);
    pstTime->ucMinute = static_cast<u8>(local.tm_min);
    pstTime->ucSecond = static_cast<u8>(local.tm_sec);
    pstTime->ucWeek = static_cast<u8>(local.tm_wday);
    pstTime->uiMillisecond = static_cast<u32>(now.tv_nsec / 1000000);
    return PLAT_OK;
}

}  // namespace

static_assert(sizeof(SYS_TIME_S) == 12, "time record is 12 bytes");

extern "C" PLAT_API u32 ZEP_LMT_SystimeGet(SYS_TIME_S *pstTime) {
    return LocalTimeGet(pstTime);
}

extern "C" PLAT_API u32 SSP_Local_SystimeGet(SYS_TIME_S *pstTime) {
    return LocalTimeGet(pstTime);
}
