# SPDX-License-Identifier: MIT
#
# What a program that uses the library is built with: headers, package configuration for CMake, pkg-config file.
include(CMakePackageConfigHelpers)

# Headers that declare what the library exports, and what those include. tests/package/consumer_test.sh finds one that
# is missing here.
set(public_headers
  common/cpu_probe.h
  common/export.h
  common/file_probe.h
  common/health_monitor.h
  common/log_stream.h
  common/logger_ctl.h
  common/metrics.h
  common/net_probe.h
  common/numa_probe.h
  common/passive_watchdog.h
  common/probes.h
  common/proc_probe.h
  common/snapshot.h
  common/stat.h
  common/string_util.h
  common/system_probe.h
  config/conf.h
  config/conf_ctl.h
  config/conf_enums.h
  config/option.h
  config/option_info.h
  config/options.h
  config/parse_input.h
  config/structured_readers.h
  config/tn_result.h
  config/validation.h
  config/value_readers.h
  scenario/export.h
  scenario/framework.h
  scenario/get_instance.h
  scenario/numa_scenario.h
  scenario/numa_scenario_ins.h)
foreach(header IN LISTS public_headers)
  get_filename_component(room ${header} DIRECTORY)
  install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/scenario_numa/${room} COMPONENT development)
endforeach()

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/scenario_numa)
install(EXPORT scenario_numa NAMESPACE scenario_numa:: FILE scenario_numa-targets.cmake DESTINATION ${package_dir}
        COMPONENT development)
configure_package_config_file(cmake/scenario_numa-config.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/scenario_numa-config.cmake
                              INSTALL_DESTINATION ${package_dir} NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
# Before 1.0 every minor version may change the interface.
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/scenario_numa-config-version.cmake
                                 COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/scenario_numa-config.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/scenario_numa-config-version.cmake
        DESTINATION ${package_dir} COMPONENT development)

install_configured(cmake/scenario_numa.pc.in ${CMAKE_INSTALL_LIBDIR}/pkgconfig development)
