# The warnings that every target of the project is built with; each of them is an error.
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align
                    -Wimplicit-fallthrough -Wformat=2 -Werror)
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
  add_compile_options(-Wthread-safety -Wthread-safety-beta)
endif()
# gcc 12 sees an overlap in the concatenation of a literal and a string that is not there (its bug 105651).
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  add_compile_options(-Wno-restrict)
endif()
