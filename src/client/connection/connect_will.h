// The will of a configuration, as the CONNECT of either version carries it.
#pragma once

#include "client/connection/client_private.h"

namespace zep {

// connect: a mqtt_packet_connect or a mqtt50_connect, which point into the configuration then.
template <typename Connect>
void carry_will(const mqtt_client_config &config, Connect &connect) {
    connect.will_flag = 1;
    connect.will_topic = config.will_topic;
    connect.will_payload = config.will_payload;
    connect.will_payload_len = config.will_payload_len;
    connect.will_qos = config.will_qos <= QOS_MAX ? config.will_qos : 0;
    connect.will_retain = config.will_retain;
}

}  // namespace zep
