#include "platform/stream.h"

#include <fcntl.h>
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

constexpr int STANDARD_ERROR = 2;

// Copies of a descriptor are inherited unless their handles are told otherwise.
int duplicate_above_standard(int descriptor) {
    const int copy = _dup(descriptor);
    if (copy == -1) {
        return -1;
    }
    if (copy > STANDARD_ERROR) {
        SetHandleInformation(reinterpret_cast<HANDLE>(_get_osfhandle(copy)), HANDLE_FLAG_INHERIT,
                             0);
        return copy;
    }
    const int moved = duplicate_above_standard(copy);
    (void)_close(copy);
    return moved;
}

// A descriptor that owns the file, above standard input, output and error: a process that has
// closed one of these must not write its output into the log. -1, with the file closed, when there
// is none.
int above_standard(HANDLE file, int flags) {
    const int taken = _open_osfhandle(reinterpret_cast<intptr_t>(file), flags | _O_NOINHERIT);
    if (taken == -1) {
        CloseHandle(file);
        return -1;
    }
    if (taken > STANDARD_ERROR) {
        return taken;
    }
    // Those below stay taken until one above has been found.
    const int moved = duplicate_above_standard(taken);
    (void)_close(taken);
    return moved;
}

}  // namespace

FILE *stream_open(const char *name, stream_mode mode) {
    const wide_text wide(name);
    if (wide.data() == nullptr) {
        return nullptr;
    }
    const bool append = mode == stream_mode::append;
    // Others may read the file meanwhile, rename and delete it.
    const HANDLE file =
        CreateFileW(wide.data(), append ? FILE_APPEND_DATA : GENERIC_WRITE,
                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    append ? OPEN_ALWAYS : CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return nullptr;
    }
    const int descriptor = above_standard(file, append ? _O_APPEND : 0);
    if (descriptor == -1) {
        return nullptr;
    }
    FILE *stream = _fdopen(descriptor, append ? "ab" : "wb");
    if (stream == nullptr) {
        (void)_close(descriptor);
    }
    return stream;
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
