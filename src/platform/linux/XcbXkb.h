#pragma once

// For the compiler's eyes this is a header of the system's, in which a keyword may be renamed: the protocol
// has a field of this name.
#pragma GCC system_header
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit
