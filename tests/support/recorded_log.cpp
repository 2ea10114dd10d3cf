#include "support/recorded_log.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <vector>

namespace zep_test {

namespace {

namespace fs = std::filesystem;

const testing::TestInfo &this_test() {
    return *testing::UnitTest::GetInstance()->current_test_info();
}

std::string name_of_this_test() {
    std::string name = std::string(this_test().test_suite_name()) + "." + this_test().name();
    for (char &c : name) {
        c = c == '/' ? '.' : c;
    }
    return name;
}

// A line ends where the next level begins, for a text may hold line feeds.
std::vector<std::string> lines_of(const std::string &log) {
    std::vector<std::string> lines;
    for (size_t start = 0; start < log.size();) {
        const size_t end = std::min(log.find("\n[", start), log.size() - 1) + 1;
        lines.push_back(log.substr(start, end - start));
        start = end;
    }
    return lines;
}

bool contains(const std::string &line, const char *part) {
    return line.find(part) != std::string::npos;
}

bool is_left_out(const std::string &line) {
    return contains(line, "[内存日志] malloc成功") || contains(line, "[内存日志] 正常释放内存") ||
           contains(line, "eth_interrupt_thread_proc");
}

// What a run is free to choose: the number behind each of these texts.
struct {
    const char *before, *name;
} const CHOICES[] = {
    {"套接字", "<socket>"},
    {"套接字=", "<socket>"},
    {"套接字(", "<socket>"},
    {"套接字句柄：", "<socket>"},
    {"套接字已关闭：", "<socket>"},
    {"套接字成功：", "<socket>"},
    {"标记完成，句柄：", "<socket>"},
    {"127.0.0.1:", "<port>"},
    {"broker_port：", "<port>"},
    {"动态端口：", "<port>"},
    {"session 地址 = 0x", "<address>"},
    {"[内存日志] malloc失败：申请大小=", "<size>"},
};

bool is_dump_row(const std::string &line) {
    return line.find_first_not_of("0123456789ABCDEF \n", std::strlen("[DEBUG] ")) ==
           std::string::npos;
}

std::string comparable(const std::string &log) {
    std::string text;
    bool in_dump = false;
    for (const std::string &line : lines_of(log)) {
        const bool goes_on = in_dump && is_dump_row(line);
        in_dump = is_dump_row(line);
        text += goes_on || is_left_out(line) ? "" : line;
    }
    for (const auto &[before, name] : CHOICES) {
        for (size_t at = 0; (at = text.find(before, at)) != std::string::npos;) {
            at += std::strlen(before);
            const size_t end = text.find_first_not_of("0123456789abcdef", at);
            if (end != at && text[at] != '0') {
                text.replace(at, end - at, name);
            }
        }
    }
    return text;
}

std::string contents(const fs::path &file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::string unified_diff(const fs::path &recorded, const std::string &log) {
    const fs::path written = fs::temp_directory_path() / (name_of_this_test() + ".log");
    std::ofstream(written, std::ios::binary) << log;
    const std::string command = "diff -uN '" + recorded.string() + "' '" + written.string() + "'";
    std::string text;
    if (FILE *const output = popen(command.c_str(), "r")) {
        char part[4096];
        while (const size_t read = std::fread(part, 1, sizeof part, output)) {
            text.append(part, read);
        }
        pclose(output);
    }
    fs::remove(written);
    return text;
}

}  // namespace

void expect_recorded(const std::string &log) {
    if (fs::path(this_test().file()).parent_path().filename() != "client") {
        return;
    }
    const fs::path file = fs::path(ZEP_RECORDED_LOGS) / (name_of_this_test() + ".log");
    const std::string actual = comparable(log);
    if (std::getenv("ZEP_RENEW_LOGS") == nullptr) {
        if (contents(file) != actual) {
            ADD_FAILURE() << "The log differs from the recorded one (./run renew-logs records it)\n"
                          << unified_diff(file, actual);
        }
    } else if (!actual.empty()) {
        std::ofstream(file, std::ios::binary) << actual;
    }
}

std::string warnings_of(const std::string &log) {
    std::string warnings;
    for (const std::string &line : lines_of(log)) {
        if (line.rfind("[DEBUG]", 0) != 0 && line.rfind("[INFO]", 0) != 0) {
            warnings += line;
        }
    }
    return warnings;
}

}  // namespace zep_test
