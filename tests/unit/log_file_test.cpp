#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "support/log_capture.h"

namespace {

constexpr uint32_t BOTH = AGENT_LOG_CONSOLE | AGENT_LOG_FILE;
const char *const FILE_NAME = "zep_flash.txt";

class log_file : public testing::Test {
 protected:
    log_file() {
        if (mkdtemp(directory_) == nullptr || chdir(directory_) != 0) {
            std::abort();
        }
    }
    ~log_file() override {
        agent_log_deinit();
        std::filesystem::current_path("/");
        std::filesystem::remove_all(directory_);
    }

    static void init(uint32_t level, uint32_t targets, uint32_t max_file_size) {
        const log_config config = {level, targets, max_file_size, 256};
        agent_log_init(&config);
    }
    // Whether files have permissions of their own.
    static bool may_be_private() {
        std::ofstream("probe").close();
        std::filesystem::permissions("probe", std::filesystem::perms(0600));
        return std::filesystem::status("probe").permissions() == std::filesystem::perms(0600);
    }
    static uintmax_t size() { return std::filesystem::file_size(FILE_NAME); }

    static std::string lines() {
        std::ifstream file(FILE_NAME);
        return zep_test::without_ticks({std::istreambuf_iterator<char>(file), {}});
    }

 private:
    char directory_[22] = "/tmp/zep_log_XXXXXX";
};

TEST_F(log_file, repeats_the_console) {
    zep_test::log_capture log;
    init(AGENT_LOG_INFO, BOTH, 0);
    agent_log(AGENT_LOG_DEBUG, "dropped");
    agent_log(AGENT_LOG_WARN, "一行 %d", 1);
    const std::string expected =
        "[INFO] 日志文件已打开：zep_flash.txt（最大容量：1024 KB）\n"
        "[INFO] 日志系统初始化完成，级别: INFO，目标: 0x3\n"
        "[WARN] 一行 1\n";
    EXPECT_EQ(lines(), expected) << "every line is in the file at once";
    if (may_be_private()) {
        EXPECT_EQ(std::filesystem::status(FILE_NAME).permissions(), std::filesystem::perms(0600));
    }
    agent_log_deinit();
    agent_log_deinit();
    agent_log(AGENT_LOG_WARN, "console only");
    EXPECT_EQ(log.take(), expected +
                              "[INFO] ✅ 日志文件已关闭：zep_flash.txt\n"
                              "[WARN] console only\n");
    EXPECT_EQ(lines(), expected);
    EXPECT_EQ(g_log_config.max_file_size, 0x100000u);
}

TEST_F(log_file, cuts_a_line_and_starts_again_at_its_cap) {
    zep_test::log_capture log;
    agent_log_clear_flash();
    init(AGENT_LOG_ERROR, AGENT_LOG_FILE, 512);
    const int next_descriptor = dup(0);
    agent_log(AGENT_LOG_ERROR, "%s", std::string(600, 'x').c_str());
    EXPECT_EQ(size(), 510u) << "the newline is cut, too";
    init(AGENT_LOG_ERROR, AGENT_LOG_FILE, 510);
    EXPECT_EQ(size(), 510u) << "only a line empties it";
    agent_log(AGENT_LOG_ERROR, "first");
    EXPECT_EQ(lines(), "[ERROR] first\n");
    init(AGENT_LOG_ERROR, AGENT_LOG_FILE, static_cast<uint32_t>(size()) + 1);
    agent_log(AGENT_LOG_ERROR, "second");
    EXPECT_EQ(lines(), "[ERROR] first\n[ERROR] second\n") << "one byte below the cap";
    init(AGENT_LOG_DEBUG, AGENT_LOG_FILE, UINT32_MAX);
    EXPECT_EQ(dup(0), next_descriptor + 1) << "each init closes the stream before";
    agent_log_clear_flash();
    EXPECT_EQ(lines(), "[DEBUG] 日志文件已清空\n");
    EXPECT_EQ(log.take(), "[DEBUG] 尝试清空日志文件（未打开）\n");
}

TEST_F(log_file, does_not_take_the_place_of_standard_input) {
    const int input = dup(0);
    close(0);
    init(AGENT_LOG_ERROR, AGENT_LOG_FILE, 0);
    EXPECT_GT(fileno(g_log_file), 2);
    EXPECT_EQ(fcntl(fileno(g_log_file), F_GETFD), FD_CLOEXEC);
    dup2(input, 0);
}

// A file that fails is reported on the console and given up; the console goes on.
TEST_F(log_file, failures_reach_the_console_only) {
    const auto nothing = [] {};
    const struct {
        bool (*prepare)();  // before init; whether this system can do it
        void (*spoil)();    // after init
        std::string report;
    } cases[] = {
        {[] { return std::filesystem::create_directory(FILE_NAME); }, nothing,
         "[ERROR] 日志文件打开失败：zep_flash.txt\n[ERROR] line\n"},
        {[] {
             std::error_code error;
             std::filesystem::create_symlink("/dev/full", FILE_NAME, error);
             return !error;
         },
         nothing, "[ERROR] line\n[ERROR] 日志写入文件失败，关闭句柄\n"},
        {[] {
             // A pipe opens for writing only with a reader.
             return mkfifo(FILE_NAME, 0600) == 0 && open(FILE_NAME, O_RDWR) >= 0;
         },
         nothing, "[ERROR] line\n[ERROR] 日志文件大小获取失败，关闭句柄\n"},
        {[] { return bool(std::ofstream(FILE_NAME) << "full"); },
         [] {
             std::error_code in_use;
             std::filesystem::rename(FILE_NAME, "moved", in_use);
             std::filesystem::create_directory(FILE_NAME, in_use);
         },
         "[ERROR] line\n[ERROR] 重建日志文件失败：zep_flash.txt\n"},
    };
    for (const auto &c : cases) {
        if (!c.prepare()) {
            continue;
        }
        zep_test::log_capture log;
        init(AGENT_LOG_ERROR, BOTH, 4);
        EXPECT_EQ(g_log_config.targets, &c == cases ? BOTH - AGENT_LOG_FILE : BOTH);
        c.spoil();
        if (&c == std::end(cases) - 1 && std::filesystem::is_regular_file(FILE_NAME)) {
            break;  // an open file stays where it is
        }
        agent_log(AGENT_LOG_ERROR, "line");
        agent_log(AGENT_LOG_ERROR, "goes on");
        EXPECT_EQ(log.take(), c.report + "[ERROR] goes on\n");
        EXPECT_EQ(g_log_file, nullptr) << c.report;
        std::filesystem::remove_all(FILE_NAME);
    }
}

// Four threads write lines with their number at both ends.
constexpr int THREADS = 4;
constexpr int LINES = 400;

void write_lines() {
    std::vector<std::jthread> threads;
    for (int t = 0; t < THREADS; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < LINES; ++i) {
                agent_log(AGENT_LOG_ERROR, "%d %d %*d", t, i, 10 + i % 40, i);
            }
        });
    }
}

