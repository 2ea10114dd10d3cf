// MQTT packets laid by hand, as short texts: hexadecimal bytes, 'text' for ASCII, "id" for the two
// bytes of a packet identifier, and "61*64" for a byte 64 times. Blanks separate.
#pragma once

#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace zep_test {

using bytes = std::vector<uint8_t>;

// The bytes that such a text stands for.
inline bytes lay(const std::string &text, unsigned id = 0) {
    bytes packet;
    for (size_t at = 0; at < text.size();) {
        if (text[at] == ' ') {
            at++;
        } else if (text[at] == '\'') {
            const size_t end = text.find('\'', at + 1);
            packet.insert(packet.end(), text.begin() + static_cast<std::ptrdiff_t>(at) + 1,
                          text.begin() + static_cast<std::ptrdiff_t>(end));
            at = end + 1;
        } else if (text[at] == '*') {
            char *end = nullptr;
            const auto count = std::strtoul(text.c_str() + at + 1, &end, 10);
            packet.insert(packet.end(), count - 1, packet.back());
            at = static_cast<size_t>(end - text.c_str());
        } else if (text.compare(at, 2, "id") == 0) {
            packet.insert(packet.end(),
                          {static_cast<uint8_t>(id >> 8), static_cast<uint8_t>(id & 0xFF)});
            at += 2;
        } else {
            packet.push_back(
                static_cast<uint8_t>(std::strtoul(text.substr(at, 2).c_str(), nullptr, 16)));
            at += 2;
        }
    }
    return packet;
}

// Packets as they may stand in one segment.
inline bytes joined(const std::vector<bytes> &packets) {
    bytes stream;
    for (const bytes &packet : packets) {
        stream.insert(stream.end(), packet.begin(), packet.end());
    }
    return stream;
}

// The packets whose layout differs between the versions. Messages are 'hi' on topic 't', the filter
// is 'a/#' at QoS 1; PUBLISH reads the same in both directions.
struct dialect {
    uint32_t version;
    const char *connect;  // client c1, keep-alive 60, clean start
    const char *connack;
    const char *connack_present;  // with session present
    const char *connack_refused;
    const char *publish0;
    const char *publish1;
    const char *publish2;
    const char *publish1_dup;
    const char *publish2_dup;
    const char *pubrel_again;
    const char *subscribe;
    const char *suback;
    const char *suback_failed;
    const char *unsubscribe;
    const char *unsuback;
    const char *disconnect;         // ours
    const char *broker_disconnect;  // the broker's
};

inline constexpr dialect V311 = {4,
                                 "10 0e 0004 'MQTT' 04 02 003c 0002 'c1'",
                                 "20 02 00 00",
                                 "20 02 01 00",
                                 "20 02 00 05",
                                 "30 05 0001 't' 'hi'",
                                 "32 07 0001 't' id 'hi'",
                                 "34 07 0001 't' id 'hi'",
                                 "3a 07 0001 't' id 'hi'",
                                 "3c 07 0001 't' id 'hi'",
                                 "62 02 id",
                                 "82 08 id 0003 'a/#' 01",
                                 "90 03 id 01",
                                 "90 03 id 80",
                                 "a2 07 id 0003 'a/#'",
                                 "b0 02 id",
                                 "e0 00",
                                 "e0 00"};

inline constexpr dialect V50 = {5,
                                "10 0f 0004 'MQTT' 05 02 003c 00 0002 'c1'",
                                "20 03 00 00 00",
                                "20 03 01 00 00",
                                "20 03 00 87 00",
                                "30 06 0001 't' 00 'hi'",
                                "32 08 0001 't' id 00 'hi'",
                                "34 08 0001 't' id 00 'hi'",
                                "3a 08 0001 't' id 00 'hi'",
                                "3c 08 0001 't' id 00 'hi'",
                                "62 03 id 00",
                                "82 09 id 00 0003 'a/#' 01",
                                "90 04 id 00 01",
                                "90 04 id 00 80",
                                "a2 08 id 00 0003 'a/#'",
                                "b0 04 id 00 00",
                                "e0 02 00 00",
                                "e0 01 8b"};

// The same in both versions.
inline constexpr const char *PUBACK = "40 02 id";
inline constexpr const char *PUBREC = "50 02 id";
inline constexpr const char *PUBREL = "62 02 id";
inline constexpr const char *PUBCOMP = "70 02 id";
inline constexpr const char *PINGREQ = "c0 00";
inline constexpr const char *PINGRESP = "d0 00";

}  // namespace zep_test
