// Stream sockets that never make anybody wait, waiting on many of them at once, and what wakes such
// a wait up. Each backend implements it.
#pragma once

#include <cstdint>

#include <zep_mqtt_sdk_event.h>

namespace zep {

// A result of 0 means not now; a failure leaves the system's number in `error`.
enum : int32_t { STREAM_AGAIN = 0, STREAM_FAILED = -1, STREAM_CLOSED = -2 };

// Begins to connect to an IPv4 or IPv6 address. -1 when that failed at once.
int32_t stream_connect(const zep_mqtt_sdk_address &address, int32_t *error);
// 1 once connected.
int32_t stream_connected(int32_t sock, int32_t *error);
// Bytes taken or received, at least 1, or one of the results above.
int32_t stream_send(int32_t sock, const uint8_t *data, uint32_t length, int32_t *error);
int32_t stream_receive(int32_t sock, uint8_t *buffer, uint32_t capacity, int32_t *error);
void stream_close(int32_t sock);

struct waited_socket {
    int32_t sock;       // -1: not waited for
    uint32_t interest;  // ZEP_MQTT_SDK_READABLE and _WRITABLE
    bool ready;
};

// Waits until one is ready, or the time has passed. False: no memory, nothing was waited for.
bool sockets_wait(waited_socket *sockets, uint32_t count, uint32_t timeout_ms);

// Ends a wait from another thread: readable from signal() to clear().
class waker {
 public:
    bool open();  // also when it is open already
    void close();
    int32_t sock() const { return read_end_; }
    void signal() const;
    void clear() const;

 private:
    int32_t read_end_ = -1;
    int32_t write_end_ = -1;
};

// Fills in the addresses of a host; how many. Blocks.
uint32_t resolve_host(const char *host, uint16_t port, zep_mqtt_sdk_address *addresses,
                      uint32_t most);

}  // namespace zep
