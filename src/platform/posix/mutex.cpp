#include <pthread.h>

#include <zep_mqtt/platform/memory.h>
#include <zep_mqtt/platform/mutex.h>

void *platform_mutex_create_win32(void) {
    void *block = platform_malloc_win32(sizeof(pthread_mutex_t));
    if (block == nullptr) {
        return nullptr;
    }
    if (pthread_mutex_init(static_cast<pthread_mutex_t *>(block), nullptr) != 0) {
        platform_free_win32(block);
        return nullptr;
    }
    return block;
}

void platform_mutex_lock_win32(void *mutex) {
    if (mutex != nullptr) {
        pthread_mutex_lock(static_cast<pthread_mutex_t *>(mutex));
    }
}

void platform_mutex_unlock_win32(void *mutex) {
    if (mutex != nullptr) {
        pthread_mutex_unlock(static_cast<pthread_mutex_t *>(mutex));
    }
}

void platform_mutex_destroy_win32(void *mutex) {
    if (mutex != nullptr) {
        pthread_mutex_destroy(static_cast<pthread_mutex_t *>(mutex));
        platform_free_win32(mutex);
    }
}
