#pragma once

#include "support/win32/posix.h"
