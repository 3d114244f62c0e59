// XCB's keyboard header, one of whose structures has a member with a name that C++ keeps to itself.
#pragma once
// Renaming a keyword is what a compiler warns of, elsewhere than in a system's header.
#pragma GCC system_header
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit
