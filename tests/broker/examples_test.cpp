// The example programs against mosquitto, as a user runs them.
#include <algorithm>
#include <cstdio>
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

// Three sites; the broker of the second one dies and comes back, and answers to a command are heard
// of before and after that.
TEST(examples, the_gateway_outlives_a_broker_and_answers_commands) {
    mosquitto first, second, third;
    const std::string ports = std::to_string(first.port()) + " " + std::to_string(second.port()) +
                              " " + std::to_string(third.port());
    FILE *gateway = popen(
        ("exec timeout --preserve-status 10 " ZEP_GATEWAY " 127.0.0.1 " + ports).c_str(), "r");
    ASSERT_NE(gateway, nullptr);
    const auto command = [&](const char *order) {
        client console(client_config("console", second.port(), version::v50));
        EXPECT_TRUE(connect_and_wait(console) && subscribe_and_wait(console, "site/2/+", 2));
        const auto has_heard = [&](const std::string &topic, const std::string &payload) {
            return loop_until({&console}, [&] {
                const auto &heard = console.messages();
                return std::any_of(heard.begin(), heard.end(), [&](const received_message &each) {
                    return each.topic == topic && (payload.empty() || each.payload == payload);
                });
            });
        };
        EXPECT_TRUE(has_heard("site/2/telemetry", ""));  // it has subscribed before that
        EXPECT_TRUE(publish_and_wait(console, "site/2/command", order, 2));
        EXPECT_TRUE(has_heard("site/2/answer", "done: " + std::string(order)));
    };
    command("open");
    second.kill();
    second.start();
    command("close");
    std::string output;
    for (char line[256]; std::fgets(line, sizeof line, gateway) != nullptr;) {
        output += line;
    }
    EXPECT_EQ(pclose(gateway), 0);
    EXPECT_NE(output.find("site 2: not connected"), std::string::npos) << output;
    EXPECT_NE(output.find(", 2 commands, "), std::string::npos) << output;
    EXPECT_NE(output.find("\n0 messages left without an answer"), std::string::npos) << output;
}

}  // namespace
