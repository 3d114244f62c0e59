// When the program was built, as "May  2 2017 18:11:13".
#pragma once

extern const char kBuildDate[];
