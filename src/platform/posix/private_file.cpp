#include "platform/private_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/descriptor.h"

namespace zep {

FILE *open_private_file(const char *path, file_start start) {
    const bool append = start == file_start::append;
    const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | (append ? O_APPEND : O_TRUNC);
    const int descriptor = above_standard(open(path, flags, S_IRUSR | S_IWUSR));
    if (descriptor == -1) {
        return nullptr;
    }
    FILE *file = fdopen(descriptor, append ? "a" : "w");
    if (file == nullptr) {
        (void)close(descriptor);
    }
    return file;
}

int64_t seek_end(FILE *file) {
    return fseeko(file, 0, SEEK_END) == 0 ? int64_t{ftello(file)} : -1;
}

}  // namespace zep
