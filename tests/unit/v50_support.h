// What the tests of the 5.0 codec share.
#pragma once

#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <string>

#include <zep_mqtt/log/log.h>

#include "support/guarded_bytes.h"
#include "support/log_capture.h"
#include "support/packets.h"

namespace zep_test {

// A log with the prefix of the 5.0 codec left out of its lines: "ERROR text\n".
inline std::string short_log(log_capture &log) {
    std::string lines = log.take();
    const std::string prefix = "] MQTT5.0_PROTOCOL:";
    for (size_t at = lines.find(prefix); at != std::string::npos; at = lines.find(prefix)) {
        const size_t start = lines.rfind('[', at);
        lines.erase(at, prefix.size());
        lines.erase(start, 1);
    }
    return lines;
}

// Runs decode(data, size) over every truncation of a packet, over the packet with every value in
// every byte, and over many packets with three bytes changed, each up against a guard page.
template <typename Decode>
void for_each_damaged(const char *packet_text, Decode decode) {
    const bytes packet = lay(packet_text);
    agent_log_set_level(AGENT_LOG_FATAL);
    for (size_t size = 0; size <= packet.size(); ++size) {
        const guarded_bytes input(bytes(packet.begin(), packet.begin() + static_cast<long>(size)));
        decode(input.data(), input.size());
    }
    const guarded_bytes input(packet);
    for (size_t at = 0; at < packet.size(); ++at) {
        for (unsigned value = 0; value < 256; ++value) {
            input.data()[at] = static_cast<uint8_t>(value);
            decode(input.data(), input.size());
        }
        input.data()[at] = packet[at];
    }
    std::minstd_rand random(1);
    for (unsigned round = 0; round < 20000; ++round) {
        std::memcpy(input.data(), packet.data(), packet.size());
        for (unsigned change = 0; change < 3; ++change) {
            input.data()[random() % packet.size()] = static_cast<uint8_t>(random() >> 8);
        }
        decode(input.data(), input.size());
    }
    agent_log_set_level(AGENT_LOG_DEBUG);
}

}  // namespace zep_test
