// What a message costs on its way out and in, without the network: encoding, decoding, the cipher,
// and a log line that is filtered.
#include <benchmark/benchmark.h>
#include <vector>

#include <zep_mqtt/crypto/payload_cipher.h>
#include <zep_mqtt/log/log.h>
#include <zep_mqtt/protocol/v311/decoder.h>
#include <zep_mqtt/protocol/v311/encoder.h>
#include <zep_mqtt/protocol/v50/publish.h>

namespace {

const bool g_quiet = (agent_log_set_level(AGENT_LOG_FATAL), true);

constexpr char TOPIC[] = "plant/7/line/3/temperature";

void set_bytes(benchmark::State &state) {
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

mqtt_packet publish_packet(const std::vector<uint8_t> &payload) {
    mqtt_packet packet = {};
    packet.type = MQTT_PACKET_PUBLISH;
    packet.body.publish.topic = TOPIC;
    packet.body.publish.payload = payload.data();
    packet.body.publish.payload_len = static_cast<uint32_t>(payload.size());
    return packet;
}

void encode_publish_311(benchmark::State &state) {
    const std::vector<uint8_t> payload(static_cast<size_t>(state.range(0)), 'x');
    const mqtt_packet packet = publish_packet(payload);
    uint8_t buffer[1100];
    for (auto _ : state) {
        uint32_t length = sizeof buffer;
        benchmark::DoNotOptimize(mqtt_packet_encode(MQTT_VERSION_311, &packet, buffer, &length));
    }
    set_bytes(state);
}

void decode_publish_311(benchmark::State &state) {
    const std::vector<uint8_t> payload(static_cast<size_t>(state.range(0)), 'x');
    const mqtt_packet packet = publish_packet(payload);
    uint8_t buffer[1100];
    uint32_t length = sizeof buffer;
    if (mqtt_packet_encode(MQTT_VERSION_311, &packet, buffer, &length) != 0) {
        state.SkipWithError("the packet does not encode");
        return;
    }
    for (auto _ : state) {
        mqtt_packet decoded;
        benchmark::DoNotOptimize(mqtt_packet_decode_v311(buffer, length, &decoded));
        message_free(&decoded.body.publish);
    }
    set_bytes(state);
}

void encode_and_decode_publish_50(benchmark::State &state) {
    const std::vector<uint8_t> payload(static_cast<size_t>(state.range(0)), 'x');
    mqtt50_publish publish = {};
    __builtin_memcpy(publish.topic, TOPIC, sizeof TOPIC);
    publish.payload = payload.data();
    publish.payload_len = static_cast<uint32_t>(payload.size());
    uint8_t buffer[1100];
    for (auto _ : state) {
        uint32_t length = sizeof buffer;
        benchmark::DoNotOptimize(mqtt50_publish_encode(&publish, buffer, &length));
        mqtt50_publish decoded;
        benchmark::DoNotOptimize(mqtt50_publish_decode(buffer, length, &decoded));
    }
    set_bytes(state);
}

void encrypt_and_decrypt(benchmark::State &state) {
    const std::vector<uint8_t> payload(static_cast<size_t>(state.range(0)), 'x');
    crypto_context context = {};
    context.algorithm = 3;
    context.key_len = 16;
    context.crc_enable = 1;
    uint8_t cipher[1100];
    uint8_t plain[1100];
    for (auto _ : state) {
        uint32_t length = sizeof cipher;
        (void)crypto_encrypt(&context, payload.data(), static_cast<uint32_t>(payload.size()),
                             cipher, &length);
        uint32_t plain_length = sizeof plain;
        benchmark::DoNotOptimize(crypto_decrypt(&context, cipher, length, plain, &plain_length));
    }
    set_bytes(state);
}

void filtered_log_line(benchmark::State &state) {
    for (auto _ : state) {
        agent_log(AGENT_LOG_DEBUG, "value %d", 7);
    }
}

BENCHMARK(encode_publish_311)->Arg(16)->Arg(256)->Arg(960);
BENCHMARK(decode_publish_311)->Arg(16)->Arg(256)->Arg(960);
BENCHMARK(encode_and_decode_publish_50)->Arg(16)->Arg(256)->Arg(960);
BENCHMARK(encrypt_and_decrypt)->Arg(16)->Arg(256)->Arg(960);
BENCHMARK(filtered_log_line);

}  // namespace
