// Serving clients, with a wait in front of it when nothing is due: one wait for all of them.
#include <algorithm>
#include <mutex>

#include <zep_mqtt/platform/clock.h>

#include "client/event/event_client.h"
#include "core/heap_copy.h"

namespace zep {

namespace {

constexpr uint32_t CLIENTS_ON_STACK = 64;
constexpr uint32_t UNWAKEABLE_WAIT_MS = 50;  // where no waker could be made

// Holds a client for a loop call: nobody else serves it, and it is not released meanwhile.
bool pin(event_client &client) {
    const std::lock_guard guard(client.lock);
    if (client.serving || client.closed) {
        return false;
    }
    client.serving = true;
    ++client.pins;
    return true;
}

void unpin(event_client *client) {
    bool last = false;
    {
        const std::lock_guard guard(client->lock);
        client->serving = false;
        last = --client->pins == 0 && client->closed;
    }
    if (last) {
        release_client(client);
    }
}

bool serve_one(event_client &client, bool may_read) {
    const std::lock_guard guard(client.lock);
    return !client.closed && serve(client, may_read);
}

// What to wait for on behalf of a client, and for how long at most. From now on others can wake it.
uint32_t prepare_wait(event_client &client, const waker *waker, waited_socket &slot) {
    const std::lock_guard guard(client.lock);
    slot = {-1, 0, false};
    if (client.closed) {
        return UINT32_MAX;
    }
    client.waiting = waker;
    slot.interest = interest(client);
    if (slot.interest != 0) {
        slot.sock = client.transport.socket(client.connection);
    }
    return due_ms(client, platform_get_tick_ms());
}

bool finish_wait(event_client &client) {
    const std::lock_guard guard(client.lock);
    client.waiting = nullptr;
    return due_ms(client, platform_get_tick_ms()) == 0;
}

// The clients of one loop call with a slot for each and one for the waker.
class waiting_room {
 public:
    explicit waiting_room(uint32_t count) {
        if (count >= CLIENTS_ON_STACK) {
            heap_ = heap_zeroed<waited_socket>(size_t{count} + 1);
            slots_ = heap_.get();
        }
    }
    waited_socket *slots() { return slots_; }

 private:
    waited_socket stack_[CLIENTS_ON_STACK];
    heap_ptr<waited_socket[]> heap_;
    waited_socket *slots_ = stack_;
};

int32_t wait_and_serve(event_client *const *clients, uint32_t count, uint32_t wait_ms) {
    waiting_room room(count);
    waited_socket *slots = room.slots();
    const waker &waker = clients[0]->own_waker;
    const bool wakeable = wait_ms == 0 || clients[0]->own_waker.open();
    uint32_t timeout = wakeable ? wait_ms : std::min(wait_ms, UNWAKEABLE_WAIT_MS);
    if (slots == nullptr) {
        for (uint32_t i = 0; i < count; ++i) {
            (void)serve_one(*clients[i], true);
        }
        return ZEP_MQTT_SDK_ERR_NO_MEMORY;
    }
    for (uint32_t i = 0; i < count; ++i) {
        timeout = std::min(
            timeout,
            prepare_wait(*clients[i], wakeable && wait_ms != 0 ? &waker : nullptr, slots[i]));
    }
    slots[count] = {wakeable && wait_ms != 0 ? waker.sock() : -1, ZEP_MQTT_SDK_READABLE, false};
    const bool waited = sockets_wait(slots, count + 1, timeout);
    if (slots[count].ready) {
        waker.clear();
    }
    for (uint32_t i = 0; i < count; ++i) {
        const bool due = finish_wait(*clients[i]);
        if (due || slots[i].ready || !waited) {
            (void)serve_one(*clients[i], slots[i].ready || !waited);
        }
    }
    return waited ? ZEP_MQTT_SDK_OK : ZEP_MQTT_SDK_ERR_NO_MEMORY;
}

}  // namespace

int32_t loop(event_client *const *clients, uint32_t count, uint32_t wait_ms) {
    uint32_t pinned = 0;
    while (pinned < count && pin(*clients[pinned])) {
        ++pinned;
    }
    int32_t status = ZEP_MQTT_SDK_ERR_BUSY;
    if (pinned == count) {
        // A single client reads at once: asking the socket before would double the system calls.
        const bool done = count == 1 && serve_one(*clients[0], true);
        status = done || count == 0 || (count == 1 && wait_ms == 0)
                     ? ZEP_MQTT_SDK_OK
                     : wait_and_serve(clients, count, wait_ms);
    }
    while (pinned != 0) {
        unpin(clients[--pinned]);
    }
    return status;
}

}  // namespace zep
