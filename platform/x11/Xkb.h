// XCB's keyboard header, one of whose structures has a member with a name that C++ keeps to itself.
#pragma once
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit
