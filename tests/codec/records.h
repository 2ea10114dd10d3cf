// The records of both codecs as texts: "topic='a/b' qos=1 msg_id=7 payload=6869". Numbers are
// decimal, all else is bytes as packets.h lays them; lists of texts have commas between them. A
// field that is left out is 0, null or empty. "payload_len=5" gives a length apart from its bytes,
// and "null" a missing pointer.
#pragma once

#include <algorithm>
#include <cstring>
#include <deque>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <zep_mqtt/protocol/v311/packet.h>
#include <zep_mqtt/protocol/v50/ack.h>
#include <zep_mqtt/protocol/v50/connack.h>
#include <zep_mqtt/protocol/v50/connect.h>
#include <zep_mqtt/protocol/v50/disconnect.h>
#include <zep_mqtt/protocol/v50/publish.h>
#include <zep_mqtt/protocol/v50/suback.h>
#include <zep_mqtt/protocol/v50/subscribe.h>
#include <zep_mqtt/protocol/v50/unsubscribe.h>

#include "support/packets.h"

namespace zep_test {

inline std::string to_hex(const void *data, size_t size) {
    static const char digits[] = "0123456789abcdef";
    std::string hex;
    for (size_t at = 0; at < size; ++at) {
        const uint8_t byte = static_cast<const uint8_t *>(data)[at];
        hex += {digits[byte >> 4], digits[byte & 15]};
    }
    return hex;
}

// Reads the fields of a text into a record, and keeps alive what the record then points to.
class record_reader {
 public:
    explicit record_reader(const std::string &text) {
        std::istringstream words(text);
        for (std::string word; words >> word;) {
            const size_t sign = word.find('=');
            values_[word.substr(0, sign)] = sign == word.npos ? "" : word.substr(sign + 1);
        }
    }
    record_reader(const record_reader &) = delete;
    record_reader &operator=(const record_reader &) = delete;

    bool has(const std::string &name) const { return values_.count(name) != 0; }
    bool is_null(const std::string &name) { return !has(name) || values_[name] == "null"; }
    void set(const std::string &name, uint32_t number) { values_[name] = std::to_string(number); }

    uint32_t number(const std::string &name, uint32_t otherwise = 0) {
        return has(name) ? static_cast<uint32_t>(std::stoul(values_[name])) : otherwise;
    }

    template <typename T>
    void field(const std::string &name, T &value) {
        value = static_cast<T>(number(name));
    }
    template <size_t N>
    void field(const std::string &name, char (&text)[N]) {
        const bytes &value = keep(values_[name]);
        std::memcpy(text, value.data(), std::min(value.size(), N));
    }
    void field(const std::string &name, const char *&text) {
        text = is_null(name) ? nullptr : text_of(values_[name]);
    }
    void data(const std::string &name, const uint8_t *&data, uint32_t &size) {
        const bytes &value = keep(is_null(name) ? "" : values_[name]);
        data = value.size() == 1 ? nullptr : value.data();
        size = number(name + "_len", static_cast<uint32_t>(value.size() - 1));
    }
    template <size_t N>
    void codes(const std::string &name, uint8_t (&list)[N], uint8_t &count) {
        const bytes &value = keep(values_[name]);
        std::memcpy(list, value.data(), std::min(value.size() - 1, N));
        count =
            static_cast<uint8_t>(number(name + "_count", static_cast<uint32_t>(value.size() - 1)));
    }
    void codes(const std::string &name, uint32_t *&list, int32_t &count) {
        const bytes value = lay(is_null(name) ? "" : values_[name]);
        codes_.assign(value.begin(), value.end());
        list = values_[name] == "null" ? nullptr : codes_.data();
        count = static_cast<int32_t>(number(name + "_count", static_cast<uint32_t>(value.size())));
    }
    void texts(const std::string &name, const char **&list, int32_t &count) {
        std::istringstream items(is_null(name) ? "" : values_[name]);
        for (std::string item; std::getline(items, item, ',');) {
            texts_.push_back(item == "null" ? nullptr : text_of(item));
        }
        list = values_[name] == "null" ? nullptr : texts_.data();
        count = static_cast<int32_t>(number(name + "_count", static_cast<uint32_t>(texts_.size())));
    }

 private:
    // NUL-terminated, which the size does not count.
    const bytes &keep(const std::string &value) {
        kept_.push_back(lay(value));
        kept_.back().push_back(0);
        return kept_.back();
    }
    const char *text_of(const std::string &value) {
        return reinterpret_cast<const char *>(keep(value).data());
    }

    std::map<std::string, std::string> values_;
    std::deque<bytes> kept_;
    std::vector<uint32_t> codes_;
    std::vector<const char *> texts_;
};

// Writes the fields of a record: what two records that say the same have in common.
class record_writer {
 public:
    const std::string &text() const { return text_; }

    void field(const std::string &name, uint32_t number) { add(name, std::to_string(number)); }
    void field(const std::string &name, const char *text) {
        add(name, text == nullptr ? "null" : to_hex(text, std::strlen(text)));
    }
    void data(const std::string &name, const uint8_t *data, uint32_t size) {
        add(name, data == nullptr && size == 0 ? "null" : to_hex(data, size));
    }
    template <typename T, typename N>
    void codes(const std::string &name, const T *list, N count) {
        const bytes narrow(list, list + count);
        add(name, to_hex(narrow.data(), narrow.size()));
    }
    void texts(const std::string &name, const char *const *list, int32_t count) {
        std::string all;
        for (int32_t i = 0; i < count; ++i) {
            all += (i == 0 ? "" : ",") + to_hex(list[i], std::strlen(list[i]));
        }
        add(name, all);
    }

