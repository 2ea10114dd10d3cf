#include "support/system_text.h"

#include <cerrno>
#include <regex>
#include <sys/socket.h>

#include <zep_mqtt/platform/text.h>

namespace zep_test {

namespace {

// This system's number, and that of Linux.
const std::pair<int, int> ERRORS[] = {
    {ENOMEM, 12},    {EACCES, 13},      {EINVAL, 22},     {EPIPE, 32},         {EMSGSIZE, 90},
    {ENOTCONN, 107}, {ECONNRESET, 104}, {ETIMEDOUT, 110}, {ECONNREFUSED, 111},
};

std::string linux_number(const std::string &number) {
    for (const auto &[here, there] : ERRORS) {
        if (number == std::to_string(here)) {
            return std::to_string(there);
        }
    }
    return number;
}

std::string glibc_pointer(const std::string &digits) {
    const size_t significant = digits.find_first_not_of('0');
    if (significant == std::string::npos) {
        return "(nil)";
    }
    std::string text = "0x";
    for (const char digit : digits.substr(significant)) {
        text += static_cast<char>(std::tolower(digit));
    }
    return text;
}

// Puts the replacement of the last group for that group.
template <typename Replacement>
std::string replaced(const std::string &text, const std::regex &what, Replacement replacement) {
    std::string result;
    auto from = text.begin();
    for (std::sregex_iterator match(text.begin(), text.end(), what), none; match != none; ++match) {
        const std::ssub_match &group = (*match)[1];
        result.append(from, group.first);
        result += replacement(group.str());
        from = group.second;
    }
    return result.append(from, text.end());
}

}  // namespace

std::string as_on_linux(const std::string &text) {
    static const std::regex POINTER("(?:^|[^0-9A-Za-z])([0-9A-Fa-f]{16})(?![0-9A-Za-z])");
    static const std::regex ERROR_NUMBER("(?:错误码=|错误码：|err=)([0-9]+)");
    static const bool prints_digits_only = [] {
        char shown[32] = "";
        platform_snprintf(shown, sizeof shown, "%p", static_cast<void *>(nullptr));
        return shown[0] == '0' && shown[1] == '0';
    }();
    const std::string pointers = prints_digits_only ? replaced(text, POINTER, glibc_pointer) : text;
    return ETIMEDOUT == 110 ? pointers : replaced(pointers, ERROR_NUMBER, linux_number);
}

}  // namespace zep_test
