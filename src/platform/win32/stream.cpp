#include "platform/stream.h"

#include <io.h>

#include "platform/win32/wide_text.h"

namespace zep {

namespace {

void write_bytes(HANDLE output, const char *bytes, size_t size) {
    DWORD written = 0;
    for (size_t done = 0; done < size; done += written) {
        if (!WriteFile(output, bytes + done, static_cast<DWORD>(size - done), &written, nullptr) ||
            written == 0) {
            return;
        }
    }
}

}  // namespace

FILE *stream_open(const char *name, stream_mode mode) {
    const wide_text wide(name);
    // b: no line ends are changed. N: no child process inherits the file.
    return wide.data() == nullptr
               ? nullptr
               : _wfopen(wide.data(), mode == stream_mode::append ? L"abN" : L"wbN");
}

int64_t stream_seek_end(FILE *stream) {
    return _fseeki64(stream, 0, SEEK_END) == 0 ? _ftelli64(stream) : -1;
}

// A console shows UTF-8 through its wide call only; a file or a pipe gets the bytes, past the
// stream, which would change the line ends.
void stream_print(const char *line, size_t size) {
    std::fflush(stdout);  // what the application has printed before
    const auto output = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stdout)));
    DWORD mode;
    if (!GetConsoleMode(output, &mode)) {
        write_bytes(output, line, size);
        return;
    }
    const wide_text wide(line, static_cast<int>(size), true);
    if (wide.data() != nullptr) {
        (void)WriteConsoleW(output, wide.data(), wide.size(), nullptr, nullptr);
    }
}

}  // namespace zep
