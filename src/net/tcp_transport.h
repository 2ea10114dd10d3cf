// Plain TCP as a transport of the event-driven interface.
#pragma once

#include <zep_mqtt_sdk_event.h>

namespace zep {

const zep_mqtt_sdk_transport &tcp_transport();

}  // namespace zep
