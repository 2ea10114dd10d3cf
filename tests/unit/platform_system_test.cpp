#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

#include <zep_mqtt/platform/clock.h>
#include <zep_mqtt/platform/file.h>
#include <zep_mqtt/platform/random.h>
#include <zep_mqtt/platform/socket_service.h>

#include "support/loopback.h"

namespace {

TEST(platform_clock, clocks_agree_with_each_other) {
    const uint64_t tick = platform_get_tick_ms();
    const int64_t tick_us = platform_get_tick_us_win32();
    platform_delay_ms(30);
    // The clock may count in steps of some milliseconds.
    const uint64_t after = platform_get_tick_ms();
    uint64_t next = after;
    while (next == after) {
        next = platform_get_tick_ms();
    }
    EXPECT_GE(next - tick, 30u);
    EXPECT_NEAR(static_cast<double>(tick_us) / 1000, static_cast<double>(tick), 60'000);
    const auto seconds = static_cast<double>(std::time(nullptr));
    EXPECT_NEAR(static_cast<double>(platform_get_utc_seconds()), seconds, 60);
    EXPECT_NEAR(static_cast<double>(platform_get_utc_ms_win32()) / 1000, seconds, 60);
}

// Runs this program under another name, where this same test prints what it is told, also when its
// file has got a new name, and when that is gone.
TEST(platform_file, tells_program_name_and_size) {
    const auto self = std::filesystem::absolute(testing::internal::GetArgvs()[0]);
    const auto other = self.parent_path() / "tool.beta.exe";
    const auto renamed = self.parent_path() / "tool (deleted)";
    if (std::getenv("ZEP_TEST_PRINT_NAME") != nullptr) {
        char name[64] = "untouched";
        const auto print = [&name](uint32_t size) {
            const uint32_t length = platform_get_runtime_filename_win32(name, size);
            std::printf("%s,%u;", name, length);
        };
        std::puts("");
        print(0), print(5), print(64);
        std::error_code in_use;
        std::filesystem::rename(other, renamed, in_use);
        print(64);
        if (std::filesystem::remove(renamed, in_use)) {
            print(64);
        }
        std::_Exit(std::fflush(stdout));
    }
    std::filesystem::remove(other);
    std::filesystem::copy_file(self, other);
    setenv("ZEP_TEST_PRINT_NAME", "1", 1);
    FILE *child = popen((other.string() + " --gtest_filter=platform_file.tells*").c_str(), "r");
    char output[4096] = "";
    output[std::fread(output, 1, sizeof output - 1, child)] = '\0';
    pclose(child);
    const std::string printed =
        std::strrchr(output, '\n') != nullptr ? std::strrchr(output, '\n') : "";
    const std::string names = "\nuntouched,0;tool,4;tool.beta,9;";
    if (std::strstr(output, "[ RUN") == nullptr) {
        std::puts("a copy of this program does not run here: no name is compared");
    } else if (std::filesystem::remove(renamed)) {
        EXPECT_EQ(printed, names + "tool.beta,9;") << "a running program keeps file and name";
    } else {
        EXPECT_EQ(printed, names + "tool (deleted),14;tool (deleted),14;");
    }

    std::ofstream(other).close();
    std::filesystem::resize_file(other, 0x100000007);
    EXPECT_EQ(platform_get_file_size_win32(other.string().c_str()), 7u);
    std::filesystem::remove(other);
    EXPECT_FALSE(platform_file_exists_win32(other.string().c_str()));
    EXPECT_TRUE(platform_file_exists_win32("/"));
    EXPECT_EQ(platform_get_file_size_win32(nullptr), 0u);
}

TEST(platform_random, fills_exactly_the_buffer) {
    for (auto *generate : {platform_rand_generate, platform_rand_generate_crypto}) {
        uint8_t bytes[1026] = {};
        EXPECT_EQ(generate(nullptr, 4), 0);
        EXPECT_EQ(generate(bytes, 0), 0);
        EXPECT_EQ(generate(bytes + 1, 1024), 1);
        EXPECT_EQ(bytes[0] + bytes[1025], 0);
        // 64 zero bytes in a row are no accident.
        for (size_t i = 1; i < 1025; i += 64) {
            EXPECT_NE(std::count(bytes + i, bytes + i + 64, 0), 64);
        }
    }
}

TEST(platform_socket_service, starts_and_finds_a_port_in_use) {
    EXPECT_EQ(platform_init(), 1);
    EXPECT_EQ(platform_deinit(), 0);
    const zep_test::owned_fd holder = zep_test::bound_socket(SOCK_DGRAM);
    EXPECT_EQ(platform_check_port_in_use_win32(zep_test::port_of(holder)), 1);
    EXPECT_EQ(platform_check_port_in_use_win32(0), 0) << "the system chooses a free one";
}

}  // namespace
