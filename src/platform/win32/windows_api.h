// The Windows headers with as few of their macros as they allow.
#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef NOGDI
#define NOGDI  // the graphics headers have a macro named ERROR
#endif

#include <winsock2.h>
// winsock2.h must stand before it.
#include <windows.h>
