#include "platform/stream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/descriptor.h"

namespace zep {

FILE *stream_open(const char *name, stream_mode mode) {
    const bool append = mode == stream_mode::append;
    const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | (append ? O_APPEND : O_TRUNC);
    const int descriptor = above_standard(open(name, flags, S_IRUSR | S_IWUSR));
    if (descriptor == -1) {
        return nullptr;
    }
    FILE *stream = fdopen(descriptor, append ? "a" : "w");
    if (stream == nullptr) {
        (void)close(descriptor);
    }
    return stream;
}

int64_t stream_seek_end(FILE *stream) {
    return fseeko(stream, 0, SEEK_END) == 0 ? int64_t{ftello(stream)} : -1;
}

void stream_print(const char *line, size_t size) {
    // One call: the stream's own lock keeps lines apart.
    (void)std::fwrite(line, 1, size, stdout);
}

}  // namespace zep
