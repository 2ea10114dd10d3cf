#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/log/log.h>
#include <zep_mqtt/platform/memory.h>
#include <zep_mqtt/protocol/v311/decoder.h>

#include "support/failing_malloc.h"
#include "support/guarded_bytes.h"

namespace {

using bytes = std::vector<uint8_t>;

bytes operator+(bytes left, const bytes &right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

bytes repeat(const bytes &part, int times) {
    bytes all;
    for (int i = 0; i < times; ++i) {
        all = all + part;
    }
    return all;
}

bool owns_something(const mqtt_packet &packet) {
    switch (packet.type) {
        case MQTT_PACKET_PUBLISH:
            return packet.body.publish.topic != nullptr || packet.body.publish.payload != nullptr;
        case MQTT_PACKET_SUBSCRIBE:
            return packet.body.subscribe.filters != nullptr ||
                   packet.body.subscribe.qos_list != nullptr;
        case MQTT_PACKET_SUBACK:
            return packet.body.suback.return_codes != nullptr;
        case MQTT_PACKET_UNSUBSCRIBE:
            return packet.body.unsubscribe.filters != nullptr;
        default:
            return false;
    }
}

void release(mqtt_packet &packet) {
    switch (packet.type) {
        case MQTT_PACKET_PUBLISH:
            message_free(&packet.body.publish);
            break;
        case MQTT_PACKET_SUBSCRIBE:
            subscribe_filters_free(packet.body.subscribe.filters,
                                   packet.body.subscribe.filter_count);
            platform_free(packet.body.subscribe.qos_list);
            break;
        case MQTT_PACKET_SUBACK:
            platform_free(packet.body.suback.return_codes);
            break;
        case MQTT_PACKET_UNSUBSCRIBE:
            subscribe_filters_free(packet.body.unsubscribe.filters,
                                   packet.body.unsubscribe.filter_count);
            break;
        default:
            break;
    }
}

// The record in words, every owned byte and every unused entry looked at; stops at a broken limit.
std::string filters_in_words(const char *const *filters, const uint32_t *qos_list, int32_t count) {
    EXPECT_TRUE(count >= 0 && count <= 16);
    std::string words;
    for (int32_t i = 0; i < 16; ++i) {
        EXPECT_EQ(filters[i] == nullptr, i >= count);
        if (i < count) {
            EXPECT_LE(std::strlen(filters[i]), 64U);
            words += std::string(" ") + filters[i];
        }
        if (qos_list != nullptr) {
            EXPECT_LE(qos_list[i], i < count ? 3U : 0U);
            words += i < count ? "=" + std::to_string(qos_list[i]) : "";
        }
    }
    return words;
}

std::string body_in_words(const mqtt_packet &packet) {
    const auto &body = packet.body;
    switch (packet.type) {
        case MQTT_PACKET_CONNACK:
            EXPECT_TRUE(body.connack.session_present <= 1 && body.connack.return_code <= 15);
            return "present " + std::to_string(body.connack.session_present) + " code " +
                   std::to_string(body.connack.return_code);
        case MQTT_PACKET_PUBLISH: {
            const mqtt_message &message = body.publish;
            EXPECT_LE(std::strlen(message.topic), 64U);
            EXPECT_EQ(message.payload == nullptr, message.payload_len == 0);
            EXPECT_LE(message.payload_len, 1024U);
            EXPECT_TRUE(message.qos == packet.qos && message.retain == packet.retain);
            std::string payload;
            for (uint32_t i = 0; i < message.payload_len; ++i) {
                payload += static_cast<char>(message.payload[i]);
            }
            return std::string(message.topic) + " id " + std::to_string(message.msg_id) + " '" +
                   payload + "'";
        }
        case MQTT_PACKET_SUBSCRIBE:
            return "id " + std::to_string(body.subscribe.msg_id) +
                   filters_in_words(body.subscribe.filters, body.subscribe.qos_list,
                                    body.subscribe.filter_count);
        case MQTT_PACKET_UNSUBSCRIBE:
            return "id " + std::to_string(body.unsubscribe.msg_id) +
                   filters_in_words(body.unsubscribe.filters, nullptr,
                                    body.unsubscribe.filter_count);
        case MQTT_PACKET_SUBACK: {
            EXPECT_TRUE(body.suback.code_count >= 0 && body.suback.code_count <= 16);
            std::string words = "id " + std::to_string(body.suback.msg_id);
            for (int32_t i = 0; i < 16; ++i) {
                EXPECT_LE(body.suback.return_codes[i], i < body.suback.code_count ? 255U : 0U);
                words += i < body.suback.code_count
                             ? " " + std::to_string(body.suback.return_codes[i])
                             : "";
            }
            return words;
        }
        case MQTT_PACKET_PINGREQ:
        case MQTT_PACKET_PINGRESP:
        case MQTT_PACKET_DISCONNECT:
            return "";
        default:
            return "id " + std::to_string(body.ack.msg_id);
    }
}

std::string in_words(const mqtt_packet &packet) {
    return std::to_string(packet.type) + " " + (packet.dup != 0 ? "dup " : "") + "qos " +
           std::to_string(packet.qos) + (packet.retain != 0 ? " retain" : "") + " len " +
           std::to_string(packet.remaining_len) + ": " + body_in_words(packet);
}

struct sample {
    bytes packet;
    std::string words;
};

std::vector<sample> samples() {
    const std::string sixteen = " f f f f f f f f f f f f f f f f";
    const bytes filter64 = bytes(64, 'f');
    return {
        {{0x20, 0x02, 0x00, 0x00}, "2 qos 0 len 2: present 0 code 0"},
        {{0x20, 0x02, 0xFF, 0x0F}, "2 qos 0 len 2: present 1 code 15"},
        {{0x30, 0x05, 0x00, 0x01, 't', 'h', 'i'}, "3 qos 0 len 5: t id 0 'hi'"},
        {{0x32, 0x05, 0x00, 0x01, 't', 0x00, 0x07}, "3 qos 1 len 5: t id 7 ''"},
        {{0x3D, 0x06, 0x00, 0x01, 't', 0xAB, 0xCD, 'p'},
         "3 dup qos 2 retain len 6: t id 43981 'p'"},
        {bytes{0x30, 0x80, 0x08, 0x00, 0x40} + filter64 + bytes(958, 'p'),
         "3 qos 0 len 1024: " + std::string(64, 'f') + " id 0 '" + std::string(958, 'p') + "'"},
        {{0x40, 0x02, 0x12, 0x34}, "4 qos 0 len 2: id 4660"},
        {{0x40, 0x82, 0x80, 0x00, 0x12, 0x34}, "4 qos 0 len 2: id 4660"},
        {{0x50, 0x03, 0x00, 0x00, 0x99}, "5 qos 0 len 3: id 0"},
        {{0x62, 0x02, 0x00, 0x80}, "6 qos 1 len 2: id 128"},
        {{0x70, 0x02, 0xFF, 0xFF}, "7 qos 0 len 2: id 65535"},
        {{0x82, 0x0C, 0x00, 0x02, 0, 3, 'a', '/', '#', 1, 0, 0, 0xFE, 0x77},
         "refused: half a filter length"},
        {{0x82, 0x0B, 0x00, 0x02, 0, 3, 'a', '/', '#', 1, 0, 0, 0xFE},
         "8 qos 1 len 11: id 2 a/#=1 =2"},
        {{0x82, 0x02, 0x00, 0x02}, "8 qos 1 len 2: id 2"},
        {{0x90, 0x05, 0x00, 0x02, 0x00, 0x80, 0xFF}, "9 qos 0 len 5: id 2 0 128 255"},
        {{0x90, 0x02, 0x00, 0x02}, "9 qos 0 len 2: id 2"},
        {bytes{0x90, 0x16, 0x00, 0x02} + bytes(20, 1),
         "9 qos 0 len 22: id 2 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1"},
        {bytes{0xA2, 0x44, 0x00, 0x03, 0x00, 0x40} + filter64,
         "10 qos 1 len 68: id 3 " + std::string(64, 'f')},
        {bytes{0xA2, 0x36, 0x00, 0x03} + repeat({0, 1, 'f'}, 17) + bytes{0xFF},
         "10 qos 1 len 54: id 3" + sixteen},
        {{0xB0, 0x02, 0x00, 0x03}, "11 qos 0 len 2: id 3"},
        {{0xC0, 0x00}, "12 qos 0 len 0: "},
        {{0xD0, 0x00}, "13 qos 0 len 0: "},
        {{0xE0, 0x00}, "14 qos 0 len 0: "},
        {{0x20, 0x02, 0x01, 0x10}, "refused: return code 16"},
        {{0x20, 0x01, 0x01}, "refused: no return code"},
        {bytes{0x30, 0x43, 0x00, 0x41} + bytes(65, 't'), "refused: topic of 65 bytes"},
        {{0x30, 0x02, 0x00, 0x00}, "refused: empty topic"},
        {{0x32, 0x04, 0x00, 0x01, 't', 0x00}, "refused: half an identifier"},
        {bytes{0x30, 0x81, 0x08, 0x00, 0x01, 't'} + bytes(1022, 'p'), "refused: 1025 bytes"},
        {{0x40, 0x01, 0x12, 0x34}, "refused: half an identifier in the packet"},
        {{0x82, 0x01, 0x00, 0x02}, "refused: half an identifier in the packet"},
        {{0x82, 0x06, 0x00, 0x02, 0, 1, 'f', 1, 0, 1, 'g', 1, 1}, "8 qos 1 len 6: id 2 f=1"},
        {{0x82, 0x06, 0x00, 0x02, 0, 2, 'f', 'g', 1}, "refused: QoS behind the packet"},
        {bytes{0xA2, 0x45, 0x00, 0x03, 0x00, 0x41} + bytes(65, 'f'), "refused: filter of 65 bytes"},
        {{0xD0, 0x01, 0x00}, "refused: PINGRESP with a body"},
        {{0xF0, 0x00}, "refused: type 15"},
        {{0x00, 0x00}, "refused: type 0"},
        {{0x10, 0x02, 0x00, 0x04}, "refused: CONNECT"},
    };
}

bool is_refusal(const sample &row) {
    return row.words.rfind("refused", 0) == 0;
}

// Decodes bytes that end before a guard page, and releases what was decoded.
std::string decoded(const bytes &input, size_t length) {
    const zep_test::guarded_bytes guarded(bytes(input.data(), input.data() + length));
    mqtt_packet packet;
    std::memset(&packet, 0xEE, sizeof packet);
    const int32_t status = mqtt_packet_decode_v311(guarded.data(), guarded.size(), &packet);
    if (status != MQTT_OK) {
        EXPECT_EQ(status, MQTT_ERR_INVALID_PARAM);
        EXPECT_TRUE(length == 0 || packet.type == input[0] >> 4);
        EXPECT_FALSE(length != 0 && owns_something(packet));
        return "refused";
    }
    const std::string words = in_words(packet);
    release(packet);
    return words;
}

class v311_decoder : public testing::Test {
 protected:
    void SetUp() override { agent_log_set_level(AGENT_LOG_FATAL); }
};

TEST_F(v311_decoder, packets_and_their_truncations) {
    for (const sample &row : samples()) {
        EXPECT_EQ(decoded(row.packet, row.packet.size()), is_refusal(row) ? "refused" : row.words)
            << row.words;
        const bool is_short = row.packet[1] < 0x80;
        const size_t end = is_short ? 2U + row.packet[1] : row.packet.size();
        for (size_t length = 0; length < end; ++length) {
            ASSERT_EQ(decoded(row.packet, length), "refused") << row.words << " cut to " << length;
        }
    }
}

TEST_F(v311_decoder, mutated_packets_stay_within_the_limits) {
    std::mt19937 random(311);
    for (const sample &row : samples()) {
        const size_t size = row.packet.size();
        for (size_t at = 0; at < size; at += at < 16 ? 1 : 1 + size / 16) {
            for (int value = 0; value < 256; ++value) {
                bytes mutated = row.packet;
                mutated[at] = static_cast<uint8_t>(value);
                decoded(mutated, size);
            }
        }
        for (int round = 0; round < 1000; ++round) {
            bytes mutated = row.packet;
            for (int change = 0; change < 3; ++change) {
                mutated[random() % size] = static_cast<uint8_t>(random() % 2 == 0 ? random() : 1);
            }
            decoded(mutated, random() % (size + 1));
        }
    }
}

TEST_F(v311_decoder, every_failing_allocation_leaves_a_record_that_owns_nothing) {
    for (const sample &row : samples()) {
        const uint64_t before = zep_test::allocations_made();
        decoded(row.packet, row.packet.size());
        const uint64_t needed = is_refusal(row) ? 0 : zep_test::allocations_made() - before;
        for (uint64_t n = 0; n < needed; ++n) {
            mqtt_packet packet;
            const zep_test::failing_malloc failing(n);
            EXPECT_EQ(mqtt_packet_decode_v311(row.packet.data(),
                                              static_cast<uint32_t>(row.packet.size()), &packet),
                      MQTT_ERR_NO_MEMORY)
                << row.words;
            EXPECT_TRUE(failing.has_failed());
            EXPECT_FALSE(owns_something(packet)) << row.words;
        }
    }
}

TEST_F(v311_decoder, arguments) {
    const uint8_t ping[] = {0xC0, 0x00};
    mqtt_packet packet;
    EXPECT_EQ(mqtt_packet_decode_v311(nullptr, 2, &packet), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(mqtt_packet_decode_v311(ping, 2, nullptr), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(mqtt_packet_decode_v311(ping, 0, &packet), MQTT_ERR_INVALID_PARAM);
    subscribe_filters_free(nullptr, 3);
    subscribe_filters_free(static_cast<const char **>(platform_malloc(16)), -1);
}

}  // namespace
