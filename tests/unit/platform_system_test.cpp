#include <arpa/inet.h>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <zep_mqtt/platform/clock.h>
#include <zep_mqtt/platform/file.h>
#include <zep_mqtt/platform/random.h>
#include <zep_mqtt/platform/socket_service.h>

namespace {

TEST(platform_clock, clocks_agree_with_each_other) {
    const uint64_t tick = platform_get_tick_ms();
    const int64_t tick_us = platform_get_tick_us_win32();
    platform_delay_ms(30);
    const uint64_t slept = platform_get_tick_ms() - tick;
    const int64_t slept_us = platform_get_tick_us_win32() - tick_us;
    EXPECT_GE(slept, 29u);
    EXPECT_GE(slept_us, 30'000);
    EXPECT_NEAR(static_cast<double>(tick_us) / 1000, static_cast<double>(tick), 1000);

    const int64_t before = std::time(nullptr);
    const int64_t seconds = platform_get_utc_seconds();
    const auto ms = static_cast<int64_t>(platform_get_utc_ms_win32());
    EXPECT_GE(seconds, before);
    EXPECT_GE(ms / 1000, seconds);
    EXPECT_LE(ms / 1000, seconds + 60);
}

TEST(platform_file, tells_existence_and_size) {
    char dir[] = "/tmp/zep_platform_XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    const std::string path = std::string(dir) + "/file";
    std::ofstream(path) << "12345";
    EXPECT_TRUE(platform_file_exists_win32(path.c_str()));
    EXPECT_TRUE(platform_file_exists_win32(dir));
    EXPECT_EQ(platform_get_file_size_win32(path.c_str()), 5u);
    std::filesystem::resize_file(path, 0x100000007);
    EXPECT_EQ(platform_get_file_size_win32(path.c_str()), 7u) << "the low 32 bits";
    std::filesystem::remove_all(dir);
    for (const char *missing : {static_cast<const char *>(nullptr), path.c_str()}) {
        EXPECT_FALSE(platform_file_exists_win32(missing));
        EXPECT_EQ(platform_get_file_size_win32(missing), 0u);
    }
}

// Runs a copy of this program under another name, which prints its name in this same test.
TEST(platform_file, program_name_loses_directory_and_last_extension) {
    const char *print_size = std::getenv("ZEP_TEST_PRINT_NAME");
    if (print_size != nullptr) {
        char name[64];
        std::memset(name, 'x', sizeof name);
        const uint32_t length = platform_get_runtime_filename_win32(
            name, static_cast<uint32_t>(std::strtoul(print_size, nullptr, 10)));
        std::printf("name=%s,%u\n", name, length);
        return;
    }
    const struct {
        const char *path;
        int size;
        const char *printed;
    } cases[] = {{"a.b/tool", 64, "name=tool,4\n"},
                 {"a.b/tool.beta.exe", 64, "name=tool.beta,9\n"},
                 {"a.b/tool.beta.exe", 5, "name=tool,4\n"},
                 {"a.b/tool.beta.exe", 1, "name=,0\n"}};
    char dir[] = "/tmp/zep_platform_XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    std::filesystem::create_directory(std::string(dir) + "/a.b");
    for (const auto &c : cases) {
        const std::string program = std::string(dir) + "/" + c.path;
        std::filesystem::copy_file("/proc/self/exe", program,
                                   std::filesystem::copy_options::overwrite_existing);
        const std::string command =
            "ZEP_TEST_PRINT_NAME=" + std::to_string(c.size) + " " + program +
            " --gtest_filter=platform_file.program_name_loses_directory_and_last_extension";
        FILE *child = popen(command.c_str(), "r");
        ASSERT_NE(child, nullptr);
        std::string output;
        for (int byte; (byte = std::fgetc(child)) != EOF;) {
            output += static_cast<char>(byte);
        }
        EXPECT_EQ(pclose(child), 0);
        EXPECT_NE(output.find(c.printed), std::string::npos) << output;
    }
    std::filesystem::remove_all(dir);
    char name[4];
    EXPECT_EQ(platform_get_runtime_filename_win32(nullptr, 4), 0u);
    EXPECT_EQ(platform_get_runtime_filename_win32(name, 0), 0u);
}

TEST(platform_random, fills_exactly_the_buffer) {
    for (auto *generate : {platform_rand_generate, platform_rand_generate_crypto}) {
        uint8_t bytes[1026] = {};
        EXPECT_EQ(generate(nullptr, 4), 0);
        EXPECT_EQ(generate(bytes, 0), 0);
        EXPECT_EQ(generate(bytes + 1, 1024), 1);
        EXPECT_EQ(bytes[0], 0);
        EXPECT_EQ(bytes[1025], 0);
        // 64 zero bytes in a row are no accident.
        for (size_t i = 1; i < 1025; i += 64) {
            EXPECT_NE(std::count(bytes + i, bytes + i + 64, 0), 64);
        }
    }
    // The C library's generator is used as the application left it.
    uint8_t drawn[4];
    std::srand(42);
    platform_rand_generate(drawn, sizeof drawn);
    std::srand(42);
    for (const uint8_t byte : drawn) {
        EXPECT_EQ(byte, static_cast<uint8_t>(std::rand()));
    }
}

TEST(platform_socket_service, counts_its_starts) {
    EXPECT_EQ(platform_deinit(), -1);
    EXPECT_EQ(platform_init(), 1);
    EXPECT_EQ(platform_init(), 1);
    EXPECT_EQ(platform_deinit(), 0);
    EXPECT_EQ(platform_deinit(), 0);
    EXPECT_EQ(platform_deinit(), -1);
}

TEST(platform_socket_service, finds_a_port_in_use) {
    const int holder = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ASSERT_EQ(bind(holder, reinterpret_cast<sockaddr *>(&address), length), 0);
    ASSERT_EQ(getsockname(holder, reinterpret_cast<sockaddr *>(&address), &length), 0);
    EXPECT_EQ(platform_check_port_in_use_win32(ntohs(address.sin_port)), 1);
    close(holder);
    EXPECT_EQ(platform_check_port_in_use_win32(ntohs(address.sin_port)), 0);
}

}  // namespace
