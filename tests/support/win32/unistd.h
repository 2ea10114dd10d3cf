#pragma once

#include_next <unistd.h>

#include "support/win32/posix.h"
