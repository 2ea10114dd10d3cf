// A copy of some bytes whose last one is followed by a page that may not be touched: reading or
// writing past the end ends the test at once.
#pragma once

#include <cstdint>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace zep_test {

class guarded_bytes {
 public:
    explicit guarded_bytes(size_t size) : size_(size) {
        const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        const size_t usable = (size + page - 1) / page * page;
        mapped_ = usable + page;
        base_ = static_cast<uint8_t *>(
            mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        mprotect(base_ + usable, page, PROT_NONE);
        data_ = base_ + usable - size;
    }
    explicit guarded_bytes(const std::vector<uint8_t> &content) : guarded_bytes(content.size()) {
        if (!content.empty()) {
            std::memcpy(data_, content.data(), content.size());
        }
    }
    ~guarded_bytes() { munmap(base_, mapped_); }
    guarded_bytes(const guarded_bytes &) = delete;
    guarded_bytes &operator=(const guarded_bytes &) = delete;

    uint8_t *data() const { return data_; }
    uint32_t size() const { return static_cast<uint32_t>(size_); }

 private:
    uint8_t *base_ = nullptr;
    uint8_t *data_ = nullptr;
    size_t mapped_ = 0;
    size_t size_;
};

}  // namespace zep_test
