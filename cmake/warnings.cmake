# Warnings of our own code; a target opts in with target_link_libraries(... PRIVATE project_warnings).
add_library(project_warnings INTERFACE)
target_compile_options(project_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(SCENARIO_NUMA_WERROR)
  target_compile_options(project_warnings INTERFACE -Werror)
endif()
