#include "core/byte_writer.h"

namespace zep {

void byte_writer::bytes(const void *data, size_t n) {
    if (failed_ || n > capacity_ - size_) {
        failed_ = true;
        return;
    }
    if (begin_ != nullptr && n != 0) {
        std::memcpy(begin_ + size_, data, n);
    }
    size_ += n;
}

}  // namespace zep
