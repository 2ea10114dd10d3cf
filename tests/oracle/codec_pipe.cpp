// Both codecs behind a pipe, for oracle.js. Each line of the input is a request, each line of the
// output its answer:
//
//   encode v50 publish topic=612f62 qos=1 msg_id=7 payload=6869    ->  3209...
//   decode v50 puback 40020007                                     ->  msg_id=7 reason_code=0
//
// The fields are those of the records; one that is left out of a request is 0 or null. Numbers are
// decimal, all else is hexadecimal: texts, bytes, lists of small numbers as a byte each, and lists
// of texts with commas between them. A refusal is answered with "error" and the status code.
#include <algorithm>
#include <cstring>
#include <deque>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <zep_mqtt/log/log.h>
#include <zep_mqtt/platform/memory.h>
#include <zep_mqtt/protocol/v311/decoder.h>
#include <zep_mqtt/protocol/v311/encoder.h>
#include <zep_mqtt/protocol/v50/ack.h>
#include <zep_mqtt/protocol/v50/connack.h>
#include <zep_mqtt/protocol/v50/connect.h>
#include <zep_mqtt/protocol/v50/disconnect.h>
#include <zep_mqtt/protocol/v50/publish.h>
#include <zep_mqtt/protocol/v50/suback.h>
#include <zep_mqtt/protocol/v50/subscribe.h>
#include <zep_mqtt/protocol/v50/unsuback.h>
#include <zep_mqtt/protocol/v50/unsubscribe.h>

namespace {

int digit(char c) {
    return c <= '9' ? c - '0' : c - 'a' + 10;
}

std::string from_hex(const std::string &hex) {
    std::string bytes;
    for (size_t at = 0; at + 1 < hex.size(); at += 2) {
        bytes.push_back(static_cast<char>(digit(hex[at]) << 4 | digit(hex[at + 1])));
    }
    return bytes;
}

std::string to_hex(const void *data, size_t size) {
    static const char digits[] = "0123456789abcdef";
    std::string hex;
    for (size_t at = 0; at < size; ++at) {
        const uint8_t byte = static_cast<const uint8_t *>(data)[at];
        hex += {digits[byte >> 4], digits[byte & 15]};
    }
    return hex;
}

// Fills a record from the fields of a request, and keeps alive what the record then points to.
class record_reader {
 public:
    explicit record_reader(std::istringstream &words) {
        for (std::string word; words >> word;) {
            const size_t sign = word.find('=');
            values_[word.substr(0, sign)] = word.substr(sign + 1);
        }
    }

    template <typename T>
    void number(const char *name, T &field) {
        field = values_.count(name) == 0 ? T{0} : static_cast<T>(std::stoul(values_[name]));
    }
    template <size_t N>
    void text(const char *name, char (&field)[N]) {
        const std::string &value = keep(values_[name]);
        std::memcpy(field, value.c_str(), std::min(value.size() + 1, N));
    }
    void text(const char *name, const char *&field) {
        field = values_.count(name) == 0 ? nullptr : keep(values_[name]).c_str();
    }
    void bytes(const char *name, const uint8_t *&data, uint32_t &size) {
        const std::string &value = keep(values_[name]);
        data = value.empty() ? nullptr : reinterpret_cast<const uint8_t *>(value.data());
        size = static_cast<uint32_t>(value.size());
    }
    template <size_t N>
    void codes(const char *name, uint8_t (&list)[N], uint8_t &count) {
        const std::string &value = keep(values_[name]);
        count = static_cast<uint8_t>(std::min(value.size(), N));
        std::memcpy(list, value.data(), count);
    }
    void codes(const char *name, uint32_t *&list, int32_t &count) {
        for (const char code : keep(values_[name])) {
            codes_.push_back(static_cast<uint8_t>(code));
        }
        list = codes_.data();
        count = static_cast<int32_t>(codes_.size());
    }
    void texts(const char *name, const char **&list, int32_t &count) {
        std::istringstream items(values_[name]);
        for (std::string item; std::getline(items, item, ',');) {
            texts_.push_back(keep(item).c_str());
        }
        list = texts_.data();
        count = static_cast<int32_t>(texts_.size());
    }

 private:
    const std::string &keep(const std::string &hex) {
        kept_.push_back(from_hex(hex));
        return kept_.back();
    }

