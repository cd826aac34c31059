// Core tests run inside a temporary deployment whose root is the platform's
// common root, so the screen log lands in its var/log/.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "plat_config.h"
#include "support/deployment.h"

namespace rstest {

class CoreTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string json = "{\"node\":{\"common_root\":\"" + deployment_.Root() + "\"}}";
        ASSERT_EQ(PLAT_InitFromText(json.c_str()), 0u) << PLAT_LastError();
    }
    Deployment deployment_;
};

}  // namespace rstest
