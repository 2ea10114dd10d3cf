// Topic, filter, UTF-8 and Remaining Length checks on any bytes, and the store behind them.
#include <string>

#include <zep_mqtt/protocol/v311/session.h>
#include <zep_mqtt/protocol/v311/validate.h>
#include <zep_mqtt/protocol/v311/wire.h>
#include <zep_mqtt/topic/subscription_store.h>

#include "fuzz/fuzz_support.h"

namespace {

mqtt_session &session() {
    static mqtt_session instance = [] {
        mqtt_session made;
        FUZZ_CHECK(mqtt_session_init(&made, "fuzz", 1, 60) == 0);
        return made;
    }();
    return instance;
}

void check_validators(const std::string &text) {
    if (mqtt_topic_validate(text.c_str(), 0) == 0) {
        FUZZ_CHECK(!text.empty() && text.size() <= 64);
        FUZZ_CHECK(text.find_first_of("+#") == std::string::npos);
        FUZZ_CHECK(mqtt_topic_validate(text.c_str(), 1) == 0);
    }
    if (mqtt_topic_validate(text.c_str(), 1) == 0) {
        const size_t hash = text.find('#');
        FUZZ_CHECK(hash == std::string::npos || hash + 1 == text.size());
    }
}

// What is added can be removed once, and the count follows.
void check_store(const std::string &text) {
    const uint8_t before = g_mqtt_sub_ctx.count;
    if (mqtt_subscribe_add(&session(), text.c_str(), 1) != 0) {
        FUZZ_CHECK(g_mqtt_sub_ctx.count == before);
        return;
    }
    FUZZ_CHECK(g_mqtt_sub_ctx.count == before + 1);
    FUZZ_CHECK(mqtt_subscribe_remove(&session(), text.c_str()) == 0);
    FUZZ_CHECK(mqtt_subscribe_remove(&session(), text.c_str()) == -105);
    FUZZ_CHECK(g_mqtt_sub_ctx.count == before);
}

void check_remaining_length(const uint8_t *data, size_t size) {
    uint32_t value = 0;
    const int32_t used = decode_remaining_len(data, static_cast<int32_t>(size), &value);
    if (used > 0) {
        FUZZ_CHECK(used <= 3 && value <= 1024 && static_cast<size_t>(used) <= size);
        uint8_t encoded[4];
        FUZZ_CHECK(mqtt_write_remaining_length(encoded, value) <= static_cast<uint32_t>(used));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string text(reinterpret_cast<const char *>(data),
                           strnlen(reinterpret_cast<const char *>(data), size));
    check_validators(text);
    check_store(text);
    check_remaining_length(data, size);
    (void)utf8_validate(reinterpret_cast<const char *>(data), static_cast<int32_t>(size));
    char shared[64];
    const size_t cut = text.find('/');
    if (cut != std::string::npos &&
        mqtt_topic_client_build_shared(text.c_str() + cut + 1, text.substr(0, cut).c_str(),
                                       shared) == 0) {
        FUZZ_CHECK(strnlen(shared, sizeof shared) < sizeof shared);
    }
    return 0;
}
