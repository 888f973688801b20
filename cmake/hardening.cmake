# SPDX-License-Identifier: MIT
# Hardening of what is shipped. _FORTIFY_SOURCE needs optimisation, and sanitizers bring their own checks.
include(CheckCXXCompilerFlag)
include(CheckPIESupported)
# Programs are linked as position-independent ones even where that is not the compiler's default.
check_pie_supported(OUTPUT_VARIABLE pie_output LANGUAGES CXX)
if(NOT CMAKE_CXX_LINK_PIE_SUPPORTED)
  message(STATUS "The programs are not position-independent: ${pie_output}")
endif()
add_library(project_hardening INTERFACE)
if(NOT SCENARIO_NUMA_SANITIZE)
  target_compile_options(project_hardening INTERFACE -fstack-protector-strong -fstack-clash-protection)
  target_compile_definitions(project_hardening INTERFACE $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:_FORTIFY_SOURCE=2>
                             _GLIBCXX_ASSERTIONS)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
    target_compile_options(project_hardening INTERFACE -fcf-protection=full)
  elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "aarch64")
    check_cxx_compiler_flag(-mbranch-protection=standard HAVE_BRANCH_PROTECTION)
    if(HAVE_BRANCH_PROTECTION)
      target_compile_options(project_hardening INTERFACE -mbranch-protection=standard)
    endif()
  endif()
  target_link_options(project_hardening INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack)
endif()
