// Topic names and filters (MQTT 5.0 §4.7 and §4.8.2).
#pragma once

#include <string_view>

namespace zep_demo {

bool is_topic_name(std::string_view topic);
bool is_filter(std::string_view filter);

// True when the filter matches the topic name. Wildcards at the start do not match names that begin
// with '$'.
bool matches(std::string_view filter, std::string_view topic);

bool is_shared(std::string_view filter);
// The filter inside "$share/GROUP/FILTER", empty when there is none; a filter that is not shared is
// given back.
std::string_view inner_filter(std::string_view filter);

}  // namespace zep_demo
