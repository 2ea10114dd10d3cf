// Clients of different threads do not know of each other.
#include <memory>
#include <thread>

#include "support/client_fixture.h"

namespace {

using namespace zep_test;

// A client against a broker of its own, on the calling thread.
class lone_client : public client_test {
 public:
    lone_client(const dialect &version, int number)
        : client_test(version), filter_("f/" + std::to_string(number)) {}
    void TestBody() override {
        callbacks.listen();
        for (int connection = 0; connection < 5; connection++) {
            begin_connect();
            hear(v->connack, 0, {"CONNACK ok"});
            EXPECT_EQ(subscribe(filter_.c_str()), 0);
            EXPECT_EQ(unsubscribe(filter_.c_str()), 0);
            broker.take(lay(v->subscribe).size() + lay(v->unsubscribe).size());
            for (int round = 0; round < 20; round++) {
                EXPECT_EQ(publish(1), 0);
                const unsigned id = broker.take(lay(v->publish1).size()).at(6);
                hear(PUBACK, id, {"PUBACK ok id=" + std::to_string(id)});
                hear(v->publish2, 7, {"message t [hi] qos=2 id=7"});
                hear(PUBREL, 7, {});
                broker.expect("50 02 0007 70 02 0007");
            }
            EXPECT_EQ(mqtt_client_disconnect(client), 0);
            broker.expect(v->disconnect);
            broker.expect_closed();
        }
        destroy();
    }

 private:
    const std::string filter_;
};

TEST(threads_test, clients_of_four_threads_work_at_the_same_time) {
    agent_log_set_level(AGENT_LOG_WARN);
    const dialect *const versions[] = {&V311, &V50, &V311, &V50};
    std::vector<std::unique_ptr<lone_client>> clients;
    std::vector<std::thread> threads;
    for (const dialect *version : versions) {
        clients.push_back(std::make_unique<lone_client>(*version, int(clients.size())));
        threads.emplace_back([&client = *clients.back()] { client.TestBody(); });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
}

}  // namespace
