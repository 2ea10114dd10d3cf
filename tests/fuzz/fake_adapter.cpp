#include "fuzz/fake_adapter.h"

#include <algorithm>

#include <zep_mqtt/net/adapter.h>
#include <zep_mqtt/platform/clock.h>

#include "net/adapter_private.h"

namespace zep_fuzz {

fake_connection g_connection;
void (*g_on_send)(const uint8_t *data) = nullptr;
uint64_t g_now_ms = 1000000;

}  // namespace zep_fuzz

using zep_fuzz::g_connection;

int32_t net_adapter_open(const char *, uint32_t) {
    g_connection = {};
    g_connection.open = true;
    return 0;
}

int32_t net_adapter_send(uint8_t index, const uint8_t *data, uint32_t length) {
    zep_fuzz::g_on_send(data);
    if (index != 0 || !g_connection.open || g_connection.sends_fail || length > 1024) {
        return -1;
    }
    g_connection.sent.insert(g_connection.sent.end(), data, data + length);
    return 0;
}

int32_t net_adapter_recv(uint8_t, uint8_t *buffer, uint32_t size, uint32_t *length, uint32_t) {
    std::vector<uint8_t> &readable = g_connection.readable;
    *length = static_cast<uint32_t>(std::min<size_t>(size, readable.size()));
    std::copy_n(readable.begin(), *length, buffer);
    readable.erase(readable.begin(), readable.begin() + *length);
    return *length == 0 ? -2 : 0;
}

void net_adapter_close(uint8_t) {
    g_connection.open = false;
    g_connection.readable.clear();
}

void net_adapter_loop(void) {}
bool zep::net_adapter_peer_closed(uint8_t) {
    return g_connection.peer_closed;
}
void zep::net_adapter_set_unacked_timeout(uint8_t, uint32_t) {}
void net_adapter_global_deinit(void) {}

// The clock moves when the fuzz target moves it, and waits take no time.
uint64_t platform_get_tick_ms(void) {
    return zep_fuzz::g_now_ms;
}
int64_t platform_get_utc_seconds(void) {
    return 0;
}
void platform_delay_ms(uint32_t) {}
