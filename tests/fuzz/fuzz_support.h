// What the fuzz targets share.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <zep_mqtt/log/log.h>

// Unlike assert() it holds in every build.
#define FUZZ_CHECK(condition)                                                              \
    do {                                                                                   \
        if (!(condition)) {                                                                \
            std::fprintf(stderr, "%s:%d: not true: %s\n", __FILE__, __LINE__, #condition); \
            std::abort();                                                                  \
        }                                                                                  \
    } while (false)

namespace zep_fuzz {

// Nothing is shown. With formatting, the lines are made all the same, so that what they print is
// read under the sanitizers; that takes most of the time.
inline void mute_log(bool formatting) {
    g_log_config.level = formatting ? AGENT_LOG_DEBUG : AGENT_LOG_FATAL + 1;
    g_log_config.targets = 0;
}

inline const bool LOG_IS_MUTE = (mute_log(true), true);

// Takes values off the front of the input; zeros when it is used up.
class input {
 public:
    input(const uint8_t *data, size_t size) : next_(data), left_(size) {}

    bool empty() const { return left_ == 0; }

    uint8_t u8() {
        if (left_ == 0) {
            return 0;
        }
        --left_;
        return *next_++;
    }

    uint32_t below(uint32_t limit) { return u8() % limit; }

    // At most size bytes, copied.
    size_t bytes(uint8_t *to, size_t size) {
        size = size < left_ ? size : left_;
        if (size != 0) {
            std::memcpy(to, next_, size);
        }
        next_ += size;
        left_ -= size;
        return size;
    }

 private:
    const uint8_t *next_;
    size_t left_;
};

}  // namespace zep_fuzz
