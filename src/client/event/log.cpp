// The lines of an event-driven client: to the log, and to its own listener.
#include <cstdarg>
#include <cstdio>

#include "client/event/event_client.h"
#include "log/log_lines.h"

namespace zep {

namespace {

constexpr size_t LINE_SIZE = 256;

}  // namespace

void event_log(event_client &client, uint32_t level, const char *format, ...) {
    if (!log_passes(level)) {
        return;
    }
    char text[LINE_SIZE];
    va_list values;
    va_start(values, format);
    std::vsnprintf(text, sizeof text, format, values);
    va_end(values);
    agent_log(level, "MQTT_EVENT: %s", text);
    if (client.listener.log != nullptr) {
        client.listener.log(client.handle, client.user, level, text);
    }
}

}  // namespace zep
