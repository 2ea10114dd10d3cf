// Life of the receive queue, in the hands of the interface layer.
#pragma once

namespace zep {

// Makes the queue empty and creates its lock, unless a former life left one, and its semaphore. A
// failure is logged and leaves neither.
bool recv_queue_create();

// Drops every entry and the semaphore; the lock stays.
void recv_queue_stop();

// Destroys the lock. Waits for whoever is inside the queue; nobody enters any more. False when
// there is no lock.
bool recv_queue_destroy_lock();

}  // namespace zep
