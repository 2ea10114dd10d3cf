#include "support/recorded_log.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <regex>
#include <vector>

namespace zep_test {

namespace {

namespace fs = std::filesystem;

// What a run is free to choose, and what is written for it.
const std::pair<std::regex, const char *> CHOICES[] = {
    {std::regex("(套接字(?:句柄|已关闭|成功)?(?:：|=|\\()?|标记完成，句柄：)[0-9]+"), "$1<socket>"},
    {std::regex("(127\\.0\\.0\\.1:|broker_port：|动态端口：)[1-9][0-9]*"), "$1<port>"},
    {std::regex("0x[0-9a-f]{6,}"), "<address>"},
    {std::regex("(malloc失败：申请大小=)[0-9]+"), "$1<size>"},
};
const std::regex LEFT_OUT("内存日志\\] (malloc成功|正常释放内存)|eth_interrupt_thread_proc");
const std::regex DUMP_ROW("\\[DEBUG\\] ([0-9A-F]{2} )+\n");

// A line ends where the next level begins, for a text may hold line feeds.
std::vector<std::string> lines_of(const std::string &log) {
    std::vector<std::string> lines;
    for (size_t start = 0; start < log.size(); start += lines.back().size()) {
        const size_t end = std::min(log.find("\n[", start), log.size() - 1) + 1;
        lines.push_back(log.substr(start, end - start));
    }
    return lines;
}

std::string comparable(const std::string &log) {
    std::string text;
    bool in_dump = false;
    for (std::string &line : lines_of(log)) {
        const bool is_row = std::regex_match(line, DUMP_ROW);
        if (!(in_dump && is_row) && !std::regex_search(line, LEFT_OUT)) {
            for (const auto &[choice, name] : CHOICES) {
                line = std::regex_replace(line, choice, name);
            }
            text += line;
        }
        in_dump = is_row;
    }
    return text;
}

std::string contents(const fs::path &file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::string unified_diff(const fs::path &recorded, const std::string &log) {
    const fs::path written = fs::temp_directory_path() / recorded.filename();
    std::ofstream(written, std::ios::binary) << log;
    const std::string command = "diff -uN '" + recorded.string() + "' '" + written.string() + "'";
    std::string text;
    if (FILE *const output = popen(command.c_str(), "r")) {
        for (char part[4096]; std::fgets(part, sizeof part, output) != nullptr;) {
            text += part;
        }
        pclose(output);
    }
    fs::remove(written);
    return text;
}

}  // namespace

void expect_recorded(const std::string &log) {
    const testing::TestInfo &test = *testing::UnitTest::GetInstance()->current_test_info();
    if (fs::path(test.file()).parent_path().filename() == "hostile") {
        return;  // chance rules there
    }
    std::string name = std::string(test.test_suite_name()) + "." + test.name() + ".log";
    std::replace(name.begin(), name.end(), '/', '.');
    const fs::path file = fs::path(ZEP_RECORDED_LOGS) / name;
    const std::string actual = comparable(log);
    if (std::getenv("ZEP_RENEW_LOGS") == nullptr) {
        if (contents(file) != actual) {
            ADD_FAILURE() << "The log differs from the recorded one (./run renew-logs records it)\n"
                          << unified_diff(file, actual);
        }
    } else if (!actual.empty() && !testing::Test::HasFailure()) {
        std::ofstream(file, std::ios::binary) << actual;
    }
}

std::string warnings_of(const std::string &log) {
    std::string warnings;
    for (const std::string &line : lines_of(log)) {
        warnings += line.starts_with("[DEBUG]") || line.starts_with("[INFO]") ? "" : line;
    }
    return warnings;
}

}  // namespace zep_test