    std::map<std::string, std::string> values_;
    std::deque<std::string> kept_;
    std::vector<uint32_t> codes_;
    std::vector<const char *> texts_;
};

// Writes the fields of a decoded record as the answer.
class record_writer {
 public:
    const std::string &answer() const { return answer_; }

    void number(const char *name, uint32_t value) { add(name, std::to_string(value)); }
    void text(const char *name, const char *value) { add(name, to_hex(value, std::strlen(value))); }
    void bytes(const char *name, const uint8_t *data, uint32_t size) {
        add(name, to_hex(data, size));
    }
    template <typename T, typename N>
    void codes(const char *name, const T *list, N count) {
        const std::vector<uint8_t> narrow(list, list + count);
        add(name, to_hex(narrow.data(), narrow.size()));
    }
    void texts(const char *name, const char *const *list, int32_t count) {
        std::string all;
        for (int32_t i = 0; i < count; ++i) {
            all += (i == 0 ? "" : ",") + to_hex(list[i], std::strlen(list[i]));
        }
        add(name, all);
    }

 private:
    void add(const char *name, const std::string &value) {
        answer_ += (answer_.empty() ? "" : " ") + std::string(name) + '=' + value;
    }

    std::string answer_;
};

// What the records hold, for both of the above.

template <typename Io>
void visit_connect(Io &io, auto &connect) {
    io.text("client_id", connect.client_id);
    io.number("keep_alive", connect.keep_alive);
    io.number("has_username", connect.has_username);
    io.text("username", connect.username);
    io.number("has_password", connect.has_password);
    io.text("password", connect.password);
    io.number("will_flag", connect.will_flag);
    io.text("will_topic", connect.will_topic);
    io.bytes("will_payload", connect.will_payload, connect.will_payload_len);
    io.number("will_qos", connect.will_qos);
    io.number("will_retain", connect.will_retain);
}

template <typename Io>
void visit(Io &io, mqtt50_connect &connect) {
    visit_connect(io, connect);
    connect.protocol_version = 5;
    io.number("clean_start", connect.clean_start);
    io.number("session_expiry", connect.session_expiry);
    io.number("max_packet_size", connect.max_packet_size);
    io.number("topic_alias_max", connect.topic_alias_max);
}

template <typename Io>
void visit(Io &io, mqtt50_connack &connack) {
    io.number("session_present", connack.session_present);
    io.number("reason_code", connack.reason_code);
    io.number("max_packet_size", connack.max_packet_size);
    io.number("session_expiry", connack.session_expiry);
    io.number("receive_maximum", connack.receive_maximum);
    io.text("assigned_client_id", connack.assigned_client_id);
    io.number("server_keep_alive", connack.server_keep_alive);
    io.text("reason_string", connack.reason_string);
    io.text("user_property", connack.user_property);
    io.number("wildcard_sub_available", connack.wildcard_sub_available);
    io.number("sub_id_available", connack.sub_id_available);
    io.number("shared_sub_available", connack.shared_sub_available);
    io.number("retain_available", connack.retain_available);
    io.number("topic_alias_max", connack.topic_alias_max);
}

template <typename Io>
void visit(Io &io, mqtt50_publish &publish) {
    io.text("topic", publish.topic);
    io.number("qos", publish.qos);
    io.number("retain", publish.retain);
    io.number("msg_id", publish.msg_id);
    io.bytes("payload", publish.payload, publish.payload_len);
    io.number("is_dup", publish.is_dup);
    io.number("message_expiry", publish.message_expiry);
}

template <typename Io>
void visit(Io &io, mqtt50_ack &ack) {
    io.number("msg_id", ack.msg_id);
    io.number("reason_code", ack.reason_code);
}

template <typename Io>
void visit(Io &io, mqtt50_subscribe &subscribe) {
    io.number("msg_id", subscribe.msg_id);
    io.text("topic", subscribe.topic);
    io.number("qos", subscribe.qos);
    io.number("is_shared", subscribe.is_shared);
    io.text("share_group", subscribe.share_group);
    io.number("retain_as_published", subscribe.retain_as_published);
    io.number("no_local", subscribe.no_local);
    io.number("retain_handling", subscribe.retain_handling);
}

template <typename Io>
void visit(Io &io, mqtt50_suback &suback) {
    io.number("msg_id", suback.msg_id);
    io.codes("granted_qos", suback.granted_qos, suback.count);
    io.codes("reason_codes", suback.reason_codes, suback.count);
}

template <typename Io>
void visit(Io &io, mqtt50_unsubscribe &unsubscribe) {
    io.number("msg_id", unsubscribe.msg_id);
    io.text("topic", unsubscribe.topic);
}

template <typename Io>
void visit(Io &io, mqtt50_disconnect &disconnect) {
    io.number("reason_code", disconnect.reason_code);
    io.number("session_expiry", disconnect.session_expiry);
}

template <typename Io>
void visit(Io &io, mqtt_packet &packet) {
    io.number("type", packet.type);
    io.number("dup", packet.dup);
    io.number("qos", packet.qos);
    io.number("retain", packet.retain);
    auto &body = packet.body;
    switch (packet.type) {
        case MQTT_PACKET_CONNECT:
            visit_connect(io, body.connect);
            break;
        case MQTT_PACKET_CONNACK:
            io.number("session_present", body.connack.session_present);
            io.number("return_code", body.connack.return_code);
            break;
        case MQTT_PACKET_PUBLISH:
            io.text("topic", body.publish.topic);
            io.bytes("payload", body.publish.payload, body.publish.payload_len);
            io.number("msg_id", body.publish.msg_id);
            break;
        case MQTT_PACKET_SUBSCRIBE:
            io.number("msg_id", body.subscribe.msg_id);
            io.texts("filters", body.subscribe.filters, body.subscribe.filter_count);
            io.codes("qos_list", body.subscribe.qos_list, body.subscribe.filter_count);
            break;
        case MQTT_PACKET_SUBACK:
            io.number("msg_id", body.suback.msg_id);
            io.codes("return_codes", body.suback.return_codes, body.suback.code_count);
            break;
        case MQTT_PACKET_UNSUBSCRIBE:
            io.number("msg_id", body.unsubscribe.msg_id);
            io.texts("filters", body.unsubscribe.filters, body.unsubscribe.filter_count);
            break;
        case MQTT_PACKET_PINGREQ:
        case MQTT_PACKET_PINGRESP:
        case MQTT_PACKET_DISCONNECT:
            break;
        default:
            io.number("msg_id", body.ack.msg_id);
            break;
    }
}

// Adapters: codecs whose arguments are not a record, a buffer and a length.

int32_t connack_encode(const mqtt50_connack *connack, uint8_t *buffer, uint32_t *length) {
    return mqtt50_connack_encode(connack->session_present, connack->reason_code,
                                 connack->session_expiry, connack->max_packet_size,
                                 connack->receive_maximum, buffer, length);
}

int32_t suback_decode(const uint8_t *data, uint32_t length, mqtt50_suback *suback) {
    return mqtt50_suback_decode(data, static_cast<int32_t>(length), suback);
}

template <uint8_t TYPE>
int32_t ack_encode(const mqtt50_ack *ack, uint8_t *buffer, uint32_t *length) {
    return mqtt50_ack_encode(TYPE, ack, buffer, length);
}

template <uint8_t TYPE>
int32_t ack_decode(const uint8_t *data, uint32_t length, mqtt50_ack *ack) {
    return mqtt50_ack_decode(TYPE, data, length, ack);
}

template <uint32_t VERSION>
int32_t packet_encode(const mqtt_packet *packet, uint8_t *buffer, uint32_t *length) {
    return mqtt_packet_encode(VERSION, packet, buffer, length);
}

// What a record holds beyond what visit() says, and its release.

template <typename Record>
void finish(record_writer &, Record &) {}

void finish(record_writer &io, mqtt50_connack &connack) {
    io.number("total_len", connack.total_len);
    io.number("remaining_len", connack.remaining_len);
    for (unsigned i = 0; i < connack.prop_count; ++i) {
        const std::string name = "prop" + std::to_string(i);
        io.number((name + "_id").c_str(), connack.props[i].id);
        io.bytes(name.c_str(), connack.props[i].value, sizeof connack.props[i].value);
    }
}

void finish(record_writer &, mqtt_packet &packet) {
    switch (packet.type) {
        case MQTT_PACKET_PUBLISH:
            message_free(&packet.body.publish);
            break;
        case MQTT_PACKET_SUBSCRIBE:
            platform_free(packet.body.subscribe.qos_list);
            subscribe_filters_free(packet.body.subscribe.filters,
                                   packet.body.subscribe.filter_count);
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

using handler = std::string (*)(std::istringstream &words);

std::string refusal(int32_t status) {
    return "error " + std::to_string(status);
}

template <typename Record, int32_t (*ENCODE)(const Record *, uint8_t *, uint32_t *)>
std::string encode(std::istringstream &words) {
    record_reader io(words);
    Record record = {};
    visit(io, record);
    std::vector<uint8_t> buffer(words.str().size() + 1024);  // enough for any packet
    uint32_t length = static_cast<uint32_t>(buffer.size());
    const int32_t status = ENCODE(&record, buffer.data(), &length);
    return status == 0 ? to_hex(buffer.data(), length) : refusal(status);
}

template <typename Record, int32_t (*DECODE)(const uint8_t *, uint32_t, Record *)>
std::string decode(std::istringstream &words) {
    std::string hex;
    words >> hex;
    const std::string packet = from_hex(hex);
    Record record;
    const int32_t status = DECODE(reinterpret_cast<const uint8_t *>(packet.data()),
                                  static_cast<uint32_t>(packet.size()), &record);
    if (status != 0) {
        return refusal(status);
    }
    record_writer io;
    visit(io, record);
    finish(io, record);
    return io.answer();
}

const std::map<std::string, handler> HANDLERS = {
    {"encode v50 connect", encode<mqtt50_connect, mqtt50_conn_encode>},
    {"encode v50 connack", encode<mqtt50_connack, connack_encode>},
    {"encode v50 publish", encode<mqtt50_publish, mqtt50_publish_encode>},
    {"encode v50 puback", encode<mqtt50_ack, ack_encode<MQTT_PACKET_PUBACK>>},
    {"encode v50 pubrec", encode<mqtt50_ack, ack_encode<MQTT_PACKET_PUBREC>>},
    {"encode v50 pubrel", encode<mqtt50_ack, ack_encode<MQTT_PACKET_PUBREL>>},
    {"encode v50 pubcomp", encode<mqtt50_ack, ack_encode<MQTT_PACKET_PUBCOMP>>},
    {"encode v50 subscribe", encode<mqtt50_subscribe, mqtt50_subscribe_encode>},
    {"encode v50 suback", encode<mqtt50_suback, mqtt50_suback_encode>},
    {"encode v50 unsubscribe", encode<mqtt50_unsubscribe, mqtt50_unsubscribe_encode>},
    {"encode v50 unsuback", encode<mqtt50_ack, mqtt50_unsuback_encode>},
    {"encode v50 disconnect", encode<mqtt50_disconnect, mqtt50_disconnect_encode>},
    {"encode v50 packet", encode<mqtt_packet, packet_encode<5>>},
    {"encode v311 packet", encode<mqtt_packet, packet_encode<4>>},
    {"decode v50 connack", decode<mqtt50_connack, mqtt50_connack_decode>},
    {"decode v50 publish", decode<mqtt50_publish, mqtt50_publish_decode>},
    {"decode v50 puback", decode<mqtt50_ack, ack_decode<MQTT_PACKET_PUBACK>>},
    {"decode v50 pubrec", decode<mqtt50_ack, ack_decode<MQTT_PACKET_PUBREC>>},
    {"decode v50 pubrel", decode<mqtt50_ack, ack_decode<MQTT_PACKET_PUBREL>>},
    {"decode v50 pubcomp", decode<mqtt50_ack, ack_decode<MQTT_PACKET_PUBCOMP>>},
    {"decode v50 suback", decode<mqtt50_suback, suback_decode>},
    {"decode v50 unsuback", decode<mqtt50_ack, mqtt50_unsuback_decode>},
    {"decode v311 packet", decode<mqtt_packet, mqtt_packet_decode_v311>},
};

}  // namespace

int main() {
    agent_log_set_level(AGENT_LOG_FATAL);  // the console is the pipe
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream words(line);
        std::string verb, version, packet;
        words >> verb >> version >> packet;
        std::cout << HANDLERS.at(verb + ' ' + version + ' ' + packet)(words) << std::endl;
    }
}
