# SPDX-License-Identifier: MIT
#
# install_configured(TEMPLATE DESTINATION COMPONENT): installs TEMPLATE without its ".in", the words between two "@"
# replaced. The directories in it are those of the installation: the prefix may be given as late as that, and DESTDIR
# moves the tree without being part of any path in it. DESTINATION is relative to the prefix or absolute.
#
# Words: PREFIX, BINDIR, SBINDIR, LIBDIR, INCLUDEDIR, CONFIGDIR, VERSION, DESCRIPTION.
function(install_configured template destination component)
  get_filename_component(name ${template} NAME_WLE)
  install(CODE "
    set(PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
    set(BINDIR \"${CMAKE_INSTALL_BINDIR}\")
    set(SBINDIR \"${CMAKE_INSTALL_SBINDIR}\")
    set(LIBDIR \"${CMAKE_INSTALL_LIBDIR}\")
    set(INCLUDEDIR \"${CMAKE_INSTALL_INCLUDEDIR}\")
    set(destination \"${destination}\")
    foreach(directory BINDIR SBINDIR LIBDIR INCLUDEDIR destination)
      if(NOT IS_ABSOLUTE \"\${\${directory}}\")
        set(\${directory} \"\${PREFIX}/\${\${directory}}\")
      endif()
    endforeach()
    set(CONFIGDIR \"${SCENARIO_NUMA_CONFIG_DIR}\")
    set(VERSION \"${PROJECT_VERSION}\")
    set(DESCRIPTION \"${PROJECT_DESCRIPTION}\")
    configure_file(\"${CMAKE_CURRENT_SOURCE_DIR}/${template}\" \"${CMAKE_CURRENT_BINARY_DIR}/installed/${name}\" @ONLY)
    file(INSTALL \"${CMAKE_CURRENT_BINARY_DIR}/installed/${name}\" DESTINATION \"\${destination}\")"
    COMPONENT ${component})
endfunction()
