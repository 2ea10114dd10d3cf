// What the ETH interface offers to the interface layer and shares between its own parts.
#pragma once

#include <cstdint>

#include <zep_mqtt/net/eth.h>

namespace zep {

// The socket set. It is guarded by g_sock_set_mutex.

// Ends the watching of a socket without a line. False when the set has no lock, and thus no socket.
bool eth_unwatch(int32_t sock);

// The same for a caller that holds the set's lock.
void eth_unwatch_locked(int32_t sock);

// For a caller that holds the set's lock.
bool eth_is_watched_locked(int32_t sock);

void eth_log_unwatched(int32_t sock);

// Destroys the set's lock and empties the set. Nobody uses the set any more.
void eth_socket_set_release();

// Closes a socket whose number may be given to another one at once: it leaves the set, and loses
// the client's mark, first.
void eth_close_socket(int32_t sock);

}  // namespace zep
