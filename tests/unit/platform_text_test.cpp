#include <cstring>

#include <zep_mqtt/platform/text.h>

#include "support/guarded_bytes.h"
#include "support/log_capture.h"

namespace {

TEST(platform_text, copies_and_formats_what_fits) {
    const zep_test::guarded_bytes unterminated({'a', 'b', 'c'});
    const auto *source = reinterpret_cast<const char *>(unterminated.data());
    const std::string results[] = {"old", "", "a", "ab", "abc"};
    for (uint32_t size = 0; size <= 4; ++size) {
        char dest[8] = "old";
        EXPECT_EQ(platform_strcpy_s(dest, size, source), size == 0 ? 0 : size - 1);
        EXPECT_EQ(dest, results[size]);
    }
    zep_test::log_capture log;
    char dest[6];
    EXPECT_EQ(platform_snprintf(dest, sizeof dest, "%s-%d", "ab", 12), 5u);
    EXPECT_STREQ(dest, "ab-12");
    EXPECT_EQ(platform_snprintf(dest, sizeof dest, "%s", "abcdef"), 5u);
    EXPECT_STREQ(dest, "abcde");
    // A wide character that the C locale cannot express: the formatter itself fails.
    std::memset(dest, 'x', sizeof dest);
    if (std::snprintf(nullptr, 0, "%ls", L"\x4E2D") < 0) {
        EXPECT_EQ(platform_snprintf(dest, sizeof dest, "a%ls", L"\x4E2D"), 5u);
        EXPECT_EQ(std::memchr(dest, 'x', sizeof dest), nullptr) << "nothing may stay undefined";
    }
    EXPECT_EQ(log.take(), "[ERROR] platform_snprintf: buffer overflow (ret=6, max_len=6)\n");
}

TEST(platform_text, appends_whole_or_not_at_all_and_tolerates_null) {
    zep_test::log_capture log;
    char dest[8] = "ab";
    EXPECT_EQ(platform_strcat_s(dest, 8, "cdefgh"), 0u);
    EXPECT_STREQ(dest, "ab");
    EXPECT_EQ(platform_strcat_s(dest, 8, "cdefg"), 7u);
    EXPECT_STREQ(dest, "abcdefg");
    EXPECT_EQ(platform_strcat_s(nullptr, 5, nullptr), 0u);
    EXPECT_EQ(platform_strlen(nullptr), 0u);
    EXPECT_EQ(platform_strcmp(nullptr, nullptr), 0);
    EXPECT_EQ(platform_strcmp(nullptr, ""), -1);
    EXPECT_EQ(platform_strcmp("", nullptr), 1);
    EXPECT_EQ(platform_strchr(nullptr, 'x'), nullptr);
    EXPECT_EQ(platform_strstr(dest, "cd"), dest + 2);
    EXPECT_EQ(platform_strstr(nullptr, nullptr), nullptr);
    EXPECT_EQ(log.take(),
              "[ERROR] platform_strcat_s: buffer overflow (dest_len=2, src_len=6, max_len=8)\n"
              "[ERROR] platform_strcat_s: invalid param (dest=(nil), src=(nil), len=5)\n"
              "[ERROR] platform_strstr: 空指针参数（str=(nil), substr=(nil)）\n");
}

}  // namespace
