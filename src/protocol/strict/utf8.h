// Texts as the standard wants them: well-formed UTF-8 without U+0000 (MQTT 3.1.1 and 5.0 §1.5.4 /
// §1.5.3), topic names and topic filters (§4.7).
#pragma once

#include <cstddef>
#include <cstdint>

namespace zep::strict {

// A text that is not NUL-terminated. Null only when empty.
struct text_view {
    const char *data = nullptr;
    size_t size = 0;
};

text_view view_of(const char *text);  // null gives an empty view

bool is_utf8(text_view text);

// At least one character, no wildcards.
bool is_topic_name(text_view text);

// Wildcards stand for whole levels. With `shared`, "$share/group/filter" is one (MQTT 5.0 §4.8.2),
// without, it is an ordinary filter.
bool is_topic_filter(text_view text, bool shared);
bool has_wildcard(text_view text);
bool is_shared_filter(text_view text);

}  // namespace zep::strict
