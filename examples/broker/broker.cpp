#include "broker.h"

#include <algorithm>
#include <cerrno>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

#include <zep_mqtt/protocol/v311/packet.h>

#include "topic_filter.h"

namespace zep_demo {

namespace {

constexpr size_t OUTBOX_MAX = 1 << 20;  // bytes; who reads too slowly is dropped
constexpr uint16_t MOST_IN_FLIGHT = UINT16_MAX;
constexpr uint8_t REASON_FAILURE = 0x80;        // and above
constexpr uint8_t DISCONNECT_WITH_WILL = 0x04;  // MQTT 5.0 §3.14.2.1

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
            const int events = each.outbox.empty() ? POLLIN : POLLIN | POLLOUT;
            waited.push_back({each.socket, static_cast<short>(events), 0});
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
        connections_.emplace_back().socket = accepted;
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
            handle(from, left.first(*size));
            left = left.subspan(*size);
        }
    }
    from.inbox.erase(from.inbox.begin(), from.inbox.end() - static_cast<ptrdiff_t>(left.size()));
}

// A packet that is malformed, or not expected now, ends the connection.
void broker::handle(connection &from, byte_view packet) {
    const uint8_t first = packet[0], type = first >> 4;
    byte_reader body = body_of(packet);
    if ((type == MQTT_PACKET_CONNECT) != (from.client.version == 0)) {
        body.fail();
    }
    switch (body.ok() ? type : 0) {
        case MQTT_PACKET_CONNECT:
            handle_connect(from, body);
            break;
        case MQTT_PACKET_PUBLISH:
            handle_publish(from, first, body);
            break;
        case MQTT_PACKET_PUBACK:
        case MQTT_PACKET_PUBCOMP:
            from.in_flight.erase(body.u16());
            break;
        case MQTT_PACKET_PUBREC:
            handle_pubrec(from, body);
            break;
        case MQTT_PACKET_PUBREL: {
            const uint16_t id = body.u16();
            from.receiving.erase(id);
            from.send(lay_out_ack(MQTT_PACKET_PUBCOMP, id));
            break;
        }
        case MQTT_PACKET_SUBSCRIBE:
            handle_subscribe(from, body);
            break;
        case MQTT_PACKET_UNSUBSCRIBE:
            handle_unsubscribe(from, body);
            break;
        case MQTT_PACKET_PINGREQ:
            from.send(lay_out_pingresp());
            break;
        case MQTT_PACKET_DISCONNECT:
            if (body.left() == 0 || body.u8() != DISCONNECT_WITH_WILL) {
                from.client.will.reset();
            }
            from.over = true;
            break;
        default:
            body.fail();
    }
    from.over = from.over || !body.ok();
}

void broker::handle_connect(connection &from, byte_reader &body) {
    connect_request connect = read_connect(body);
    if (!body.ok()) {
        return;
    }
    if (connect.client_id.empty()) {
        from.send(lay_out_connack(connect.version, connect.version == V50
                                                       ? IDENTIFIER_REJECTED_50
                                                       : IDENTIFIER_REJECTED_311));
        from.over = true;
        return;
    }
    for (connection &other : connections_) {  // a client that comes back takes its name over
        other.over = other.over || other.client.client_id == connect.client_id;
    }
    from.client = std::move(connect);
    from.send(lay_out_connack(from.client.version, 0));
}

void broker::handle_publish(connection &from, uint8_t first, byte_reader &body) {
    uint16_t id = 0;
    const message content = read_publish(body, from.client.version, first, &id);
    if (!body.ok()) {
        return;
    }
    if (content.qos < 2 || from.receiving.insert(id).second) {
        publish(content);
    }
    if (content.qos != 0) {
        from.send(lay_out_ack(content.qos == 1 ? MQTT_PACKET_PUBACK : MQTT_PACKET_PUBREC, id));
    }
}

void broker::handle_pubrec(connection &from, byte_reader &body) {
    const uint16_t id = body.u16();
    if (body.left() != 0 && body.u8() >= REASON_FAILURE) {
        from.in_flight.erase(id);
    } else {
        from.send(lay_out_ack(MQTT_PACKET_PUBREL, id));
    }
}

