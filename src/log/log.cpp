#include <cstdarg>

#include <zep_mqtt/log/log.h>

#include "core/shared.h"
#include "log/console.h"
#include "log/file_sink.h"
#include "log/log_lines.h"

using zep::shared;

log_config g_log_config = {AGENT_LOG_DEBUG, AGENT_LOG_CONSOLE, 0, 256};

namespace {

constexpr uint32_t DEFAULT_FILE_SIZE = 0x100000;
constexpr uint16_t DEFAULT_ENTRIES = 256;
constexpr uint16_t MAX_ENTRIES = 1024;

void report_to_console(uint32_t level, const char *message) {
    if (zep::log_passes(level)) {
        zep::console_write(level, message);
    }
}

// A file that fails is reported on the console alone.
void write_to_file(uint32_t level, const char *message) {
    const zep::sink_trouble met = zep::file_sink_write(level, message);
    if (met.rebuilt_unbuffered) {
        report_to_console(AGENT_LOG_WARN, zep::REBUILT_UNBUFFERED);
    }
    if (met.failure != nullptr) {
        report_to_console(AGENT_LOG_ERROR, met.failure);
    }
}

// Returns whether the file is open.
bool open_file(uint32_t max_size) {
    const zep::sink_state state = zep::file_sink_open(max_size);
    if (state == zep::sink_state::FAILED) {
        LOG_ERROR("日志文件打开失败：%s", LOG_FILE_NAME);
        return false;
    }
    if (state == zep::sink_state::UNBUFFERED) {
        LOG_WARN("设置文件缓冲失败，使用默认缓冲");
    }
    LOG_INFO("日志文件已打开：%s（最大容量：%lu KB）", LOG_FILE_NAME,
             static_cast<unsigned long>(max_size / 1024));
    return true;
}

}  // namespace

void agent_log(uint32_t level, const char *format, ...) {
    if (!zep::log_passes(level) || format == nullptr) {
        return;
    }
    char message[zep::LOG_MESSAGE_SIZE];
    va_list values;
    va_start(values, format);
    std::vsnprintf(message, sizeof message, format, values);
    va_end(values);
    zep::console_write(level, message);
    if (zep::log_targets(AGENT_LOG_FILE)) {
        write_to_file(level, message);
    }
}

void agent_log_init(const log_config *config) {
    if (config == nullptr) {
        return;
    }
    const bool entries_valid = config->max_entries >= 1 && config->max_entries <= MAX_ENTRIES;
    // Other threads may be logging.
    shared(g_log_config.max_entries).store(entries_valid ? config->max_entries : DEFAULT_ENTRIES);
    shared(g_log_config.level).store(config->level);
    shared(g_log_config.targets).store(config->targets);
    if ((config->targets & AGENT_LOG_FILE) != 0 &&
        !open_file(config->max_file_size == 0 ? DEFAULT_FILE_SIZE : config->max_file_size)) {
        shared(g_log_config.targets).store(config->targets & ~uint32_t{AGENT_LOG_FILE});
        return;
    }
    LOG_INFO("日志系统初始化完成，级别: %s，目标: 0x%x", zep::log_level_name(config->level),
             config->targets);
}

void agent_log_deinit(void) {
    if (zep::file_sink_close()) {
        LOG_INFO("✅ 日志文件已关闭：%s", LOG_FILE_NAME);
    }
}

void agent_log_set_level(uint32_t level) {
    if (level > AGENT_LOG_FATAL) {
        LOG_ERROR("无效的日志级别: %d（范围：0-%d）", level, AGENT_LOG_FATAL);
        return;
    }
    const uint32_t before = shared(g_log_config.level).exchange(level);
    LOG_INFO("日志级别已变更: %s → %s", zep::log_level_name(before), zep::log_level_name(level));
}

void agent_log_clear_flash(void) {
    const zep::sink_state state = zep::file_sink_clear();
    if (state == zep::sink_state::NONE) {
        LOG_DEBUG("尝试清空日志文件（未打开）");
        return;
    }
    if (state == zep::sink_state::UNBUFFERED) {
        LOG_WARN("清空文件后设置缓冲失败");
    }
    LOG_DEBUG("日志文件已清空");
}

void agent_log_printf(const char *format, ...) {
    if (!zep::log_passes(AGENT_LOG_INFO) || format == nullptr) {
        return;
    }
    char text[256];
    va_list values;
    va_start(values, format);
    std::vsnprintf(text, sizeof text, format, values);
    va_end(values);
    agent_log(AGENT_LOG_INFO, "%s", text);
}

uint32_t agent_log_get_count(void) {
    return 0;
}

uint32_t agent_log_get_entry(uint32_t /*index*/, char * /*buffer*/, uint32_t /*size*/) {
    return 0;
}
