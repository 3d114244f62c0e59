# OBSERVER_SANITIZE: the sanitizers of this build tree ("address,undefined" or "thread"), empty for none.
# OBSERVER_FUZZ: builds the fuzz targets instead of tests and benchmarks (clang only).
set(OBSERVER_SANITIZE "" CACHE STRING "Comma-separated sanitizers")
option(OBSERVER_FUZZ "Build the fuzz targets" OFF)

if(OBSERVER_SANITIZE)
  add_compile_options(-fsanitize=${OBSERVER_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${OBSERVER_SANITIZE})
endif()
if(OBSERVER_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
