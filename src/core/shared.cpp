#include "core/shared.h"

#include <mutex>

#include "static_lock.h"

namespace zep {
namespace {

constinit static_lock g_claim_lock;

}  // namespace

bool shared_claim(uint8_t &flag) {
    const std::lock_guard guard(g_claim_lock);
    if (shared(flag).load() != 0) {
        return false;
    }
    shared(flag).store(1);
    return true;
}

}  // namespace zep
