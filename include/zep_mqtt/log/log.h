/**
 * @file
 * The log facility: one line per event, to the console, to a file, or to both.
 *
 * Until agent_log_init() is called everything from DEBUG up goes to the console. Writing a
 * line allocates nothing; the facility returns nothing, and its own failures are lines of its own.
 *
 * Threads: every function may be called from any thread. Lines of different threads never mix, and
 * the file's size check, rebuild and write are one step.
 *
 * Part of the public interface; zep_mqtt_sdk.h includes it.
 */
#ifndef ZEP_MQTT_LOG_LOG_H
#define ZEP_MQTT_LOG_LOG_H

#include <stdint.h>
#include <stdio.h>

#include "../export.h"

ZEP_MQTT_BEGIN_DECLS

/** Levels, lowest first. */
enum agent_log_level {
    AGENT_LOG_DEBUG = 0,
    AGENT_LOG_INFO = 1,
    AGENT_LOG_WARN = 2,
    AGENT_LOG_ERROR = 3,
    AGENT_LOG_FATAL = 4
};

/** Bits of log_config.targets. Other bits have no effect. */
enum agent_log_target {
    AGENT_LOG_CONSOLE = 1, /**< standard output */
    AGENT_LOG_FILE = 2     /**< "zep_flash.txt" in the current directory, created for its
                                owner only */
};

/** The configuration of the facility. */
typedef struct log_config {
    uint32_t level;         /**< lowest level that is written; lower ones cost a comparison */
    uint32_t targets;       /**< AGENT_LOG_CONSOLE, AGENT_LOG_FILE or both */
    uint32_t max_file_size; /**< bytes at which the file is emptied and started again, 1 to
                                 2,147,483,647; 0 given to agent_log_init() means 1,048,576 */
    uint16_t max_entries;   /**< kept when 1 to 1024, else 256; read by nothing */
} log_config;

/** The configuration in force. Before any init: DEBUG, console only, no cap, 256. */
extern ZEP_MQTT_API log_config g_log_config;

/** The open log file, or null. Owned by the facility. */
extern ZEP_MQTT_API FILE *g_log_file;

/** The names of the five levels. */
extern ZEP_MQTT_API const char *const g_log_level_str[5];

/**
 * Writes one line, "[tick] [level] message". Nothing happens when level is below the configured one
 * or format is null. The message is cut to 1022 bytes, the whole line of the file to 510.
 */
ZEP_MQTT_API void agent_log(uint32_t level, const char *format, ...) ZEP_MQTT_PRINTF(2, 3);

/**
 * Takes a line instead of the console.
 *
 * @param user     as given to agent_log_set_sink()
 * @param level    AGENT_LOG_*
 * @param tick_ms  low 32 bits of the tick clock
 * @param message  without a line end; valid during the call. It may hold bytes that a broker chose
 *
 * Called on the thread that logs, which may be any. It must not log.
 */
typedef void (*agent_log_sink)(void *user, uint32_t level, uint32_t tick_ms, const char *message);

/**
 * Lets a function take what would go to the console; the file is not touched by that. Everything
 * that the console would get goes there: the level and AGENT_LOG_CONSOLE in the targets hold for
 * it, too.
 *
 * Not to be called while another thread may log.
 *
 * @param sink  null: standard output again
 * @param user  handed to the sink
 */
ZEP_MQTT_API void agent_log_set_sink(agent_log_sink sink, void *user);

/**
 * Takes over a configuration and, with AGENT_LOG_FILE, opens the file for appending; a file that
 * cannot be opened is reported and its target bit cleared. A file that was open is closed first.
 *
 * @param config  copied; null is ignored
 */
ZEP_MQTT_API void agent_log_init(const log_config *config);

/** Closes the log file if it is open. The configured targets stay. */
ZEP_MQTT_API void agent_log_deinit(void);

/** Changes the level. A level above AGENT_LOG_FATAL is reported and changes nothing. */
ZEP_MQTT_API void agent_log_set_level(uint32_t level);

/** Empties the log file if it is open. */
ZEP_MQTT_API void agent_log_clear_flash(void);

/**
 * Dumps a buffer at DEBUG: the prefix, then rows of 16 bytes in hexadecimal.
 *
 * @param prefix  may be null: no prefix line
 * @param data    may be null: nothing is dumped
 * @param length  in bytes; 0: nothing happens
 */
ZEP_MQTT_API void agent_log_hexdump(const char *prefix, const uint8_t *data, uint16_t length);

/** Formats at most 255 bytes and writes them as one line at INFO. For applications. */
ZEP_MQTT_API void agent_log_printf(const char *format, ...) ZEP_MQTT_PRINTF(1, 2);

/** @return 0: the facility keeps no entries in memory. */
ZEP_MQTT_API uint32_t agent_log_get_count(void);

/**
 * @param index   ignored
 * @param buffer  left as it is
 * @param size    ignored
 * @return 0: there is no entry to give.
 */
ZEP_MQTT_API uint32_t agent_log_get_entry(uint32_t index, char *buffer, uint32_t size);

ZEP_MQTT_END_DECLS

#endif
