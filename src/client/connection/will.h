// The will of a configuration: what is wrong with it, and how the CONNECT of either version carries
// it. What a fault means differs: creation refuses it, a 3.1.1 CONNECT goes out without the will, a
// 5.0 one does not go out.
#pragma once

#include "client/connection/client_private.h"

namespace zep {

struct will_faults {
    int topic_length;  // bytes in front of the terminator; the size of the field without one
    bool topic_missing;
    bool topic_too_long;
    bool payload_missing;
    bool payload_too_long;
    bool qos_invalid;
};

inline will_faults find_will_faults(const mqtt_client_config &config) {
    const size_t length = strnlen(config.will_topic, sizeof config.will_topic);
    will_faults faults = {};
    faults.topic_length = static_cast<int>(length);
    faults.topic_missing = length == 0;
    faults.topic_too_long = length == sizeof config.will_topic;
    faults.payload_missing = config.will_payload_len == 0;
    faults.payload_too_long = config.will_payload_len > WILL_PAYLOAD_MAX;
    faults.qos_invalid = config.will_qos > QOS_MAX;
    return faults;
}

// connect: a mqtt_packet_connect or a mqtt50_connect. It points into the configuration.
template <typename Connect>
void set_will(const mqtt_client_config &config, Connect &connect) {
    connect.will_flag = 1;
    connect.will_topic = config.will_topic;
    connect.will_payload = config.will_payload;
    connect.will_payload_len = config.will_payload_len;
    connect.will_qos = config.will_qos <= QOS_MAX ? config.will_qos : 0;
    connect.will_retain = config.will_retain;
}

}  // namespace zep
