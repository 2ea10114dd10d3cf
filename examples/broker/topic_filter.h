// Topic filters (MQTT 5.0 §4.7 and §4.8.2).
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zep_demo {

// True when the filter matches the topic name. Wildcards at the start do not match names that begin
// with '$'.
bool matches(std::string_view filter, std::string_view topic);

// The filter inside "$share/GROUP/FILTER"; nothing when it is not a shared one.
std::optional<std::string> shared_filter(const std::string &filter);

}  // namespace zep_demo
