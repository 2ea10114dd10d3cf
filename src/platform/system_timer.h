// A periodic timer on the backend's alarm: a thread that waits for deadlines on the monotonic
// clock. What an expiry means is its owner's business.
#pragma once

#include <cstdint>

namespace zep {

struct system_timer;

using system_timer_hook = void (*)(void *owner);

// Starts the timer's thread. expired runs on it, without a lock, until no expiry is due any more:
// it takes the expiry that it answers with system_timer_take_expiry(). Returns 0, or the system's
// error code; there is no timer then.
int system_timer_create(system_timer_hook expired, void *owner, system_timer **out_timer);

// The first expiry is due at once, the next one period later. Returns 0 or the system's error code.
int system_timer_arm(system_timer *timer, uint32_t period_ms);

// Returns 0 or the system's error code.
int system_timer_cancel(system_timer *timer);

// Moves on to the first deadline that is still to come, if one has passed.
void system_timer_take_expiry(system_timer *timer);

// Waits until the thread has ended, releases the timer and calls closed(owner), unless it is null.
// On the timer's own thread it returns at once, and all this follows when expired has returned.
void system_timer_close(system_timer *timer, system_timer_hook closed);

}  // namespace zep
