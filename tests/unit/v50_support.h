// What the tests of the 5.0 codec share.
#pragma once

#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "support/guarded_bytes.h"
#include "support/log_capture.h"
#include "support/packets.h"

namespace zep_test {

// A log with the prefix of the 5.0 codec left out of its lines: "ERROR text\n".
inline std::string short_log(log_capture &log) {
    std::string lines = log.take();
    const std::string prefix = "] MQTT5.0_PROTOCOL:";
    for (size_t at = lines.find(prefix); at != std::string::npos; at = lines.find(prefix)) {
        lines.erase(at, prefix.size());
        lines.erase(lines.rfind('[', at), 1);
    }
    return lines;
}

// Cuts a packet of less than 128 bytes everywhere, up against a guard page: decode(data, size) must
// refuse what is cut, and stay inside what is cut and has a remaining length to match.
template <typename Decode>
void expect_truncations_refused(const char *packet_text, Decode decode) {
    const bytes packet = lay(packet_text);
    for (size_t size = 0; size < packet.size(); ++size) {
        const guarded_bytes input(bytes(packet.begin(), packet.begin() + static_cast<long>(size)));
        EXPECT_NE(decode(input.data(), input.size()), 0) << packet_text << " cut to " << size;
        if (size >= 2) {
            input.data()[1] = static_cast<uint8_t>(size - 2);
            (void)decode(input.data(), input.size());
        }
    }
}

}  // namespace zep_test
