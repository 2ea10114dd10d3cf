#include "demonstration.h"

#include <cstdarg>
#include <cstdio>
#include <functional>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zep_demo {

namespace {

const std::string WILL = "erin is gone";

void say(const char *format, ...) ZEP_MQTT_PRINTF(1, 2);
void say(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::vprintf(format, arguments);
    va_end(arguments);
    std::putchar('\n');
    std::fflush(stdout);
}

void require(bool happened, const std::string &what) {
    if (!happened) {
        throw missing(what);
    }
}

// One of the cast: a client with a name, who knows which of its messages have been looked at.
class actor {
 public:
    using change = std::function<void(zep_mqtt_sdk_config &)>;

    actor(
        const endpoint &broker, version protocol, std::string name,
        const change &configure = [](zep_mqtt_sdk_config &) {})
        : name_(std::move(name)),
          client_(
              configuration(broker, protocol, name_ + "-" + std::to_string(getpid()), configure)) {
        require(connect_and_wait(client_), name_ + ": no connection to the broker");
    }

    const std::string &name() const { return name_; }
    client &connection() { return client_; }
    size_t received() const { return client_.messages().size(); }

    void subscribe(const std::string &filter, const char *group = nullptr) {
        require(subscribe_and_wait(client_, filter, 2, group),
                name_ + ": no answer to the subscription to " + filter);
    }

    void unsubscribe(const std::string &filter) {
        require(unsubscribe_and_wait(client_, filter),
                name_ + ": no answer to the end of the subscription to " + filter);
    }

    void publish(const std::string &topic, const std::string &text, uint32_t qos, bool retain,
                 uint32_t expiry_seconds) {
        require(publish_and_wait(client_, topic, text, qos, retain, expiry_seconds),
                name_ + ": \"" + text + "\" to " + topic + " was not acknowledged");
    }

    // The next message, which must be on this topic.
    const received_message &next(const std::string &topic) {
        require(loop_until({&client_}, [&] { return received() > looked_at_; }),
                name_ + ": nothing has arrived on " + topic);
        const received_message &arrived = client_.messages()[looked_at_++];
        require(arrived.topic == topic, name_ + ": \"" + arrived.payload + "\" on " +
                                            arrived.topic + " instead of a message on " + topic);
        return arrived;
    }

    void expect(const std::string &topic, const std::string &text) {
        const std::string &arrived = next(topic).payload;
        require(arrived == text, name_ + ": \"" + arrived + "\" instead of \"" + text + "\"");
    }

 private:
    static zep_mqtt_sdk_config configuration(const endpoint &broker, version protocol,
                                             const std::string &id, const change &configure) {
        zep_mqtt_sdk_config config = client_config(id.c_str(), broker.port, protocol);
        config.broker_host = broker.host.c_str();
        configure(config);
        return config;
    }

    std::string name_;
    client client_;
    size_t looked_at_ = 0;
};

const uint8_t SHARED_KEY[16] = {'d', 'e', 'm', 'o', 'n', 's', 't', 'r',
                                'a', 't', 'i', 'o', 'n', 'k', 'e', 'y'};
const uint8_t SHARED_IV[16] = {};

void with_cipher(zep_mqtt_sdk_config &config) {
    config.crypto_enable = 1;
    config.crypto_key = SHARED_KEY;
    config.crypto_iv = SHARED_IV;
}

class stage {
 public:
    stage(const endpoint &broker, version protocol, totals &so_far)
        : broker_(broker),
          protocol_(protocol),
          totals_(so_far),
          prefix_("demo/" + std::to_string(getpid()) + "/") {}

    void play() {
        say("MQTT %s, broker %s:%d, topics below %s", protocol_ == version::v50 ? "5.0" : "3.1.1",
            broker_.host.c_str(), broker_.port, prefix_.c_str());
        actor alice(broker_, protocol_, "alice");
        actor bob(broker_, protocol_, "bob");
        bob.subscribe(topic("chat/#"));
        say("  alice and bob are connected, bob subscribes to chat/#");
        exchange(alice, bob);
        protect(bob);
        leave_a_will(bob);
        if (protocol_ == version::v50) {
            let_messages_expire(alice);
            share_the_work(alice);
        }
        part(alice, bob);
        totals_.received += bob.received();
    }

 private:
    std::string topic(const std::string &name) const { return prefix_ + name; }

    void send(actor &from, const std::string &name, const std::string &text, uint32_t qos,
              bool retain = false, uint32_t expiry_seconds = 0) {
        from.publish(topic(name), text, qos, retain, expiry_seconds);
        totals_.sent++;
    }

    void exchange(actor &alice, actor &bob) {
        const char *const texts[] = {"hello", "are you there?", "this once and no more"};
        for (uint32_t qos = 0; qos < 3; qos++) {
            send(alice, "chat/alice", texts[qos], qos);
            const received_message &arrived = bob.next(topic("chat/alice"));
            require(arrived.payload == texts[qos] && arrived.qos == qos,
                    "bob: \"" + arrived.payload + "\" at QoS " + std::to_string(arrived.qos) +
                        " instead of \"" + texts[qos] + "\" at QoS " + std::to_string(qos));
            say("  alice sends \"%s\" to chat/alice at QoS %u, bob receives it", texts[qos], qos);
        }
    }