// None may be torn or out of order. Returns how many there are.
int check_lines(const std::string &lines) {
    int last[THREADS] = {-1, -1, -1, -1};
    int count = 0;
    std::stringstream all(lines);
    std::string level;
    for (int t = 0, i = 0, again = 0; all >> level >> t >> i >> again; ++count) {
        EXPECT_TRUE(level == "[ERROR]" && i == again) << lines;
        EXPECT_GT(i, std::exchange(last[t % THREADS], i));
    }
    EXPECT_TRUE(all.eof()) << lines;
    return count;
}

TEST_F(log_file, loses_no_line_of_several_threads_and_survives_rebuilds_and_reopening) {
    init(AGENT_LOG_ERROR, AGENT_LOG_FILE, 0);
    write_lines();
    EXPECT_EQ(check_lines(lines()), THREADS * LINES);

    constexpr size_t CAP = 2000, LONGEST_LINE = 100;
    agent_log_clear_flash();
    const auto open = [] { init(AGENT_LOG_ERROR, AGENT_LOG_FILE, CAP); };
    open();
    std::thread disturber([open] {
        for (int i = 0; i < 100; ++i) {
            open();
            agent_log_clear_flash();
            agent_log_deinit();
        }
        open();
    });
    write_lines();
    disturber.join();
    agent_log(AGENT_LOG_ERROR, "0 9999 9999");
    EXPECT_GE(check_lines(lines()), 1);
    EXPECT_LE(size(), CAP + LONGEST_LINE);
}

}  // namespace
