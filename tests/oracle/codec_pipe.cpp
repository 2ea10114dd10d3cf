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

#include "support/packet_release.h"

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

// Reads the fields of a request into a record, and keeps alive what the record then points to.
class record_reader {
 public:
    explicit record_reader(std::istringstream &words) {
        for (std::string word; words >> word;) {
            const size_t sign = word.find('=');
            values_[word.substr(0, sign)] = word.substr(sign + 1);
        }
    }

    template <typename T>
    void field(const std::string &name, T &number) {
        number = values_.count(name) == 0 ? T{0} : static_cast<T>(std::stoul(values_[name]));
    }
    template <size_t N>
    void field(const std::string &name, char (&text)[N]) {
        const std::string &value = keep(values_[name]);
        std::memcpy(text, value.c_str(), std::min(value.size() + 1, N));
    }
    void field(const std::string &name, const char *&text) {
        text = values_.count(name) == 0 ? nullptr : keep(values_[name]).c_str();
    }
    void bytes(const std::string &name, const uint8_t *&data, uint32_t &size) {
        const std::string &value = keep(values_[name]);
        data = value.empty() ? nullptr : reinterpret_cast<const uint8_t *>(value.data());
        size = static_cast<uint32_t>(value.size());
    }
    template <size_t N>
    void codes(const std::string &name, uint8_t (&list)[N], uint8_t &count) {
        const std::string &value = keep(values_[name]);
        count = static_cast<uint8_t>(std::min(value.size(), N));
        std::memcpy(list, value.data(), count);
    }
    void codes(const std::string &name, uint32_t *&list, int32_t &count) {
        for (const char code : keep(values_[name])) {
            codes_.push_back(static_cast<uint8_t>(code));
        }
        list = codes_.data();
        count = static_cast<int32_t>(codes_.size());
    }
    void texts(const std::string &name, const char **&list, int32_t &count) {
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

    void field(const std::string &name, uint32_t number) { add(name, std::to_string(number)); }
    void field(const std::string &name, const char *text) {
        add(name, to_hex(text, std::strlen(text)));
    }
    void bytes(const std::string &name, const uint8_t *data, uint32_t size) {
        add(name, to_hex(data, size));
    }
    template <typename T, typename N>
    void codes(const std::string &name, const T *list, N count) {
        const std::vector<uint8_t> narrow(list, list + count);
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
        answer_ += (answer_.empty() ? "" : " ") + name + '=' + value;
    }

    std::string answer_;
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
    io.bytes("will_payload", r.will_payload, r.will_payload_len);
}

void visit(auto &io, mqtt50_connect &r) {
    visit_connect(io, r);
    r.protocol_version = 5;
    visit_fields(io, "clean_start session_expiry max_packet_size topic_alias_max", r.clean_start,
                 r.session_expiry, r.max_packet_size, r.topic_alias_max);
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
}

void visit(auto &io, mqtt50_publish &r) {
    visit_fields(io, "topic qos retain msg_id is_dup message_expiry", r.topic, r.qos, r.retain,
                 r.msg_id, r.is_dup, r.message_expiry);
    io.bytes("payload", r.payload, r.payload_len);
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
            io.bytes("payload", body.publish.payload, body.publish.payload_len);
            break;
        case MQTT_PACKET_SUBSCRIBE:
            io.field("msg_id", body.subscribe.msg_id);
            io.texts("filters", body.subscribe.filters, body.subscribe.filter_count);
            io.codes("qos_list", body.subscribe.qos_list, body.subscribe.filter_count);
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

// Only what the 3.1.1 decoder makes owns anything.
template <typename Record>
void release_any(Record &record) {
    if constexpr (std::is_same_v<Record, mqtt_packet>) {
        zep_test::release(record);
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
    release_any(record);
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
