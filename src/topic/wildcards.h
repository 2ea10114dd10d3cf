// Where the wildcards of a topic filter may stand (MQTT 3.1.1 §4.7.1): a '#' fills the last level,
// a
// '+' fills any one level.
#pragma once

#include <string_view>

namespace zep {

enum class wildcard_fault { none, hash_not_last, hash_inside_level, plus_inside_level };

inline wildcard_fault find_wildcard_fault(std::string_view filter) {
    constexpr size_t NONE = std::string_view::npos;
    const auto starts_level = [&](size_t at) { return at == 0 || filter[at - 1] == '/'; };
    const auto ends_level = [&](size_t at) {
        return at + 1 == filter.size() || filter[at + 1] == '/';
    };
    const size_t hash = filter.find('#');
    if (hash != NONE && hash + 1 != filter.size()) {
        return wildcard_fault::hash_not_last;
    }
    if (hash != NONE && !starts_level(hash)) {
        return wildcard_fault::hash_inside_level;
    }
    for (size_t plus = filter.find('+'); plus != NONE; plus = filter.find('+', plus + 1)) {
        if (!starts_level(plus) || !ends_level(plus)) {
            return wildcard_fault::plus_inside_level;
        }
    }
    return wildcard_fault::none;
}

}  // namespace zep
