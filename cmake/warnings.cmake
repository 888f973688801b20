# SPDX-License-Identifier: MIT
# Warnings of our own code; a target opts in with target_link_libraries(... PRIVATE project_warnings).
add_library(project_warnings INTERFACE)
target_compile_options(project_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # GCC 12 warns falsely about std::string assignments of literals once they are inlined.
  target_compile_options(project_warnings INTERFACE -Wno-restrict)
  if(SCENARIO_NUMA_SANITIZE)
    # Nor does it see, once instrumented, that a replaced operator new and its delete belong together, and that
    # std::regex initialises its states.
    target_compile_options(project_warnings INTERFACE -Wno-mismatched-new-delete -Wno-maybe-uninitialized)
  endif()
endif()
if(SCENARIO_NUMA_WERROR)
  target_compile_options(project_warnings INTERFACE -Werror)
endif()
