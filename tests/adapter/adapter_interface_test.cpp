// The adapter on its own: endpoint records and the refusal of empty answers,
// which never reach the engine.
#include <gtest/gtest.h>

#include "adapter/restserver_http.h"
#include "adapter/restserver_kernel.h"
#include "adapter/restserver_trace.h"
#include "core/restserver_log.h"
#include "support/log_capture.h"

namespace {

TEST(AdapterEndPoint, PortIsTruncatedAndColonsMeanIpv6) {
    const struct {
        const char *address;
        const char *port;
        u32 kind;
        u16 want_port;
    } cases[] = {
        {"127.0.0.1", "8443", 0, 8443}, {"::1", "70000", 1, 4464},       {"fe80::1%eth0", "1", 1, 1},
        {"localhost", "abc", 0, 0},     {"10.0.0.1", "65535", 0, 65535},
    };
    for (const auto &c : cases) {
        RS_END_POINT end_point;
        RsEndPointFill(&end_point, c.address, c.port);
        EXPECT_EQ(end_point.uiAddrKind, c.kind) << c.address;
        EXPECT_EQ(end_point.usPort, c.want_port) << c.port;
        EXPECT_EQ(end_point.pcAddress, c.address) << "the configuration's text is not copied";
    }
}

// The handle is never dereferenced: empty data is refused before the engine is called.
TEST(AdapterResponse, EmptyDataIsRefusedWithoutCallingTheEngine) {
    RS_RESPONSE response = {reinterpret_cast<void *>(0x1), nullptr};
    rstest::LogCapture log;
    EXPECT_EQ(RESTSERVER_HttpRspDataWrite(&response, nullptr, 200), 0xFFFFFFFFu);
    EXPECT_EQ(RESTSERVER_HttpRspDataWrite(&response, "", 200), 0xFFFFFFFFu);
    EXPECT_EQ(RESTSERVER_HttpRspStreamWrite(&response, ""), 0xFFFFFFFFu);
    EXPECT_EQ(log.Count("Response data is empty, return ERROR.", RS_LOG_ERROR), 3u);
}

}  // namespace
