#include "log/log_lines.h"

#include "support/log_capture.h"

namespace {

TEST(log_lines, are_filtered_by_level_and_cut) {
    const log_config config = {AGENT_LOG_WARN, AGENT_LOG_CONSOLE, 0, 256};
    agent_log_init(&config);
    const std::string text(2000, 'x');
    zep_test::log_capture log;
    agent_log(AGENT_LOG_INFO, "dropped");
    agent_log(AGENT_LOG_FATAL, nullptr);
    agent_log(7, "of no known level");
    agent_log(AGENT_LOG_ERROR, "%s", text.c_str());
    int evaluated = 0;
    LOG_INFO("%d", ++evaluated);
    LOG_FATAL("%d", ++evaluated);
    agent_log_set_level(AGENT_LOG_DEBUG);
    agent_log_printf("%s", text.c_str());
    agent_log_printf(nullptr);
    EXPECT_EQ(log.take(), "[UNKNOWN] of no known level\n[ERROR] " + text.substr(0, 1022) +
                              "\n[FATAL] 1\n[INFO] 日志级别已变更: WARN → DEBUG\n[INFO] " +
                              text.substr(0, 255) + "\n");
    EXPECT_EQ(evaluated, 1) << "a filtered line costs a comparison";
}

TEST(log_lines, configuration_and_level_are_taken_over_and_told_when_they_pass) {
    zep_test::log_capture log;
    for (const log_config &given :
         {log_config{0, 1, 77, 0}, log_config{1, 0xF1, 77, 1025}, log_config{9, 1, 77, 1024}}) {
        agent_log_init(&given);
        EXPECT_EQ(g_log_config.level, given.level);
        EXPECT_EQ(g_log_config.targets, given.targets);
        EXPECT_EQ(g_log_config.max_entries, given.level == 9 ? 1024 : 256);
        EXPECT_EQ(g_log_config.max_file_size, 0u) << "kept without the file target";
    }
    for (const uint32_t level : {4u, 0u, 5u}) {
        agent_log_set_level(level);
        EXPECT_EQ(g_log_config.level, level % 5);
    }
    EXPECT_EQ(log.take(),
              "[INFO] 日志系统初始化完成，级别: DEBUG，目标: 0x1\n"
              "[INFO] 日志系统初始化完成，级别: INFO，目标: 0xf1\n"
              "[INFO] 日志级别已变更: FATAL → DEBUG\n"
              "[ERROR] 无效的日志级别: 5（范围：0-4）\n");
}

TEST(log_lines, dump_bytes) {
    const uint8_t bytes[17] = {0xF8, 0xF9, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 0xAB};
    const std::string row = "[DEBUG] F8 F9 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D \n";
    zep_test::log_capture log;
    agent_log_hexdump("100%s", bytes, 17);
    agent_log_hexdump(nullptr, bytes, 16);
    agent_log_hexdump("nothing", bytes, 0);
    agent_log_hexdump("nothing", nullptr, 4);
    EXPECT_EQ(log.take(), "[DEBUG] 100%s\n" + row + "[DEBUG] AB \n" + row);
}

}  // namespace
