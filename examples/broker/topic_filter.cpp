#include "topic_filter.h"

namespace zep_demo {

namespace {

constexpr std::string_view SHARE_PREFIX = "$share/";

// Cuts the first level off. Behind the last level a null view is left, not an empty one: that would
// be one more level, an empty one.
std::string_view take_level(std::string_view &text) {
    const size_t end = text.find('/');
    const std::string_view level = text.substr(0, end);
    text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    return level;
}

}  // namespace

bool is_topic_name(std::string_view topic) {
    return !topic.empty() && topic.find_first_of(std::string_view("+#\0", 3)) == topic.npos;
}

// A wildcard fills its level, and "#" is the last one.
bool is_filter(std::string_view filter) {
    bool valid = !filter.empty() && filter.find('\0') == filter.npos;
    while (valid && filter.data() != nullptr) {
        const std::string_view level = take_level(filter);
        const bool is_wildcard = level == "+" || (level == "#" && filter.data() == nullptr);
        valid = is_wildcard || level.find_first_of("+#") == level.npos;
    }
    return valid;
}

bool matches(std::string_view filter, std::string_view topic) {
    if (topic.starts_with('$') != filter.starts_with('$')) {
        return false;
    }
    while (filter.data() != nullptr && topic.data() != nullptr) {
        const std::string_view wanted = take_level(filter);
        if (wanted == "#") {
            return true;
        }
        const std::string_view level = take_level(topic);
        if (wanted != "+" && wanted != level) {
            return false;
        }
    }
    // "a/#" matches "a" as well.
    return topic.data() == nullptr && (filter.data() == nullptr || filter == "#");
}

bool is_shared(std::string_view filter) {
    return filter.starts_with(SHARE_PREFIX);
}

std::string_view inner_filter(std::string_view filter) {
    if (!is_shared(filter)) {
        return filter;
    }
    const size_t group_end = filter.find('/', SHARE_PREFIX.size());
    return group_end == std::string_view::npos ? "" : filter.substr(group_end + 1);
}

}  // namespace zep_demo