    void protect(actor &bob) {
        const std::string secret = "meet at noon";
        actor carol(broker_, protocol_, "carol", with_cipher);
        actor dave(broker_, protocol_, "dave", with_cipher);
        dave.subscribe(topic("chat/secret"));
        send(carol, "chat/secret", secret, 1);
        dave.expect(topic("chat/secret"), secret);
        const std::string &seen = bob.next(topic("chat/secret")).payload;
        require(seen.find(secret) == std::string::npos, "the cipher: bob can read the secret");
        say("  carol sends \"%s\" protected, dave reads it; bob, without the key, gets %zu other"
            " bytes",
            secret.c_str(), seen.size());
        dave.unsubscribe(topic("chat/secret"));
        totals_.received += dave.received();
    }

    void leave_a_will(actor &bob) {
        std::string words[] = {"zep_demo",
                               "--host",
                               broker_.host,
                               "--port",
                               std::to_string(broker_.port),
                               protocol_ == version::v50 ? "--die-v50" : "--die-v311",
                               topic("chat/erin")};
        char *arguments[std::size(words) + 1] = {};
        for (size_t i = 0; i < std::size(words); i++) {
            arguments[i] = words[i].data();
        }
        pid_t erin = 0;
        require(posix_spawn(&erin, "/proc/self/exe", nullptr, nullptr, arguments, environ) == 0,
                "erin: no process of her own");
        int status = -1;
        waitpid(erin, &status, 0);
        require(status == 0, "erin: no connection to the broker");
        bob.expect(topic("chat/erin"), WILL);
        say("  erin dies without a DISCONNECT, bob receives her will: \"%s\"", WILL.c_str());
    }

    void let_messages_expire(actor &alice) {
        const auto sent = std::chrono::steady_clock::now();
        send(alice, "news/old", "expires after 1 s", 1, true, 1);
        send(alice, "news/new", "expires after 60 s", 1, true, 60);
        // A broker may count in whole seconds.
        const auto over = sent + std::chrono::milliseconds(2100);
        loop_until({&alice.connection()}, [&] { return std::chrono::steady_clock::now() > over; });

        actor frank(broker_, protocol_, "frank");
        frank.subscribe(topic("news/#"));
        send(alice, "news/now", "the end of the news", 1);
        frank.expect(topic("news/new"), "expires after 60 s");
        frank.expect(topic("news/now"), "the end of the news");
        say("  alice leaves a message for 1 s and one for 60 s; frank comes after 2 s and finds the"
            " second only");
        frank.unsubscribe(topic("news/#"));
        totals_.received += frank.received();
    }

    void share_the_work(actor &alice) {
        constexpr size_t JOBS = 6;
        actor grace(broker_, protocol_, "grace");
        actor heidi(broker_, protocol_, "heidi");
        grace.subscribe(topic("jobs"), "crew");
        heidi.subscribe(topic("jobs"), "crew");
        for (size_t i = 0; i < JOBS; i++) {
            send(alice, "jobs", "job " + std::to_string(i), 1);
        }
        const auto done = [&] { return grace.received() + heidi.received(); };
        loop_until({&grace.connection(), &heidi.connection()}, [&] { return done() >= JOBS; });
        require(done() == JOBS && grace.received() != 0 && heidi.received() != 0,
                "the crew: of " + std::to_string(JOBS) + " jobs grace got " +
                    std::to_string(grace.received()) + " and heidi " +
                    std::to_string(heidi.received()));
        say("  alice sends %zu jobs to a shared subscription: grace does %zu, heidi %zu", JOBS,
            grace.received(), heidi.received());
        totals_.received += done();
    }

    // What is sent after the end of a subscription must not arrive; that the next message to arrive
    // is a later one shows it.
    void part(actor &alice, actor &bob) {
        bob.subscribe(topic("end"));
        bob.unsubscribe(topic("chat/#"));
        send(alice, "chat/alice", "does anyone hear me?", 1);
        send(alice, "end", "good bye", 1);
        bob.expect(topic("end"), "good bye");
        bob.unsubscribe(topic("end"));
        for (actor *each : {&alice, &bob}) {
            require(each->connection().disconnect() == ZEP_MQTT_SDK_OK &&
                        !each->connection().connected(),
                    each->name() + ": is not disconnected");
        }
        say("  bob unsubscribes and hears alice no more; both disconnect");
    }

    const endpoint &broker_;
    version protocol_;
    totals &totals_;
    std::string prefix_;
};

}  // namespace

void demonstrate(const endpoint &broker, version protocol, totals &so_far) {
    stage(broker, protocol, so_far).play();
}

void die_with_a_will(const endpoint &broker, version protocol, const std::string &topic) {
    actor erin(broker, protocol, "erin", [&](zep_mqtt_sdk_config &config) {
        config.will_flag = 1;
        config.will_topic = topic.c_str();
        config.will_payload = reinterpret_cast<const uint8_t *>(WILL.data());
        config.will_payload_len = static_cast<uint32_t>(WILL.size());
        config.will_qos = 1;
    });
    _exit(0);  // no destructor runs: the system closes the socket, and no DISCONNECT goes out
}

}  // namespace zep_demo
