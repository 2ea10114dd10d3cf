// Packets larger than the exported functions make, blocks and texts of any length; and where a
// received packet ends.
#include <gtest/gtest.h>

#include "protocol/common/packet_writer.h"
#include "protocol/v311/decode.h"
#include "protocol/v50/decode.h"
#include "protocol/v50/encode.h"
#include "support/guarded_bytes.h"
#include "support/packets.h"

namespace {

using zep_test::bytes;
using zep_test::lay;

// Lays a packet out in every buffer around its size; only those that hold it say so.
template <typename Write>
void expect_packet(const char *text, uint8_t first, Write write) {
    const bytes expected = lay(text);
    for (size_t capacity = 0; capacity <= expected.size() + 1; ++capacity) {
        const zep_test::guarded_bytes buffer(capacity);
        zep::packet_writer packet(buffer.data(), capacity, first);
        write(packet);
        ASSERT_EQ(packet.finish(), capacity >= expected.size()) << capacity;
        if (packet.ok()) {
            EXPECT_EQ(bytes(buffer.data(), buffer.data() + packet.size()), expected);
        }
    }
}

TEST(packet_writer, blocks_and_texts_of_any_length) {
    expect_packet("e0 82 02 04 8001 61*128 7e 62*126", 0xe0, [](zep::packet_writer &packet) {
        packet.u8(4);
        for (const auto &[byte, size] : {std::pair{0x61, 128U}, {0x62, 126U}}) {
            const size_t block = packet.begin_block();
            const bytes content(size, static_cast<uint8_t>(byte));
            packet.bytes(content.data(), content.size());
            packet.end_block(block);
        }
    });
    const std::string topic(300, 't');
    zep::publish_view publish;
    publish.topic = topic;
    publish.qos = 1;
    publish.msg_id = 0x0102;
    publish.message_expiry = 7;
    publish.payload = zep::bytes_of("hi");
    expect_packet("32 b802 012c 74*300 0102 05 02 00000007 'hi'", 0x32,
                  [&](zep::packet_writer &packet) { zep::v50::write_publish(packet, publish); });
}

TEST(packet_view, texts_of_any_length) {
    const bytes packet = lay("3b b802 012c 74*300 0102 05 02 00000007 'hi'");
    const auto size = static_cast<uint32_t>(packet.size());
    zep::publish_view publish;
    zep::byte_reader properties(nullptr, 0);
    EXPECT_EQ(
        zep::v50::read_publish(zep::open_packet(packet.data(), size, 400), &publish, &properties),
        zep::v50::publish_fault::none);
    EXPECT_EQ(publish.topic, std::string(300, 't'));
    EXPECT_TRUE(publish.dup && publish.retain && publish.qos == 1 && publish.msg_id == 0x0102);
    EXPECT_EQ(publish.payload.text(), "hi");
    EXPECT_EQ(properties.left(), 5U);
    const bytes older = lay("3b b002 012c 74*300 0102 'hi'");
    zep::publish_view same;
    EXPECT_TRUE(zep::v311::read_publish(
        zep::open_packet(older.data(), static_cast<uint32_t>(older.size()), 400), &same));
    EXPECT_EQ(same.topic, publish.topic);
    EXPECT_TRUE(same.dup && same.retain && same.qos == 1 && same.msg_id == 0x0102);
    EXPECT_FALSE(zep::open_packet(packet.data(), size, 311).body.ok());
    EXPECT_FALSE(zep::open_packet(packet.data(), size - 1, 400).body.ok());
}

TEST(framing, where_a_packet_ends) {
    using zep::frame_kind;
    const struct {
        const char *received;
        uint32_t limit;
        frame_kind kind;
        uint32_t length;
        bool readable;
    } rows[] = {
        {"", 1024, frame_kind::incomplete, 0, false},
        {"30", 1024, frame_kind::incomplete, 0, false},
        {"30 80 80 80", 1024, frame_kind::incomplete, 0, false},
        {"30 80 80 80 80", 1024, frame_kind::malformed, 0, false},
        {"30 02 00", 1024, frame_kind::incomplete, 0, false},
        {"30 02 00 00 ff", 1024, frame_kind::whole, 4, true},
        {"30 82 80 00 00 00", 1024, frame_kind::whole, 6, true},
        {"30 82 80 80 00 00 00", 1024, frame_kind::whole, 7, false},
        {"30 81 08", 1024, frame_kind::oversized, 1028, false},
        {"30 ff ff ff 7f", 1024, frame_kind::oversized, 268435460, false},
        // Of 1,028 bytes, and of one more, which the receive buffer cannot hold.
        {"30 81 08", 1025, frame_kind::incomplete, 0, false},
        {"30 81 88 00", 1025, frame_kind::oversized, 1029, false},
    };
    for (const auto &row : rows) {
        const zep_test::guarded_bytes received(lay(row.received));
        const zep::frame found = zep::find_frame(received.data(), received.size(), row.limit);
        EXPECT_EQ(found.kind, row.kind) << row.received;
        EXPECT_EQ(found.packet.length, row.length) << row.received;
        EXPECT_EQ(found.packet.data != nullptr && found.packet.body.ok(), row.readable);
    }
    EXPECT_EQ(zep::received_remaining_max(MQTT_VERSION_311), 1024U);
    EXPECT_EQ(zep::received_remaining_max(MQTT_VERSION_50), 1025U);
}

}  // namespace
