// The event-driven interface: finds the client behind a handle, takes its lock, and calls.
#include <algorithm>
#include <cstring>
#include <mutex>

#include <zep_mqtt/client/handle.h>
#include <zep_mqtt/platform/clock.h>
#include <zep_mqtt/platform/memory.h>
#include <zep_mqtt/protocol/v311/packet.h>

#include "client/event/event_client.h"
#include "client/sdk/event_private.h"
#include "core/heap_copy.h"
#include "net/stream_socket.h"

using namespace zep;

namespace {

constexpr uint32_t CLIENTS_MAX = 65536;
constexpr uint32_t CLIENTS_ON_STACK = 64;

event_client *behind(const zep_mqtt_sdk_client *handle) {
    return handle == nullptr ? nullptr : static_cast<event_client *>(handle->event);
}

// A record that the application filled, of which an older one has fewer fields than ours.
template <typename Record>
Record whole_record(const Record *given) {
    Record record = {};
    if (given != nullptr) {
        std::memcpy(&record, given, std::min<size_t>(given->size, sizeof record));
    }
    return record;
}

// call(client) under the client's lock; `otherwise` for a handle that is not event-driven.
template <typename Result, typename Call>
Result with_client(const zep_mqtt_sdk_client *handle, Result otherwise, const Call &call) {
    event_client *client = behind(handle);
    if (client == nullptr) {
        return otherwise;
    }
    const std::lock_guard guard(client->lock);
    return call(*client);
}

template <typename Call>
int32_t call_client(const zep_mqtt_sdk_client *handle, const Call &call) {
    return with_client<int32_t>(handle, ZEP_MQTT_SDK_ERR_PARAM, call);
}

}  // namespace

namespace zep {

bool is_event_driven(const zep_mqtt_sdk_client *handle) {
    return behind(handle) != nullptr;
}

int32_t event_connect(zep_mqtt_sdk_client *handle) {
    return call_client(handle, [](event_client &client) {
        start_connecting(client);
        wake(client);
        return ZEP_MQTT_SDK_OK;
    });
}

int32_t event_disconnect(zep_mqtt_sdk_client *handle) {
    return call_client(handle, [](event_client &client) {
        stop_connecting(client);
        wake(client);
        return ZEP_MQTT_SDK_OK;
    });
}

int32_t event_state(const zep_mqtt_sdk_client *handle) {
    return with_client<int32_t>(handle, ZEP_MQTT_SDK_DISCONNECTED, [](event_client &client) {
        switch (client.phase) {
            case link_phase::OPENING:
            case link_phase::GREETING:
                return ZEP_MQTT_SDK_CONNECTING;
            case link_phase::UP:
                return ZEP_MQTT_SDK_CONNECTED;
            default:
                return ZEP_MQTT_SDK_DISCONNECTED;
        }
    });
}

void event_destroy(zep_mqtt_sdk_client *handle) {
    close_client(behind(handle));
}

}  // namespace zep

zep_mqtt_sdk_client *zep_mqtt_sdk_client_open(const zep_mqtt_sdk_config *config,
                                              const zep_mqtt_sdk_options *options,
                                              const zep_mqtt_sdk_listener *listener, void *user) {
    if (config == nullptr) {
        return nullptr;
    }
    event_client *client = open_client(*config, whole_record(options));
    if (client == nullptr) {
        return nullptr;
    }
    heap_ptr<zep_mqtt_sdk_client[]> handle = heap_zeroed<zep_mqtt_sdk_client>(1);
    if (handle == nullptr) {
        release_client(client);
        return nullptr;
    }
    handle[0].event = client;
    client->handle = handle.release();
    client->listener = whole_record(listener);
    client->user = user;
    return client->handle;
}

int32_t zep_mqtt_sdk_client_loop_for(zep_mqtt_sdk_client *client, uint32_t wait_ms) {
    event_client *inner = behind(client);
    return inner == nullptr ? int32_t{ZEP_MQTT_SDK_ERR_PARAM} : loop(&inner, 1, wait_ms);
}

int32_t zep_mqtt_sdk_loop_all(zep_mqtt_sdk_client *const *clients, uint32_t count,
                              uint32_t wait_ms) {
    if ((clients == nullptr && count != 0) || count > CLIENTS_MAX) {
        return ZEP_MQTT_SDK_ERR_PARAM;
    }
    event_client *on_stack[CLIENTS_ON_STACK];
    heap_ptr<uint8_t[]> on_heap;
    event_client **inner = on_stack;
    if (count > CLIENTS_ON_STACK) {
        on_heap = heap_zeroed<uint8_t>(count * sizeof(void *));
        inner = reinterpret_cast<event_client **>(on_heap.get());
        if (inner == nullptr) {
            return ZEP_MQTT_SDK_ERR_NO_MEMORY;
        }
    }
    uint32_t found = 0;
    for (uint32_t i = 0; i < count; ++i) {
        if (clients[i] == nullptr) {
            continue;
        }
        inner[found] = behind(clients[i]);
        if (inner[found++] == nullptr) {
            return ZEP_MQTT_SDK_ERR_PARAM;
        }
    }
    if (found == 0) {
        platform_delay_ms(wait_ms);
        return ZEP_MQTT_SDK_OK;
    }
    return loop(inner, found, wait_ms);
}

