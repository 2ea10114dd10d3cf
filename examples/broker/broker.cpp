#include "broker.h"

#include <cerrno>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

#include <zep_mqtt/protocol/v311/packet.h>

namespace zep_demo {

namespace {

constexpr size_t OUTBOX_MAX = 1 << 20;  // bytes; who reads too slowly is dropped
constexpr uint8_t SUBACK_FAILURE = 0x80;

// Refusals of an empty client identifier.
constexpr uint8_t IDENTIFIER_REJECTED_311 = 0x02;
constexpr uint8_t IDENTIFIER_REJECTED_50 = 0x85;

int checked(int result, const char *what) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

}  // namespace

broker::broker()
    : listener_(checked(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0), "socket")),
      wake_(checked(eventfd(0, EFD_CLOEXEC), "eventfd")) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    checked(bind(listener_, reinterpret_cast<sockaddr *>(&address), size), "bind");
    checked(listen(listener_, SOMAXCONN), "listen");
    checked(getsockname(listener_, reinterpret_cast<sockaddr *>(&address), &size), "getsockname");
    port_ = ntohs(address.sin_port);
}

broker::~broker() {
    for (const connection &each : connections_) {
        close(each.socket);
    }
    close(listener_);
    close(wake_);
}

void broker::stop() {
    eventfd_write(wake_, 1);
}

void broker::run() {
    for (;;) {
        std::vector<pollfd> waited = {{wake_, POLLIN, 0}, {listener_, POLLIN, 0}};
        for (connection &each : connections_) {
            const bool to_send = each.client && !each.client->outbox().empty();
            waited.push_back(
                {each.socket, static_cast<short>(to_send ? POLLIN | POLLOUT : POLLIN), 0});
        }
        if (poll(waited.data(), waited.size(), -1) < 0 && errno != EINTR) {
            checked(-1, "poll");
        }
        if (waited[0].revents != 0) {
            return;
        }
        size_t at = 2;
        for (connection &each : connections_) {
            if ((waited[at++].revents & (POLLIN | POLLERR | POLLHUP)) != 0) {
                receive(each);
            }
        }
        if (waited[1].revents != 0) {
            accept_connection();
        }
        for (connection &each : connections_) {
            flush(each);
        }
        remove_ended();
    }
}

void broker::accept_connection() {
    const int accepted = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (accepted >= 0) {
        connections_.push_back({accepted, {}, {}});
    }
}

void broker::receive(connection &from) {
    uint8_t data[4096];
    const ssize_t got = recv(from.socket, data, sizeof data, 0);
    if (got <= 0) {
        from.over = from.over || got == 0 || (errno != EAGAIN && errno != EINTR);
        return;
    }
    from.inbox.insert(from.inbox.end(), data, data + got);
    byte_view left = from.inbox;
    while (!from.over) {
        const std::optional<size_t> size = packet_size(left);
        if (!size) {
            from.over = true;
        } else if (*size == 0) {
            break;
        } else {
            handle_packet(from, left.first(*size));
            left = left.subspan(*size);
        }
    }
    from.inbox.erase(from.inbox.begin(), from.inbox.end() - static_cast<ptrdiff_t>(left.size()));
}

// A packet that is malformed, or not expected now, ends the connection.
void broker::handle_packet(connection &from, byte_view packet) {
    if (!from.client) {
        handle_connect(from, packet);
        return;
    }
    const std::optional<request> decoded = decode_request(from.client->version(), packet);
    if (!decoded) {
        from.over = true;
        return;
    }
    std::visit([&](const auto &each) { handle(from, each); }, *decoded);
}

void broker::handle_connect(connection &from, byte_view packet) {
    std::optional<connect_request> connect = decode_connect(packet);
    if (!connect) {
        from.over = true;
        return;
    }
    const uint8_t version = connect->version;
    if (connect->client_id.empty()) {
        const bytes refusal = encode_connack(
            version, version == MQTT_VERSION_50 ? IDENTIFIER_REJECTED_50 : IDENTIFIER_REJECTED_311);
        send(from.socket, refusal.data(), refusal.size(), MSG_NOSIGNAL);
        from.over = true;
        return;
    }
    for (connection &other : connections_) {
        other.over =
            other.over || (other.client && other.client->client_id() == connect->client_id);
    }
    from.client.emplace(std::move(*connect));
    from.client->send(encode_connack(version, 0));
}

void broker::handle(connection &from, const publish_request &publish) {
    session &client = *from.client;
    const uint8_t qos = publish.content.qos;
    if (qos < 2 || client.begin_receiving(publish.id)) {
        router_.publish(publish.content);
    }
    if (qos != 0) {
        const uint8_t type = qos == 1 ? MQTT_PACKET_PUBACK : MQTT_PACKET_PUBREC;
        client.send(encode_acknowledgement(client.version(), type, publish.id));
    }
}

void broker::handle(connection &from, const acknowledgement &answer) {
    session &client = *from.client;
    if (answer.type != MQTT_PACKET_PUBREL) {
        client.handle(answer);
        return;
    }
    client.end_receiving(answer.id);
    client.send(encode_acknowledgement(client.version(), MQTT_PACKET_PUBCOMP, answer.id));
}

void broker::handle(connection &from, const subscribe_request &subscribe) {
    session &client = *from.client;
    bytes codes;
    std::vector<subscription> granted;
    for (const subscription &each : subscribe.subscriptions) {
        const bool accepted = router_.subscribe(client, each);
        codes.push_back(accepted ? each.qos : SUBACK_FAILURE);
        if (accepted) {
            granted.push_back(each);
        }
    }
    client.send(encode_suback(client.version(), subscribe.id, codes));
    for (const subscription &each : granted) {
        router_.send_retained(client, each);
    }
}

void broker::handle(connection &from, const unsubscribe_request &unsubscribe) {
    session &client = *from.client;
    for (const std::string &filter : unsubscribe.filters) {
        router_.unsubscribe(client, filter);
    }
    client.send(encode_unsuback(client.version(), unsubscribe.id));
}

void broker::handle(connection &from, const ping_request &) {
    from.client->send(encode_pingresp());
}

void broker::handle(connection &from, const disconnect_request &disconnect) {
    if (!disconnect.with_will) {
        from.client->drop_will();
    }
    from.over = true;
}

void broker::flush(connection &to) {
    if (!to.client || to.client->outbox().empty()) {
        return;
    }
    bytes &outbox = to.client->outbox();
    const ssize_t sent = ::send(to.socket, outbox.data(), outbox.size(), MSG_NOSIGNAL);
    if (sent > 0) {
        outbox.erase(outbox.begin(), outbox.begin() + sent);
    }
    // What could not be sent now is sent when poll allows; it tells of a broken connection as well.
    to.over = to.over || outbox.size() > OUTBOX_MAX;
}

// A will can reach another connection, but not end it.
void broker::remove_ended() {
    for (connection &each : connections_) {
        if (each.over) {
            end(each);
        }
    }
    std::erase_if(connections_, [](const connection &each) { return each.over; });
}

void broker::end(connection &ended) {
    close(ended.socket);
    if (!ended.client) {
        return;
    }
    router_.forget(*ended.client);
    if (ended.client->will()) {
        router_.publish(*ended.client->will());
    }
}

}  // namespace zep_demo
