# SPDX-License-Identifier: MIT
#
# Writes OUTPUT from INPUT with VERSION, DOCUMENTATION and the revision of the source in SOURCE: from git where it is
# a work tree, else from the file that a source archive carries. OUTPUT is left alone when nothing changed.
#
#   cmake -DSOURCE=... -DINPUT=... -DOUTPUT=... -DVERSION=... -DDOCUMENTATION=... [-DREVISION=...] -P build_info.cmake
if(NOT REVISION)
  find_program(GIT_EXECUTABLE git)
  if(GIT_EXECUTABLE AND EXISTS "${SOURCE}/.git")
    execute_process(COMMAND ${GIT_EXECUTABLE} describe --always --dirty --abbrev=12 --tags
                    WORKING_DIRECTORY ${SOURCE} OUTPUT_VARIABLE REVISION OUTPUT_STRIP_TRAILING_WHITESPACE
                    ERROR_QUIET)
  elseif(EXISTS "${SOURCE}/.git_archival.txt")
    file(STRINGS "${SOURCE}/.git_archival.txt" archived LIMIT_COUNT 1)
    if(NOT archived MATCHES "Format")
      set(REVISION "${archived}")
    endif()
  endif()
endif()
if(NOT REVISION MATCHES "^[A-Za-z0-9._+/-]+$")
  set(REVISION unknown)
endif()
string(REPLACE "\\" "\\\\" DOCUMENTATION "${DOCUMENTATION}")
string(REPLACE "\"" "\\\"" DOCUMENTATION "${DOCUMENTATION}")
configure_file(${INPUT} ${OUTPUT} @ONLY)
