#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/decoder.h>

#include "core/heap_copy.h"
#include "core/limits.h"
#include "protocol/v311/decode.h"

namespace zep::v311 {
namespace {

// The filters decoded so far, released with their array unless they are taken over.
class filter_list {
 public:
    filter_list() : texts_(heap_zeroed<const char *>(MQTT_PACKET_MAX_ENTRIES)) {}
    ~filter_list() { subscribe_filters_free(texts_.release(), count_); }
    filter_list(const filter_list &) = delete;
    filter_list &operator=(const filter_list &) = delete;

    bool has_array() const { return texts_ != nullptr; }
    bool is_full() const { return count_ == MQTT_PACKET_MAX_ENTRIES; }
    int32_t count() const { return count_; }
    const char **take() { return texts_.release(); }

    int32_t add_copy(std::string_view text) {
        texts_[static_cast<size_t>(count_)] = heap_text(text).release();
        if (texts_[static_cast<size_t>(count_)] == nullptr) {
            return MQTT_ERR_NO_MEMORY;
        }
        ++count_;
        return MQTT_OK;
    }

 private:
    heap_ptr<const char *[]> texts_;
    int32_t count_ = 0;
};

// Each filter is followed by its requested QoS when there is a list for them.
int32_t decode_filters(byte_reader &body, filter_list &filters, uint32_t *qos_list) {
    while (body.left() != 0 && !filters.is_full()) {
        const std::string_view filter = body.field().text();
        if (qos_list != nullptr) {
            qos_list[filters.count()] = body.u8() & 3;
        }
        if (!body.ok() || filter.size() > TOPIC_MAX) {
            return MQTT_ERR_INVALID_PARAM;
        }
        const int32_t status = filters.add_copy(filter);
        if (status != MQTT_OK) {
            return status;
        }
    }
    return MQTT_OK;
}

}  // namespace

int32_t decode_subscribe(const packet_view &packet, mqtt_packet *record) {
    mqtt_packet_subscribe &subscribe = record->body.subscribe;
    byte_reader body = packet.body;
    subscribe.msg_id = body.u16();
    if (!body.ok()) {
        return MQTT_ERR_INVALID_PARAM;
    }
    filter_list filters;
    heap_ptr<uint32_t[]> qos_list = heap_zeroed<uint32_t>(MQTT_PACKET_MAX_ENTRIES);
    if (!filters.has_array() || qos_list == nullptr) {
        return MQTT_ERR_NO_MEMORY;
    }
    const int32_t status = decode_filters(body, filters, qos_list.get());
    if (status == MQTT_OK) {
        subscribe.filter_count = filters.count();
        subscribe.filters = filters.take();
        subscribe.qos_list = qos_list.release();
    }
    return status;
}

int32_t decode_unsubscribe(const packet_view &packet, mqtt_packet *record) {
    mqtt_packet_unsubscribe &unsubscribe = record->body.unsubscribe;
    byte_reader body = packet.body;
    unsubscribe.msg_id = body.u16();
    if (!body.ok()) {
        return MQTT_ERR_INVALID_PARAM;
    }
    filter_list filters;
    if (!filters.has_array()) {
        return MQTT_ERR_NO_MEMORY;
    }
    const int32_t status = decode_filters(body, filters, nullptr);
    if (status == MQTT_OK) {
        unsubscribe.filter_count = filters.count();
        unsubscribe.filters = filters.take();
    }
    return status;
}

}  // namespace zep::v311

void subscribe_filters_free(const char **filters, int32_t count) {
    if (filters == nullptr) {
        return;
    }
    for (int32_t i = 0; i < count; ++i) {
        platform_free(const_cast<char *>(filters[i]));
    }
    platform_free(filters);
}
