#include "platform/win32/wide_text.h"

namespace zep {

wide_text::wide_text(const char *text, int size, bool replace) {
    if (text == nullptr) {
        return;
    }
    const DWORD flags = replace ? 0 : MB_ERR_INVALID_CHARS;
    const int needed = MultiByteToWideChar(CP_UTF8, flags, text, size, nullptr, 0);
    if (needed <= 0) {
        return;
    }
    const auto units = static_cast<size_t>(needed);
    block_ = static_cast<wchar_t *>(LocalAlloc(LMEM_FIXED, units * sizeof(wchar_t)));
    if (block_ != nullptr) {
        size_ = static_cast<DWORD>(MultiByteToWideChar(CP_UTF8, flags, text, size, block_, needed));
    }
}

}  // namespace zep
