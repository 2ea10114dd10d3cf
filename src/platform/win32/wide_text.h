// Texts are UTF-8 everywhere in the library, and UTF-16 where Windows takes and gives them.
#pragma once

#include <cstddef>

#include "platform/win32/windows_api.h"

namespace zep {

// The UTF-16 form of a UTF-8 text, in a block of its own.
class wide_text {
 public:
    // size in bytes, or -1 for a text with its terminator. replace puts U+FFFD for what is no
    // UTF-8; without it such a text has no wide form.
    explicit wide_text(const char *text, int size = -1, bool replace = false);
    ~wide_text() { LocalFree(block_); }
    wide_text(const wide_text &) = delete;
    wide_text &operator=(const wide_text &) = delete;

    // Null when the text is null, cannot be converted, or memory is exhausted.
    const wchar_t *data() const { return block_; }
    // In UTF-16 units, with the terminator if the text came with one.
    DWORD size() const { return size_; }

 private:
    wchar_t *block_ = nullptr;
    DWORD size_ = 0;
};

}  // namespace zep
