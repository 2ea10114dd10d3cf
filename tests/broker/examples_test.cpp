// The example programs against mosquitto, as a user runs them.
#include <cstdlib>
#include <sys/wait.h>

#include "broker_fixture.h"

namespace {

using namespace zep_broker_test;

// The exit status of a command that is given up after 30 seconds.
int run(const std::string &command) {
    const int status = std::system(("timeout 30 " + command).c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(examples, on_mosquitto) {
    mosquitto broker;
    const std::string port = std::to_string(broker.port());
    EXPECT_EQ(0, run(ZEP_QUICKSTART " " + port));
    EXPECT_EQ(0, run(ZEP_QUICKSTART_BASIC " " + port));
    EXPECT_EQ(0, run(ZEP_DEMO " --host 127.0.0.1 --port " + port));
}

TEST(examples, the_demonstration_says_what_is_missing) {
    mosquitto broker("retain_available false\n");  // so that the message for a minute is not kept
    EXPECT_EQ(1, run(ZEP_DEMO " --port " + std::to_string(broker.port())));
    broker.stop();
    EXPECT_EQ(1, run(ZEP_DEMO " --port " + std::to_string(broker.port())));
    EXPECT_EQ(2, run(ZEP_DEMO " --port none"));
}

}  // namespace
