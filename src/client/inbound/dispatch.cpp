// Hands a received packet to its handler, found by protocol version and packet type. A packet that
// comes in another connection state than its handler needs is dropped without a log line.
#include "client/inbound/dispatch.h"

#include <iterator>

#include "client/connection/client_private.h"
#include "client/inbound/inbound.h"
#include "log/log_lines.h"
#include "protocol/v311/decode.h"

namespace zep {

namespace {

constexpr uint32_t ANY_STATE = UINT32_MAX;

template <typename Handler>
struct route {
    Handler handle = nullptr;    // null: the type is logged as unknown
    uint32_t state = ANY_STATE;  // connection state that the handler needs
};

using handler311 = void (*)(mqtt_client &, const mqtt_packet &);
using handler50 = void (*)(mqtt_client &, const packet_view &);

// Both tables are indexed by the packet type.
constexpr route<handler311> ROUTES_311[16] = {
    {},
    {},  // CONNECT: the decoder refuses it
    {on_connack, ANY_STATE},
    {on_publish, MQTT_CLIENT_CONNECTED},
    {on_puback, MQTT_CLIENT_CONNECTED},
    {on_qos2_ack, MQTT_CLIENT_CONNECTED},
    {on_pubrel, MQTT_CLIENT_CONNECTED},
    {on_qos2_ack, MQTT_CLIENT_CONNECTED},
    {},
    {on_suback, MQTT_CLIENT_CONNECTED},
    {},
    {on_unsuback, MQTT_CLIENT_CONNECTED},
    {},
    {on_pingresp, ANY_STATE},
    {on_disconnect, ANY_STATE},
    {},
};

constexpr route<handler50> ROUTES_50[16] = {
    {},
    {},
    {on_connack50, MQTT_CLIENT_CONNECTING},
    {on_publish50, MQTT_CLIENT_CONNECTED},
    {on_puback50, MQTT_CLIENT_CONNECTED},
    {on_qos2_ack50, MQTT_CLIENT_CONNECTED},
    {on_pubrel50, MQTT_CLIENT_CONNECTED},
    {on_qos2_ack50, MQTT_CLIENT_CONNECTED},
    {},
    {on_suback50, MQTT_CLIENT_CONNECTED},
    {},
    {on_unsuback50, MQTT_CLIENT_CONNECTED},
    {},
    {on_pingresp50, ANY_STATE},
    {on_disconnect50, ANY_STATE},
    {},
};

template <typename Handler>
bool accepts(const route<Handler> &route, uint32_t state) {
    return route.state == ANY_STATE || route.state == state;
}

// A decoded 3.1.1 packet, with what the decoder allocated for it.
class decoded_packet {
 public:
    explicit decoded_packet(const packet_view &packet)
        : status_(v311::decode_packet(packet, &packet_)) {}

    ~decoded_packet() {
        if (status_ == MQTT_OK) {
            v311::release_packet(packet_);
        }
    }

    decoded_packet(const decoded_packet &) = delete;
    decoded_packet &operator=(const decoded_packet &) = delete;

    bool ok() const { return status_ == MQTT_OK; }
    const mqtt_packet &get() const { return packet_; }

 private:
    mqtt_packet packet_ = {};
    int32_t status_;
};

void dispatch311(mqtt_client &client, const packet_view &received) {
    const decoded_packet packet(received);
    if (!packet.ok()) {
        return;
    }
    const uint32_t type = packet.get().type;
    const route<handler311> &route = ROUTES_311[type];
    if (route.handle == nullptr) {
        LOG_DEBUG("MQTT_CLIENT收到未知报文类型 (0x%02X)", type);
    } else if (accepts(route, client.state)) {
        route.handle(client, packet.get());
    }
}

void dispatch50(mqtt_client &client, const packet_view &packet) {
    const uint32_t type = packet.type();
    const route<handler50> &route = ROUTES_50[type];
    if (route.handle == nullptr) {
        LOG_DEBUG("MQTT_CLIENT收到5.0未知报文类型 (0x%02X)", type);
    } else if (accepts(route, client.state)) {
        route.handle(client, packet);
    }
}

}  // namespace

void dispatch_packet(mqtt_client &client, const packet_view &packet) {
    const uint32_t version =
        mqtt50_version_auto_detect(packet.data, static_cast<int32_t>(packet.length), &client);
    LOG_DEBUG("MQTT_CLIENT收到MQTT报文:长度=%d,类型=0x%02X,协议版本=%d", packet.length,
              packet.type(), version);
    if (version == MQTT_VERSION_50) {
        dispatch50(client, packet);
    } else {
        dispatch311(client, packet);
    }
}

}  // namespace zep
