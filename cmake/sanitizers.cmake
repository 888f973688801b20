# SPDX-License-Identifier: MIT
# Instrumentation of the whole build, chosen with SCENARIO_NUMA_SANITIZE (a list for -fsanitize, comma-separated)
# and SCENARIO_NUMA_COVERAGE.
if(SCENARIO_NUMA_SANITIZE)
  add_compile_options(-fsanitize=${SCENARIO_NUMA_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -O1 -g1)
  add_link_options(-fsanitize=${SCENARIO_NUMA_SANITIZE})
endif()
if(SCENARIO_NUMA_COVERAGE)
  add_compile_options(--coverage -O0 -g)
  add_link_options(--coverage -Wl,--wrap=_exit,--wrap=raise)
  add_library(coverage_exit OBJECT ${CMAKE_CURRENT_LIST_DIR}/coverage_exit.cpp)
  link_libraries($<BUILD_INTERFACE:coverage_exit>)
endif()
