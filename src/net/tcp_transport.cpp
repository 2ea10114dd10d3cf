#include "net/tcp_transport.h"

#include <zep_mqtt/platform/memory.h>

#include "core/heap_copy.h"
#include "net/stream_socket.h"

namespace zep {

namespace {

struct tcp_connection {
    int32_t sock;
    int32_t error;
    bool up;
};

static_assert(int{STREAM_AGAIN} == int{ZEP_MQTT_SDK_TRANSPORT_AGAIN});
static_assert(int{STREAM_FAILED} == int{ZEP_MQTT_SDK_TRANSPORT_FAILED});
static_assert(int{STREAM_CLOSED} == int{ZEP_MQTT_SDK_TRANSPORT_CLOSED});

tcp_connection &of(void *connection) {
    return *static_cast<tcp_connection *>(connection);
}

// A connection that failed at once is told by progress, with its error.
void *tcp_open(void *, const zep_mqtt_sdk_address *address) {
    auto *connection = static_cast<tcp_connection *>(heap_block(sizeof(tcp_connection)));
    if (connection != nullptr) {
        *connection = {-1, 0, false};
        connection->sock = stream_connect(*address, &connection->error);
    }
    return connection;
}

int32_t tcp_progress(void *connection) {
    tcp_connection &tcp = of(connection);
    if (tcp.sock == -1) {
        return ZEP_MQTT_SDK_TRANSPORT_FAILED;
    }
    const int32_t result = stream_connected(tcp.sock, &tcp.error);
    tcp.up = result == ZEP_MQTT_SDK_TRANSPORT_UP;
    return result;
}

int32_t tcp_send(void *connection, const uint8_t *data, uint32_t length) {
    return stream_send(of(connection).sock, data, length, &of(connection).error);
}

int32_t tcp_receive(void *connection, uint8_t *buffer, uint32_t capacity) {
    return stream_receive(of(connection).sock, buffer, capacity, &of(connection).error);
}

int32_t tcp_socket(void *connection) {
    return of(connection).sock;
}

uint32_t tcp_interest(void *connection, uint32_t wanted) {
    return of(connection).up ? wanted : uint32_t{ZEP_MQTT_SDK_WRITABLE};
}

int32_t tcp_error(void *connection) {
    return of(connection).error;
}

void tcp_close(void *connection) {
    if (of(connection).sock != -1) {
        stream_close(of(connection).sock);
    }
    platform_free(connection);
}

constexpr zep_mqtt_sdk_transport TCP = {sizeof(zep_mqtt_sdk_transport),
                                        nullptr,
                                        tcp_open,
                                        tcp_progress,
                                        tcp_send,
                                        tcp_receive,
                                        tcp_socket,
                                        tcp_interest,
                                        tcp_error,
                                        tcp_close};

}  // namespace

const zep_mqtt_sdk_transport &tcp_transport() {
    return TCP;
}

}  // namespace zep
