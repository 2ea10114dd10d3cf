#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include <zep_mqtt/platform/text.h>

#include "support/guarded_bytes.h"
#include "support/log_capture.h"

namespace {

TEST(platform_text, copies_what_fits) {
    const struct {
        uint32_t size;
        const char *src;
        uint32_t copied;
        const char *result;
    } cases[] = {{8, "abc", 3, "abc"},  {4, "abc", 3, "abc"}, {3, "abc", 2, "ab"},
                 {1, "abc", 0, ""},     {8, "", 0, ""},       {0, "abc", 0, "old"},
                 {8, nullptr, 0, "old"}};
    for (const auto &c : cases) {
        char dest[8] = "old";
        EXPECT_EQ(platform_strcpy_s(dest, c.size, c.src), c.copied);
        EXPECT_STREQ(dest, c.result);
    }
    EXPECT_EQ(platform_strcpy_s(nullptr, 8, "abc"), 0u);

    // No byte of the source beyond the limit is read.
    const zep_test::guarded_bytes unterminated({'a', 'b', 'c'});
    char dest[4];
    EXPECT_EQ(platform_strcpy_s_win32(dest, 4, reinterpret_cast<const char *>(unterminated.data())),
              3u);
    EXPECT_STREQ(dest, "abc");
}

TEST(platform_text, appends_whole_or_not_at_all) {
    const struct {
        uint32_t size;
        const char *src;
        uint32_t length;
        const char *result;
        std::string log;
    } cases[] = {
        {8, "cdefg", 7, "abcdefg", ""},
        {8, "", 2, "ab", ""},
        {8, "cdefgh", 0, "ab",
         "[ERROR] platform_strcat_s: buffer overflow (dest_len=2, src_len=6, max_len=8)\n"},
        {2, "c", 0, "ab",
         "[ERROR] platform_strcat_s: buffer overflow (dest_len=2, src_len=1, max_len=2)\n"},
    };
    for (const auto &c : cases) {
        char dest[8] = "ab";
        zep_test::log_capture log;
        EXPECT_EQ(platform_strcat_s(dest, c.size, c.src), c.length);
        EXPECT_EQ(log.take(), c.log);
        EXPECT_STREQ(dest, c.result);
    }
    zep_test::log_capture log;
    EXPECT_EQ(platform_strcat_s(nullptr, 5, nullptr), 0u);
    EXPECT_EQ(log.take(),
              "[ERROR] platform_strcat_s: invalid param (dest=(nil), src=(nil), len=5)\n");
}

TEST(platform_text, formats_what_fits) {
    char dest[6];
    EXPECT_EQ(platform_snprintf(dest, sizeof dest, "%s-%d", "ab", 12), 5u);
    EXPECT_STREQ(dest, "ab-12");
    {
        zep_test::log_capture log;
        EXPECT_EQ(platform_snprintf(dest, sizeof dest, "%s", "abcdef"), 5u);
        EXPECT_EQ(log.take(), "[ERROR] platform_snprintf: buffer overflow (ret=6, max_len=6)\n");
        EXPECT_STREQ(dest, "abcde");
    }
    {
        zep_test::log_capture log;
        EXPECT_EQ(platform_snprintf(nullptr, 6, "x"), 0u);
        EXPECT_EQ(platform_snprintf(dest, 0, "x"), 0u);
        EXPECT_NE(log.take().find("platform_snprintf: invalid param (dest=(nil), fmt="),
                  std::string::npos);
    }
    // A wide character that the C locale cannot express: the formatter itself fails.
    std::memset(dest, 'x', sizeof dest);
    zep_test::log_capture log;
    EXPECT_EQ(platform_snprintf(dest, sizeof dest, "a%ls", L"\x4E2D"), 5u);
    EXPECT_EQ(log.take(), "");
    EXPECT_EQ(std::memchr(dest, 'x', sizeof dest), nullptr) << "nothing may stay undefined";
}

TEST(platform_text, tolerates_null) {
    EXPECT_EQ(platform_strlen(nullptr), 0u);
    EXPECT_EQ(platform_strlen_win32("abc"), 3u);
    EXPECT_EQ(platform_strcmp(nullptr, nullptr), 0);
    EXPECT_EQ(platform_strcmp(nullptr, ""), -1);
    EXPECT_EQ(platform_strcmp("", nullptr), 1);
    EXPECT_LT(platform_strcmp("a", "b"), 0);
    EXPECT_EQ(platform_strcmp_win32("a", "a"), 0);
    const char *text = "a/b/c";
    EXPECT_EQ(platform_strchr(text, '/'), text + 1);
    EXPECT_EQ(platform_strchr(text, 'x'), nullptr);
    EXPECT_EQ(platform_strchr_win32(nullptr, 'x'), nullptr);
    EXPECT_EQ(platform_strstr(text, "b/"), text + 2);
    EXPECT_EQ(platform_strstr(text, ""), text);
    EXPECT_EQ(platform_strstr(text, "x"), nullptr);
    zep_test::log_capture log;
    EXPECT_EQ(platform_strstr(nullptr, nullptr), nullptr);
    EXPECT_EQ(log.take(), "[ERROR] platform_strstr: 空指针参数（str=(nil), substr=(nil)）\n");
}

}  // namespace