void broker::handle_subscribe(connection &from, byte_reader &body) {
    const uint16_t id = read_subscription_header(body, from.client.version);
    std::map<std::string, uint8_t> granted;
    bytes codes;
    while (body.left() != 0) {
        const std::string filter = read_text(body);
        const uint8_t qos = body.u8() & 3;  // of the options of 5.0 only this one is heeded
        const bool accepted = qos < 3 && is_filter(inner_filter(filter));
        codes.push_back(accepted ? qos : REASON_FAILURE);
        if (accepted) {
            granted[filter] = qos;
        }
    }
    if (!body.ok() || codes.empty()) {
        return body.fail();
    }
    from.send(lay_out_codes(from.client.version, MQTT_PACKET_SUBACK, id, codes));
    for (const auto &[filter, qos] : granted) {
        from.subscriptions[filter] = qos;
        if (!is_shared(filter)) {
            send_retained(from, filter, qos);
        }
    }
}

void broker::handle_unsubscribe(connection &from, byte_reader &body) {
    const uint16_t id = read_subscription_header(body, from.client.version);
    bytes codes;
    while (body.left() != 0) {
        from.subscriptions.erase(read_text(body));
        codes.push_back(0);
    }
    from.send(lay_out_codes(from.client.version, MQTT_PACKET_UNSUBACK, id, codes));
}

// To each client once, at the highest QoS granted; of those who share a subscription, to one in
// turn.
void broker::publish(const message &content) {
    if (content.retain && content.payload.empty()) {
        retained_.erase(content.topic);
    } else if (content.retain) {
        retained_[content.topic] = content;
    }
    message live = content;
    live.retain = false;  // to those who are there already (MQTT 3.1.1 §3.3.1.3)

    std::map<std::string, std::vector<std::pair<connection *, uint8_t>>> shared;
    for (connection &each : connections_) {
        std::optional<uint8_t> highest;
        for (const auto &[filter, qos] : each.subscriptions) {
            if (!matches(inner_filter(filter), content.topic)) {
                continue;
            }
            if (is_shared(filter)) {
                shared[filter].push_back({&each, qos});
            } else {
                highest = std::max(highest.value_or(0), qos);
            }
        }
        if (highest) {
            each.deliver(live, *highest);
        }
    }
    for (const auto &[filter, members] : shared) {
        const auto &[member, qos] = members[turns_[filter]++ % members.size()];
        member->deliver(live, qos);
    }
}

void broker::send_retained(connection &to, const std::string &filter, uint8_t granted_qos) {
    std::erase_if(retained_, [](const auto &each) {
        return each.second.expires && *each.second.expires <= steady::now();
    });
    for (const auto &[topic, content] : retained_) {
        if (matches(filter, topic)) {
            to.deliver(content, granted_qos);
        }
    }
}

void broker::connection::deliver(message content, uint8_t granted_qos) {
    content.qos = std::min(content.qos, granted_qos);
    if (content.qos != 0 && in_flight.size() == MOST_IN_FLIGHT) {
        over = true;  // it does not answer
    } else if (content.qos != 0) {
        do {
            last_id = last_id % MOST_IN_FLIGHT + 1;
        } while (!in_flight.insert(last_id).second);
    }
    send(lay_out_publish(client.version, content, last_id));
}

// What could not be sent now is sent when poll allows; it tells of a broken connection as well.
void broker::flush(connection &to) {
    const ssize_t sent = ::send(to.socket, to.outbox.data(), to.outbox.size(), MSG_NOSIGNAL);
    if (sent > 0) {
        to.outbox.erase(to.outbox.begin(), to.outbox.begin() + sent);
    }
    to.over = to.over || to.outbox.size() > OUTBOX_MAX;
}

// A will can reach another connection, but not end it before the next round.
void broker::remove_ended() {
    std::vector<message> wills;
    std::erase_if(connections_, [&wills](const connection &each) {
        if (each.over) {
            close(each.socket);
        }
        if (each.over && each.client.will) {
            wills.push_back(*each.client.will);
        }
        return each.over;
    });
    for (const message &will : wills) {
        publish(will);
    }
}

}  // namespace zep_demo
