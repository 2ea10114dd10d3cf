// The argument checks that the send and receive functions of every interface share.
#pragma once

#include <cstdint>
#include <cstring>

#include <zep_mqtt/net/recv_queue.h>
#include <zep_mqtt/net/socket.h>

namespace zep {

inline bool datagram_length_valid(uint32_t length) {
    return length >= 1 && length <= NET_DATAGRAM_MAX_SIZE;
}

inline bool send_arguments_valid(const char *address, uint16_t port, const uint8_t *data,
                                 uint32_t length) {
    return address != nullptr && address[0] != '\0' &&
           strnlen(address, NET_IPV4_TEXT_SIZE) < NET_IPV4_TEXT_SIZE && port != 0 &&
           data != nullptr && datagram_length_valid(length);
}

inline bool recv_arguments_valid(const uint8_t *buffer, uint32_t size, const uint32_t *out_length,
                                 const char *out_address, const uint16_t *out_port) {
    return buffer != nullptr && size != 0 && out_length != nullptr && out_address != nullptr &&
           out_port != nullptr;
}

inline void clear_recv_outputs(uint32_t *out_length, char *out_address, uint16_t *out_port) {
    *out_length = 0;
    std::memset(out_address, 0, NET_IPV4_TEXT_SIZE);
    *out_port = 0;
}

// What a log line shows for a text that may be missing.
inline const char *shown(const char *text) {
    return text == nullptr ? "(null)" : text;
}

}  // namespace zep
