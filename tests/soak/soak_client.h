// What a party of the soak asks of a client and hears of it: few functions, so that every interface
// of the library can go the same way. Messages are told by their topics.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "soak/ledger.h"

namespace zep_test {

class client_listener {
 public:
    virtual ~client_listener() = default;
    virtual void connected() = 0;
    virtual void subscribed() = 0;
    virtual void delivered(const std::string &topic, const std::string &payload, unsigned qos) = 0;
    // An accepted message of QoS 1 or 2.
    virtual void ended(const std::string &topic, fate how) = 0;
};

// Connects by itself and stays connected. The listener is called from inside serve().
class soak_client {
 public:
    virtual ~soak_client() = default;
    virtual void serve() = 0;
    virtual bool is_connected() const = 0;
    // Whether it takes one more message now, as far as that can be known before.
    virtual bool has_room(unsigned qos) const = 0;
    // Both return whether the client has accepted it.
    virtual bool subscribe(const std::string &filter) = 0;
    virtual bool publish(const std::string &topic, const std::string &payload, unsigned qos) = 0;
    // No exchange is open, by its own accounts.
    virtual bool is_idle() const = 0;
};

struct client_settings {
    std::string id;
    uint16_t port;     // of the broker, on 127.0.0.1
    uint32_t version;  // ZEP_MQTT_SDK_VERSION_*
};
using client_maker =
    std::function<std::unique_ptr<soak_client>(const client_settings &, client_listener &)>;

// A client of the basic interface.
std::unique_ptr<soak_client> make_basic_client(const client_settings &settings,
                                               client_listener &listener);
// An event-driven handle that asks for a new session with every connection, and one that resumes
// it.
std::unique_ptr<soak_client> make_event_client(const client_settings &settings,
                                               client_listener &listener);
std::unique_ptr<soak_client> make_resuming_client(const client_settings &settings,
                                                  client_listener &listener);

}  // namespace zep_test
