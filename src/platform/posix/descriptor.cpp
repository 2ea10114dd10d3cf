#include "platform/posix/descriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace zep {

int above_standard(int descriptor) {
    if (descriptor < 0 || descriptor > STDERR_FILENO) {
        return descriptor;
    }
    const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int error = errno;
    (void)close(descriptor);
    errno = error;
    return moved;
}

}  // namespace zep
