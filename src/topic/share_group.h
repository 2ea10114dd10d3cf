// Shared subscriptions: "$share/", the group, "/" and the filter (MQTT 5.0 §4.8.2).
#pragma once

#include <cstddef>
#include <cstdint>

namespace zep {

// Bytes of a shared filter, without a terminator.
size_t shared_filter_length(const char *group, const char *filter);

// Writes a shared filter with its terminator, cut to size bytes.
void compose_shared_filter(char *text, uint32_t size, const char *group, const char *filter);

// Refuses, with a log line, a group that does not fit its field in the subscription store.
int32_t check_share_group_length(const char *group);

}  // namespace zep
