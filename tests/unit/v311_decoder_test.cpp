#include <cstring>
#include <gtest/gtest.h>
#include <optional>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/log/log.h>
#include <zep_mqtt/protocol/v311/decoder.h>
#include <zep_mqtt/protocol/v311/encoder.h>

#include "support/failing_malloc.h"
#include "support/guarded_bytes.h"
#include "support/packet_release.h"
#include "support/packets.h"

namespace {

using zep_test::bytes;
using zep_test::lay;

// What is decoded is seen by what it encodes to, which the encoder's own tests hold to bytes laid
// by hand.
constexpr const char *SAME = "the same";
constexpr const char *REFUSED = nullptr;
const std::pair<const char *, const char *> ROWS[] = {
    {"20 02 ff 0f", "20 02 01 0f"},
    {"20 02 01 10", REFUSED},
    {"3b 06 0001't' 0080 'p'", SAME},
    {"30 8008 0040 66*64 70*958", SAME},
    {"30 8108 0001't' 70*1022", REFUSED},
    {"30 43 0041 66*65", REFUSED},
    {"32 04 0001't' 0007", REFUSED},
    {"40 828000 1234", "40 02 1234"},
    {"50 03 0000 99", "50 02 0000"},
    {"82 02 0002", ""},
    {"82 0b 0002 0003'a/#'01 0000 fe", "82 0b 0002 0003'a/#'01 0000 02"},
    {"82 06 0002 0001'f'01 0001'g'01", "82 06 0002 0001'f'01"},
    {"82 06 0002 0002'fg' 01", REFUSED},
    {"90 05 0002 00 80 ff", SAME},
    {"90 16 0002 01*20", "90 12 0002 01*16"},
    {"a2 45 0003 0041 66*65", REFUSED},
    {"a2 24 0003 00*34", "a2 22 0003 00*32"},
    {"c0 00", SAME},
    {"d0 01 00", REFUSED},
    {"f0 00", REFUSED},
    {"10 02 0004", REFUSED},
};

void expect_owns_nothing(const mqtt_packet &packet) {
    const auto &body = packet.body;
    EXPECT_FALSE(packet.type == MQTT_PACKET_PUBLISH &&
                 (body.publish.topic != nullptr || body.publish.payload != nullptr));
    EXPECT_FALSE(packet.type == MQTT_PACKET_SUBSCRIBE &&
                 (body.subscribe.filters != nullptr || body.subscribe.qos_list != nullptr));
    EXPECT_FALSE(packet.type == MQTT_PACKET_SUBACK && body.suback.return_codes != nullptr);
    EXPECT_FALSE(packet.type == MQTT_PACKET_UNSUBSCRIBE && body.unsubscribe.filters != nullptr);
}

// Decodes bytes that end before a guard page and encodes the record again, which gives no bytes
// when the encoder does not take it; no value when the decoder refuses.
std::optional<bytes> recoded(const bytes &input, size_t length, int32_t refusal = -101) {
    const zep_test::guarded_bytes guarded(bytes(input.data(), input.data() + length));
    mqtt_packet packet;
    std::memset(&packet, 0xEE, sizeof packet);
    const int32_t status = mqtt_packet_decode_v311(guarded.data(), guarded.size(), &packet);
    if (status != MQTT_OK) {
        EXPECT_EQ(status, refusal);
        if (length != 0) {
            EXPECT_EQ(packet.type, input[0] >> 4);
            expect_owns_nothing(packet);
        }
        return std::nullopt;
    }
    bytes room(1100);
    uint32_t size = 1100;
    room.resize(mqtt_packet_encode_v311(&packet, room.data(), &size) == MQTT_OK ? size : 0);
    zep_test::release(packet);
    return room;
}

TEST(v311_decoder, packets_their_truncations_and_failing_allocations) {
    agent_log_set_level(AGENT_LOG_FATAL);
    for (const auto &[text, again] : ROWS) {
        const bytes packet = lay(text);
        const uint64_t before = zep_test::allocations_made();
        const std::optional<bytes> got = recoded(packet, packet.size());
        const uint64_t needed = zep_test::allocations_made() - before;
        EXPECT_EQ(got.has_value(), again != REFUSED) << text;
        if (again != REFUSED) {
            EXPECT_EQ(got, again == SAME ? packet : lay(again)) << text;
        }
        const size_t end = packet[1] < 0x80 ? 2U + packet[1] : packet.size();
        for (size_t length = 0; length < end; ++length) {
            ASSERT_FALSE(recoded(packet, length).has_value()) << text << " cut to " << length;
        }
        for (uint64_t n = 0; got.has_value() && n < needed; ++n) {
            const zep_test::failing_malloc failing(n);
            EXPECT_FALSE(recoded(packet, packet.size(), MQTT_ERR_NO_MEMORY).has_value()) << text;
        }
    }
}

TEST(v311_decoder, arguments_and_what_encoding_does_not_show) {
    const bytes connack = lay("20 02 ff 0f");
    mqtt_packet packet;
    EXPECT_EQ(mqtt_packet_decode_v311(nullptr, 4, &packet), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(mqtt_packet_decode_v311(connack.data(), 4, nullptr), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(mqtt_packet_decode_v311(connack.data(), 4, &packet), MQTT_OK);
    EXPECT_EQ(packet.body.connack.session_present, 1);
    EXPECT_EQ(packet.remaining_len, 2U);
}

}  // namespace
