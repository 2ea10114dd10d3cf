// Descriptors of the library's own.
#pragma once

namespace zep {

// Moves a descriptor above standard input, output and error, and closes it below: a process that
// has closed one of these must not write its output into a connection. -1, with errno set and
// nothing left open, when it cannot be moved; a negative one comes back as it is.
int above_standard(int descriptor);

}  // namespace zep
