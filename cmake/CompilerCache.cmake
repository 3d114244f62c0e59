# Uses ccache when it is installed, so that a branch switch or a second checkout does not compile everything anew.
find_program(CCACHE ccache)
if(CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${CMAKE_SOURCE_DIR}
                                  CCACHE_NOHASHDIR=1 ${CCACHE})
endif()

# The cache hands the compiler paths that are relative to the build folder; log lines name files as the project does.
add_compile_options(-fmacro-prefix-map=../= -fmacro-prefix-map=${CMAKE_SOURCE_DIR}/=)