 private:
    void add(const std::string &name, const std::string &value) {
        text_ += (text_.empty() ? "" : " ") + name + '=' + value;
    }

    std::string text_;
};

// What the records hold, for both of the above. The names stand in the order of the fields.

template <typename Io, typename... Fields>
void visit_fields(Io &io, const char *names, Fields &...fields) {
    std::istringstream words(names);
    const auto next = [&words] {
        std::string name;
        words >> name;
        return name;
    };
    (io.field(next(), fields), ...);
}

void visit_connect(auto &io, auto &r) {
    visit_fields(io, "client_id keep_alive has_username username has_password password",
                 r.client_id, r.keep_alive, r.has_username, r.username, r.has_password, r.password);
    visit_fields(io, "will_flag will_topic will_qos will_retain", r.will_flag, r.will_topic,
                 r.will_qos, r.will_retain);
    io.data("will_payload", r.will_payload, r.will_payload_len);
}

void visit(auto &io, mqtt50_connect &r) {
    visit_connect(io, r);
    visit_fields(io, "protocol_version clean_start session_expiry max_packet_size topic_alias_max",
                 r.protocol_version, r.clean_start, r.session_expiry, r.max_packet_size,
                 r.topic_alias_max);
}

void visit(auto &io, mqtt50_connack &r) {
    visit_fields(io, "session_present reason_code max_packet_size session_expiry receive_maximum",
                 r.session_present, r.reason_code, r.max_packet_size, r.session_expiry,
                 r.receive_maximum);
    visit_fields(io, "assigned_client_id server_keep_alive reason_string user_property",
                 r.assigned_client_id, r.server_keep_alive, r.reason_string, r.user_property);
    visit_fields(io, "wildcard_sub_available sub_id_available shared_sub_available",
                 r.wildcard_sub_available, r.sub_id_available, r.shared_sub_available);
    visit_fields(io, "retain_available topic_alias_max", r.retain_available, r.topic_alias_max);
    uint8_t ids[MQTT50_CONNACK_PROPERTIES_MAX] = {};
    const auto list = [&](auto give) {
        for (size_t i = 0; i < std::size(ids); ++i) {
            give(ids[i], r.props[i].id);
        }
    };
    list([](uint8_t &id, uint8_t recorded) { id = recorded; });
    io.codes("ids", ids, r.prop_count);
    list([](uint8_t id, uint8_t &recorded) { recorded = id; });
}

void visit(auto &io, mqtt50_publish &r) {
    visit_fields(io, "topic qos retain msg_id is_dup message_expiry", r.topic, r.qos, r.retain,
                 r.msg_id, r.is_dup, r.message_expiry);
    io.data("payload", r.payload, r.payload_len);
}

void visit(auto &io, mqtt50_ack &r) {
    visit_fields(io, "msg_id reason_code", r.msg_id, r.reason_code);
}

void visit(auto &io, mqtt50_subscribe &r) {
    visit_fields(io, "msg_id topic qos is_shared share_group", r.msg_id, r.topic, r.qos,
                 r.is_shared, r.share_group);
    visit_fields(io, "retain_as_published no_local retain_handling", r.retain_as_published,
                 r.no_local, r.retain_handling);
}

void visit(auto &io, mqtt50_suback &r) {
    visit_fields(io, "msg_id", r.msg_id);
    io.codes("granted_qos", r.granted_qos, r.count);
    io.codes("reason_codes", r.reason_codes, r.count);
}

void visit(auto &io, mqtt50_unsubscribe &r) {
    visit_fields(io, "msg_id topic", r.msg_id, r.topic);
}

void visit(auto &io, mqtt50_disconnect &r) {
    visit_fields(io, "reason_code session_expiry", r.reason_code, r.session_expiry);
}

void visit(auto &io, mqtt_packet &packet) {
    visit_fields(io, "type dup qos retain", packet.type, packet.dup, packet.qos, packet.retain);
    auto &body = packet.body;
    switch (packet.type) {
        case MQTT_PACKET_CONNECT:
            visit_connect(io, body.connect);
            break;
        case MQTT_PACKET_CONNACK:
            visit_fields(io, "session_present return_code", body.connack.session_present,
                         body.connack.return_code);
            break;
        case MQTT_PACKET_PUBLISH:
            visit_fields(io, "topic msg_id", body.publish.topic, body.publish.msg_id);
            io.data("payload", body.publish.payload, body.publish.payload_len);
            break;
        case MQTT_PACKET_SUBSCRIBE:
            io.field("msg_id", body.subscribe.msg_id);
            io.codes("qos_list", body.subscribe.qos_list, body.subscribe.filter_count);
            io.texts("filters", body.subscribe.filters, body.subscribe.filter_count);
            break;
        case MQTT_PACKET_SUBACK:
            io.field("msg_id", body.suback.msg_id);
            io.codes("return_codes", body.suback.return_codes, body.suback.code_count);
            break;
        case MQTT_PACKET_UNSUBSCRIBE:
            io.field("msg_id", body.unsubscribe.msg_id);
            io.texts("filters", body.unsubscribe.filters, body.unsubscribe.filter_count);
            break;
        case MQTT_PACKET_PINGREQ:
        case MQTT_PACKET_PINGRESP:
        case MQTT_PACKET_DISCONNECT:
            break;
        default:
            io.field("msg_id", body.ack.msg_id);
            break;
    }
}

// The fields of a record as a text.
template <typename Record>
std::string text_of(Record &record) {
    record_writer io;
    visit(io, record);
    return io.text();
}

}  // namespace zep_test
