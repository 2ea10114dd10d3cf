// Compares what the library logs in a test with the file that was recorded for it:
// tests/logs/<suite>.<test>.log, with the version at the end where a test runs for both.
#pragma once

#include "support/log_capture.h"

namespace zep_test {

// Fails the running test with a unified diff when its log differs from the recorded one; a test
// without a file must not log anything. With ZEP_RENEW_LOGS in the environment the file is written
// instead. Ports, descriptors and addresses in memory are replaced. Left out are what succeeded of
// each allocation, which says more about the build than about the client, the lines of the receive
// thread, which come when they like, and all but the first row of a dump.
void expect_recorded(const std::string &log);

// The lines of a log that warn or are worse.
std::string warnings_of(const std::string &log);

// Each of its tests is compared with what is recorded for it.
class logged_test : public testing::Test {
 protected:
    void TearDown() override { expect_recorded(capture_.take()); }

 private:
    log_capture capture_;
};

}  // namespace zep_test
