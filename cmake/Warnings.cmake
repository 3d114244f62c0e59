# The warnings that every target of the project is built with; each of them is an error.
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align
                    -Wimplicit-fallthrough -Wformat=2 -Werror)
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
  add_compile_options(-Wthread-safety -Wthread-safety-beta)
endif()
