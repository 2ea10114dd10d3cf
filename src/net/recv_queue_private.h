// Life of the receive queue, in the hands of the interface layer, and putting datagrams into it for
// those who must not write a line at that moment.
#pragma once

#include <zep_mqtt/net/recv_queue.h>

namespace zep {

// Makes the queue empty and creates its lock, unless a former life left one, and its semaphore. A
// failure is logged and leaves neither.
bool recv_queue_create();

// Drops every entry and the semaphore; the lock stays.
void recv_queue_stop();

// Destroys the lock. Waits for whoever is inside the queue; nobody enters any more. False when
// there is no lock.
bool recv_queue_destroy_lock();

// net_interface_enqueue() in two halves: the first writes no line, the second writes the line that
// belongs to its result. source is the entry's src_ip, terminated.
int32_t recv_queue_put(const net_queue_entry &entry);
void recv_queue_log_put(int32_t status, uint32_t length, const char *source, uint16_t port);

}  // namespace zep
