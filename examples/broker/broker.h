// A small MQTT broker for the demonstration: 3.1.1 and 5.0, QoS 0 to 2, wills, retained messages
// and shared subscriptions, on 127.0.0.1. It keeps no session beyond its connection, checks no
// credentials and takes packets of at most 1,027 bytes: it is no broker to rely on.
#pragma once

#include <cstdint>
#include <list>

#include "router.h"

namespace zep_demo {

class broker {
 public:
    // Listens on a free port. @throws std::system_error
    broker();
    ~broker();
    broker(const broker &) = delete;
    broker &operator=(const broker &) = delete;

    uint16_t port() const { return port_; }

    // Serves until stop(), which is the one call that another thread may make.
    void run();
    void stop();

 private:
    struct connection {
        int socket;
        bytes inbox;
        std::optional<session> client;  // from the CONNECT on
        bool over = false;
    };

    void accept_connection();
    void receive(connection &from);
    void handle_packet(connection &from, byte_view packet);
    void handle_connect(connection &from, byte_view packet);
    void handle(connection &from, const publish_request &publish);
    void handle(connection &from, const acknowledgement &answer);
    void handle(connection &from, const subscribe_request &subscribe);
    void handle(connection &from, const unsubscribe_request &unsubscribe);
    void handle(connection &from, const ping_request &ping);
    void handle(connection &from, const disconnect_request &disconnect);
    void flush(connection &to);
    void remove_ended();
    void end(connection &ended);

    int listener_ = -1;
    int wake_ = -1;
    uint16_t port_ = 0;
    std::list<connection> connections_;
    router router_;
};

}  // namespace zep_demo
