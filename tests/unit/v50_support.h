// What the tests of the 5.0 codec share: encoders run into a guarded buffer, decoders run over
// damaged packets.
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

struct encoding {
    int32_t status;
    bytes packet;
    bool rest_is_clear;
    std::string log;
};

// Runs encode(buffer, &length) with a buffer of that many bytes. A refusal must leave buffer and
// length as they were.
template <typename Encode>
encoding run_encoder(uint32_t capacity, Encode encode) {
    const guarded_bytes buffer(capacity);
    std::memset(buffer.data(), 0xAA, capacity);
    uint32_t length = capacity;
    log_capture log;
    encoding result = {encode(buffer.data(), &length), {}, true, {}};
    result.log = log.take();
    if (result.status != 0) {
        EXPECT_EQ(length, capacity);
        EXPECT_EQ(bytes(buffer.data(), buffer.data() + capacity), bytes(capacity, 0xAA));
        return result;
    }
    EXPECT_LE(length, capacity);
    result.packet.assign(buffer.data(), buffer.data() + length);
    for (uint32_t i = length; i < capacity; ++i) {
        result.rest_is_clear = result.rest_is_clear && buffer.data()[i] == 0;
    }
    return result;
}

template <typename Record>
using encoder = int32_t (*)(const Record *, uint8_t *, uint32_t *);

template <typename Record>
encoding encode(encoder<Record> encode_record, const Record &record, uint32_t capacity) {
    return run_encoder(capacity, [&](uint8_t *buffer, uint32_t *length) {
        return encode_record(&record, buffer, length);
    });
}

// Each pointer null in turn is refused with the same line.
template <typename Record>
void expect_null_pointers_refused(encoder<Record> encode_record, const char *text) {
    const Record record = {};
    uint8_t buffer[512];
    uint32_t length = sizeof buffer;
    zep_test::log_capture log;
    EXPECT_EQ(encode_record(nullptr, buffer, &length), -101);
    EXPECT_EQ(encode_record(&record, nullptr, &length), -101);
    EXPECT_EQ(encode_record(&record, buffer, nullptr), -101);
    const std::string line = std::string("[ERROR] MQTT5.0_PROTOCOL: ") + text + "\n";
    EXPECT_EQ(log.take(), line + line + line);
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
