#include "client/connection/reconnect.h"

#include <algorithm>
#include <atomic>
#include <mutex>

#include <zep_mqtt/client/loop.h>

#include "client/connection/client_private.h"
#include "static_lock.h"

uint32_t last_reconnect_tick;

namespace zep {

namespace {

// A client that has not asked for so long is not looped any more; nobody lets it go first.
constexpr uint32_t ABSENT_MS = 10000;

// Nobody is held up for longer than this, or than its own interval, by one that cannot go yet.
constexpr uint32_t COURTESY_MS = 60000;

// Held for a few instructions, never across an attempt. It guards the line and what follows.
constinit static_lock g_lock;
reconnect_place *g_line = nullptr;
uint64_t g_turns = 0;            // attempts made so far
uint32_t g_running = 0;          // attempts that are being made
uint32_t g_last_attempt_ms = 0;  // how long the last one took

std::atomic_ref<uint32_t> last_tick() {
    return std::atomic_ref<uint32_t>(last_reconnect_tick);
}

// The interval counts from the end of the last attempt: one that blocked for seconds would
// otherwise be followed by the next one at once.
bool interval_has_passed(uint32_t interval_ms, uint32_t now) {
    const uint32_t since_start = now - last_tick().load();
    return g_running == 0 && since_start >= g_last_attempt_ms &&
           since_start - g_last_attempt_ms >= interval_ms;
}

bool somebody_goes_first(const reconnect_place &place, uint32_t now) {
    for (const reconnect_place *other = g_line; other != nullptr; other = other->next) {
        const bool goes_soon = other->interval_ms <= std::max(COURTESY_MS, place.interval_ms) &&
                               now - other->asked_ms < ABSENT_MS;
        if (goes_soon && other->last_turn < place.last_turn) {
            return true;
        }
    }
    return false;
}

void join_line(reconnect_place &place) {
    if (!place.in_line) {
        place.next = g_line;
        g_line = &place;
        place.in_line = true;
    }
}

// Its place is in the line.
void leave_line(reconnect_place &place) {
    reconnect_place **link = &g_line;
    while (*link != &place) {
        link = &(*link)->next;
    }
    *link = place.next;
    place.in_line = false;
}

}  // namespace

bool begin_reconnect_attempt(reconnect_place &place, uint32_t interval_ms) {
    const std::lock_guard guard(g_lock);
    const uint32_t now = tick_now();
    place.asked_ms = now;
    place.interval_ms = interval_ms;
    // An interval of 0 asks for an attempt in every pass.
    const bool its_turn = interval_ms == 0 || (interval_has_passed(interval_ms, now) &&
                                               !somebody_goes_first(place, now));
    if (!its_turn) {
        join_line(place);
        return false;
    }
    if (place.in_line) {
        leave_line(place);
    }
    place.last_turn = ++g_turns;
    ++g_running;
    last_tick().store(now);
    return true;
}

void end_reconnect_attempt() {
    const std::lock_guard guard(g_lock);
    --g_running;
    g_last_attempt_ms = tick_now() - last_tick().load();
}

void leave_reconnect_line(reconnect_place &place) {
    if (!place.in_line) {  // only its own client writes this
        return;
    }
    const std::lock_guard guard(g_lock);
    leave_line(place);
}

}  // namespace zep
