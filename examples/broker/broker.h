// A small MQTT broker for the demonstration: 3.1.1 and 5.0, QoS 0 to 2, wills, retained messages
// and shared subscriptions, on 127.0.0.1. It keeps no session beyond its connection, repeats
// nothing, checks no credentials and takes packets of at most 1,027 bytes: it is no broker to rely
// on.
#pragma once

#include <list>
#include <map>
#include <set>

#include "packets.h"

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
        int socket = -1;
        bytes inbox, outbox;
        bool over = false;

        // From the CONNECT on:
        connect_request client;                        // of version 0 before
        std::map<std::string, uint8_t> subscriptions;  // the granted QoS, by filter
        std::set<uint16_t> receiving;                  // at QoS 2, and not released yet
        std::set<uint16_t> in_flight;                  // sent, and not acknowledged yet
        uint16_t last_id = 0;

        void send(const bytes &packet) {
            outbox.insert(outbox.end(), packet.begin(), packet.end());
        }
        // At the lower of the message's own QoS and the granted one.
        void deliver(message content, uint8_t granted_qos);
    };

    void accept_connection();
    void receive(connection &from);
    void handle(connection &from, byte_view packet);
    void handle_connect(connection &from, byte_reader &body);
    void handle_publish(connection &from, uint8_t first, byte_reader &body);
    void handle_pubrec(connection &from, byte_reader &body);
    void handle_subscribe(connection &from, byte_reader &body);
    void handle_unsubscribe(connection &from, byte_reader &body);
    void publish(const message &content);
    void send_retained(connection &to, const std::string &filter, uint8_t granted_qos);
    void flush(connection &to);
    void remove_ended();

    int listener_ = -1;
    int wake_ = -1;
    uint16_t port_ = 0;
    std::list<connection> connections_;
    std::map<std::string, message> retained_;  // by topic
    std::map<std::string, size_t> turns_;      // of shared subscriptions: messages so far
};

}  // namespace zep_demo