int32_t zep_mqtt_sdk_client_get_socket(const zep_mqtt_sdk_client *client) {
    return with_client<int32_t>(client, -1, [](event_client &inner) {
        return inner.connection == nullptr ? -1 : inner.transport.socket(inner.connection);
    });
}

uint32_t zep_mqtt_sdk_client_get_interest(const zep_mqtt_sdk_client *client) {
    return with_client<uint32_t>(client, 0, interest);
}

uint32_t zep_mqtt_sdk_client_get_due_ms(const zep_mqtt_sdk_client *client) {
    return with_client<uint32_t>(client, UINT32_MAX, [](event_client &inner) {
        return due_ms(inner, platform_get_tick_ms());
    });
}

int32_t zep_mqtt_sdk_client_wake(zep_mqtt_sdk_client *client) {
    return call_client(client, [](event_client &inner) {
        wake(inner);
        return ZEP_MQTT_SDK_OK;
    });
}

int32_t zep_mqtt_sdk_client_send(zep_mqtt_sdk_client *client, const zep_mqtt_sdk_msg *msg,
                                 zep_mqtt_sdk_token *token) {
    return zep_mqtt_sdk_client_send_all(client, msg, 1, token, nullptr);
}

int32_t zep_mqtt_sdk_client_send_all(zep_mqtt_sdk_client *client, const zep_mqtt_sdk_msg *msgs,
                                     uint32_t count, zep_mqtt_sdk_token *tokens,
                                     uint32_t *accepted) {
    if (msgs == nullptr && count != 0) {
        return ZEP_MQTT_SDK_ERR_PARAM;
    }
    return call_client(client, [&](event_client &inner) {
        return send_messages(inner, msgs, count, tokens, accepted);
    });
}

int32_t zep_mqtt_sdk_client_subscribe_to(zep_mqtt_sdk_client *client, const char *filter,
                                         uint32_t qos, zep_mqtt_sdk_token *token) {
    return call_client(client, [&](event_client &inner) {
        return request_subscription(inner, MQTT_PACKET_SUBSCRIBE, filter, qos, token);
    });
}

int32_t zep_mqtt_sdk_client_unsubscribe_from(zep_mqtt_sdk_client *client, const char *filter,
                                             zep_mqtt_sdk_token *token) {
    return call_client(client, [&](event_client &inner) {
        return request_subscription(inner, MQTT_PACKET_UNSUBSCRIBE, filter, 0, token);
    });
}

int32_t zep_mqtt_sdk_client_acknowledge(zep_mqtt_sdk_client *client, uint64_t receipt) {
    return call_client(client, [&](event_client &inner) { return acknowledge(inner, receipt); });
}

int32_t zep_mqtt_sdk_client_cancel(zep_mqtt_sdk_client *client, zep_mqtt_sdk_token token) {
    return call_client(client, [&](event_client &inner) { return cancel(inner, token); });
}

const char *zep_mqtt_sdk_result_text(int32_t result) {
    switch (result) {
        case ZEP_MQTT_SDK_OK:
            return "success";
        case ZEP_MQTT_SDK_ERR_PARAM:
            return "an argument is missing, out of range or malformed";
        case ZEP_MQTT_SDK_ERR_NO_MEMORY:
            return "out of memory";
        case ZEP_MQTT_SDK_ERR_NOT_CONNECTED:
            return "not connected";
        case ZEP_MQTT_SDK_ERR_CONNECT:
            return "connection refused, or not of this protocol version";
        case ZEP_MQTT_SDK_ERR_PACKET:
            return "packet too long";
        case ZEP_MQTT_SDK_ERR_CACHE:
            return "no room for more, or not known";
        case ZEP_MQTT_SDK_ERR_PACKET_ID:
            return "all packet identifiers are in use";
        case ZEP_MQTT_SDK_ERR_BUSY:
            return "busy, try again later";
        case ZEP_MQTT_SDK_ERR_CREATE:
            return "the client could not be made";
        case ZEP_MQTT_SDK_ERR_TIMEOUT:
            return "timed out";
        case ZEP_MQTT_SDK_ERR_UNKNOWN:
            return "failed, the log says why";
        default:
            return "no such result";
    }
}

int32_t zep_mqtt_sdk_resolve(const char *host, uint16_t port, zep_mqtt_sdk_address *addresses,
                             uint32_t most) {
    if (host == nullptr || port == 0 || addresses == nullptr) {
        return ZEP_MQTT_SDK_ERR_PARAM;
    }
    return static_cast<int32_t>(resolve_host(host, port, addresses, most));
}
